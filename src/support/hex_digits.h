// Hexadecimal digits of 16-bit text, as the escapes hold them: digits alone, no sign, no blank.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace vnq {

/// Value of one digit, either case; -1 for any other character.
constexpr int HexDigit(char32_t c) {
  if (c >= '0' && c <= '9') return static_cast<int>(c - '0');
  if (c >= 'A' && c <= 'F') return static_cast<int>(c - 'A' + 10);
  if (c >= 'a' && c <= 'f') return static_cast<int>(c - 'a' + 10);
  return -1;
}

/// The number that `count` digits at `at` give; nothing when one of them is none or lies beyond the
/// end.
inline std::optional<unsigned> HexAt(std::u16string_view text, size_t at, size_t count) {
  unsigned value = 0;
  for (size_t i = at; i < at + count; ++i) {
    const int digit = i < text.size() ? HexDigit(text[i]) : -1;
    if (digit < 0) return std::nullopt;
    value = value << 4 | static_cast<unsigned>(digit);
  }
  return value;
}

/// Appends the low `count` digits of a value, upper case, leading zeros kept.
inline void AppendHex(std::string& text, unsigned value, int count) {
  while (count-- > 0) text.push_back("0123456789ABCDEF"[value >> (4 * count) & 15]);
}

}  // namespace vnq
