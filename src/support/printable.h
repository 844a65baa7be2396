// Texts of peers in a line of a log.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace vnq {

/// The text in one line, which cannot look like another: control characters are '?', and what goes
/// beyond `mostBytes` is cut off in front of a character.
inline std::string Printable(std::string_view text, size_t mostBytes) {
  size_t length = std::min(text.size(), mostBytes);
  while (length < text.size() && length > 0 && (text[length] & 0xC0) == 0x80) --length;
  std::string line(text.substr(0, length));
  for (char& c : line) {
    if (static_cast<unsigned char>(c) < ' ' || c == '\x7f') c = '?';
  }
  return line;
}

}  // namespace vnq
