#include "host/values/fields.h"

#include <gtest/gtest.h>

#include "host/values/skipped.h"
#include "tests/harness/lines.h"

namespace vnq {
namespace {

TEST(SplitText, EverySeparatorEndsAnElement) {
  EXPECT_EQ(SplitText("a,b", ","), (Lines{"a", "b"}));
  EXPECT_EQ(SplitText(",a,,", ","), (Lines{"", "a", "", ""}));
  EXPECT_EQ(SplitText("a", ","), (Lines{"a"}));
}

TEST(SplitText, TheEmptyTextHasNoElement) {
  EXPECT_TRUE(SplitText("", ",").empty());
}

TEST(SplitText, SeparatorsOfSeveralCharactersDoNotOverlap) {
  EXPECT_EQ(SplitText("a.+b.+", ".+"), (Lines{"a", "b", ""}));
  EXPECT_EQ(SplitText("aaa", "aa"), (Lines{"", "a"}));
}

TEST(Fields, ElementZeroIsTheCommandAndTheHashIsAnElement) {
  Fields fields = Fields::Split(".+y|1||#");
  EXPECT_EQ(fields.size(), 4U);
  EXPECT_EQ(fields.last(), 3);
  EXPECT_EQ(fields[0].text(), ".+y");
  EXPECT_EQ(fields[2].text(), "");
  EXPECT_TRUE(fields[2].ok());
  EXPECT_EQ(fields[3].text(), "#");
}

TEST(Fields, BeyondTheEndFails) {
  EXPECT_FALSE(Fields::Split("a|b")[2].ok());
  EXPECT_FALSE(Fields::Split("")[0].ok());
  EXPECT_EQ(Fields::Split("").last(), -1);
}

TEST(Fields, WhatOneStepChangesTheNextReads) {
  Fields fields = Fields::Split("a|b");
  EXPECT_TRUE(fields.Set(1, "c"));
  EXPECT_EQ(fields[1].text(), "c");
  EXPECT_TRUE(fields.Set(1, Expr::Null()));
  EXPECT_EQ(fields[1].text(), "");
  EXPECT_FALSE(fields[1].IsNull());
}

TEST(Fields, ASkippedSetChangesNothingAndIsCounted) {
  uint64_t before = SkippedStatements();
  Fields fields = Fields::Split("a|b");
  EXPECT_FALSE(fields.Set(2, "c"));
  EXPECT_FALSE(fields.Set(1, Expr::Failed()));
  EXPECT_EQ(fields.size(), 2U);
  EXPECT_EQ(fields[1].text(), "b");
  EXPECT_EQ(SkippedStatements() - before, 2U);
}

TEST(Fields, ResizeKeepsWhatItHoldsAndAddsEmptyElements) {
  Fields fields = Fields::Split("a|b|c");
  fields.Resize(5);
  EXPECT_EQ(fields[2].text(), "c");
  EXPECT_EQ(fields[4].text(), "");
  EXPECT_TRUE(fields[4].ok());
  fields.Resize(1);
  EXPECT_FALSE(fields[1].ok());
}

TEST(Fields, OfAFailedValueThereAreNoneAndTheSplitIsCounted) {
  uint64_t before = SkippedStatements();
  EXPECT_EQ(Fields::Of("a:b", ":").size(), 2U);
  EXPECT_EQ(SplitField("a,b,", ","), (std::vector<std::string>{"a", "b", ""}));
  EXPECT_EQ(SplitField(Expr::Null(), ","), std::vector<std::string>{});
  EXPECT_EQ(SkippedStatements(), before);
  EXPECT_EQ(Fields::Of(Expr::Failed()).last(), -1);
  EXPECT_EQ(SplitField(Expr::Failed(), ","), std::vector<std::string>{});
  EXPECT_EQ(SkippedStatements() - before, 2U);
}

}  // namespace
}  // namespace vnq
