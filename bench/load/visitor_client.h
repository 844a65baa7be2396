// A web visitor: the upgrade, then one masked text frame for each record.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "bench/load/load_client.h"

namespace vnq::bench {

/// What a text frame may carry here: a longer one is not unmasked by the gateway.
inline constexpr size_t kMaxFramePayload = 125;

/// One masked text frame. mask: the four bytes of the key, first byte highest.
std::string MaskedTextFrame(std::string_view payload, uint32_t mask);

/// What the gateway must answer to a key in `Sec-WebSocket-Accept`.
std::string AcceptOf(std::string_view key);

class VisitorClient {
 public:
  enum class Step { kClosed, kUpgrading, kReady, kFailed };

  VisitorClient(Poller& poller, const AnsiText& ansi);

  void Begin(const LoadTarget& gateway, size_t number);

  /// Sends a record in one frame. Only one frame may be on its way at a time, so
  /// the caller waits for what comes of a record before it sends another. False when the record
  /// does not fit a frame.
  bool Send(std::string_view record);

  Step step() const { return step_; }
  const std::string& failure() const { return failure_; }

 private:
  void Take(std::string_view bytes);
  void Fail(std::string why);

  const AnsiText& ansi_;
  LoadClient client_;
  std::string key_, answer_, failure_;
  Step step_ = Step::kClosed;
  uint32_t mask_ = 0x1234abcd;
};

}  // namespace vnq::bench
