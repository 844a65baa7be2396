#include "support/dates.h"

#include <charconv>

#include "support/padded_number.h"

namespace vnq {
namespace {

// Takes a number of at most `maxDigits` digits off the front of `rest`.
bool TakeNumber(std::string_view& rest, int maxDigits, int& number) {
  size_t digits = 0;
  while (digits < rest.size() && static_cast<int>(digits) < maxDigits && rest[digits] >= '0' &&
         rest[digits] <= '9') {
    ++digits;
  }
  if (digits == 0) return false;
  std::from_chars(rest.data(), rest.data() + digits, number);
  rest.remove_prefix(digits);
  return true;
}

bool TakeMark(std::string_view& rest, std::string_view marks) {
  if (rest.empty() || marks.find(rest.front()) == std::string_view::npos) return false;
  rest.remove_prefix(1);
  return true;
}

int DaysOfMonth(int year, int month) {
  static constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
  return month == 2 && leap ? 29 : kDays[month - 1];
}

bool TakeDate(std::string_view& rest, DateAndTime& moment) {
  return TakeNumber(rest, 4, moment.year) && TakeMark(rest, "-/") &&
         TakeNumber(rest, 2, moment.month) && TakeMark(rest, "-/") &&
         TakeNumber(rest, 2, moment.day) && moment.year >= 100 && moment.month >= 1 &&
         moment.month <= 12 && moment.day >= 1 &&
         moment.day <= DaysOfMonth(moment.year, moment.month);
}

bool TakeTime(std::string_view& rest, DateAndTime& moment) {
  if (!TakeNumber(rest, 2, moment.hour) || !TakeMark(rest, ":") ||
      !TakeNumber(rest, 2, moment.minute)) {
    return false;
  }
  if (TakeMark(rest, ":") && !TakeNumber(rest, 2, moment.second)) return false;
  return moment.hour < 24 && moment.minute < 60 && moment.second < 60;
}

std::string_view TrimBlanks(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

}  // namespace

std::optional<DateAndTime> ParseDateAndTime(std::string_view text) {
  const std::string_view trimmed = TrimBlanks(text);
  DateAndTime moment;
  std::string_view rest = trimmed;
  if (TakeDate(rest, moment)) {
    if (rest.empty()) return moment;
    if (!TakeMark(rest, " T")) return std::nullopt;
    rest = TrimBlanks(rest);
  } else {
    moment = {};
    rest = trimmed;
  }
  if (!TakeTime(rest, moment) || !rest.empty()) return std::nullopt;
  return moment;
}

std::string FormatAsDate(std::string_view text) {
  const auto moment = ParseDateAndTime(text);
  if (!moment) return std::string(text);
  return JoinPadded(moment->year, 4, '-', moment->month, moment->day);
}

std::string FormatAsTime(std::string_view text) {
  const auto moment = ParseDateAndTime(text);
  if (!moment) return std::string(text);
  return JoinPadded(moment->hour, 2, ':', moment->minute, moment->second);
}

}  // namespace vnq
