// UnescapeText taken word for word, one pass over the whole text for each escape: what the fast
// walk is held to.
#pragma once

#include "support/ansi_text.h"
#include "support/hex_digits.h"
#include "support/utf16.h"
#include "support/utf8.h"

namespace vnq {

inline std::u16string ReplaceAll(std::u16string_view text, std::u16string_view what, char16_t by) {
  std::u16string result;
  for (size_t at = 0; at < text.size();) {
    if (text.substr(at, what.size()) == what) {
      result.push_back(by);
      at += what.size();
    } else {
      result.push_back(text[at++]);
    }
  }
  return result;
}

inline std::string LiteralUnescape(const AnsiText& page, std::string_view escaped) {
  std::u16string text = Utf8ToUtf16(escaped);
  const size_t length = text.size();
  for (size_t i = 0; i < length && i < text.size(); ++i) {
    if (text.compare(i, 2, u"%u") == 0) {
      if (const auto number = HexAt(text, i + 2, 4)) {
        text = ReplaceAll(text, text.substr(i, 6), static_cast<char16_t>(*number));
      }
    }
    if (i >= text.size() || text[i] != u'%') continue;
    const auto number = HexAt(text, i + 1, 2);
    if (!number) continue;
    const std::u16string single =
        Utf8ToUtf16(page.FromSingleByte(static_cast<unsigned char>(*number)));
    const char16_t character = single.empty() ? static_cast<char16_t>(*number) : single[0];
    text = ReplaceAll(text, text.substr(i, 3), character);
  }
  return Utf16ToUtf8(text);
}

}  // namespace vnq
