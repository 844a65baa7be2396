#include "support/utf16.h"

#include "support/utf8.h"

namespace vnq {
namespace {

char16_t HighHalf(char32_t value) {
  return static_cast<char16_t>(0xD7C0 + (value >> 10));
}
char16_t LowHalf(char32_t value) {
  return static_cast<char16_t>(0xDC00 | (value & 0x3FF));
}

}  // namespace

std::u16string Utf8ToUtf16(std::string_view text) {
  std::u16string units;
  units.reserve(text.size());
  for (size_t at = 0; at < text.size();) {
    const char32_t value = NextSequence(text, at);
    if (value < 0x10000) {
      units.push_back(static_cast<char16_t>(value));
    } else {
      units.push_back(HighHalf(value));
      units.push_back(LowHalf(value));
    }
  }
  return units;
}

std::string Utf16ToUtf8(std::u16string_view units) {
  std::string text;
  text.reserve(units.size());
  for (size_t at = 0; at < units.size(); ++at) {
    char32_t value = units[at];
    if (IsHighSurrogate(value) && at + 1 < units.size() && IsLowSurrogate(units[at + 1])) {
      value = JoinSurrogates(value, units[++at]);
    }
    AppendUtf8(text, value);
  }
  return text;
}

size_t Utf16Length(std::string_view text) {
  size_t length = 0;
  for (size_t at = 0; at < text.size();) length += NextSequence(text, at) < 0x10000 ? 1 : 2;
  return length;
}

std::string FirstCharacters(std::string_view text, size_t count) {
  size_t at = 0;
  for (size_t length = 0; at < text.size() && length < count;) {
    const size_t start = at;
    const char32_t value = NextSequence(text, at);
    length += value < 0x10000 ? 1 : 2;
    if (length <= count) continue;
    std::string cut(text.substr(0, start));
    AppendUtf8(cut, HighHalf(value));
    return cut;
  }
  return std::string(text.substr(0, at));
}

}  // namespace vnq
