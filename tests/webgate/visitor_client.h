// A browser's side of the visitor port, frame by frame.
#pragma once

#include <string>
#include <string_view>

#include "support/base64_text.h"
#include "tests/harness/test_server.h"

namespace vnq {

inline constexpr uint16_t kVisitorPort = 6001;
inline constexpr std::string_view kTestMask = "\x11\x22\x33\x44";
inline constexpr std::string_view kNoMask = "";

/// A whole text frame with the shortest form of its length; `mask` is four bytes, or none.
inline std::string TextFrame(std::string_view payload, std::string_view mask = kTestMask) {
  const char masked = mask.empty() ? '\0' : '\x80';
  std::string frame("\x81");
  const size_t size = payload.size();
  if (size < 126) {
    frame += static_cast<char>(masked | static_cast<char>(size));
  } else {
    const int lengthBytes = size < 65536 ? 2 : 8;
    frame += static_cast<char>(masked | (lengthBytes == 2 ? 126 : 127));
    for (int i = lengthBytes - 1; i >= 0; --i) frame += static_cast<char>(size >> (8 * i));
  }
  frame += mask;
  for (size_t i = 0; i < size; ++i) {
    frame += static_cast<char>(payload[i] ^ (mask.empty() ? '\0' : mask[i % 4]));
  }
  return frame;
}

inline std::string UpgradeRequest(std::string_view headers) {
  return "GET /chat HTTP/1.1\r\n" + std::string(headers) + "\r\n";
}

inline std::string GoodUpgradeRequest() {
  return UpgradeRequest(
      "Host: im.example:6001\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
      "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nOrigin: http://im.example\r\n"
      "Sec-WebSocket-Version: 13\r\n");
}

/// A connection that has been upgraded.
class Visitor : public TestClient {
 public:
  explicit Visitor(TestServer& server) : TestClient(server, kVisitorPort), page_(server.page()) {
    SendBytes(GoodUpgradeRequest());
    EXPECT_NE(ReceiveBytes(), "");
  }

  /// Sends records as one text frame, under a mask of zeros where the server would not take it off.
  void SendRecords(std::string_view records) {
    const std::string payload = Base64EncodeText(page_, records);
    SendBytes(
        TextFrame(payload, payload.size() < 126 ? kTestMask : std::string_view("\0\0\0\0", 4)));
  }

 private:
  const AnsiText& page_;
};

}  // namespace vnq
