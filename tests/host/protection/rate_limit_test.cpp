#include "host/protection/rate_limit.h"

#include <gtest/gtest.h>

namespace vnq {
namespace {

constexpr Rate kTwoASecond{.count = 2, .periodMs = 1000, .holds = 20};

TEST(Allowance, IsFullAtFirstAndFillsUpAgain) {
  Allowance allowance;
  EXPECT_TRUE(allowance.Take(kTwoASecond, 5000, 20));
  EXPECT_FALSE(allowance.Take(kTwoASecond, 5000, 1));
  EXPECT_FALSE(allowance.Take(kTwoASecond, 5499, 1));
  EXPECT_TRUE(allowance.Take(kTwoASecond, 5500, 1));
  EXPECT_FALSE(allowance.Take(kTwoASecond, 5500, 1));
}

TEST(Allowance, HoldsNoMoreAfterALongRest) {
  Allowance allowance;
  EXPECT_TRUE(allowance.Take(kTwoASecond, 0, 1));
  EXPECT_FALSE(allowance.Take(kTwoASecond, 1'000'000, 21));
  EXPECT_TRUE(allowance.Take(kTwoASecond, 1'000'000, 20));
}

TEST(Allowance, WhatWasRefusedCostsNothing) {
  Allowance allowance;
  EXPECT_FALSE(allowance.Take(kTwoASecond, 0, 21));
  EXPECT_TRUE(allowance.Take(kTwoASecond, 0, 20));
}

TEST(RecentTable, KeepsTheMostRecentlyUsed) {
  RecentTable<int> table;
  table["first"] = 1;
  table["second"] = 2;
  for (size_t i = 2; i < RecentTable<int>::kMost; ++i) table[std::to_string(i)] = 3;
  EXPECT_EQ(table["first"], 1);
  table["one more"] = 4;
  EXPECT_EQ(table.size(), RecentTable<int>::kMost);
  EXPECT_EQ(table["first"], 1);
  EXPECT_EQ(table["second"], 0);
}

}  // namespace
}  // namespace vnq
