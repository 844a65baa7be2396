#include "support/text_codecs.h"

#include "support/hex_digits.h"
#include "support/utf16.h"

namespace vnq {
namespace {

bool IsKept(char16_t unit) {
  if ((unit >= u'0' && unit <= u'9') || (unit >= u'a' && unit <= u'z') ||
      (unit >= u'A' && unit <= u'Z')) {
    return true;
  }
  return std::u16string_view(u"-_.!~*'()").find(unit) != std::u16string_view::npos;
}

void AppendPercent(std::string& text, unsigned byte) {
  text.push_back('%');
  AppendHex(text, byte, 2);
}

// The character that an escape above 127 opens: its low bits, and those of the digits that stand
// where the second and the third byte have theirs. Whether a "%" stands in front of those is not
// looked at.
std::optional<unsigned> ThreeByteForm(std::u16string_view units, size_t at, unsigned first) {
  const std::optional<unsigned> second = HexAt(units, at + 4, 2);
  const std::optional<unsigned> third = HexAt(units, at + 7, 2);
  if (!second || !third) return std::nullopt;
  return (first & 15) << 12 | (*second & 63) << 6 | (*third & 63);
}

}  // namespace

std::string EscapeText(std::string_view text) {
  std::string escaped;
  escaped.reserve(text.size() * 2);
  for (const char16_t unit : Utf8ToUtf16(text)) {
    if (IsKept(unit)) {
      escaped.push_back(static_cast<char>(unit));
    } else if (unit < 255) {  // Kept: U+00FF takes the long form (YWithDiaeresisTakesTheLongForm).
      AppendPercent(escaped, unit);
    } else {
      escaped += "%u";
      AppendHex(escaped, unit, 4);
    }
  }
  return escaped;
}

std::string UrlEncodeUtf8(std::string_view text) {
  std::string encoded;
  encoded.reserve(text.size() * 3);
  for (const unsigned unit : Utf8ToUtf16(text)) {
    if ((unit & 0xFF80) == 0) {
      encoded.push_back(static_cast<char>(unit));
      continue;
    }
    // Kept: the limit of the two-byte form (ValuesBelow1000HexTakeTwoBytes).
    if ((unit & 0xF000) == 0) {
      AppendPercent(encoded, unit / 64 | 192);
    } else {
      AppendPercent(encoded, unit / 4096 | 224);
      AppendPercent(encoded, (unit / 64 & 63) | 128);
    }
    AppendPercent(encoded, (unit & 63) | 128);
  }
  return encoded;
}

std::string UrlDecodeUtf8(std::string_view text) {
  const std::u16string units = Utf8ToUtf16(text);
  std::u16string decoded;
  decoded.reserve(units.size());
  for (size_t at = 0; at < units.size(); ++at) {
    if (units[at] != u'%') {
      decoded.push_back(units[at] == u'+' ? u' ' : units[at]);
      continue;
    }
    const std::optional<unsigned> first = HexAt(units, at + 1, 2);
    if (!first) continue;
    const bool isAscii = *first < 128;
    const std::optional<unsigned> value = isAscii ? first : ThreeByteForm(units, at, *first);
    if (!value) continue;
    decoded.push_back(static_cast<char16_t>(*value));
    at += isAscii ? 2 : 8;
  }
  return Utf16ToUtf8(decoded);
}

}  // namespace vnq
