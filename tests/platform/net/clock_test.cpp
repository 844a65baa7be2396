#include "platform/net/clock.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "tests/harness/stepped_clock.h"

namespace vnq {
namespace {

TEST(LocalTime, PartsAreWrittenWithLeadingZeros) {
  const LocalTime time{2024, 3, 5, 7, 8, 9};
  EXPECT_EQ(time.Date(), "2024-03-05");
  EXPECT_EQ(time.Time(), "07:08:09");
  EXPECT_EQ(time.DateAndTime(), "2024-03-05 07:08:09");
}

TEST(LocalTime, DaysAreTakenOffByTheCalendar) {
  const LocalTime time{2024, 3, 1, 23, 59, 58};
  EXPECT_EQ(time.MinusDays(1).DateAndTime(), "2024-02-29 23:59:58");
  EXPECT_EQ(time.MinusDays(366).Date(), "2023-03-01");
  EXPECT_EQ(time.MinusDays(0).Date(), "2024-03-01");
  EXPECT_EQ(time.MinusDays(-31).Date(), "2024-04-01");
  EXPECT_EQ(time.MinusDays(32767).Date(), "1934-06-15");
}

TEST(SystemClock, GivesThePresentInLocalTime) {
  const SystemClock clock;
  const std::time_t before = std::time(nullptr);
  const LocalTime now = clock.Now();
  const std::time_t after = std::time(nullptr);
  std::tm local{};
  local.tm_year = now.year - 1900;
  local.tm_mon = now.month - 1;
  local.tm_mday = now.day;
  local.tm_hour = now.hour;
  local.tm_min = now.minute;
  local.tm_sec = now.second;
  local.tm_isdst = -1;
  const std::time_t read = std::mktime(&local);
  EXPECT_GE(read, before);
  EXPECT_LE(read, after);
}

TEST(SystemClock, MonotonicTimeNeverGoesBack) {
  const SystemClock clock;
  int64_t last = clock.MonotonicMs();
  for (int i = 0; i < 1000; ++i) {
    const int64_t now = clock.MonotonicMs();
    ASSERT_GE(now, last);
    last = now;
  }
}

TEST(SteppedClock, StandsStillUntilItIsAdvanced) {
  SteppedClock clock({2024, 2, 28, 23, 59, 58});
  EXPECT_EQ(clock.Now().DateAndTime(), "2024-02-28 23:59:58");
  clock.AdvanceMs(1999);
  EXPECT_EQ(clock.Now().DateAndTime(), "2024-02-28 23:59:59");
  clock.AdvanceMs(1);
  EXPECT_EQ(clock.Now().DateAndTime(), "2024-02-29 00:00:00");
  EXPECT_EQ(clock.MonotonicMs(), 2000);
  clock.AdvanceMs(int64_t{86400000} * 366);
  EXPECT_EQ(clock.Now().DateAndTime(), "2025-03-01 00:00:00");
}

}  // namespace
}  // namespace vnq
