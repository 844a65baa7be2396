#include "tools/moving/access_rows.h"

#include <gtest/gtest.h>

namespace vnq {
namespace {

// What `mdb-schema --no-indexes ... FILE access` writes.
constexpr const char* kSchemaLines[] = {
    "-- That file uses encoding UTF-8",
    "",
    "CREATE TABLE [T1]",
    " (",
    "\t[Txt]\t\t\tText (255), ",
    "\t[Note]\t\t\tMemo/Hyperlink (255), ",
    "\t[Flag]\t\t\tBoolean, ",
    "\t[B]\t\t\tByte, ",
    "\t[I]\t\t\tInteger, ",
    "\t[L]\t\t\tLong Integer, ",
    "\t[Cur]\t\t\tCurrency, ",
    "\t[F]\t\t\tSingle, ",
    "\t[D]\t\t\tDouble, ",
    "\t[When]\t\t\tDateTime, ",
    "\t[Bin]\t\t\tBinary, ",
    "\t[Ole]\t\t\tOLE (255), ",
    "\t[Guid]\t\t\tReplication ID",
    ");",
    "",
    "CREATE TABLE [名 前]",
    " (",
    "\t[列]\t\t\tText (255)",
    ");",
};

std::vector<AccessTable> Tables() {
  AccessSchemaReader reader;
  for (const char* line : kSchemaLines) reader.Add(line);
  return reader.tables();
}

// The cells of a line as text; why it is none.
std::string Row(const std::string& line) {
  std::vector<SqlValue> cells;
  std::string error, text;
  if (!ParseAccessRow(line, Tables()[0].columns, cells, error)) return "refused: " + error;
  for (const SqlValue& cell : cells) {
    text += text.empty() ? "" : "|";
    if (cell.kind == SqlValue::Kind::kText) text += "'" + cell.text + "'";
    if (cell.kind == SqlValue::Kind::kInteger) text += std::to_string(cell.integer);
    if (cell.kind == SqlValue::Kind::kNull) text += "-";
  }
  return text;
}

TEST(AccessSchema, TablesColumnsAndTypes) {
  const auto tables = Tables();
  ASSERT_EQ(tables.size(), 2u);
  EXPECT_EQ(tables[0].name, "T1");
  ASSERT_EQ(tables[0].columns.size(), 13u);
  EXPECT_EQ(tables[0].columns[1].name, "Note");
  EXPECT_EQ(tables[0].columns[1].typeName, "Memo/Hyperlink");
  EXPECT_EQ(tables[0].columns[1].type, AccessType::kText);
  EXPECT_EQ(tables[0].columns[2].type, AccessType::kBoolean);
  EXPECT_EQ(tables[0].columns[5].type, AccessType::kWhole);
  EXPECT_EQ(tables[0].columns[6].type, AccessType::kExact);
  EXPECT_EQ(tables[0].columns[8].type, AccessType::kFloat);
  EXPECT_EQ(tables[0].columns[9].type, AccessType::kDateTime);
  EXPECT_EQ(tables[0].columns[10].type, AccessType::kUnusable);
  EXPECT_EQ(tables[0].columns[11].type, AccessType::kUnusable);
  EXPECT_EQ(tables[0].columns[12].type, AccessType::kGuid);
  EXPECT_EQ(tables[1].name, "名 前");
  EXPECT_EQ(tables[1].columns[0].name, "列");
}

// The lines of the next two tests are recorded output of mdb-json 1.0.0.
TEST(AccessRow, ValuesOfEachType) {
  EXPECT_EQ(
      Row(R"({"Txt":"plain","Note":"memo \"q\" \\ \u000a\u000d\u0009 end","Flag":1,"B":255,)"
          R"("I":-5,"L":70000,"Cur":1234.5678,"F":1.5,"D":0.1,"When":"2023-03-15 12:00:00",)"
          R"("Bin":{"$binary": "AQL/", "$type": "00"},"Ole":{"$binary": "AAEC", "$type": "00"},)"
          R"("Guid":{"$binary": "ezAzMDIwMTAwfQ==", "$type": "00"}})"),
      "'plain'|'memo \"q\" \\ \n\r\t end'|1|255|-5|70000|'1234.5678'|'1.5'|'0.1'|"
      "'2023-03-15 12:00:00'|-|-|'{03020100}'");
}

TEST(AccessRow, WhatIsMissingIsNull) {
  EXPECT_EQ(Row(R"({"Flag":0})"), "-|-|0|-|-|-|-|-|-|-|-|-|-");
  EXPECT_EQ(Row("{}"), "-|-|-|-|-|-|-|-|-|-|-|-|-");
}

TEST(AccessRow, WholeAmountsAreIntegers) {
  EXPECT_EQ(Row(R"({"Flag":0,"Cur":0.0000,"F":0,"D":5})"), "-|-|0|-|-|-|0|0|5|-|-|-|-");
  EXPECT_EQ(Row(R"({"Cur":-0.0100,"F":1e+20,"D":1e+300})"),
            "-|-|-|-|-|-|'-0.01'|'1e+20'|'1e+300'|-|-|-|-");
  EXPECT_EQ(Row(R"({"F":9.9999997e-21,"D":123456789012})"),
            "-|-|-|-|-|-|-|'9.9999997e-21'|123456789012|-|-|-|-");
}

TEST(AccessRow, WhatIsNoRowIsRefused) {
  for (const char* line :
       {"", "{", "[]", "{\"Txt\":\"a\"", "{\"Txt\":}", "{\"Txt\":\"a}", "{\"Txt\":\"a\"}x",
        "{\"Other\":1}", "{\"Txt\"}", "{Txt:1}", "{\"Txt\":\"\xFF\"}", "{\"L\":1,\"Txt\":\"a\"}",
        "{\"Ole\":{\"$binary\": \"AA"}) {
    EXPECT_TRUE(Row(line).starts_with("refused: ")) << line << ": " << Row(line);
  }
  EXPECT_EQ(Row("{\"Txt\":\"a\\x\"}"), "refused: column Txt: an escape that there is not");
}

std::string Formed(const std::vector<std::string>& dates) {
  DateForm form;
  for (const std::string& date : dates) NoteAccessDate(date, form);
  std::string text;
  for (const std::string& date : dates) text += FormAccessDate(date, form) + ",";
  return text;
}

TEST(AccessDate, ColumnOfDaysHasNoTimes) {
  EXPECT_EQ(Formed({"2023-03-15 00:00:00", "1999-01-01 00:00:00"}), "2023-03-15,1999-01-01,");
}

TEST(AccessDate, ColumnOfTimesHasNoDays) {
  EXPECT_EQ(Formed({"1899-12-30 12:30:00", "1899-12-30 00:00:00"}), "12:30:00,00:00:00,");
}

TEST(AccessDate, ColumnOfBothHasBothEverywhere) {
  EXPECT_EQ(Formed({"2023-03-15 12:00:00", "2023-03-16 00:00:00"}),
            "2023-03-15 12:00:00,2023-03-16 00:00:00,");
}

TEST(AccessDate, WhatIsNoDateStays) {
  EXPECT_EQ(Formed({"x"}), "x,");
}

}  // namespace
}  // namespace vnq
