#include "support/numbers.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

namespace vnq {
namespace {

constexpr std::string_view kBlanks = " \t\n\v\f\r";

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

std::string_view WithoutLeadingBlanks(std::string_view text) {
  const size_t first = text.find_first_not_of(kBlanks);
  return first == text.npos ? std::string_view() : text.substr(first);
}

size_t CountDigits(std::string_view text, size_t from) {
  size_t at = from;
  while (at < text.size() && IsDigit(text[at])) ++at;
  return at - from;
}

// Length of the number that the text begins with, its sign included; 0 when there is none. An
// exponent without digits is not part of it.
size_t NumberLength(std::string_view text) {
  size_t at = !text.empty() && (text[0] == '+' || text[0] == '-') ? 1 : 0;
  size_t digits = CountDigits(text, at);
  at += digits;
  if (at < text.size() && text[at] == '.') {
    const size_t fraction = CountDigits(text, at + 1);
    digits += fraction;
    at += 1 + fraction;
  }
  if (digits == 0) return 0;

  if (at == text.size() || (text[at] != 'e' && text[at] != 'E')) return at;
  size_t exponent = at + 1;
  if (exponent < text.size() && (text[exponent] == '+' || text[exponent] == '-')) ++exponent;
  const size_t exponentDigits = CountDigits(text, exponent);
  return exponentDigits == 0 ? at : exponent + exponentDigits;
}

// What from_chars leaves open: a result out of range is either too large or too small to tell from
// 0. It is too small when the first digit that counts stands, by the exponent, behind the point.
bool IsTiny(std::string_view number) {
  const size_t e = number.find_first_of("eE");
  const std::string_view mantissa = number.substr(0, e);
  long long exponent = 0;
  if (e != number.npos) {
    std::string_view digits = number.substr(e + 1);
    if (digits.starts_with('+')) digits.remove_prefix(1);
    const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), exponent);
    if (result.ec == std::errc::result_out_of_range) return digits.starts_with('-');
  }
  const size_t point = std::min(mantissa.find('.'), mantissa.size());
  const size_t first = mantissa.find_first_of("123456789");
  if (first == mantissa.npos) return true;
  return exponent + static_cast<long long>(point) - static_cast<long long>(first) < 0;
}

// The value of a text that is a number and nothing else.
std::optional<double> NumberValue(std::string_view number) {
  if (number.starts_with('+')) number.remove_prefix(1);
  double value = 0;
  const auto result = std::from_chars(number.data(), number.data() + number.size(), value);
  if (result.ec == std::errc()) return value;
  if (result.ec == std::errc::result_out_of_range && IsTiny(number))
    return number[0] == '-' ? -0.0 : 0.0;
  return std::nullopt;
}

// std::nearbyint would do, were the rounding mode ours alone.
double RoundHalfToEven(double value) {
  const double floor = std::floor(value);
  const double rest = value - floor;
  if (rest != 0.5) return rest < 0.5 ? floor : floor + 1;
  return std::fmod(floor, 2) == 0 ? floor : floor + 1;
}

template <typename Integer>
std::optional<Integer> ParseInteger(std::string_view text) {
  Integer plain = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), plain);
  if (result.ec == std::errc() && result.ptr == text.data() + text.size()) return plain;

  const std::optional<double> number = ParseNumber(text);
  if (!number) return std::nullopt;
  const double rounded = RoundHalfToEven(*number);
  if (rounded < std::numeric_limits<Integer>::min() ||
      rounded > std::numeric_limits<Integer>::max()) {
    return std::nullopt;
  }
  return static_cast<Integer>(rounded);
}

}  // namespace

std::optional<int16_t> ParseInt16(std::string_view text) {
  return ParseInteger<int16_t>(text);
}

std::optional<int32_t> ParseInt32(std::string_view text) {
  return ParseInteger<int32_t>(text);
}

std::optional<double> ParseNumber(std::string_view text) {
  const std::string_view rest = WithoutLeadingBlanks(text);
  const size_t length = NumberLength(rest);
  if (length == 0 || !WithoutLeadingBlanks(rest.substr(length)).empty()) return std::nullopt;
  return NumberValue(rest.substr(0, length));
}

double ParsePrefixNumber(std::string_view text) {
  const std::string_view rest = WithoutLeadingBlanks(text);
  const size_t length = NumberLength(rest);
  return length == 0 ? 0 : NumberValue(rest.substr(0, length)).value_or(0);
}

std::string FormatNumber(int64_t value) {
  return std::to_string(value);
}

std::string FormatNumber(double value) {
  char buffer[64];
  const double size = std::fabs(value);
  // An exponent only where the plain digits would be many.
  const auto form = size == 0 || (size >= 1e-6 && size < 1e15) ? std::chars_format::fixed
                                                               : std::chars_format::general;
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, size == 0 ? 0.0 : value, form);
  return std::string(buffer, result.ptr);
}

}  // namespace vnq
