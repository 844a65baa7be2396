#include "tools/moving/archive_row.h"

#include <gtest/gtest.h>

namespace vnq {
namespace {

std::string LineOf(const std::vector<SqlValue>& cells) {
  std::string line;
  AppendArchiveRow(cells, line);
  return line;
}

std::string LineOfText(std::string text) {
  return LineOf({SqlValue::Text(std::move(text))});
}

// The text that comes back; "refused: ..." when the line is none.
std::string TextThere(const std::string& line) {
  std::vector<SqlValue> cells;
  std::string error;
  if (!ParseArchiveRow(line, cells, error)) return "refused: " + error;
  if (cells.size() != 1 || cells[0].kind != SqlValue::Kind::kText) return "no text";
  return cells[0].text;
}

TEST(ArchiveRow, KindsOfCellsAreKeptApart) {
  const std::vector<SqlValue> cells = {SqlValue::Null(), SqlValue::Text(""), SqlValue::Text("null"),
                                       SqlValue::Integer(INT64_MIN), SqlValue::Integer(INT64_MAX)};
  const std::string line = LineOf(cells);
  EXPECT_EQ(line, R"([null,"","null",-9223372036854775808,9223372036854775807])");
  std::vector<SqlValue> back;
  std::string error;
  ASSERT_TRUE(ParseArchiveRow(line, back, error)) << error;
  ASSERT_EQ(back.size(), cells.size());
  for (size_t i = 0; i < cells.size(); ++i) {
    EXPECT_EQ(back[i].kind, cells[i].kind) << i;
    EXPECT_EQ(back[i].integer, cells[i].integer) << i;
    EXPECT_EQ(back[i].text, cells[i].text) << i;
  }
}

TEST(ArchiveRow, EveryTextComesBackAsItWas) {
  const std::string texts[] = {
      "plain",
      "line\nbreak\r\n\ttab \"quoted\" back\\slash /",
      std::string("a\0b", 3),
      "\x01\x1f\x7f",
      "王小明 é 😀 \xEF\xBF\xBD",
      "high \xED\xA0\x80 alone",
      "low \xED\xB0\x80 alone",
      "low before high \xED\xB0\x80\xED\xA0\x80",
      "a pair of three bytes each \xED\xA0\xBD\xED\xB8\x80",
      "no UTF-8 \xFF\xC3",
      "cut off \xE7\x8E",
  };
  for (const std::string& text : texts) EXPECT_EQ(TextThere(LineOfText(text)), text);
}

TEST(ArchiveRow, LineIsJsonWithoutALineEnd) {
  EXPECT_EQ(LineOfText(std::string("\0\n", 2)), R"(["\u0000\n"])");
  EXPECT_EQ(LineOfText("\xED\xA0\x80"), R"(["\uD800"])");
  EXPECT_EQ(LineOfText("\xFF"), R"([{"hex":"FF"}])");
  EXPECT_EQ(LineOfText("王"), R"(["王"])");
  EXPECT_EQ(LineOf({}), "[]");
}

TEST(ArchiveRow, AnyEscapeOfJsonIsRead) {
  EXPECT_EQ(TextThere(R"(["\"\\\/\b\f\n\r\t\u00e9\ud83d\ude00"])"), "\"\\/\b\f\n\r\té😀");
  EXPECT_EQ(TextThere(R"(["\ud83d\u0041"])"),
            "\xED\xA0\xBD"
            "A");
  EXPECT_EQ(TextThere(R"(["\ud83d\uzzzz"])").substr(0, 7), "refused");
}

TEST(ArchiveRow, WhatIsNoRowIsRefused) {
  const char* lines[] = {"",
                         "[",
                         "]",
                         "[1",
                         "[1,]",
                         "[,1]",
                         "[1 ,2]",
                         "[1]x",
                         "[1.5]",
                         "[1e3]",
                         "[tru]",
                         "[true]",
                         "[\"a]",
                         "[\"a\\",
                         "[\"a\\\"]",
                         "[\"\\x\"]",
                         "[\"\\u12\"]",
                         "[\"\t\"]",
                         "[\"\xFF\"]",
                         "[\"\xED\xA0\x80\"]",
                         "[{}]",
                         "[{\"hex\":\"0\"}]",
                         "[{\"hex\":\"00]",
                         "[99999999999999999999]",
                         "{\"a\":1}",
                         "[[1]]"};
  for (const char* line : lines) {
    std::vector<SqlValue> cells;
    std::string error;
    EXPECT_FALSE(ParseArchiveRow(line, cells, error)) << line;
    EXPECT_NE(error, "") << line;
  }
}

}  // namespace
}  // namespace vnq
