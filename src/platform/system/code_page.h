// Legacy multi-byte code pages, converted by lookup tables that are built once from ICU's Windows
// tables.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vnq {

/// One code page, by its Windows number. Immutable; conversions take no lock and allocate only the
/// result.
///
/// Text is UTF-8 in which a lone 16-bit surrogate is written as three bytes. ASCII maps to itself
/// in every supported page and is copied without a look-up.
class CodePage {
 public:
  /// Builds the tables of a page of at most two bytes a character (936, 950, 932, 949, 874, 1250 to
  /// 1258, 437, 850, 852, 866). Null for a number that is not known or that needs more bytes.
  static std::shared_ptr<const CodePage> Open(int number);

  int number() const { return number_; }

  /// Bytes of a text. A character outside the page (one code point) becomes one '?'.
  std::string ToBytes(std::string_view utf8) const;

  /// Text of some bytes. An unassigned byte or pair, and a lead byte at the end, becomes '?'.
  std::string FromBytes(std::string_view bytes) const;

  /// Text of one byte by itself, empty for a lead byte and for an unassigned byte.
  std::string FromSingleByte(unsigned char byte) const;

  /// True when the page holds every character of the text.
  bool Holds(std::string_view utf8) const;

 private:
  CodePage() = default;

  int number_ = 0;
  bool leadBytes_[256] = {};
  std::vector<char16_t> toUnicode_;    // by byte, then by 256 * lead + trail; 0xFFFF is unassigned
  std::vector<uint16_t> fromUnicode_;  // by code unit; 0 is outside the page (U+0000 apart)
};

}  // namespace vnq
