// A clock that a test steps.
#pragma once

#include <cstdint>

#include "platform/net/clock.h"

namespace vnq {

/// A clock that stands still until it is told to advance.
class SteppedClock : public Clock {
 public:
  explicit SteppedClock(LocalTime start) : start_(start) {}

  LocalTime Now() const override {
    const int64_t seconds =
        (start_.hour * 60 + start_.minute) * 60 + start_.second + elapsedMs_ / 1000;
    LocalTime now = start_.MinusDays(-static_cast<int>(seconds / 86400));
    const int ofDay = static_cast<int>(seconds % 86400);
    now.hour = ofDay / 3600;
    now.minute = ofDay / 60 % 60;
    now.second = ofDay % 60;
    return now;
  }
  int64_t MonotonicMs() const override { return elapsedMs_; }

  void AdvanceMs(int64_t ms) { elapsedMs_ += ms; }

  /// Somebody sets the date and the time of the machine; how long things take is not touched.
  void SetDate(LocalTime date) {
    start_ = date;
    start_.hour = start_.minute = start_.second = 0;
  }

 private:
  LocalTime start_;
  int64_t elapsedMs_ = 0;
};

}  // namespace vnq
