#include "platform/system/memory.h"

#include <gtest/gtest.h>

#include <fstream>
#include <memory>
#include <string>
#include <vector>

namespace vnq {
namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kOwnAllocator = false;  // the sanitizer's keeps what is freed
#else
constexpr bool kOwnAllocator = true;
#endif

size_t ResidentMegabytes() {
  std::ifstream status("/proc/self/statm");
  size_t size = 0, resident = 0;
  status >> size >> resident;
  return resident * 4096 / (1024 * 1024);
}

TEST(Memory, WhatWasFreedInTheMiddleOfTheHeapGoesBackToTheSystem) {
  if (!kOwnAllocator) GTEST_SKIP();
  GiveBackFreeMemory();
  const size_t before = ResidentMegabytes();
  {
    std::vector<std::unique_ptr<std::string>> storm;
    for (int i = 0; i < 100'000; ++i) storm.push_back(std::make_unique<std::string>(1000, 'a'));
    EXPECT_GE(ResidentMegabytes(), before + 90);
  }
  const auto stays = std::make_unique<std::string>(1000, 'a');
  GiveBackFreeMemory();
  EXPECT_LE(ResidentMegabytes(), before + 15);
}

TEST(Memory, TheReserveIsGivenUpOnceAndThenAllocationsFail) {
  if (!kOwnAllocator) GTEST_SKIP();
  const std::new_handler before = std::get_new_handler();
  HoldMemoryInReserve();
  const std::new_handler giveUp = std::get_new_handler();
  ASSERT_NE(giveUp, nullptr);
  EXPECT_NO_THROW(giveUp());
  EXPECT_THROW(giveUp(), std::bad_alloc);
  HoldMemoryInReserve();
  EXPECT_NO_THROW(giveUp());
  std::set_new_handler(before);
}

}  // namespace
}  // namespace vnq
