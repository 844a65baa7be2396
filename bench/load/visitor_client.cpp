#include "bench/load/visitor_client.h"

#include <fmt/format.h>

#include "support/base64_text.h"
#include "support/sha1.h"

namespace vnq::bench {

std::string MaskedTextFrame(std::string_view payload, uint32_t mask) {
  std::string frame = {static_cast<char>(0x81), static_cast<char>(0x80 | payload.size())};
  for (int shift = 24; shift >= 0; shift -= 8) frame += static_cast<char>(mask >> shift & 0xFF);
  for (size_t i = 0; i < payload.size(); ++i) {
    frame += static_cast<char>(payload[i] ^ frame[2 + i % 4]);
  }
  return frame;
}

// RFC 6455, 4.2.2.
std::string AcceptOf(std::string_view key) {
  return Base64EncodeBytes(Sha1Bytes(std::string(key) + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11"));
}

VisitorClient::VisitorClient(Poller& poller, const AnsiText& ansi)
    : ansi_(ansi),
      client_(poller, ansi,
              {{},
               [this](std::string_view bytes) { Take(bytes); },
               [this] { Fail("closed by the gateway"); }}) {}

void VisitorClient::Begin(const LoadTarget& gateway, size_t number) {
  key_ = Base64EncodeBytes(fmt::format("{:016}", number));
  step_ = Step::kUpgrading;
  if (!client_.Connect(gateway)) return Fail("cannot connect to the gateway");
  client_.SendText(fmt::format(
      "GET /chat HTTP/1.1\r\nHost: localhost\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
      "Origin: http://localhost\r\nSec-WebSocket-Key: {}\r\nSec-WebSocket-Version: 13\r\n\r\n",
      key_));
}

bool VisitorClient::Send(std::string_view record) {
  const std::string payload = Base64EncodeText(ansi_, record);
  if (payload.size() > kMaxFramePayload) return false;
  mask_ = mask_ * 1664525u + 1013904223u;
  client_.SendText(MaskedTextFrame(payload, mask_));
  return true;
}

void VisitorClient::Take(std::string_view bytes) {
  if (step_ != Step::kUpgrading) return Fail("the gateway sent something to a visitor");
  answer_ += bytes;
  if (!answer_.ends_with("\r\n\r\n")) return;
  const bool right =
      answer_.starts_with("HTTP/1.1 101 ") &&
      answer_.find("Sec-WebSocket-Accept: " + AcceptOf(key_) + "\r\n") != std::string::npos;
  if (!right) return Fail("unexpected answer to the upgrade: " + answer_.substr(0, 200));
  step_ = Step::kReady;
}

void VisitorClient::Fail(std::string why) {
  step_ = Step::kFailed;
  failure_ = std::move(why);
}

}  // namespace vnq::bench
