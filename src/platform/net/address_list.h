// Lists of addresses and networks.
//
//   list  = entry { "," entry }         blanks around an entry go
//   entry = address [ "/" bits ] | "none"
//
// An address is IPv4 or IPv6. An IPv4 address that is written or arrives as ::ffff:a.b.c.d is the
// same as a.b.c.d.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vnq {

class AddressList {
 public:
  /// Reads a list. False, with the entry that cannot be used in `error`: the list stays as it was.
  bool Parse(std::string_view text, std::string& error);

  /// True once a list was read, if only "none".
  bool IsGiven() const { return given_; }

  /// Whether an address belongs to the list; what is no address belongs to none.
  bool Contains(const std::string& address) const;

  /// Contains, or nothing was given.
  bool Allows(const std::string& address) const { return !given_ || Contains(address); }

 private:
  using Bytes = std::array<uint8_t, 16>;  // IPv4 as ::ffff:a.b.c.d
  struct Network {
    Bytes address;
    int bits;  // from the left, 0 to 128
  };

  static bool ReadAddress(const std::string& text, Bytes& bytes, bool& isIpv4);
  static bool ReadNetwork(std::string_view entry, Network& network);
  static bool Matches(const Bytes& address, const Network& network);

  bool given_ = false;
  std::vector<Network> networks_;
};

}  // namespace vnq
