// WebSocket around a stream (RFC 6455), on the server's side: an upgrade, then messages. A message
// is one arrival, whatever its frames are, and what is sent at once is one message.
//
// A message of ASCII goes out as text, any other as binary; either kind is taken. Pings are
// answered. Frames without a mask, reserved bits, unknown kinds, messages over a megabyte and
// requests over 16 KB end the connection with the code that the standard has for it.
#pragma once

#include <cstdint>

#include "platform/net/stream_filter.h"

namespace vnq {

class WebSocketFilter final : public StreamFilter {
 public:
  static constexpr size_t kLongestMessage = 1024 * 1024;
  static constexpr size_t kLongestRequest = 16 * 1024;

  Result FromPeer(std::string_view bytes) override;
  std::string ToPeer(std::string_view bytes) override;
  std::string Farewell() override;
  bool IsReady() const override { return upgraded_; }
  std::string Fault() const override { return fault_; }

 private:
  struct Frame {
    bool isLast = false;
    uint8_t kind = 0;
    std::string payload;
  };
  enum class Found { kMore, kFrame, kEnd };

  void Upgrade(Result& result);
  void TakeFrames(Result& result);
  Found TakeFrame(size_t& at, Frame& frame, Result& result);
  void Obey(Frame& frame, Result& result);
  void Join(Frame& frame, Result& result);
  void End(uint16_t code, std::string_view fault, Result& result);

  std::string read_;     // not yet a request, or a frame
  std::string message_;  // of the frames so far
  std::string unsent_;   // frames made before the upgrade
  std::string fault_;
  bool upgraded_ = false;
  bool inMessage_ = false;
  bool closeSent_ = false;
};

}  // namespace vnq
