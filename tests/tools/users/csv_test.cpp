#include "tools/users/csv.h"

#include <gtest/gtest.h>

namespace vnq {
namespace {

using Cells = std::vector<std::string>;

TEST(Csv, CellsAndLinesAreSplit) {
  const auto records = ReadCsv("a,b\r\nc,,d\n");
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0].cells, (Cells{"a", "b"}));
  EXPECT_EQ(records[1].cells, (Cells{"c", "", "d"}));
  EXPECT_EQ(records[1].line, 2u);
}

TEST(Csv, LastLineNeedsNoEnd) {
  EXPECT_EQ(ReadCsv("a,b").at(0).cells, (Cells{"a", "b"}));
}

TEST(Csv, LastCellMayBeEmpty) {
  EXPECT_EQ(ReadCsv("a,\n").at(0).cells, (Cells{"a", ""}));
}

TEST(Csv, QuotedCellHoldsSeparatorsQuotesAndLineBreaks) {
  const auto records = ReadCsv("\"a,\"\"b\"\"\nc\",d\ne\n");
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0].cells, (Cells{"a,\"b\"\nc", "d"}));
  EXPECT_EQ(records[1].line, 3u);
}

TEST(Csv, EmptyLinesAreNoRecordsButCount) {
  const auto records = ReadCsv("\n\r\na\n\nb\n");
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0].line, 3u);
  EXPECT_EQ(records[1].line, 5u);
}

TEST(Csv, ByteOrderMarkIsDropped) {
  EXPECT_EQ(ReadCsv("\xEF\xBB\xBFz\n").at(0).cells, Cells{"z"});
}

TEST(Csv, OpenQuoteSpoilsItsOwnLineOnly) {
  const auto records = ReadCsv("a\n\"b,c\nd\n");
  ASSERT_EQ(records.size(), 3u);
  EXPECT_EQ(records[1].error, "a quote is not closed");
  EXPECT_EQ(records[1].line, 2u);
  EXPECT_EQ(records[2].cells, Cells{"d"});
  EXPECT_EQ(records[2].line, 3u);
}

TEST(Csv, TextBehindAClosingQuoteSpoilsItsOwnLineOnly) {
  const auto records = ReadCsv("\"a\"b,c\nd\n");
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[0].error, "text behind a closing quote");
  EXPECT_EQ(records[1].cells, Cells{"d"});
}

TEST(Csv, SeparatorMayBeAnother) {
  EXPECT_EQ(ReadCsv("a;\"b;c\";d,e\n", ';').at(0).cells, (Cells{"a", "b;c", "d,e"}));
  EXPECT_EQ(ReadCsv("a\t\tb\n", '\t').at(0).cells, (Cells{"a", "", "b"}));
}

TEST(Csv, NoTextHasNoRecords) {
  EXPECT_TRUE(ReadCsv("").empty());
}

}  // namespace
}  // namespace vnq
