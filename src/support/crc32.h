// CRC-32 as ISO-HDLC, gzip (RFC 1952) and many others have it: the reflected polynomial 0xEDB88320,
// begun with all bits set, inverted at the end.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vnq {

/// The checksum of bytes that come in pieces.
class Crc32 {
 public:
  void Add(std::string_view bytes);
  uint32_t Value() const { return ~state_; }

  /// Eight lower-case hexadecimal digits.
  std::string Hex() const;

 private:
  uint32_t state_ = 0xFFFFFFFF;
};

}  // namespace vnq
