#include "platform/net/clock.h"

#include <chrono>
#include <ctime>

#include "support/padded_number.h"

namespace vnq {
namespace {

using std::chrono::sys_days;
using std::chrono::year_month_day;

sys_days DayOf(const LocalTime& time) {
  return year_month_day(std::chrono::year(time.year),
                        std::chrono::month(static_cast<unsigned>(time.month)),
                        std::chrono::day(static_cast<unsigned>(time.day)));
}

void SetDay(LocalTime& time, sys_days day) {
  const year_month_day calendar(day);
  time.year = static_cast<int>(calendar.year());
  time.month = static_cast<int>(static_cast<unsigned>(calendar.month()));
  time.day = static_cast<int>(static_cast<unsigned>(calendar.day()));
}

}  // namespace

std::string LocalTime::Date() const {
  return JoinPadded(year, 4, '-', month, day);
}

std::string LocalTime::Time() const {
  return JoinPadded(hour, 2, ':', minute, second);
}

std::string LocalTime::DateAndTime() const {
  return Date() + " " + Time();
}

LocalTime LocalTime::MinusDays(int days) const {
  LocalTime earlier = *this;
  SetDay(earlier, DayOf(*this) - std::chrono::days(days));
  return earlier;
}

LocalTime SystemClock::Now() const {
  const std::time_t seconds = std::time(nullptr);
  std::tm local{};
  if (localtime_r(&seconds, &local) == nullptr) return {};
  // A leap second reads as the second in front of it.
  const int second = local.tm_sec < 60 ? local.tm_sec : 59;
  return {local.tm_year + 1900, local.tm_mon + 1, local.tm_mday,
          local.tm_hour,        local.tm_min,     second};
}

int64_t SystemClock::MonotonicMs() const {
  const auto now = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

int64_t MonotonicMs(const Clock* clock) {
  return clock ? clock->MonotonicMs() : SystemClock().MonotonicMs();
}

}  // namespace vnq
