#include "platform/net/repeated_warning.h"

#include <gtest/gtest.h>
#include <spdlog/sinks/ostream_sink.h>
#include <spdlog/spdlog.h>

#include <sstream>

namespace vnq {
namespace {

class RepeatedWarnings : public ::testing::Test {
 protected:
  RepeatedWarnings() {
    auto sink = std::make_shared<spdlog::sinks::ostream_sink_st>(said_);
    sink->set_pattern("%l %v");
    spdlog::set_default_logger(std::make_shared<spdlog::logger>("test", sink));
  }
  ~RepeatedWarnings() override { spdlog::set_default_logger(before_); }

  std::string Said() { return std::exchange(said_, std::ostringstream()).str(); }
  void AMinutePasses() {
    clock.AdvanceMs(RepeatedWarning::kRoundMs);
    while (loop.Turn(0)) {
    }
  }

  SteppedClock clock{{2026, 3, 4, 5, 6, 7}};
  EventLoop loop{clock};
  RepeatedWarning warning{loop, "port 1: full"};

 private:
  std::shared_ptr<spdlog::logger> before_ = spdlog::default_logger();
  std::ostringstream said_;
};

TEST_F(RepeatedWarnings, TheFirstOccurrenceIsToldAtOnceAndTheOthersAreCounted) {
  warning.Note("from A");
  EXPECT_EQ(Said(), "warning port 1: full: from A\n");
  for (int i = 0; i < 1000; ++i) warning.Note("from B");
  EXPECT_EQ(Said(), "");
  AMinutePasses();
  EXPECT_EQ(Said(), "warning port 1: full: 1000 more within a minute\n");
}

TEST_F(RepeatedWarnings, AMinuteWithoutItIsItsEnd) {
  warning.Note("from A");
  Said();
  AMinutePasses();
  EXPECT_EQ(Said(), "info port 1: full: over, not once in the last minute\n");
  AMinutePasses();
  EXPECT_EQ(Said(), "");
  warning.Note("from C");
  EXPECT_EQ(Said(), "warning port 1: full: from C\n");
}

TEST_F(RepeatedWarnings, ItIsCountedEachMinuteWhileItLasts) {
  warning.Note("from A");
  warning.Note("from A");
  AMinutePasses();
  for (int i = 0; i < 3; ++i) warning.Note("from A");
  AMinutePasses();
  AMinutePasses();
  EXPECT_EQ(Said(),
            "warning port 1: full: from A\n"
            "warning port 1: full: 1 more within a minute\n"
            "warning port 1: full: 3 more within a minute\n"
            "info port 1: full: over, not once in the last minute\n");
}

}  // namespace
}  // namespace vnq
