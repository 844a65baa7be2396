// The legacy code page as the codecs of this library see it.
#pragma once

#include <string>
#include <string_view>

namespace vnq {

/// Converts between text (UTF-8, a lone 16-bit surrogate as its three-byte form) and the bytes of
/// the machine's legacy multi-byte code page. Implementations are immutable and may be shared.
class AnsiText {
 public:
  virtual ~AnsiText() = default;

  /// The bytes of a text. A character outside the page becomes '?'.
  virtual std::string ToBytes(std::string_view utf8) const = 0;

  /// The text of some bytes. A byte sequence that the page does not assign becomes '?'. Never
  /// fails.
  virtual std::string FromBytes(std::string_view bytes) const = 0;

  /// The text of one byte taken by itself; empty when the byte is no character alone (a lead byte
  /// of a double-byte page, an unassigned byte).
  virtual std::string FromSingleByte(unsigned char byte) const = 0;
};

}  // namespace vnq
