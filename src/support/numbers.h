// The conversions from text to number that every record field, setting and column goes through.
//
// A number in text is written as: blanks, a sign, digits, a fraction, an exponent ("e" or "E", a
// sign, digits), blanks. Everything but one digit is optional. A fraction is rounded half to even
// when an integer is wanted. The empty text is no number.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vnq {

/// The text as a 16-bit integer; nothing when it is no number or lies outside -32768 to 32767.
std::optional<int16_t> ParseInt16(std::string_view text);

/// The text as a 32-bit integer; nothing when it is no number or out of range.
std::optional<int32_t> ParseInt32(std::string_view text);

/// The text as a double; nothing when it is no number or overflows.
std::optional<double> ParseNumber(std::string_view text);

/// The longest number that the text begins with, blanks skipped; 0 when there is none.
double ParsePrefixNumber(std::string_view text);

/// Decimal text of an integer.
std::string FormatNumber(int64_t value);

/// The shortest decimal text that reads back as the same double; a whole number has no point.
std::string FormatNumber(double value);

}  // namespace vnq
