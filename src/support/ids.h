// Identifiers, moments and addresses as numbers.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vnq {

/// A new random identifier: 32 upper-case hexadecimal digits without separators, in the layout of
/// RFC 4122, version 4. The empty text when the system has no randomness to give.
std::string NewGuidString();

/// An address "a.b.c.d" as a * 2.56^3 + b * 2.56^2 + c * 2.56 + d * 0.01. Not in the order of
/// addresses: c at 255 outweighs b at 1. Each part is any number that ParseNumber reads, and what
/// stands behind a fourth dot is ignored. 0 when a part is missing or no number.
double IpToNumber(std::string_view address);

/// Both limits belong to the range.
bool IsBetween(double value, double low, double high);

/// Seconds from 1970-01-01 00:00:00 to a moment less `hourOffset` hours: a local time and its
/// offset give UTC.
///
/// date        "YYYY-M-D" or "YYYY-M-D h:m" or "YYYY-M-D h:m:s", "/" as good as "-"; anything else
///             means `now`.
/// hourOffset  hours, perhaps with a fraction; what is no number means 0.
/// now         the present local time in the form of `date`; gives 0 when it is none itself.
double ToUnixTime(std::string_view date, std::string_view hourOffset, std::string_view now);

/// True when the array was ever given a size, be it one of no elements.
template <typename T>
bool ArrayHasBounds(const std::optional<std::vector<T>>& array) {
  return array.has_value();
}

}  // namespace vnq
