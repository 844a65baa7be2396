#include "platform/net/proxy_protocol.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstdint>
#include <sstream>
#include <utility>

namespace vnq {
namespace {

constexpr std::string_view kText = "PROXY ";
constexpr std::string_view kBinary("\r\n\r\n\0\r\nQUIT\n", 12);
constexpr size_t kLongestText = 107;
constexpr size_t kBinaryHead = 16;
constexpr uint8_t kLocal = 0x20, kProxy = 0x21;  // version 2, and who the connection is from
constexpr uint8_t kTcp4 = 0x11, kTcp6 = 0x21;

uint8_t ByteAt(std::string_view bytes, size_t index) {
  return static_cast<uint8_t>(bytes[index]);
}

std::string AddressText(int family, const char* bytes) {
  char text[INET6_ADDRSTRLEN] = "";
  inet_ntop(family, bytes, text, sizeof text);
  return text;
}

bool IsAddress(int family, const std::string& text) {
  char bytes[16];
  return inet_pton(family, text.c_str(), bytes) == 1;
}

// As much of a beginning as is there agrees.
bool CanBegin(std::string_view bytes, std::string_view beginning) {
  return bytes.substr(0, beginning.size()) == beginning.substr(0, bytes.size());
}

}  // namespace

ProxyHeaderFilter::Found ProxyHeaderFilter::ReadText(size_t& length) {
  const size_t end = head_.find("\r\n");
  if (end == head_.npos) return head_.size() < kLongestText ? Found::kMore : Found::kWrong;
  length = end + 2;
  if (length > kLongestText) return Found::kWrong;
  std::istringstream line(head_.substr(0, end));
  std::string word, kind, source;
  line >> word >> kind >> source;
  if (kind == "UNKNOWN") return Found::kWhole;
  const int family = kind == "TCP4" ? AF_INET : kind == "TCP6" ? AF_INET6 : AF_UNSPEC;
  if (family == AF_UNSPEC || !IsAddress(family, source)) return Found::kWrong;
  peer_ = source;
  return Found::kWhole;
}

ProxyHeaderFilter::Found ProxyHeaderFilter::ReadBinary(size_t& length) {
  if (head_.size() < kBinaryHead) return Found::kMore;
  const size_t rest = (size_t{ByteAt(head_, 14)} << 8) | ByteAt(head_, 15);
  length = kBinaryHead + rest;
  if (head_.size() < length) return Found::kMore;
  const uint8_t command = ByteAt(head_, 12), kind = ByteAt(head_, 13);
  if (command == kLocal) return Found::kWhole;
  if (command != kProxy) return Found::kWrong;
  if (kind == kTcp4 && rest >= 12) {
    peer_ = AddressText(AF_INET, head_.data() + kBinaryHead);
  } else if (kind == kTcp6 && rest >= 36) {
    peer_ = AddressText(AF_INET6, head_.data() + kBinaryHead);
  } else if (kind == kTcp4 || kind == kTcp6) {
    return Found::kWrong;
  }
  return Found::kWhole;
}

StreamFilter::Result ProxyHeaderFilter::FromPeer(std::string_view bytes) {
  Result result;
  if (ready_) {
    if (!bytes.empty()) result.arrivals.emplace_back(bytes);
    return result;
  }
  head_.append(bytes);
  size_t length = 0;
  Found found = Found::kWrong;
  if (CanBegin(head_, kText)) found = ReadText(length);
  if (CanBegin(head_, kBinary)) found = ReadBinary(length);
  if (found == Found::kWrong) {
    fault_ = "no PROXY header";
    result.ended = true;
  }
  if (found != Found::kWhole) return result;
  ready_ = true;
  result.wire = std::exchange(unsent_, {});
  if (head_.size() > length) result.arrivals.push_back(head_.substr(length));
  head_.clear();
  return result;
}

std::string ProxyHeaderFilter::ToPeer(std::string_view bytes) {
  if (ready_) return std::string(bytes);
  unsent_.append(bytes);
  return "";
}

}  // namespace vnq
