#include "support/numbers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

namespace vnq {
namespace {

TEST(Numbers, PlainIntegersAreRead) {
  EXPECT_EQ(ParseInt32("0"), 0);
  EXPECT_EQ(ParseInt32("-17"), -17);
  EXPECT_EQ(ParseInt32("+17"), 17);
  EXPECT_EQ(ParseInt32("007"), 7);
}

TEST(Numbers, BlanksAtBothEndsAreAllowed) {
  EXPECT_EQ(ParseInt16("  12 \t"), 12);
  EXPECT_EQ(ParseNumber("\r\n-2.5 "), -2.5);
}

TEST(Numbers, FractionsAndExponentsAreRead) {
  EXPECT_EQ(ParseNumber(".5"), 0.5);
  EXPECT_EQ(ParseNumber("5."), 5);
  EXPECT_EQ(ParseNumber("1.5e3"), 1500);
  EXPECT_EQ(ParseNumber("1.5E-3"), 0.0015);
  EXPECT_EQ(ParseInt16("1e3"), 1000);
}

TEST(Numbers, FractionIsRoundedHalfToEven) {
  EXPECT_EQ(ParseInt32("0.5"), 0);
  EXPECT_EQ(ParseInt32("1.5"), 2);
  EXPECT_EQ(ParseInt32("2.5"), 2);
  EXPECT_EQ(ParseInt32("-0.5"), 0);
  EXPECT_EQ(ParseInt32("-1.5"), -2);
  EXPECT_EQ(ParseInt32("-2.5"), -2);
  EXPECT_EQ(ParseInt32("2.4999"), 2);
  EXPECT_EQ(ParseInt32("2.5001"), 3);
}

TEST(Numbers, AnythingElseIsNoNumber) {
  for (const char* text :
       {"",   " ",  "abc", "1a",   "a1",  "1 2",   "--1", "+-1", "- 1",  ".", "-.",
        "e5", "1e", "1e+", "0x10", "1,5", "1.2.3", "inf", "nan", "&H10", "１"}) {
    EXPECT_EQ(ParseInt16(text), std::nullopt) << text;
    EXPECT_EQ(ParseInt32(text), std::nullopt) << text;
    EXPECT_EQ(ParseNumber(text), std::nullopt) << text;
  }
}

TEST(Numbers, NulInsideIsNoNumber) {
  EXPECT_EQ(ParseInt32(std::string_view("1\0", 2)), std::nullopt);
}

TEST(Numbers, ValuesOutsideTheRangeAreNoIntegers) {
  EXPECT_EQ(ParseInt16("32767"), 32767);
  EXPECT_EQ(ParseInt16("32768"), std::nullopt);
  EXPECT_EQ(ParseInt16("-32768"), -32768);
  EXPECT_EQ(ParseInt16("-32769"), std::nullopt);
  EXPECT_EQ(ParseInt16("32767.5"), std::nullopt);
  EXPECT_EQ(ParseInt16("32767.4"), 32767);
  EXPECT_EQ(ParseInt16("-32768.5"), -32768);
  EXPECT_EQ(ParseInt32("2147483647"), 2147483647);
  EXPECT_EQ(ParseInt32("2147483648"), std::nullopt);
  EXPECT_EQ(ParseInt32("-2147483648"), std::numeric_limits<int32_t>::min());
  EXPECT_EQ(ParseInt32("99999999999999999999999999"), std::nullopt);
}

TEST(Numbers, OverflowIsNoNumberAndUnderflowIsZero) {
  EXPECT_EQ(ParseNumber("1e400"), std::nullopt);
  EXPECT_EQ(ParseNumber("-1e400"), std::nullopt);
  EXPECT_EQ(ParseNumber("1e99999999999999999999"), std::nullopt);
  EXPECT_EQ(ParseNumber("1e-400"), 0);
  EXPECT_EQ(ParseNumber("1e-99999999999999999999"), 0);
  EXPECT_EQ(ParseNumber("0e99999999999999999999"), 0);
  EXPECT_EQ(ParseNumber("0." + std::string(400, '0') + "1"), 0);
  EXPECT_EQ(ParseNumber("0." + std::string(400, '0') + "1e401"), 1);
  EXPECT_EQ(ParseNumber("1" + std::string(400, '0')), std::nullopt);
}

TEST(Numbers, PrefixNumberTakesWhatTheTextBeginsWith) {
  EXPECT_EQ(ParsePrefixNumber("12abc"), 12);
  EXPECT_EQ(ParsePrefixNumber(" -3.5xyz"), -3.5);
  EXPECT_EQ(ParsePrefixNumber("1e5"), 100000);
  EXPECT_EQ(ParsePrefixNumber("1e"), 1);
  EXPECT_EQ(ParsePrefixNumber("1.2.3"), 1.2);
}

TEST(Numbers, PrefixNumberIsZeroWhereThereIsNone) {
  EXPECT_EQ(ParsePrefixNumber(""), 0);
  EXPECT_EQ(ParsePrefixNumber("abc"), 0);
  EXPECT_EQ(ParsePrefixNumber("-"), 0);
  EXPECT_EQ(ParsePrefixNumber("1e400"), 0);
}

TEST(Numbers, IntegersAreWrittenInDecimal) {
  EXPECT_EQ(FormatNumber(int64_t{0}), "0");
  EXPECT_EQ(FormatNumber(int64_t{-15}), "-15");
  EXPECT_EQ(FormatNumber(std::numeric_limits<int64_t>::min()), "-9223372036854775808");
}

TEST(Numbers, DoublesAreWrittenInTheirShortestForm) {
  EXPECT_EQ(FormatNumber(16.777216), "16.777216");
  EXPECT_EQ(FormatNumber(3.0), "3");
  EXPECT_EQ(FormatNumber(-0.0), "0");
  EXPECT_EQ(FormatNumber(0.1), "0.1");
  EXPECT_EQ(FormatNumber(100000.0), "100000");
}

TEST(Numbers, WhatIsWrittenReadsBackAsTheSameDouble) {
  std::mt19937_64 random(1);
  for (int i = 0; i < 20000; ++i) {
    const uint64_t bits = random();
    double value = 0;
    std::memcpy(&value, &bits, sizeof value);
    if (!std::isfinite(value)) continue;
    EXPECT_EQ(ParseNumber(FormatNumber(value)), value);
  }
}

}  // namespace
}  // namespace vnq
