#include "tools/client/chat_text.h"

#include <algorithm>
#include <iterator>
#include <optional>

#include "support/hex_digits.h"
#include "support/text_codecs.h"
#include "support/utf8.h"

namespace vnq {
namespace {

std::optional<char32_t> HexDigits(std::string_view text, size_t from, size_t count) {
  if (from > text.size() || text.size() - from < count) return std::nullopt;
  char32_t value = 0;
  for (const char c : text.substr(from, count)) {
    const int digit = HexDigit(static_cast<unsigned char>(c));
    if (digit < 0) return std::nullopt;
    value = value << 4 | static_cast<char32_t>(digit);
  }
  return value;
}

// The escape at `position`, if one stands there; moves behind it.
std::optional<char32_t> NextEscape(std::string_view text, size_t& position) {
  if (text[position] != '%') return std::nullopt;
  const bool isLong = text.substr(position + 1, 1) == "u";
  const size_t digits = isLong ? 4 : 2;
  const size_t from = position + (isLong ? 2 : 1);
  const std::optional<char32_t> value = HexDigits(text, from, digits);
  if (value) position = from + digits;
  return value;
}

// Appends a 16-bit unit; a low surrogate behind a lone high one completes the pair.
void AppendUnit(std::string& text, char32_t unit, char32_t& pendingHigh) {
  if (IsLowSurrogate(unit) && pendingHigh != 0) {
    text.resize(text.size() - 3);
    unit = JoinSurrogates(pendingHigh, unit);
  }
  AppendUtf8(text, unit);
  pendingHigh = IsHighSurrogate(unit) ? unit : 0;
}

// What a terminal obeys or what turns the reading direction of the text behind it.
bool IsHarmful(char32_t c) {
  return c < 0x20 || (c >= 0x7F && c <= 0x9F) || (c >= 0x202A && c <= 0x202E) ||
         (c >= 0x2066 && c <= 0x2069) || c == 0x2028 || c == 0x2029 || (c >= 0xD800 && c <= 0xDFFF);
}

}  // namespace

std::string ReadEscapedText(std::string_view escaped) {
  std::string text;
  char32_t pendingHigh = 0;
  for (size_t i = 0; i < escaped.size();) {
    const std::optional<char32_t> unit = NextEscape(escaped, i);
    AppendUnit(text, unit ? *unit : NextSequence(escaped, i), pendingHigh);
  }
  return text;
}

std::string ReadMessageText(std::string_view escaped) {
  std::string text = ReadEscapedText(escaped);
  const bool fileForm = text.starts_with("{h@") || text.starts_with("{a@");
  if (!fileForm || !text.ends_with("}")) return text;
  return "[file] " + ReadEscapedText(text.substr(3, text.size() - 4));
}

bool FitsAField(std::string_view text) {
  return text.find_first_of("|\r\n") == std::string_view::npos &&
         text.find(".+") == std::string_view::npos;
}

std::string FieldText(std::string_view text) {
  // A character of four bytes is in no legacy code page.
  const auto isLong = [](char c) { return static_cast<unsigned char>(c) >= 0xF0; };
  const bool plain = FitsAField(text) && ReadEscapedText(text) == text &&
                     std::none_of(text.begin(), text.end(), isLong);
  return plain ? std::string(text) : EscapeText(text);
}

std::string TerminalLine(std::string_view text) {
  std::string line;
  for (size_t i = 0; i < text.size();) {
    const char32_t c = NextSequence(text, i);
    const bool blank = c == '\n' || c == '\t' || c == '\r' || c == 0x2028 || c == 0x2029;
    AppendUtf8(line, blank ? U' ' : IsHarmful(c) ? kReplacementCharacter : c);
  }
  return line;
}

size_t DisplayWidth(std::string_view text) {
  size_t width = 0;
  for (size_t i = 0; i < text.size();) width += CharacterWidth(NextSequence(text, i));
  return width;
}

std::string FirstWords(std::string_view text, size_t columns) {
  size_t width = 0;
  for (size_t i = 0; i < text.size();) {
    const size_t start = i;
    width += CharacterWidth(NextSequence(text, i));
    if (width > columns) return std::string(text.substr(0, start)) + "...";
  }
  return std::string(text);
}

}  // namespace vnq
