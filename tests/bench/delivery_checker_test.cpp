#include "bench/load/delivery_checker.h"

#include <gtest/gtest.h>

namespace vnq::bench {
namespace {

TEST(DeliveryChecker, EverythingOnceIsComplete) {
  DeliveryChecker checker(2);
  const uint64_t message = checker.Add(77);
  EXPECT_EQ(checker.DueNs(message), 77);
  EXPECT_TRUE(checker.Delivered(message, 0));
  EXPECT_FALSE(checker.FullyDelivered(message));
  EXPECT_TRUE(checker.Delivered(message, 1));
  EXPECT_TRUE(checker.FullyDelivered(message));
  EXPECT_FALSE(checker.Complete());
  EXPECT_TRUE(checker.Receipted(message));
  EXPECT_TRUE(checker.Complete());
  EXPECT_EQ(checker.Counts().Total(), 0u);
}

TEST(DeliveryChecker, ACopyThatDoesNotComeIsLost) {
  DeliveryChecker checker(3);
  const uint64_t message = checker.Add(0);
  checker.Delivered(message, 1);
  checker.Receipted(message);
  EXPECT_EQ(checker.Counts().lostDeliveries, 2u);
  EXPECT_EQ(checker.Counts().lostReceipts, 0u);
}

TEST(DeliveryChecker, ADoubledCopyDoesNotHideALostOne) {
  DeliveryChecker checker(2);
  const uint64_t message = checker.Add(0);
  EXPECT_TRUE(checker.Delivered(message, 0));
  EXPECT_FALSE(checker.Delivered(message, 0));
  EXPECT_FALSE(checker.FullyDelivered(message));
  EXPECT_EQ(checker.Counts().doubledDeliveries, 1u);
  EXPECT_EQ(checker.Counts().lostDeliveries, 1u);
}

TEST(DeliveryChecker, AMissingReceiptIsLostAndASecondOneIsDoubled) {
  DeliveryChecker checker(1);
  const uint64_t first = checker.Add(0);
  checker.Add(0);
  EXPECT_TRUE(checker.Receipted(first));
  EXPECT_FALSE(checker.Receipted(first));
  EXPECT_EQ(checker.Counts().doubledReceipts, 1u);
  EXPECT_EQ(checker.Counts().lostReceipts, 1u);
}

TEST(DeliveryChecker, WithoutReceiptsNoneIsMissed) {
  DeliveryChecker checker(1, false);
  checker.Delivered(checker.Add(0), 0);
  EXPECT_TRUE(checker.Complete());
  EXPECT_EQ(checker.Counts().Total(), 0u);
}

TEST(DeliveryChecker, AnAlteredRecordFailsTheRunAndIsShown) {
  DeliveryChecker checker(1);
  checker.Altered(".+message|junk");
  EXPECT_EQ(checker.Counts().altered, 1u);
  EXPECT_EQ(checker.examples(), std::vector<std::string>{".+message|junk"});
}

TEST(DeliveryChecker, OnlyAddedMessagesAreKnown) {
  DeliveryChecker checker(1);
  EXPECT_FALSE(checker.Known(0));
  checker.Add(0);
  EXPECT_TRUE(checker.Known(0));
  EXPECT_FALSE(checker.Known(1));
}

}  // namespace
}  // namespace vnq::bench
