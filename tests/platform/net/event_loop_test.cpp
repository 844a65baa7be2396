#include "platform/net/event_loop.h"

#include <gtest/gtest.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <new>
#include <string>
#include <vector>

#include "tests/harness/stepped_clock.h"

namespace vnq {
namespace {

class EventLoopTest : public ::testing::Test {
 protected:
  void Pump() {
    while (loop.Turn(0)) {
    }
  }

  SteppedClock clock{{2026, 1, 2, 3, 4, 5}};
  EventLoop loop{clock};
  std::vector<std::string> said;
};

TEST_F(EventLoopTest, HandlersThatBeginWithMuchAreSpreadOverTurns) {
  const size_t bytes = EventLoop::kBytesPerTurn / 2;
  for (const char* name : {"a", "b", "c", "d"}) {
    const bool begins = loop.StartHandler([this, name] { said.push_back(name); }, bytes);
    EXPECT_EQ(begins, *name < 'c') << name;
  }
  EXPECT_TRUE(loop.StartHandler([this] { said.push_back("small"); }, EventLoop::kFewBytes));
  EXPECT_EQ(loop.LiveHandlers(), 5u);
  loop.Turn(0);
  EXPECT_EQ(said, (std::vector<std::string>{"a", "b", "small", "c", "d"}));
}

TEST_F(EventLoopTest, WhatIsReadyRunsBetweenHandlersThatBeginWithMuch) {
  for (int i = 0; i < 6; ++i) {
    loop.StartHandler([this] { said.push_back("large"); }, 2 * EventLoop::kBytesPerTurn);
  }
  for (int turn = 0; turn < 3; ++turn) {
    loop.StartHandler([this] { said.push_back("small"); }, 1);
    loop.Turn(0);
  }
  EXPECT_EQ(said, (std::vector<std::string>{"large", "small", "large", "small", "large", "small",
                                            "large"}));
  Pump();
  EXPECT_EQ(said.size(), 9u);
  EXPECT_EQ(loop.LiveHandlers(), 0u);
}

TEST_F(EventLoopTest, HandlersRunInTheOrderOfTheirStart) {
  for (const char* name : {"a", "b", "c"}) {
    loop.StartHandler([this, name] { said.push_back(name); });
  }
  Pump();
  EXPECT_EQ(said, (std::vector<std::string>{"a", "b", "c"}));
}

TEST_F(EventLoopTest, AYieldLetsEverythingThatIsReadyRunFirst) {
  loop.StartHandler([this] {
    said.push_back("before");
    loop.Yield();
    said.push_back("after");
  });
  loop.StartHandler([this] { said.push_back("other"); });
  loop.Enqueue([this] { said.push_back("step"); });
  Pump();
  EXPECT_EQ(said, (std::vector<std::string>{"before", "other", "step", "after"}));
}

TEST_F(EventLoopTest, WorkIsSettledBeforeEachPollAYieldsTooThatOwesNothing) {
  loop.SetSettle([this] { said.push_back("settled"); }, [] { return false; });
  loop.StartHandler([this] {
    said.push_back("before");
    loop.Yield();
    said.push_back("after");
  });
  loop.Turn(0);
  EXPECT_EQ(said, (std::vector<std::string>{"settled", "before", "settled"}));
  loop.Turn(0);
  loop.SetSettle(nullptr, nullptr);
  loop.Turn(0);
  EXPECT_EQ(said, (std::vector<std::string>{"settled", "before", "settled", "settled", "after"}));
}

TEST_F(EventLoopTest, HandlersThatOweAndYieldInOneTurnAreSettledTogether) {
  int settled = 0;
  loop.SetSettle([&] { ++settled; }, [] { return true; });
  for (int i = 0; i < EventLoop::kMostUnsettledYields; ++i) {
    loop.StartHandler([this] { loop.Yield(); });
  }
  loop.Turn(0);
  EXPECT_EQ(settled, 1) << "in front of the turn";
  loop.Turn(0);
  EXPECT_EQ(settled, 2);
}

TEST_F(EventLoopTest, ManyYieldsInOneTurnAreSettledInBetween) {
  int settled = 0;
  loop.SetSettle([&] { ++settled; }, [] { return true; });
  for (int i = 0; i <= EventLoop::kMostUnsettledYields; ++i) {
    loop.StartHandler([this] { loop.Yield(); });
  }
  loop.Turn(0);
  EXPECT_EQ(settled, 2);
}

TEST_F(EventLoopTest, YieldSettlesWhatIsOwedForLong) {
  int settled = 0;
  loop.SetSettle([&] { ++settled; }, [] { return true; });
  loop.StartHandler([this] {
    clock.AdvanceMs(EventLoop::kLongestUnsettledMs);
    loop.Yield();
  });
  loop.Turn(0);
  EXPECT_EQ(settled, 2);
}

TEST_F(EventLoopTest, StepsThatLetSomethingOutRunBehindTheSettleInOrder) {
  loop.SetSettle([this] { said.push_back("settled"); }, [] { return false; });
  loop.AfterSettle([this] { said.push_back("first"); });
  loop.AfterSettle([this] { said.push_back("second"); });
  EXPECT_TRUE(loop.OwesSettle());
  loop.Turn(0);
  EXPECT_FALSE(loop.OwesSettle());
  EXPECT_EQ(said, (std::vector<std::string>{"settled", "first", "second"}));
}

TEST_F(EventLoopTest, AYieldSeesWhatTheKernelHasByThen) {
  int pipes[2];
  ASSERT_EQ(pipe(pipes), 0);
  struct Reader : EventLoop::Watcher {
    void OnEvents(uint32_t) override {
      char byte;
      ASSERT_EQ(read(descriptor, &byte, 1), 1);
      loop->StartHandler([this] { said->push_back("read"); });
    }
    int descriptor;
    EventLoop* loop;
    std::vector<std::string>* said;
  } reader;
  reader.descriptor = pipes[0];
  reader.loop = &loop;
  reader.said = &said;
  ASSERT_TRUE(loop.Watch(pipes[0], EPOLLIN, &reader));
  loop.StartHandler([&] {
    ASSERT_EQ(write(pipes[1], "x", 1), 1);
    loop.Yield();
    said.push_back("after");
  });
  Pump();
  EXPECT_EQ(said, (std::vector<std::string>{"read", "after"}));
  loop.Unwatch(pipes[0]);
  close(pipes[0]);
  close(pipes[1]);
}

TEST_F(EventLoopTest, HandlersThatYieldSideBySideShareAPollAndGoOnInOrder) {
  for (const char* name : {"a", "b"}) {
    loop.StartHandler([this, name] {
      loop.Yield();
      said.push_back(name);
    });
  }
  loop.StartHandler([this] { loop.RunAfter(0, [this] { said.push_back("polled"); }); });
  Pump();
  EXPECT_EQ(said, (std::vector<std::string>{"polled", "a", "b"}));
}

// How long a turn takes, with nothing that it would wait for.
int64_t TookMs(EventLoop& loop, int waitMs) {
  const auto began = std::chrono::steady_clock::now();
  loop.Turn(waitMs);
  const auto took = std::chrono::steady_clock::now() - began;
  return std::chrono::duration_cast<std::chrono::milliseconds>(took).count();
}

TEST_F(EventLoopTest, BehindATurnThatHasOnlyStoredMoreIsGathered) {
  loop.SetSettle([this] { said.push_back("settled"); }, [] { return true; });
  loop.SetGathering(20);
  EXPECT_GE(TookMs(loop, 1), 20);
  EXPECT_EQ(said, std::vector<std::string>{"settled"}) << "before it sleeps";
}

TEST_F(EventLoopTest, GatheringEndsAtTheNextTimer) {
  loop.SetSettle(nullptr, [] { return true; });
  loop.SetGathering(60'000);
  loop.RunAfter(3, [] {});
  const int64_t tookMs = TookMs(loop, 1);
  EXPECT_GE(tookMs, 3);
  EXPECT_LT(tookMs, 30'000);
}

TEST_F(EventLoopTest, NothingIsGatheredWhereSomebodyMayWait) {
  constexpr int kGatherMs = 60'000;
  const auto isGathered = [this](int waitMs) { return TookMs(loop, waitMs) >= kGatherMs; };
  bool owed = true;
  loop.SetSettle(nullptr, [&] { return owed; });
  loop.SetGathering(kGatherMs);
  loop.NoteLetOut();
  EXPECT_FALSE(isGathered(1)) << "something has left";
  loop.AfterSettle([] {});
  EXPECT_FALSE(isGathered(1)) << "something leaves";
  loop.Enqueue([] {});
  EXPECT_FALSE(isGathered(1)) << "something is ready";
  EXPECT_FALSE(isGathered(0)) << "the caller does not wait";
  clock.AdvanceMs(3 * kGatherMs);
  loop.NoteLetOut();
  loop.Turn(1);
  EXPECT_FALSE(isGathered(1)) << "it comes by itself";
  owed = false;
  EXPECT_FALSE(isGathered(1)) << "nothing was stored";
}

TEST_F(EventLoopTest, ASuspendedHandlerWaitsUntilItIsWoken) {
  EventLoop::Handler* waiting = nullptr;
  loop.StartHandler([&] {
    waiting = loop.CurrentHandler();
    loop.Suspend();
    said.push_back("woken");
  });
  Pump();
  EXPECT_TRUE(said.empty());
  EXPECT_EQ(loop.LiveHandlers(), 1u);
  loop.Wake(waiting);
  Pump();
  EXPECT_EQ(said, std::vector<std::string>{"woken"});
  EXPECT_EQ(loop.LiveHandlers(), 0u);
}

TEST_F(EventLoopTest, ALateTickRunsOnceAndThePeriodDoesNotShift) {
  int ticks = 0;
  loop.StartTimer(1000, [&] { ++ticks; });
  clock.AdvanceMs(999);
  Pump();
  EXPECT_EQ(ticks, 0);
  clock.AdvanceMs(3700);  // at 4,699 ms: four ticks late
  Pump();
  EXPECT_EQ(ticks, 1);
  clock.AdvanceMs(301);  // at 5,000 ms
  Pump();
  EXPECT_EQ(ticks, 2);
}

TEST_F(EventLoopTest, ATickDoesNotWaitForTheOneBefore) {
  int started = 0;
  loop.StartTimer(1000, [&] {
    ++started;
    loop.Suspend();
  });
  for (int i = 0; i < 3; ++i) {
    clock.AdvanceMs(1000);
    Pump();
  }
  EXPECT_EQ(started, 3);
  loop.UnwindHandlers();
}

TEST_F(EventLoopTest, AStoppedTimerRunsNoMore) {
  int ticks = 0;
  const auto timer = loop.StartTimer(1000, [&] { ++ticks; });
  loop.StopTimer(timer);
  clock.AdvanceMs(5000);
  Pump();
  EXPECT_EQ(ticks, 0);
}

TEST_F(EventLoopTest, ThousandsOfHandlersCanWaitAtOnce) {
  constexpr int kHandlers = 4000;
  int ended = 0;
  for (int i = 0; i < kHandlers; ++i) {
    loop.StartHandler([&] {
      loop.Yield();
      loop.Yield();
      ++ended;
    });
  }
  Pump();
  EXPECT_EQ(ended, kHandlers);
}

TEST_F(EventLoopTest, HandlersInsideCatchBlocksDoNotSeeEachOthersExceptions) {
  for (const char* name : {"a", "b"}) {
    loop.StartHandler([this, name] {
      try {
        throw std::string(name);
      } catch (const std::string&) {
        loop.Yield();
        try {
          throw;
        } catch (const std::string& own) {
          said.push_back(own);
        }
      }
    });
  }
  Pump();
  EXPECT_EQ(said, (std::vector<std::string>{"a", "b"}));
}

TEST_F(EventLoopTest, UnwindingRunsTheDestructorsOfWaitingHandlers) {
  struct Owner {
    ~Owner() { said->push_back("gone"); }
    std::vector<std::string>* said;
  };
  loop.StartHandler([this] {
    const Owner owner{&said};
    loop.Suspend();
    said.push_back("never");
  });
  Pump();
  loop.UnwindHandlers();
  EXPECT_EQ(said, std::vector<std::string>{"gone"});
}

// The address sanitizer keeps marks of what a stack held.
TEST_F(EventLoopTest, WhereStacksWereOtherThingsMayBe) {
  constexpr int kStacks = 100;
  for (int i = 0; i < kStacks; ++i) {
    loop.StartHandler([this] {
      char large[8192];
      memset(large, 'x', sizeof large);
      loop.Yield();
      said.emplace_back(large, 1);
    });
  }
  Pump();
  EXPECT_EQ(said.size(), size_t{kStacks});
  constexpr size_t kBytes = 1 << 20;
  std::vector<void*> others;
  others.reserve(kStacks);
  for (int i = 0; i < kStacks; ++i) {
    others.push_back(mmap(nullptr, kBytes, PROT_READ | PROT_WRITE,
                          MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
    ASSERT_NE(others.back(), MAP_FAILED);
    memset(others.back(), 'y', kBytes);
  }
  for (void* other : others) munmap(other, kBytes);
}

TEST_F(EventLoopTest, WithoutHandlersOnlyPlainStepsRun) {
  loop.StartHandler([this] { said.push_back("handler"); });
  loop.Enqueue([this] { said.push_back("step"); });
  loop.TurnWithoutHandlers(0);
  EXPECT_EQ(said, std::vector<std::string>{"step"});
}

TEST_F(EventLoopTest, WhatFindsNoMemoryIsLostAloneAndTold) {
  int told = 0;
  loop.SetOutOfMemory([&] { ++told; });
  loop.StartHandler([] { throw std::bad_alloc(); });
  loop.StartHandler([this] {
    loop.Yield();
    said.push_back("handler");
    throw std::bad_alloc();
  });
  loop.Enqueue([] { throw std::bad_alloc(); });
  loop.Enqueue([this] { said.push_back("step"); });
  loop.RunAfter(0, [] { throw std::bad_alloc(); });
  Pump();
  EXPECT_EQ(told, 4);
  EXPECT_EQ(said, (std::vector<std::string>{"step", "handler"}));
  EXPECT_EQ(loop.LiveHandlers(), 0u);
}

TEST_F(EventLoopTest, AHandlerWithoutMemoryForItsStackStartsWhenThereIsSome) {
  rlimit before{};
  getrlimit(RLIMIT_AS, &before);
  loop.StartHandler([this] { loop.Suspend(); });
  Pump();
  loop.StartHandler([this] { said.push_back("started"); });
  const rlimit none{1, before.rlim_max};
  setrlimit(RLIMIT_AS, &none);
  for (int i = 0; i < 3; ++i) loop.Turn(0);
  setrlimit(RLIMIT_AS, &before);
  EXPECT_EQ(said, std::vector<std::string>{});
  Pump();
  EXPECT_EQ(said, std::vector<std::string>{"started"});
  loop.UnwindHandlers();
}

}  // namespace
}  // namespace vnq
