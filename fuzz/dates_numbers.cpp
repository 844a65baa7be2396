// Any text as a number, a date, an address.
//
// What was read is within its bounds and reads back from its own written form.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "support/dates.h"
#include "support/ids.h"
#include "support/numbers.h"

namespace {

void Require(bool promise) {
  if (!promise) std::abort();
}

void CheckNumbers(std::string_view text) {
  const auto number = vnq::ParseNumber(text);
  const auto wide = vnq::ParseInt32(text);
  const auto narrow = vnq::ParseInt16(text);
  Require(!wide || number);
  Require(!narrow || (wide && *wide == *narrow));
  if (wide) Require(vnq::ParseInt32(vnq::FormatNumber(int64_t{*wide})) == wide);
  if (wide) Require(std::abs(*number - *wide) <= 0.5);
  if (number && std::isfinite(*number)) {
    Require(vnq::ParseNumber(vnq::FormatNumber(*number)) == number);
  }
  vnq::ParsePrefixNumber(text);
}

void CheckDates(std::string_view text) {
  const auto moment = vnq::ParseDateAndTime(text);
  const std::string date = vnq::FormatAsDate(text), time = vnq::FormatAsTime(text);
  if (!moment) {
    Require(date == text && time == text);
    return;
  }
  Require(moment->month >= 1 && moment->month <= 12 && moment->day >= 1 && moment->day <= 31);
  Require(moment->hour >= 0 && moment->hour <= 23 && moment->minute >= 0 && moment->minute <= 59);
  Require(moment->second >= 0 && moment->second <= 59);
  const auto again = vnq::ParseDateAndTime(date + " " + time);
  Require(again && again->year == moment->year && again->month == moment->month);
  Require(again->day == moment->day && again->second == moment->second);
}

void CheckMoments(std::string_view text) {
  const size_t half = text.size() / 2;
  const double unixTime =
      vnq::ToUnixTime(text.substr(0, half), text.substr(half), "2026-03-04 05:06:07");
  Require(!std::isnan(unixTime));
  const double address = vnq::IpToNumber(text);
  Require(!std::isnan(address) || text.find_first_of("0123456789") != text.npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  CheckNumbers(text);
  CheckDates(text);
  CheckMoments(text);
  return 0;
}
