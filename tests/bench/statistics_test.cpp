#include "bench/load/statistics.h"

#include <gtest/gtest.h>

namespace vnq::bench {
namespace {

TEST(Histogram, WithoutValuesEverythingIsZero) {
  const Histogram histogram;
  EXPECT_EQ(histogram.count(), 0u);
  EXPECT_EQ(histogram.Percentile(50), 0);
  EXPECT_EQ(histogram.min(), 0);
  EXPECT_EQ(histogram.max(), 0);
  EXPECT_EQ(histogram.Mean(), 0);
}

TEST(Histogram, SmallValuesAreExact) {
  Histogram histogram;
  for (int i = 1; i <= 100; ++i) histogram.Add(i);
  EXPECT_EQ(histogram.Percentile(0), 1);
  EXPECT_EQ(histogram.Percentile(1), 1);
  EXPECT_EQ(histogram.Percentile(50), 50);
  EXPECT_EQ(histogram.Percentile(99), 99);
  EXPECT_EQ(histogram.Percentile(100), 100);
  EXPECT_DOUBLE_EQ(histogram.Mean(), 50.5);
}

TEST(Histogram, GreatValuesAreKnownToTwoPercentAndNeverBelow) {
  for (int64_t value = 1; value < int64_t{1} << 60; value = value * 3 + 1) {
    Histogram histogram;
    histogram.Add(value);
    histogram.Add(int64_t{1} << 61);
    const int64_t found = histogram.Percentile(50);
    EXPECT_GE(found, value);
    EXPECT_LE(static_cast<double>(found), static_cast<double>(value) * 1.016);
  }
}

TEST(Histogram, APercentileIsNeverAboveTheGreatestValue) {
  Histogram histogram;
  histogram.Add(1'000'003);
  EXPECT_EQ(histogram.Percentile(50), 1'000'003);
  EXPECT_EQ(histogram.Percentile(100), 1'000'003);
}

TEST(Histogram, OneSlowOfAThousandShowsOnlyBehind99Point9) {
  Histogram histogram;
  for (int i = 0; i < 999; ++i) histogram.Add(10);
  histogram.Add(100);
  EXPECT_EQ(histogram.Percentile(99.9), 10);
  EXPECT_EQ(histogram.Percentile(99.95), 100);
}

TEST(Histogram, ANegativeValueCountsAsZero) {
  Histogram histogram;
  histogram.Add(-5);
  EXPECT_EQ(histogram.min(), 0);
  EXPECT_EQ(histogram.count(), 1u);
}

TEST(Histogram, ClearForgetsEverything) {
  Histogram histogram;
  histogram.Add(7);
  histogram.Clear();
  EXPECT_EQ(histogram.count(), 0u);
  EXPECT_EQ(histogram.max(), 0);
}

}  // namespace
}  // namespace vnq::bench
