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

struct Range {
  char32_t first, last;
};

// East Asian wide and full-width blocks and the emoji blocks.
constexpr Range kWide[] = {
    {0x1100, 0x115F},   {0x231A, 0x231B},   {0x23E9, 0x23EC},   {0x25FD, 0x25FE},
    {0x2614, 0x2615},   {0x2648, 0x2653},   {0x26A1, 0x26A1},   {0x26BD, 0x26BE},
    {0x26C4, 0x26C5},   {0x26D4, 0x26D4},   {0x26EA, 0x26EA},   {0x26F2, 0x26F3},
    {0x26F5, 0x26F5},   {0x26FA, 0x26FA},   {0x26FD, 0x26FD},   {0x2705, 0x2705},
    {0x270A, 0x270B},   {0x2728, 0x2728},   {0x274C, 0x274C},   {0x274E, 0x274E},
    {0x2753, 0x2755},   {0x2757, 0x2757},   {0x2795, 0x2797},   {0x2B1B, 0x2B1C},
    {0x2B50, 0x2B50},   {0x2B55, 0x2B55},   {0x2E80, 0x303E},   {0x3041, 0x33FF},
    {0x3400, 0x4DBF},   {0x4E00, 0x9FFF},   {0xA000, 0xA4CF},   {0xA960, 0xA97C},
    {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},   {0xFE30, 0xFE6F},   {0xFF01, 0xFF60},
    {0xFFE0, 0xFFE6},   {0x1F004, 0x1F004}, {0x1F0CF, 0x1F0CF}, {0x1F18E, 0x1F19A},
    {0x1F1E6, 0x1F202}, {0x1F210, 0x1F23B}, {0x1F240, 0x1F248}, {0x1F250, 0x1F251},
    {0x1F300, 0x1F64F}, {0x1F680, 0x1F6FF}, {0x1F7E0, 0x1F7EB}, {0x1F900, 0x1FAFF},
    {0x20000, 0x3FFFD},
};

constexpr Range kJoining[] = {
    {0x0300, 0x036F}, {0x0483, 0x0489}, {0x0591, 0x05BD},   {0x064B, 0x065F},   {0x1AB0, 0x1AFF},
    {0x1DC0, 0x1DFF}, {0x200B, 0x200F}, {0x20D0, 0x20FF},   {0x3099, 0x309A},   {0xFE00, 0xFE0F},
    {0xFE20, 0xFE2F}, {0xFEFF, 0xFEFF}, {0x1F3FB, 0x1F3FF}, {0xE0000, 0xE01EF},
};

template <size_t kCount>
bool IsIn(const Range (&ranges)[kCount], char32_t c) {
  return std::any_of(std::begin(ranges), std::end(ranges),
                     [c](const Range& range) { return c >= range.first && c <= range.last; });
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

size_t CharacterWidth(char32_t c) {
  if (c < 0x300) return 1;
  if (IsIn(kJoining, c)) return 0;
  return IsIn(kWide, c) ? 2 : 1;
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
