#include "support/wide_text.h"

#include <cstdint>

namespace vnq {
namespace {

constexpr char16_t kReplacement = 0xFFFD;

bool IsHighSurrogate(char16_t c) {
  return c >= 0xD800 && c < 0xDC00;
}
bool IsLowSurrogate(char16_t c) {
  return c >= 0xDC00 && c < 0xE000;
}

void AppendCodePoint(uint32_t code, std::u16string& wide) {
  if (code < 0x10000) {
    wide += static_cast<char16_t>(code);
    return;
  }
  wide += static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10));
  wide += static_cast<char16_t>(0xDC00 + (code & 0x3FF));
}

// Bytes of the sequence that a first byte announces; 0 for a byte that cannot be first.
size_t SequenceLength(unsigned char first) {
  if (first < 0x80) return 1;
  if (first >= 0xC2 && first < 0xE0) return 2;
  if (first >= 0xE0 && first < 0xF0) return 3;
  if (first >= 0xF0 && first < 0xF5) return 4;
  return 0;
}

// Reads one sequence at the start of `bytes`; false when it is cut, overlong or beyond the last
// code point.
bool Decode(std::string_view bytes, size_t length, uint32_t& code) {
  static constexpr uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  if (length == 0 || length > bytes.size()) return false;
  code = static_cast<unsigned char>(bytes[0]) & (0xFFU >> (length + 1));
  for (size_t i = 1; i < length; ++i) {
    const auto byte = static_cast<unsigned char>(bytes[i]);
    if ((byte & 0xC0) != 0x80) return false;
    code = code << 6 | (byte & 0x3FU);
  }
  return code >= kSmallest[length] && code < 0x110000;
}

void AppendUtf8(uint32_t code, std::string& text) {
  const auto continuation = [&](int shift) {
    text += static_cast<char>(0x80 | ((code >> shift) & 0x3F));
  };
  if (code < 0x80) {
    text += static_cast<char>(code);
  } else if (code < 0x800) {
    text += static_cast<char>(0xC0 | code >> 6);
    continuation(0);
  } else if (code < 0x10000) {
    text += static_cast<char>(0xE0 | code >> 12);
    continuation(6);
    continuation(0);
  } else {
    text += static_cast<char>(0xF0 | code >> 18);
    continuation(12);
    continuation(6);
    continuation(0);
  }
}

}  // namespace

std::u16string ToWideText(std::string_view utf8) {
  std::u16string wide;
  wide.reserve(utf8.size());
  for (size_t at = 0; at < utf8.size();) {
    const auto first = static_cast<unsigned char>(utf8[at]);
    if (first < 0x80) {
      wide += static_cast<char16_t>(first);
      ++at;
      continue;
    }
    const size_t length = SequenceLength(first);
    uint32_t code = kReplacement;
    const bool ok = Decode(utf8.substr(at), length, code);
    AppendCodePoint(ok ? code : kReplacement, wide);
    at += ok ? length : 1;
  }
  return wide;
}

std::string FromWideText(std::u16string_view wide) {
  std::string text;
  text.reserve(wide.size());
  for (size_t at = 0; at < wide.size(); ++at) {
    uint32_t code = wide[at];
    if (IsHighSurrogate(wide[at]) && at + 1 < wide.size() && IsLowSurrogate(wide[at + 1])) {
      code = 0x10000 + ((code & 0x3FF) << 10 | (wide[++at] & 0x3FFU));
    }
    AppendUtf8(code, text);
  }
  return text;
}

}  // namespace vnq
