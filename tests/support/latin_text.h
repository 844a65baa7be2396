// A code page for tests of the codecs: ASCII and U+00A1 to U+00FF by their own values, 0x80 as the
// euro sign, 0x81 to 0xA0 unassigned. "pairs" makes 0xD0 to 0xDF lead bytes of U+4D00 + trail, as a
// double-byte page has.
#pragma once

#include "support/ansi_text.h"
#include "support/utf8.h"

namespace vnq {

class LatinText : public AnsiText {
 public:
  explicit LatinText(bool pairs = false) : pairs_(pairs) {}

  std::string ToBytes(std::string_view utf8) const override {
    std::string bytes;
    for (size_t at = 0; at < utf8.size();) {
      const char32_t value = NextCodePoint(utf8, at);
      if (pairs_ && value >= 0x4D00 && value < 0x5D00) {
        bytes.push_back(static_cast<char>(0xD0 + ((value - 0x4D00) >> 8)));
        bytes.push_back(static_cast<char>(value & 0xFF));
      } else if (value < 0x80 ||
                 (value > 0xA0 && value < 0x100 && !IsLead(static_cast<unsigned char>(value)))) {
        bytes.push_back(static_cast<char>(value));
      } else {
        bytes.push_back(value == 0x20AC ? '\x80' : '?');
      }
    }
    return bytes;
  }

  std::string FromBytes(std::string_view bytes) const override {
    std::string text;
    for (size_t at = 0; at < bytes.size(); ++at) {
      const auto byte = static_cast<unsigned char>(bytes[at]);
      if (IsLead(byte) && at + 1 < bytes.size()) {
        const auto trail = static_cast<unsigned char>(bytes[++at]);
        AppendUtf8(text, 0x4D00 + ((byte - 0xD0U) << 8) + trail);
      } else {
        const std::string single = FromSingleByte(byte);
        text += single.empty() ? "?" : single;
      }
    }
    return text;
  }

  std::string FromSingleByte(unsigned char byte) const override {
    std::string text;
    if (byte == 0x80) return "€";
    if (byte < 0x80 || (byte > 0xA0 && !IsLead(byte))) AppendUtf8(text, byte);
    return text;
  }

 private:
  bool IsLead(unsigned char byte) const { return pairs_ && byte >= 0xD0 && byte < 0xE0; }

  bool pairs_;
};

}  // namespace vnq
