// What can come in swarms: said once with a count, or so many lines a minute.
#include "platform/net/repeated_warning.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "platform/net/line_quota.h"
#include "platform/net/peer_warnings.h"
#include "tests/harness/lines.h"
#include "tests/harness/said_lines.h"
#include "tests/harness/stepped_clock.h"

namespace vnq {
namespace {

class Warnings : public ::testing::Test {
 protected:
  void AMinutePasses() {
    clock.AdvanceMs(60'000);
    while (loop.Turn(0)) {
    }
  }

  SteppedClock clock{{2026, 3, 4, 5, 6, 7}};
  EventLoop loop{clock};
  LineQuota quota{loop, "log-ins", 2};
  SaidLines said;
};

class RepeatedWarnings : public Warnings {
 protected:
  RepeatedWarning warning{loop, "port 1: full"};
};
class WarningsOfPeers : public Warnings {
 protected:
  void Note(const std::string& peer, int times) {
    for (int i = 0; i < times; ++i) warnings.Note(peer, "wrong");
  }

  PeerWarnings warnings{loop, "refused"};
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

TEST_F(WarningsOfPeers, TheFirstOfEachPeerAreToldAndTheOthersCountedBehindTheMinute) {
  Note("A", 25);
  Note("B", 1);
  EXPECT_EQ(said.Take().size(), 11U);
  AMinutePasses();
  EXPECT_EQ(said.Take(), Lines{"warning: refused from A: 15 more within a minute"});
  AMinutePasses();
  EXPECT_EQ(said.Take(), Lines{}) << "nothing has happened";
  Note("A", 1);
  EXPECT_EQ(said.Take(), Lines{"warning: refused from A: wrong"});
}

TEST_F(WarningsOfPeers, ManyPeersAreToldAndCountedToABound) {
  for (int peer = 1; peer <= 12'000; ++peer) Note(fmt::format("peer{:05}", peer), 2);
  EXPECT_EQ(said.Take().size(), size_t{PeerWarnings::kSaidOfAll});
  Note("peer09000", 5);
  AMinutePasses();
  const Lines lines = said.Take();
  ASSERT_EQ(lines.size(), PeerWarnings::kCountedPeers + 1);
  EXPECT_EQ(lines.front(), "warning: refused from peer09000: 7 more within a minute");
  // All but those that were told, the 7 above and two each of 19.
  EXPECT_EQ(lines.back(),
            fmt::format("warning: refused from other addresses: {} more within a minute",
                        24'000 - PeerWarnings::kSaidOfAll - 2 - 19 * 2));
}

}  // namespace
}  // namespace vnq
