#include "bench/load/pacing.h"

#include <gtest/gtest.h>

namespace vnq::bench {
namespace {

TEST(Pacer, TheFirstIsDueAtTheStart) {
  Pacer pacer(100, 5000);
  EXPECT_EQ(pacer.NextDueNs(), 5000);
  EXPECT_FALSE(pacer.Take(4999));
  EXPECT_TRUE(pacer.Take(5000));
  EXPECT_FALSE(pacer.Take(5000));
}

TEST(Pacer, KeepsTheRateOverALongTime) {
  Pacer pacer(3, 0);
  int taken = 0;
  for (int64_t now = 0; now < 1000 * kNsPerSecond; now += kNsPerSecond / 7) {
    while (pacer.Take(now)) ++taken;
  }
  EXPECT_NEAR(taken, 3000, 1);
}

TEST(Pacer, AfterAStallAllThatWasDueComesWithItsOwnTime) {
  Pacer pacer(10, 0);
  for (int i = 0; i < 20; ++i) {
    EXPECT_EQ(pacer.NextDueNs(), i * kNsPerSecond / 10);
    EXPECT_TRUE(pacer.Take(2 * kNsPerSecond - 1));
  }
  EXPECT_FALSE(pacer.Take(2 * kNsPerSecond - 1));
}

TEST(Pacer, WaitsUntilTheNextButNeverLong) {
  Pacer pacer(100, 1000 * kNsPerMs);
  EXPECT_EQ(pacer.WaitNs(0), 20 * kNsPerMs);
  EXPECT_EQ(pacer.WaitNs(995 * kNsPerMs), 5 * kNsPerMs);
  EXPECT_EQ(pacer.WaitNs(2000 * kNsPerMs), 0);
}

TEST(TickWatch, TheWaitEndsAtTheFirstRecordOfTheTick) {
  TickWatch ticks;
  ticks.Arrived(1000 * kNsPerMs);
  ticks.Arrived(1004 * kNsPerMs);
  EXPECT_EQ(ticks.WithoutWait(300 * kNsPerMs, 1004 * kNsPerMs), 4 * kNsPerMs);
}

TEST(TickWatch, AMessageThatMissedATickIsChargedTheNextPeriod) {
  TickWatch ticks;
  ticks.Arrived(1000 * kNsPerMs);
  ticks.Arrived(2000 * kNsPerMs);
  EXPECT_EQ(ticks.WithoutWait(900 * kNsPerMs, 2001 * kNsPerMs), 1001 * kNsPerMs);
}

TEST(TickWatch, AMessageOfTheBurstWaitsForTheNextTick) {
  TickWatch ticks;
  ticks.Arrived(1000 * kNsPerMs);
  ticks.Arrived(2003 * kNsPerMs);
  EXPECT_EQ(ticks.WithoutWait(1001 * kNsPerMs, 2005 * kNsPerMs), 2 * kNsPerMs);
}

TEST(TickWatch, WithoutSilenceBetweenThemTicksAreToldApartByTime) {
  TickWatch ticks;
  for (int64_t ms = 0; ms <= 1500; ms += 10) ticks.Arrived(ms * kNsPerMs);
  EXPECT_EQ(ticks.WithoutWait(500 * kNsPerMs, 1500 * kNsPerMs), 540 * kNsPerMs);
}

TEST(TickWatch, WithoutATickThereIsNoWait) {
  const TickWatch ticks;
  EXPECT_EQ(ticks.WithoutWait(100, 350), 250);
}

}  // namespace
}  // namespace vnq::bench
