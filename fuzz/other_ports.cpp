// Bytes of reads on the ports beside the main one, through a whole server with a database.
//
// Input: a digit for the port (1, 2, 3, 7 or 8: 6001 ...), then reads, parted by a 0xFF byte. A
// read
// that begins with '.' is encoded as the port's clients do: Base64, within a frame on the visitors'
// port. A first read "^" upgrades a visitor's connection. Any other is taken as it came on the
// wire. Behind them the port must still take a connection, and the main port answer a record.
#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "tests/harness/test_server.h"
#include "tests/webgate/visitor_client.h"

namespace {

constexpr std::array<uint16_t, 5> kPorts = {6001, 6002, 6003, 6007, 6008};

// A place on some ports stays taken when its client goes.
constexpr int kInputsOfAServer = 200;

struct Road {
  vnq::TestServer& server;
  uint16_t port;
  vnq::TestClient client;

  void Feed(std::string_view read) {
    const bool visitor = port == vnq::kVisitorPort;
    if (visitor && read == "^") {
      client.SendBytes(vnq::GoodUpgradeRequest());
    } else if (!read.starts_with('.') || port == 6003 || port == 6008) {
      client.SendBytes(read);
    } else if (visitor) {
      client.SendBytes(vnq::TextFrame(vnq::Base64EncodeText(server.page(), read)));
    } else {
      client.Send(read);
    }
  }
};

std::unique_ptr<vnq::TestServer> MakeServer() {
  auto made = std::make_unique<vnq::TestServer>();
  made->AddUser("1");
  made->AddUser("2", {"Registration_Id=push"});
  return made;
}

uint16_t PortOf(uint8_t selector) {
  for (const uint16_t port : kPorts) {
    if (port % 10 == selector - '0') return port;
  }
  return kPorts[selector % kPorts.size()];
}

void Require(bool promise) {
  if (!promise) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static std::unique_ptr<vnq::TestServer> server;
  static int inputs = 0;
  if (inputs++ % kInputsOfAServer == 0) {
    server.reset();
    server = MakeServer();
  }
  if (size == 0) return 0;
  std::string_view input(reinterpret_cast<const char*>(data), size);
  const uint16_t port = PortOf(data[0]);
  input.remove_prefix(1);
  {
    Road road{*server, port, server->ConnectTo(port)};
    while (!input.empty()) {
      const size_t end = input.find('\xFF');
      road.Feed(input.substr(0, end));
      input.remove_prefix(end == std::string_view::npos ? input.size() : end + 1);
    }
  }
  server->AdvanceMs(2000);

  vnq::TestClient next = server->ConnectTo(port);
  if (port == vnq::kVisitorPort) next.SendBytes(vnq::GoodUpgradeRequest());
  Require(!next.ReceiveBytes().empty());
  vnq::TestClient good = server->ConnectTo(6004);
  good.Receive();
  good.Send(".+y|#");
  Require(good.Receive().find(".+y|#") != std::string::npos);
  return 0;
}
