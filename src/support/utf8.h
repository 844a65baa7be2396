// UTF-8 one code point at a time, for any bytes.
//
// Well-formed text reads as it stands. A lone 16-bit surrogate in its three-byte form reads as that
// surrogate, and a high one directly in front of a low one reads as the character that the two
// stand for. Anything else reads as U+FFFD, one for each longest beginning of a sequence that was
// broken off.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vnq {

inline constexpr char32_t kReplacementCharacter = 0xFFFD;

constexpr bool IsHighSurrogate(char32_t unit) {
  return unit >= 0xD800 && unit < 0xDC00;
}
constexpr bool IsLowSurrogate(char32_t unit) {
  return unit >= 0xDC00 && unit < 0xE000;
}

constexpr char32_t JoinSurrogates(char32_t high, char32_t low) {
  return 0x10000 + ((high - 0xD800) << 10) + (low - 0xDC00);
}

/// Reads the sequence at `at`, which must lie inside the text, and moves `at` behind it. A
/// surrogate is given as it stands, paired or not.
constexpr char32_t NextSequence(std::string_view text, size_t& at) {
  const auto lead = static_cast<unsigned char>(text[at++]);
  if (lead < 0x80) return lead;
  if (lead < 0xC2 || lead > 0xF4) return kReplacementCharacter;

  const int more = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
  char32_t value = lead & (0x3FU >> more);
  // The second byte's range shuts out over-long forms and values above U+10FFFF.
  unsigned low = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
  unsigned high = lead == 0xF4 ? 0x8F : 0xBF;
  for (int i = 0; i < more; ++i) {
    if (at == text.size()) return kReplacementCharacter;
    const auto byte = static_cast<unsigned char>(text[at]);
    if (byte < low || byte > high) return kReplacementCharacter;
    value = value << 6 | (byte & 0x3FU);
    ++at;
    low = 0x80;
    high = 0xBF;
  }
  return value;
}

/// Reads the code point at `at`, which must lie inside the text, and moves `at` behind it.
constexpr char32_t NextCodePoint(std::string_view text, size_t& at) {
  const char32_t first = NextSequence(text, at);
  if (!IsHighSurrogate(first) || at == text.size()) return first;
  size_t behind = at;
  const char32_t second = NextSequence(text, behind);
  if (!IsLowSurrogate(second)) return first;
  at = behind;
  return JoinSurrogates(first, second);
}

/// Appends a code point, a lone surrogate in its three-byte form.
inline void AppendUtf8(std::string& text, char32_t value) {
  auto append = [&text](char32_t byte) { text.push_back(static_cast<char>(byte)); };
  if (value < 0x80) return append(value);
  if (value < 0x800) {
    append(0xC0 | value >> 6);
  } else if (value < 0x10000) {
    append(0xE0 | value >> 12);
    append(0x80 | (value >> 6 & 0x3F));
  } else {
    append(0xF0 | value >> 18);
    append(0x80 | (value >> 12 & 0x3F));
    append(0x80 | (value >> 6 & 0x3F));
  }
  append(0x80 | (value & 0x3F));
}

/// Bytes below 0x80 at the beginning of some bytes.
size_t AsciiPrefix(std::string_view bytes);

}  // namespace vnq
