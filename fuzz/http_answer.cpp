// Any bytes as the answer of an HTTP server, and any text as an address.
//
// Each request comes to its end, with an answer or without one.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "platform/net/http_address.h"
#include "platform/net/http_client.h"
#include "tests/harness/loopback_http_server.h"

namespace {

constexpr uint16_t kPort = 8098;

void Require(bool promise) {
  if (!promise) std::abort();
}

struct Wire {
  Wire() : server(loop), client(loop) {
    std::string error;
    Require(server.Start(address, kPort, error));
  }

  vnq::HttpResponse Ask() {
    vnq::HttpRequest request;
    request.url = "http://" + address + ":" + std::to_string(kPort) + "/public/service.html";
    request.timeoutMs = 5000;
    std::optional<vnq::HttpResponse> response;
    loop.StartHandler([&] { response = client.Perform(request); });
    Require(vnq::RunUntil(loop, [&] { return response.has_value(); }));
    return *response;
  }

  const std::string address = vnq::LoopbackAddress(3);
  vnq::MovableClock clock;
  vnq::EventLoop loop{clock};
  vnq::LoopbackHttpServer server;
  vnq::HttpClient client;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static Wire& wire = *new Wire;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  wire.server.Answer(std::string(bytes));
  const vnq::HttpResponse response = wire.Ask();
  Require(response.ok || (response.body.empty() && response.status == 0));
  Require(response.body.size() <= vnq::HttpClient::kMaxAnswerBytes);
  const auto address = vnq::ParseHttpAddress("http://" + std::string(bytes));
  vnq::EncodeRequestTarget(bytes);
  (void)address;
  return 0;
}
