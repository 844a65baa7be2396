#include "support/json/decimal.h"

#include <gtest/gtest.h>

namespace vnq {
namespace {

// What a text reads back as, or the description of the failure.
std::string ReadBack(std::string_view text) {
  Decimal number;
  const RuntimeError error = Decimal::Parse(text, number);
  return error == RuntimeError::kNone ? number.ToText() : std::string(Description(error));
}

TEST(Decimal, ScaleAsWrittenIsKept) {
  EXPECT_EQ(ReadBack("1.50"), "1.50");
  EXPECT_EQ(ReadBack("1.5"), "1.5");
  EXPECT_EQ(ReadBack("100"), "100");
  EXPECT_EQ(ReadBack("0.000"), "0.000");
  EXPECT_EQ(ReadBack("-12.340"), "-12.340");
}

TEST(Decimal, ValueThatBinaryCannotHoldIsExact) {
  EXPECT_EQ(ReadBack("0.1"), "0.1");
  EXPECT_EQ(ReadBack("9007199254740993"), "9007199254740993");
  EXPECT_EQ(ReadBack("1234567890.123456789012345678"), "1234567890.123456789012345678");
}

TEST(Decimal, DigitsMayBeMissingOnOneSideOfThePoint) {
  EXPECT_EQ(ReadBack(".5"), "0.5");
  EXPECT_EQ(ReadBack("5."), "5");
  EXPECT_EQ(ReadBack("-.5"), "-0.5");
}

TEST(Decimal, LeadingZerosAndPlusAreRead) {
  EXPECT_EQ(ReadBack("007"), "7");
  EXPECT_EQ(ReadBack("+7"), "7");
  EXPECT_EQ(ReadBack(std::string(100000, '0') + "1.5"), "1.5");
}

TEST(Decimal, ExponentMovesThePoint) {
  EXPECT_EQ(ReadBack("1e5"), "100000");
  EXPECT_EQ(ReadBack("1.50e1"), "15.0");
  EXPECT_EQ(ReadBack("1.5E+3"), "1500");
  EXPECT_EQ(ReadBack("15e-3"), "0.015");
  EXPECT_EQ(ReadBack("1000000e-3"), "1000.000");
  EXPECT_EQ(ReadBack("0e-3"), "0.000");
  EXPECT_EQ(ReadBack("0e99999999999999999999"), "0");
}

TEST(Decimal, ZeroHasNoSign) {
  EXPECT_EQ(ReadBack("-0"), "0");
  EXPECT_EQ(ReadBack("-0.00"), "0.00");
  EXPECT_EQ(ReadBack("-1e-40"), "0.0000000000000000000000000000");
}

TEST(Decimal, TextThatIsNoNumberIsATypeMismatch) {
  for (const char* text :
       {"",    "+",   "-",     ".",     "e",  "e5", ".e5", "1e",  "1e+", "1e5.5",       "1-",
        "--1", "+-1", "1.2.3", "1e5e5", " 1", "1 ", "0x1", "1,5", "NaN", "\xEF\xBC\x91"}) {
    EXPECT_EQ(ReadBack(text), "Type mismatch") << text;
  }
}

TEST(Decimal, LargestCoefficientFitsAndOneMoreOverflows) {
  EXPECT_EQ(ReadBack("79228162514264337593543950335"), "79228162514264337593543950335");
  EXPECT_EQ(ReadBack("-79228162514264337593543950335"), "-79228162514264337593543950335");
  EXPECT_EQ(ReadBack("79228162514264337593543950336"), "Overflow");
  EXPECT_EQ(ReadBack("1e28"), "10000000000000000000000000000");
  EXPECT_EQ(ReadBack("1e29"), "Overflow");
  EXPECT_EQ(ReadBack("8e28"), "Overflow");
  EXPECT_EQ(ReadBack("1e999999999999999999999999"), "Overflow");
  EXPECT_EQ(ReadBack(std::string(1000000, '9')), "Overflow");
}

TEST(Decimal, FractionBeyond28DigitsIsRoundedHalfToEven) {
  EXPECT_EQ(ReadBack("0.0000000000000000000000000001"), "0.0000000000000000000000000001");
  EXPECT_EQ(ReadBack("0.00000000000000000000000000005"), "0.0000000000000000000000000000");
  EXPECT_EQ(ReadBack("0.00000000000000000000000000015"), "0.0000000000000000000000000002");
  EXPECT_EQ(ReadBack("0.000000000000000000000000000050001"), "0.0000000000000000000000000001");
  EXPECT_EQ(ReadBack("1e-29"), "0.0000000000000000000000000000");
  EXPECT_EQ(ReadBack("1e-99999999999999999999"), "0.0000000000000000000000000000");
}

TEST(Decimal, FractionBeyondTheCoefficientIsRoundedToWhatFits) {
  EXPECT_EQ(ReadBack("7922816251426433759354395033.55"), "7922816251426433759354395034");
  EXPECT_EQ(ReadBack("7922816251426433759354395033.54"), "7922816251426433759354395033.5");
  EXPECT_EQ(ReadBack("79228162514264337593543950335.4"), "79228162514264337593543950335");
  EXPECT_EQ(ReadBack("79228162514264337593543950335.5"), "Overflow");
  EXPECT_EQ(ReadBack("12345678901234567890123456789.5"), "12345678901234567890123456790");
}

TEST(Decimal, RoundingLooksAtTheDigitsAsWrittenOnce) {
  // 29 digits, "...35", do not fit. Rounding those once more would give "...4".
  EXPECT_EQ(ReadBack("8.88888888888888888888888888349"), "8.888888888888888888888888883");
}

TEST(Decimal, LongFractionIsReadInLinearTime) {
  EXPECT_EQ(ReadBack("0." + std::string(2000000, '3')), "0.3333333333333333333333333333");
}

TEST(Decimal, FailureLeavesTheResultAsItWas) {
  Decimal number;
  ASSERT_EQ(Decimal::Parse("1.50", number), RuntimeError::kNone);
  EXPECT_EQ(Decimal::Parse("x", number), RuntimeError::kTypeMismatch);
  EXPECT_EQ(Decimal::Parse("1e99", number), RuntimeError::kOverflow);
  EXPECT_EQ(number.ToText(), "1.50");
  EXPECT_EQ(number.Scale(), 2);
  EXPECT_FALSE(number.IsNegative());
}

}  // namespace
}  // namespace vnq
