// Texts without what stands at their ends.
#pragma once

#include <string_view>

namespace vnq {

/// The text without the characters of `blanks` at both ends.
constexpr std::string_view TrimBlanks(std::string_view text, std::string_view blanks = " \t") {
  const size_t first = text.find_first_not_of(blanks);
  if (first == text.npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

}  // namespace vnq
