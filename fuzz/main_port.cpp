// Bytes of a main-port read, through a whole server with a database, to every command.
//
// Input: see reads.h. Behind them the next good record must be answered.
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

#include "fuzz/reads.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const std::unique_ptr<vnq::TestServer> server = [] {
    auto made = std::make_unique<vnq::TestServer>();
    made->AddUser("1");
    made->AddUser("2", {"Registration_Id=push"});
    return made;
  }();
  {
    vnq::TestClient client = server->ConnectTo(6004);
    vnq::FeedReads(client, data, size);
  }
  server->AdvanceMs(20'000);
  vnq::TestClient good = server->ConnectTo(6004);
  good.Receive();
  good.Send(".+y|#");
  if (good.Receive().find(".+y|#") == std::string::npos) std::abort();
  return 0;
}
