// Bytes of a main-port read, through a whole server with a database, to every command.
//
// Input: reads, parted by a 0xFF byte. A read that begins with '.' is text and is encoded first;
// any other is taken as it came on the wire. Behind them the next good record must be answered.
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "tests/harness/test_server.h"

namespace {

void Feed(vnq::TestClient& client, std::string_view read) {
  if (read.starts_with('.')) {
    client.Send(read);
  } else {
    client.SendBytes(read);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::unique_ptr<vnq::TestServer> server = [] {
    auto made = std::make_unique<vnq::TestServer>();
    made->AddUser("1");
    made->AddUser("2", {"Registration_Id=push"});
    return made;
  }();
  std::string_view input(reinterpret_cast<const char*>(data), size);
  {
    vnq::TestClient client = server->ConnectTo(6004);
    while (!input.empty()) {
      const size_t end = input.find('\xFF');
      Feed(client, input.substr(0, end));
      input.remove_prefix(end == std::string_view::npos ? input.size() : end + 1);
    }
  }
  server->AdvanceMs(20'000);
  vnq::TestClient good = server->ConnectTo(6004);
  good.Receive();
  good.Send(".+y|#");
  if (good.Receive().find(".+y|#") == std::string::npos) std::abort();
  return 0;
}
