#include "host/values/expr.h"

#include <gtest/gtest.h>

#include "host/values/skipped.h"

namespace vnq {
namespace {

TEST(Expr, DefaultIsFailedAndHoldsNoText) {
  Expr failed;
  EXPECT_FALSE(failed.ok());
  EXPECT_FALSE(failed.IsNull());
  EXPECT_EQ(OrEmpty(failed), "");
}

TEST(Expr, NullIsAValueOfItsOwn) {
  EXPECT_TRUE(Expr::Null().ok());
  EXPECT_TRUE(Expr::Null().IsNull());
  EXPECT_FALSE(Expr("").IsNull());
}

TEST(Expr, NumbersTravelAsDecimalText) {
  EXPECT_EQ(Expr(-12).text(), "-12");
  EXPECT_EQ(Expr(int64_t{9223372036854775807}).text(), "9223372036854775807");
}

TEST(Join, PartsBecomeOneText) {
  EXPECT_EQ(Join(".+a|", Expr("b"), "|", 7).text(), ".+a|b|7");
  EXPECT_EQ(Join(std::string("a\0b", 3), "c").text(), std::string("a\0bc", 4));
}

TEST(Join, NullIsTheEmptyText) {
  EXPECT_EQ(Join("a", Expr::Null(), "b").text(), "ab");
  EXPECT_FALSE(Join(Expr::Null()).IsNull());
}

TEST(Join, AFailedPartFailsTheWhole) {
  Expr joined = Join("a", Expr::Failed(), "b");
  EXPECT_FALSE(joined.ok());
  EXPECT_EQ(OrEmpty(joined), "");
}

TEST(NumbersOfExpr, NullAndFailedAreNoNumbers) {
  for (const Expr& value : {Expr::Null(), Expr::Failed(), Expr(""), Expr("x")}) {
    EXPECT_EQ(ToInt16(value), std::nullopt);
    EXPECT_EQ(ToInt32(value), std::nullopt);
    EXPECT_EQ(ToNumber(value), std::nullopt);
  }
}

TEST(NumbersOfExpr, RangeEndsAreTakenAndWhatIsBeyondIsNot) {
  EXPECT_EQ(ToInt16("32767"), 32767);
  EXPECT_EQ(ToInt16("32768"), std::nullopt);
  EXPECT_EQ(ToInt32(" -2147483648 "), INT32_MIN);
  EXPECT_EQ(ToInt32("2147483648"), std::nullopt);
}

TEST(NumbersOfExpr, PrefixNumberFailsOnlyForAFailedValue) {
  EXPECT_EQ(PrefixNumber("12ab"), 12);
  EXPECT_EQ(PrefixNumber("ab"), 0);
  EXPECT_EQ(PrefixNumber(Expr::Null()), 0);
  EXPECT_EQ(PrefixNumber(Expr::Failed()), std::nullopt);
}

TEST(Plus, AddsAndKeepsNull) {
  EXPECT_EQ(Plus("41", 1).text(), "42");
  EXPECT_TRUE(Plus(Expr::Null(), 1).IsNull());
  EXPECT_FALSE(Plus("x", 1).ok());
  EXPECT_FALSE(Plus(Expr::Failed(), 1).ok());
}

TEST(TrimOfExpr, TakesBlanksAtBothEndsOnly) {
  EXPECT_EQ(Trim("  a b ").text(), "a b");
  EXPECT_EQ(Trim("   ").text(), "");
  EXPECT_EQ(Trim("\ta").text(), "\ta");
  EXPECT_TRUE(Trim(Expr::Null()).IsNull());
  EXPECT_FALSE(Trim(Expr::Failed()).ok());
}

TEST(TestsOnExpr, AFailedOperandFulfilsNeither) {
  for (const Expr& value : {Expr::Failed(), Expr::Null()}) {
    EXPECT_FALSE(Is(value, ""));
    EXPECT_FALSE(IsNot(value, "a"));
  }
  EXPECT_TRUE(Is("a", "a"));
  EXPECT_FALSE(Is("a", "A"));
  EXPECT_TRUE(IsNot("a", "A"));
}

TEST(Assign, ASkippedAssignmentKeepsTheVariableAndIsCounted) {
  uint64_t before = SkippedStatements();
  std::string text = "old";
  int32_t number = 7;
  EXPECT_FALSE(Assign(text, Expr::Failed()));
  EXPECT_FALSE(Assign(text, Expr::Null()));
  EXPECT_FALSE(Assign(number, ToInt32("x")));
  EXPECT_EQ(text, "old");
  EXPECT_EQ(number, 7);
  EXPECT_EQ(SkippedStatements() - before, 3U);
}

TEST(Assign, AGoodValueIsTaken) {
  uint64_t before = SkippedStatements();
  std::string text = "old";
  int16_t small = 1;
  double real = 1;
  EXPECT_TRUE(Assign(text, ""));
  EXPECT_TRUE(Assign(small, ToInt16("2")));
  EXPECT_TRUE(Assign(real, ToNumber("2.5")));
  EXPECT_EQ(text, "");
  EXPECT_EQ(small, 2);
  EXPECT_EQ(real, 2.5);
  EXPECT_EQ(SkippedStatements(), before);
}

TEST(Assign, ATruthValueIsAStatementLikeAnyOther) {
  uint64_t before = SkippedStatements();
  bool flag = true;
  EXPECT_FALSE(Assign(flag, std::optional<bool>()));
  EXPECT_TRUE(flag);
  EXPECT_TRUE(Assign(flag, std::optional<bool>(false)));
  EXPECT_FALSE(flag);
  EXPECT_EQ(SkippedStatements() - before, 1U);
}

TEST(Append, AddsATextNothingForNullAndIsSkippedForAFailedValue) {
  uint64_t before = SkippedStatements();
  std::string text = "a";
  EXPECT_TRUE(Append(text, "b"));
  EXPECT_TRUE(Append(text, Expr::Null()));
  EXPECT_EQ(SkippedStatements(), before);
  EXPECT_FALSE(Append(text, Join("c", Expr::Failed())));
  EXPECT_EQ(text, "ab");
  EXPECT_EQ(SkippedStatements() - before, 1U);
}

TEST(Skips, IsTrueAndCountedOnceWhenAnyValueFailed) {
  uint64_t before = SkippedStatements();
  EXPECT_FALSE(Skips("routine", Expr("a"), Expr::Null(), Expr("")));
  EXPECT_EQ(SkippedStatements(), before);
  EXPECT_TRUE(Skips("routine", Expr("a"), Expr::Failed(), Expr::Failed()));
  EXPECT_EQ(SkippedStatements() - before, 1U);
}

TEST(Map, AFailedValueStaysFailedAndNullIsTheEmptyText) {
  const auto doubled = [](const std::string& text) { return text + text; };
  EXPECT_TRUE(Is(Map("ab", doubled), "abab"));
  EXPECT_TRUE(Is(Map(Expr::Null(), doubled), ""));
  EXPECT_FALSE(Map(Expr::Failed(), doubled).ok());
}

TEST(OrEmpty, TakesAFailedValueForTheEmptyTextWithoutASkip) {
  uint64_t before = SkippedStatements();
  EXPECT_EQ(OrEmpty("a"), "a");
  EXPECT_EQ(OrEmpty(Expr::Null()), "");
  EXPECT_EQ(OrEmpty(Expr::Failed()), "");
  EXPECT_EQ(SkippedStatements(), before);
}

TEST(TestsOnExpr, TwoValuesAreTheSameOnlyWhenBothAreTexts) {
  EXPECT_TRUE(Same("a", "a"));
  EXPECT_TRUE(Same("", ""));
  EXPECT_FALSE(Same("a", "A"));
  for (const Expr& value : {Expr::Failed(), Expr::Null()}) {
    EXPECT_FALSE(Same(value, ""));
    EXPECT_FALSE(Same("", value));
    EXPECT_FALSE(Same(value, value));
  }
}

TEST(TextOfAFailedValueDeathTest, StopsADebugBuild) {
  EXPECT_DEBUG_DEATH((void)Expr::Failed().text(), "ok");
}

}  // namespace
}  // namespace vnq
