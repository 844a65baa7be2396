#include "support/ids.h"

#include <gtest/gtest.h>

#include <set>

#include "support/numbers.h"

namespace vnq {
namespace {

TEST(NewGuidString, Is32UpperCaseDigitsOfVersion4) {
  for (int i = 0; i < 200; ++i) {
    const std::string guid = NewGuidString();
    ASSERT_EQ(guid.size(), 32U);
    ASSERT_EQ(guid.find_first_not_of("0123456789ABCDEF"), guid.npos) << guid;
    ASSERT_EQ(guid[12], '4') << guid;
    ASSERT_NE(std::string("89AB").find(guid[16]), std::string::npos) << guid;
  }
}

TEST(NewGuidString, NeverComesTwice) {
  std::set<std::string> guids;
  for (int i = 0; i < 1000; ++i) guids.insert(NewGuidString());
  EXPECT_EQ(guids.size(), 1000U);
}

TEST(IpToNumber, FirstPartWeighsMost) {
  EXPECT_DOUBLE_EQ(IpToNumber("1.0.0.0"), 16.777216);
  EXPECT_EQ(FormatNumber(IpToNumber("1.0.0.0")),
            "16.777216000000003");  // 2.56 is no binary fraction
  EXPECT_EQ(IpToNumber("0.0.0.0"), 0);
  EXPECT_EQ(IpToNumber("0.0.0.1"), 0.01);
}

TEST(IpToNumber, IsComputedFromLeftToRight) {
  const double a = 192, b = 168, c = 3, d = 77;
  EXPECT_EQ(IpToNumber("192.168.3.77"),
            ((((a * 2.56) * 2.56) * 2.56 + (b * 2.56) * 2.56) + c * 2.56) + d * 0.01);
}

TEST(IpToNumber, OrderOfAddressesIsNotKept) {
  EXPECT_GT(IpToNumber("10.0.255.0"), IpToNumber("10.1.0.0"));
}

TEST(IpToNumber, MalformedAddressIsZero) {
  for (const char* address : {"", "1", "1.2.3", "1.2.3.", "1.2..4", "a.b.c.d", "1.2.3.x", "..."}) {
    EXPECT_EQ(IpToNumber(address), 0) << address;
  }
}

TEST(IpToNumber, PartsAreNumbersAsElsewhere) {
  EXPECT_EQ(IpToNumber(" 1 .2.3.4 "), IpToNumber("1.2.3.4"));
  EXPECT_EQ(IpToNumber("1.2.3.4.5"), IpToNumber("1.2.3.4"));
}

TEST(IsBetween, LimitsBelongToTheRange) {
  EXPECT_TRUE(IsBetween(1, 1, 2));
  EXPECT_TRUE(IsBetween(2, 1, 2));
  EXPECT_FALSE(IsBetween(0.99, 1, 2));
  EXPECT_FALSE(IsBetween(2.01, 1, 2));
  EXPECT_FALSE(IsBetween(1.5, 2, 1));
}

TEST(ToUnixTime, LocalTimeAndOffsetGiveUtc) {
  EXPECT_EQ(ToUnixTime("1970-1-1 8:00:00", "8", ""), 0);
  EXPECT_EQ(ToUnixTime("2000-02-29 12:30:15", "-1", ""), 951831015);
  EXPECT_EQ(ToUnixTime("1969-12-31 23:59:59", "0", ""), -1);
  EXPECT_EQ(ToUnixTime("1970-1-1 5:30:00", "5.5", ""), 0);
}

TEST(ToUnixTime, TimeAndSecondsMayBeMissing) {
  EXPECT_EQ(ToUnixTime("1970-01-02", "0", ""), 86400);
  EXPECT_EQ(ToUnixTime("1970/1/1 0:01", "0", ""), 60);
}

TEST(ToUnixTime, WhatIsNoDateMeansNow) {
  for (const char* date :
       {"", "soon", "2001-02-29", "2001-13-01", "2001-1-1 24:00:00", "2001-1-1 1:60:00", "1-1-1970",
        "1970-1-1-1", "1970-1", "1970-1-1 1:2:3:4", "1970-1-1 1:2:3 x"}) {
    EXPECT_EQ(ToUnixTime(date, "0", "1970-01-01 00:00:07"), 7) << date;
  }
}

TEST(ToUnixTime, OffsetThatIsNoNumberMeansNone) {
  EXPECT_EQ(ToUnixTime("1970-1-1", "", ""), 0);
  EXPECT_EQ(ToUnixTime("1970-1-1", "east", ""), 0);
}

TEST(ArrayHasBounds, TellsAnArrayThatWasNeverGivenASize) {
  EXPECT_FALSE(ArrayHasBounds(std::optional<std::vector<int>>()));
  EXPECT_TRUE(ArrayHasBounds(std::optional<std::vector<int>>(std::vector<int>{})));
  EXPECT_TRUE(ArrayHasBounds(std::optional<std::vector<int>>(std::vector<int>{1, 2})));
}

}  // namespace
}  // namespace vnq
