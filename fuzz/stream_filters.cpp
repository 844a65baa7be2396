// Any bytes through what stands between a socket and its connection: PROXY headers, WebSocket
// framing, and both.
//
// Input: a byte that picks the filters, a byte that says in how large pieces the rest comes, and
// the bytes of the stream. However they are cut, the same comes of them, in both directions.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "platform/net/proxy_protocol.h"
#include "platform/net/websocket_filter.h"

namespace {

void Require(bool promise) {
  if (!promise) std::abort();
}

// All that comes of a stream.
struct Outcome {
  std::string arrived, wire, peer, fault, farewell;
  bool ended = false, ready = false;

  bool operator==(const Outcome&) const = default;
};

std::unique_ptr<vnq::StreamFilter> Filter(uint8_t choice) {
  auto filters = std::make_unique<vnq::FilterStack>();
  if (choice % 3 != 1) filters->Add(std::make_unique<vnq::ProxyHeaderFilter>());
  if (choice % 3 != 0) filters->Add(std::make_unique<vnq::WebSocketFilter>());
  return filters;
}

Outcome Take(std::string_view stream, uint8_t choice, size_t piece) {
  const auto filter = Filter(choice);
  // A message is whole whatever its pieces were; bytes behind a header are not.
  const char* const mark = choice % 3 == 0 ? "" : "\n--\n";
  Outcome outcome;
  outcome.wire = filter->ToPeer("greeting");
  while (!stream.empty() && !outcome.ended) {
    const auto step = filter->FromPeer(stream.substr(0, piece));
    for (const std::string& arrival : step.arrivals) outcome.arrived += arrival + mark;
    outcome.wire += step.wire;
    outcome.ended = step.ended;
    stream.remove_prefix(std::min(piece, stream.size()));
  }
  outcome.peer = filter->PeerAddress();
  outcome.fault = filter->Fault();
  outcome.ready = filter->IsReady();
  outcome.farewell = filter->Farewell();
  return outcome;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 3) return 0;
  const std::string_view stream(reinterpret_cast<const char*>(data + 2), size - 2);
  const Outcome whole = Take(stream, data[0], stream.size());
  const Outcome cut = Take(stream, data[0], size_t{data[1]} % 64 + 1);
  Require(cut == whole);
  Require(!whole.ended || whole.ready || !whole.fault.empty());
  return 0;
}
