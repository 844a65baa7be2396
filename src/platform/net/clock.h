// Time as the server sees it: passed in, so that tests step it.
#pragma once

#include <cstdint>
#include <string>

namespace vnq {

/// A moment in local time, to the second.
struct LocalTime {
  int year = 1970, month = 1, day = 1, hour = 0, minute = 0, second = 0;

  std::string Date() const;         ///< "YYYY-MM-DD"
  std::string Time() const;         ///< "hh:mm:ss", 24 hours
  std::string DateAndTime() const;  ///< "YYYY-MM-DD hh:mm:ss"

  /// The same date moved back by whole days (the Gregorian calendar); the time of day stays.
  LocalTime MinusDays(int days) const;
};

class Clock {
 public:
  virtual ~Clock() = default;

  /// Wall-clock time in the machine's time zone.
  virtual LocalTime Now() const = 0;

  /// Milliseconds that never go back, from an arbitrary start.
  virtual int64_t MonotonicMs() const = 0;
};

/// The machine's clock.
class SystemClock : public Clock {
 public:
  LocalTime Now() const override;
  int64_t MonotonicMs() const override;
};

/// The clock's monotonic milliseconds; the machine's when it is null.
int64_t MonotonicMs(const Clock* clock);

}  // namespace vnq
