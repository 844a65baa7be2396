#include "support/ids.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <exception>
#include <random>

#include "support/hex_digits.h"
#include "support/numbers.h"
#include "support/trim.h"

namespace vnq {
namespace {

// Takes the text up to the next separator off `rest`; nothing when there is no text left to take.
std::optional<std::string_view> TakePart(std::optional<std::string_view>& rest,
                                         std::string_view separators) {
  if (!rest) return std::nullopt;
  const size_t end = rest->find_first_of(separators);
  const std::string_view part = rest->substr(0, end);
  rest = end == rest->npos ? std::nullopt : std::optional(rest->substr(end + 1));
  return part;
}

// A part of a date: one to four digits and nothing else, -1 otherwise.
int DatePart(std::optional<std::string_view> part) {
  if (!part || part->empty() || part->size() > 4) return -1;
  unsigned value = 0;
  const auto result = std::from_chars(part->data(), part->data() + part->size(), value);
  return result.ec == std::errc() && result.ptr == part->data() + part->size()
             ? static_cast<int>(value)
             : -1;
}

std::optional<int64_t> SecondsOfDay(std::optional<std::string_view> time) {
  const int hour = DatePart(TakePart(time, ":"));
  const int minute = DatePart(TakePart(time, ":"));
  const int second = time ? DatePart(TakePart(time, ":")) : 0;
  if (time || hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 59) {
    return std::nullopt;
  }
  return hour * 3600 + minute * 60 + second;
}

// Seconds since 1970 of a date text, taken as UTC.
std::optional<int64_t> ParseDate(std::string_view text) {
  const std::string_view trimmed = TrimBlanks(text, " ");
  if (trimmed.empty()) return std::nullopt;
  std::optional<std::string_view> time = trimmed;
  std::optional<std::string_view> date = TakePart(time, " ");
  const bool isLongYear = date->find_first_of("-/") == 4;
  const int year = DatePart(TakePart(date, "-/"));
  const int month = DatePart(TakePart(date, "-/"));
  const int day = DatePart(TakePart(date, "-/"));
  const std::optional<int64_t> seconds = time ? SecondsOfDay(time) : 0;
  if (!isLongYear || date || year < 0 || month < 0 || day < 0 || !seconds) return std::nullopt;

  const std::chrono::year_month_day calendar(std::chrono::year(year),
                                             std::chrono::month(static_cast<unsigned>(month)),
                                             std::chrono::day(static_cast<unsigned>(day)));
  if (!calendar.ok()) return std::nullopt;
  const std::chrono::sys_days days{calendar};
  return int64_t{days.time_since_epoch().count()} * 86400 + *seconds;
}

}  // namespace

std::string NewGuidString() {
  uint32_t words[4];
  try {
    std::random_device random;
    std::generate(std::begin(words), std::end(words), [&random] { return random(); });
  } catch (const std::exception&) {
    return "";
  }
  words[1] = (words[1] & 0xFFFF0FFF) | 0x00004000;  // version
  words[2] = (words[2] & 0x3FFFFFFF) | 0x80000000;  // variant
  std::string guid;
  for (const uint32_t word : words) AppendHex(guid, word, 8);
  return guid;
}

double IpToNumber(std::string_view address) {
  std::optional<std::string_view> rest = address;
  double parts[4];
  for (double& part : parts) {
    const std::optional<double> number = ParseNumber(TakePart(rest, ".").value_or(""));
    if (!number) return 0;
    part = *number;
  }
  return parts[0] * 2.56 * 2.56 * 2.56 + parts[1] * 2.56 * 2.56 + parts[2] * 2.56 + parts[3] * 0.01;
}

bool IsBetween(double value, double low, double high) {
  return value >= low && value <= high;
}

double ToUnixTime(std::string_view date, std::string_view hourOffset, std::string_view now) {
  std::optional<int64_t> seconds = ParseDate(date);
  if (!seconds) seconds = ParseDate(now);
  return static_cast<double>(seconds.value_or(0)) - ParseNumber(hourOffset).value_or(0) * 3600;
}

}  // namespace vnq
