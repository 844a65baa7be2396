#include "platform/net/background_work.h"

#include <gtest/gtest.h>

#include <atomic>

#include "platform/net/handler_wait.h"
#include "tests/harness/lines.h"
#include "tests/harness/stepped_clock.h"

namespace vnq {
namespace {

struct BackgroundWorkTest : ::testing::Test {
  // Turns until something is so, five seconds at most.
  template <typename Test>
  bool Until(const Test& isSo) {
    for (int i = 0; i < 500 && !isSo(); ++i) loop.Turn(10);
    return isSo();
  }

  SteppedClock clock{{2026, 3, 4, 5, 6, 7}};
  EventLoop loop{clock};
};

TEST_F(BackgroundWorkTest, HandlerGetsTheResultAndOthersRunMeanwhile) {
  BackgroundWork work(loop);
  std::atomic<bool> mayEnd = false;
  Lines seen;
  loop.StartHandler([&] {
    seen.push_back(work.Do([&mayEnd]() -> std::string {
      while (!mayEnd) std::this_thread::yield();
      return "result";
    }));
  });
  loop.StartHandler([&] {
    seen.push_back("other handler");
    mayEnd = true;
  });
  ASSERT_TRUE(Until([&] { return seen.size() == 2; }));
  EXPECT_EQ(seen, (Lines{"other handler", "result"}));
}

TEST_F(BackgroundWorkTest, JobsAreDoneOneAfterTheOtherEachForItsHandler) {
  BackgroundWork work(loop);
  Lines seen;
  for (const char* name : {"a", "b", "c"}) {
    loop.StartHandler([&, name] { seen.push_back(work.Do([name] { return name; })); });
  }
  ASSERT_TRUE(Until([&] { return seen.size() == 3; }));
  EXPECT_EQ(seen, (Lines{"a", "b", "c"}));
}

TEST_F(BackgroundWorkTest, EndsInTheMiddleOfAJobThatNobodyWaitsForAnyMore) {
  std::atomic<bool> began = false, mayEnd = false;
  {
    BackgroundWork work(loop);
    loop.StartHandler([&] {
      work.Do([&]() -> std::string {
        began = true;
        while (!mayEnd) std::this_thread::yield();
        return "";
      });
    });
    ASSERT_TRUE(Until([&] { return began.load(); }));
    loop.UnwindHandlers();
    mayEnd = true;
  }
  EXPECT_EQ(loop.LiveHandlers(), 0u);
}

TEST_F(BackgroundWorkTest, WaitingHandlerGoesOnAtItsTime) {
  Lines seen;
  loop.StartHandler([&] {
    WaitInHandler(loop, 1000);
    seen.push_back("waited");
  });
  loop.Turn(0);
  clock.AdvanceMs(999);
  while (loop.Turn(0)) {
  }
  EXPECT_EQ(seen, Lines{});
  clock.AdvanceMs(1);
  while (loop.Turn(0)) {
  }
  EXPECT_EQ(seen, Lines{"waited"});
}

TEST_F(BackgroundWorkTest, WaitIsForgottenWithItsHandler) {
  loop.StartHandler([&] { WaitInHandler(loop, 1000); });
  loop.Turn(0);
  loop.UnwindHandlers();
  clock.AdvanceMs(5000);
  EXPECT_FALSE(loop.Turn(0));
}

}  // namespace
}  // namespace vnq
