// Dates and times as they stand in text columns.
//
//   date      = "YYYY-MM-DD" | "YYYY/MM/DD"     month and day of one or two digits
//   time      = "hh:mm" [ ":ss" ]
//   date-time = date [ blank time ] | time
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vnq {

struct DateAndTime {
  int year = 1899, month = 12, day = 30;  // the day that a bare time of day belongs to
  int hour = 0, minute = 0, second = 0;
};

/// The moment that a text names; nothing when it names none (a 30th of February included).
std::optional<DateAndTime> ParseDateAndTime(std::string_view text);

/// The text in the form "YYYY-MM-DD"; a text that names no moment stays as it is, the empty text
/// included.
std::string FormatAsDate(std::string_view text);

/// The text in the form "hh:mm:ss"; a text that names no moment stays as it is.
std::string FormatAsTime(std::string_view text);

}  // namespace vnq
