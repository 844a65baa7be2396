#include "tools/moving/fit_value.h"

#include <gtest/gtest.h>

namespace vnq {
namespace {

TargetColumn IntegerColumn() {
  TargetColumn column;
  column.name = "IsVerify";
  column.type = SqlColumnType::kInteger;
  column.least = INT32_MIN;
  column.greatest = INT32_MAX;
  return column;
}

TargetColumn TextColumn(size_t maxLength) {
  TargetColumn column;
  column.name = "FcName";
  column.maxLength = maxLength;
  return column;
}

// What comes of it: "NULL", a number, a text in quotes, or why it does not fit.
std::string Fitted(const TargetColumn& column, SqlValue value) {
  std::string why;
  const SqlValue before = value;
  if (!FitValue(column, value, why)) {
    EXPECT_EQ(value.text, before.text);
    return why;
  }
  if (value.kind == SqlValue::Kind::kNull) return "NULL";
  if (value.kind == SqlValue::Kind::kInteger) return std::to_string(value.integer);
  return "'" + value.text + "'";
}

std::string FittedText(const TargetColumn& column, const char* text) {
  return Fitted(column, SqlValue::Text(text));
}

TEST(FitValue, IntegerColumnTakesWholeNumbers) {
  EXPECT_EQ(Fitted(IntegerColumn(), SqlValue::Integer(-7)), "-7");
  EXPECT_EQ(FittedText(IntegerColumn(), " 12\r\n"), "12");
  EXPECT_EQ(FittedText(IntegerColumn(), "+12"), "12");
  EXPECT_EQ(FittedText(IntegerColumn(), "-2147483648"), "-2147483648");
}

TEST(FitValue, IntegerColumnTakesTruthAsOne) {
  EXPECT_EQ(FittedText(IntegerColumn(), "True"), "1");
  EXPECT_EQ(FittedText(IntegerColumn(), "FALSE"), "0");
}

TEST(FitValue, BlankTextIsNullInAnIntegerColumn) {
  EXPECT_EQ(FittedText(IntegerColumn(), ""), "NULL");
  EXPECT_EQ(FittedText(IntegerColumn(), " \t"), "NULL");
}

TEST(FitValue, OtherTextsDoNotFitAnIntegerColumn) {
  for (const char* text : {"x", "1.5", "1e3", "--1", "+-1", "1 2", "0x10", "+", "-"}) {
    EXPECT_EQ(FittedText(IntegerColumn(), text), "no whole number") << text;
  }
}

TEST(FitValue, NumberMustBeWithinTheColumnsRange) {
  EXPECT_EQ(FittedText(IntegerColumn(), "2147483648"), "beyond the column's range");
  EXPECT_EQ(Fitted(IntegerColumn(), SqlValue::Integer(INT64_MIN)), "beyond the column's range");
  EXPECT_EQ(FittedText(IntegerColumn(), "99999999999999999999"), "no whole number");
  TargetColumn wide = IntegerColumn();
  wide.greatest = INT64_MAX;
  EXPECT_EQ(FittedText(wide, "2147483648"), "2147483648");
}

TEST(FitValue, NullFitsEverywhere) {
  EXPECT_EQ(Fitted(IntegerColumn(), SqlValue::Null()), "NULL");
  EXPECT_EQ(Fitted(TextColumn(1), SqlValue::Null()), "NULL");
}

TEST(FitValue, TextColumnTakesTextAndDigits) {
  EXPECT_EQ(FittedText(TextColumn(0), ""), "''");
  EXPECT_EQ(Fitted(TextColumn(0), SqlValue::Integer(-12)), "'-12'");
}

TEST(FitValue, TextMustNotBeLongerThanTheColumn) {
  EXPECT_EQ(FittedText(TextColumn(3), "王小明"), "'王小明'");
  EXPECT_EQ(FittedText(TextColumn(3), "王小明明"), "4 characters, the column holds 3");
  EXPECT_EQ(FittedText(TextColumn(3), "😀😀"), "4 characters, the column holds 3");
  EXPECT_EQ(Fitted(TextColumn(2), SqlValue::Integer(123)), "3 characters, the column holds 2");
}

TEST(FitValue, CharactersWithoutAPlaceDependOnTheEngine) {
  const auto have = [](std::string_view text) {
    std::string engines;
    if (HasUnstorableCharacters(text, DatabaseEngine::kSqlite)) engines += 'l';
    if (HasUnstorableCharacters(text, DatabaseEngine::kPostgres)) engines += 'p';
    if (HasUnstorableCharacters(text, DatabaseEngine::kSqlServer)) engines += 's';
    return engines;
  };
  EXPECT_EQ(have("王 😀 \xEF\xBF\xBD\n"), "");
  EXPECT_EQ(have(std::string_view("a\0b", 3)), "p");
  EXPECT_EQ(have("\xED\xA0\x80"), "p");
  EXPECT_EQ(have("\xFF"), "ps");
}

TEST(FitValue, MessageShowsTheValueOnOneLine) {
  EXPECT_EQ(ShownValue(TextColumn(0), SqlValue::Text("a\n\x1b")), "\"a\\n\\u001B\"");
  EXPECT_EQ(ShownValue(TextColumn(0), SqlValue::Integer(5)), "5");
  EXPECT_EQ(ShownValue(TextColumn(0), SqlValue::Text(std::string(61, 'x'))),
            "\"" + std::string(60, 'x') + "\"...");
}

TEST(FitValue, MessageShowsNoPassword) {
  TargetColumn column = TextColumn(3);
  column.isSecret = true;
  EXPECT_EQ(ShownValue(column, SqlValue::Text("pass")), "(a secret)");
}

}  // namespace
}  // namespace vnq
