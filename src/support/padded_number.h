// Numbers with leading zeros, as dates and times have them.
#pragma once

#include <string>

namespace vnq {

/// Appends a number that is not negative in at least so many digits: 7 in two as "07".
inline void AppendPadded(std::string& text, int number, size_t digits) {
  const std::string plain = std::to_string(number);
  if (plain.size() < digits) text.append(digits - plain.size(), '0');
  text += plain;
}

/// Three numbers with a mark between them, the latter two in two digits each.
inline std::string JoinPadded(int first, size_t digits, char mark, int second, int third) {
  std::string text;
  AppendPadded(text, first, digits);
  text += mark;
  AppendPadded(text, second, 2);
  text += mark;
  AppendPadded(text, third, 2);
  return text;
}

}  // namespace vnq
