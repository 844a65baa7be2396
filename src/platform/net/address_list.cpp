#include "platform/net/address_list.h"

#include <arpa/inet.h>
#include <string.h>

#include <algorithm>

#include "support/numbers.h"
#include "support/trim.h"

namespace vnq {
namespace {

constexpr int kAllBits = 128;
constexpr int kMappedBits = 96;  // in front of an IPv4 address

}  // namespace

bool AddressList::ReadAddress(const std::string& text, Bytes& bytes, bool& isIpv4) {
  isIpv4 = inet_pton(AF_INET, text.c_str(), bytes.data() + kMappedBits / 8) == 1;
  if (!isIpv4) return inet_pton(AF_INET6, text.c_str(), bytes.data()) == 1;
  std::fill_n(bytes.begin(), kMappedBits / 8, uint8_t{0});
  bytes[10] = bytes[11] = 0xFF;
  return true;
}

bool AddressList::ReadNetwork(std::string_view entry, Network& network) {
  const size_t slash = entry.find('/');
  bool isIpv4 = false;
  if (!ReadAddress(std::string(entry.substr(0, slash)), network.address, isIpv4)) return false;
  const int highest = isIpv4 ? kAllBits - kMappedBits : kAllBits;
  int bits = highest;
  if (slash != entry.npos) {
    const std::string_view digits = entry.substr(slash + 1);
    if (digits.empty() || digits.find_first_not_of("0123456789") != digits.npos) return false;
    bits = ParseInt16(digits).value_or(INT16_MAX);
    if (bits > highest) return false;
  }
  network.bits = isIpv4 ? bits + kMappedBits : bits;
  return true;
}

bool AddressList::Parse(std::string_view text, std::string& error) {
  std::vector<Network> networks;
  while (!text.empty()) {
    const size_t end = std::min(text.find(','), text.size());
    const std::string_view entry = TrimBlanks(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    if (entry.empty() || entry == "none") continue;
    Network network{};
    if (!ReadNetwork(entry, network)) {
      error = entry;
      return false;
    }
    networks.push_back(network);
  }
  networks_ = std::move(networks);
  given_ = true;
  return true;
}

bool AddressList::Matches(const Bytes& address, const Network& network) {
  const auto whole = static_cast<size_t>(network.bits / 8);
  if (!std::equal(address.begin(), address.begin() + static_cast<ptrdiff_t>(whole),
                  network.address.begin())) {
    return false;
  }
  const int rest = network.bits % 8;
  if (rest == 0) return true;
  const int mask = 0xFF << (8 - rest);
  return ((address[whole] ^ network.address[whole]) & mask) == 0;
}

bool AddressList::Contains(const std::string& address) const {
  Bytes bytes{};
  bool isIpv4 = false;
  if (!ReadAddress(address, bytes, isIpv4)) return false;
  return std::any_of(networks_.begin(), networks_.end(),
                     [&](const Network& network) { return Matches(bytes, network); });
}

}  // namespace vnq
