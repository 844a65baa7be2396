#include "platform/net/websocket_filter.h"

#include <algorithm>
#include <utility>

#include "support/ascii_case.h"
#include "support/base64_text.h"
#include "support/sha1.h"
#include "support/trim.h"

namespace vnq {
namespace {

constexpr std::string_view kAcceptGuid = "258EAFA5-E914-47DA-95CA-C5AB0DC85B11";
constexpr std::string_view kLineEnd = "\r\n";

constexpr uint8_t kLastFrame = 0x80, kReserved = 0x70, kKind = 0x0F, kMask = 0x80, kLength = 0x7F;
constexpr uint8_t kContinuation = 0, kText = 1, kBinary = 2, kClose = 8, kPing = 9, kPong = 10;
constexpr size_t kLongestControl = 125;

constexpr uint16_t kGoingAway = 1001, kProtocolError = 1002, kTooBig = 1009;

uint8_t ByteAt(std::string_view bytes, size_t index) {
  return static_cast<uint8_t>(bytes[index]);
}

void AppendNumber(std::string& bytes, uint64_t number, int count) {
  for (int shift = (count - 1) * 8; shift >= 0; shift -= 8) {
    bytes += static_cast<char>(number >> shift & 0xFF);
  }
}

std::string FrameOf(uint8_t kind, std::string_view payload) {
  std::string frame(1, static_cast<char>(kLastFrame | kind));
  if (payload.size() <= kLongestControl) {
    AppendNumber(frame, payload.size(), 1);
  } else if (payload.size() <= 0xFFFF) {
    frame += static_cast<char>(126);
    AppendNumber(frame, payload.size(), 2);
  } else {
    frame += static_cast<char>(127);
    AppendNumber(frame, payload.size(), 8);
  }
  return frame.append(payload);
}

bool IsAscii(std::string_view bytes) {
  return std::all_of(bytes.begin(), bytes.end(),
                     [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

// A header of an HTTP request, in any letter case; empty when there is none.
std::string_view HeaderOf(std::string_view request, std::string_view name) {
  for (size_t at = request.find(kLineEnd); at != request.npos; at = request.find(kLineEnd, at)) {
    at += kLineEnd.size();
    const std::string_view line = request.substr(at, request.find(kLineEnd, at) - at);
    const size_t colon = line.find(':');
    if (colon == line.npos || !SameButForCase(line.substr(0, colon), name)) continue;
    return TrimBlanks(line.substr(colon + 1));
  }
  return {};
}

std::string AcceptOf(std::string_view key) {
  return Base64EncodeBytes(Sha1Bytes(std::string(key).append(kAcceptGuid)));
}

}  // namespace

StreamFilter::Result WebSocketFilter::FromPeer(std::string_view bytes) {
  Result result;
  if (closeSent_) {
    result.ended = true;
    return result;
  }
  read_.append(bytes);
  if (!upgraded_) Upgrade(result);
  if (upgraded_) TakeFrames(result);
  return result;
}

void WebSocketFilter::Upgrade(Result& result) {
  const size_t end = read_.find("\r\n\r\n");
  if (end == read_.npos && read_.size() < kLongestRequest) return;
  const std::string_view request = std::string_view(read_).substr(0, std::min(end, read_.size()));
  const std::string_view key = HeaderOf(request, "Sec-WebSocket-Key");
  const bool isUpgrade = SameButForCase(HeaderOf(request, "Upgrade"), "websocket");
  if (end == read_.npos || key.empty() || !isUpgrade || !request.starts_with("GET ")) {
    fault_ = "no WebSocket upgrade";
    result.wire = "HTTP/1.1 400 Bad Request\r\nConnection: close\r\nContent-Length: 0\r\n\r\n";
    result.ended = closeSent_ = true;
    return;
  }
  result.wire =
      "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
      "Sec-WebSocket-Accept: " +
      AcceptOf(key) + "\r\n\r\n" + std::exchange(unsent_, {});
  read_.erase(0, end + 4);
  upgraded_ = true;
}

void WebSocketFilter::TakeFrames(Result& result) {
  size_t at = 0;
  Frame frame;
  while (TakeFrame(at, frame, result) == Found::kFrame && !result.ended) Obey(frame, result);
  read_.erase(0, at);
}

WebSocketFilter::Found WebSocketFilter::TakeFrame(size_t& at, Frame& frame, Result& result) {
  const std::string_view bytes = std::string_view(read_).substr(at);
  if (result.ended || bytes.size() < 2) return Found::kMore;
  const uint8_t first = ByteAt(bytes, 0), second = ByteAt(bytes, 1);
  if ((first & kReserved) != 0 || (second & kMask) == 0) {
    End(kProtocolError, "frame without a mask or with reserved bits", result);
    return Found::kEnd;
  }
  uint64_t length = second & kLength;
  const size_t lengthBytes = length == 126 ? 2 : length == 127 ? 8 : 0;
  const size_t head = 2 + lengthBytes + 4;
  if (bytes.size() < head) return Found::kMore;
  if (lengthBytes > 0) {
    length = 0;
    for (size_t i = 0; i < lengthBytes; ++i) length = length << 8 | ByteAt(bytes, 2 + i);
  }
  if (length > kLongestMessage) {
    End(kTooBig, "message over a megabyte", result);
    return Found::kEnd;
  }
  if (bytes.size() - head < length) return Found::kMore;
  frame.isLast = (first & kLastFrame) != 0;
  frame.kind = first & kKind;
  frame.payload = bytes.substr(head, length);
  for (size_t i = 0; i < length; ++i) {
    frame.payload[i] =
        static_cast<char>(ByteAt(frame.payload, i) ^ ByteAt(bytes, head - 4 + i % 4));
  }
  at += head + length;
  return Found::kFrame;
}

void WebSocketFilter::Obey(Frame& frame, Result& result) {
  if (frame.kind <= kBinary) return Join(frame, result);
  const bool isKnown = frame.kind == kClose || frame.kind == kPing || frame.kind == kPong;
  if (!isKnown || !frame.isLast || frame.payload.size() > kLongestControl) {
    return End(kProtocolError, "unknown or unfit control frame", result);
  }
  if (frame.kind == kPing) result.wire += FrameOf(kPong, frame.payload);
  if (frame.kind != kClose) return;
  result.wire += FrameOf(kClose, std::string_view(frame.payload).substr(0, 2));
  result.ended = closeSent_ = true;
}

void WebSocketFilter::Join(Frame& frame, Result& result) {
  if ((frame.kind == kContinuation) != inMessage_) {
    return End(kProtocolError, "frame out of order", result);
  }
  if (message_.size() + frame.payload.size() > kLongestMessage) {
    return End(kTooBig, "message over a megabyte", result);
  }
  message_ += frame.payload;
  inMessage_ = !frame.isLast;
  if (!frame.isLast) return;
  if (!message_.empty()) result.arrivals.push_back(std::move(message_));
  message_.clear();
}

void WebSocketFilter::End(uint16_t code, std::string_view fault, Result& result) {
  std::string payload;
  AppendNumber(payload, code, 2);
  result.wire += FrameOf(kClose, payload);
  result.ended = closeSent_ = true;
  fault_ = fault;
}

std::string WebSocketFilter::ToPeer(std::string_view bytes) {
  if (closeSent_ || bytes.empty()) return "";
  std::string frame = FrameOf(IsAscii(bytes) ? kText : kBinary, bytes);
  if (upgraded_) return frame;
  unsent_ += frame;
  return "";
}

std::string WebSocketFilter::Farewell() {
  if (!upgraded_ || std::exchange(closeSent_, true)) return "";
  std::string payload;
  AppendNumber(payload, kGoingAway, 2);
  return FrameOf(kClose, payload);
}

}  // namespace vnq
