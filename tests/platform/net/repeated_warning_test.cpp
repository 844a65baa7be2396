// What can come in swarms: said once with a count, or so many lines a minute.
#include "platform/net/repeated_warning.h"

#include <gtest/gtest.h>

#include "platform/net/line_quota.h"
#include "tests/harness/lines.h"
#include "tests/harness/said_lines.h"
#include "tests/harness/stepped_clock.h"

namespace vnq {
namespace {

class RepeatedWarnings : public ::testing::Test {
 protected:
  void AMinutePasses() {
    clock.AdvanceMs(RepeatedWarning::kRoundMs);
    while (loop.Turn(0)) {
    }
  }

  SteppedClock clock{{2026, 3, 4, 5, 6, 7}};
  EventLoop loop{clock};
  RepeatedWarning warning{loop, "port 1: full"};
  LineQuota quota{loop, "log-ins", 2};
  SaidLines said;
};

TEST_F(RepeatedWarnings, TheFirstOccurrenceIsToldAtOnceAndTheOthersAreCounted) {
  warning.Note("from A");
  EXPECT_EQ(said.Take(), Lines{"warning: port 1: full: from A"});
  for (int i = 0; i < 1000; ++i) warning.Note("from B");
  EXPECT_EQ(said.Take(), Lines{});
  AMinutePasses();
  EXPECT_EQ(said.Take(), Lines{"warning: port 1: full: 1000 more within a minute"});
}

TEST_F(RepeatedWarnings, AMinuteWithoutItIsItsEnd) {
  warning.Note("from A");
  said.Take();
  AMinutePasses();
  EXPECT_EQ(said.Take(), Lines{"info: port 1: full: over, not once in the last minute"});
  AMinutePasses();
  EXPECT_EQ(said.Take(), Lines{});
  warning.Note("from C");
  EXPECT_EQ(said.Take(), Lines{"warning: port 1: full: from C"});
}

TEST_F(RepeatedWarnings, ItIsCountedEachMinuteWhileItLasts) {
  warning.Note("from A");
  warning.Note("from A");
  AMinutePasses();
  for (int i = 0; i < 3; ++i) warning.Note("from A");
  AMinutePasses();
  AMinutePasses();
  EXPECT_EQ(said.Take(),
            (Lines{"warning: port 1: full: from A", "warning: port 1: full: 1 more within a minute",
                   "warning: port 1: full: 3 more within a minute",
                   "info: port 1: full: over, not once in the last minute"}));
}

TEST_F(RepeatedWarnings, AQuotaLeavesOutWhatGoesBeyondItAndTellsHowMuchThatWas) {
  EXPECT_TRUE(quota.Admits());
  EXPECT_TRUE(quota.Admits());
  for (int i = 0; i < 5; ++i) EXPECT_FALSE(quota.Admits());
  EXPECT_EQ(said.Take(), Lines{});
  AMinutePasses();
  EXPECT_EQ(said.Take(), Lines{"info: log-ins: 5 more within a minute"});
  EXPECT_TRUE(quota.Admits());
  AMinutePasses();
  EXPECT_EQ(said.Take(), Lines{});
}

}  // namespace
}  // namespace vnq
