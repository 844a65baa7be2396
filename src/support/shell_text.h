// Texts inside a command line that a person copies into a shell.
#pragma once

#include <string>
#include <string_view>

namespace vnq {

/// The text as one word of a POSIX shell: as it stands where no character has a meaning there,
/// else in single quotes.
inline std::string ShellWord(std::string_view text) {
  constexpr std::string_view kPlain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_-./:,+=@%";
  if (!text.empty() && text.find_first_not_of(kPlain) == text.npos) return std::string(text);
  std::string word = "'";
  for (char c : text) {
    if (c == '\'') word += "'\\'";
    word += c;
  }
  return word + "'";
}

}  // namespace vnq
