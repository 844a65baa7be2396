// How comparisons of texts are written for a database server.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/sql/sql_dialect.h"

namespace vnq {
namespace {

using Kinds = std::vector<SqlMarker>;
constexpr SqlMarker kText = SqlMarker::kText;
constexpr SqlMarker kNumber = SqlMarker::kNumber;

std::string Folded(const std::string& x) {
  return "lower(cast(" + x + " as text) collate \"C\")";
}

std::string Beginning(const std::string& x) {
  return "substr(" + Folded(x) + ",1,255)";
}

// A column compared with a text: by what its index holds of both, and as a whole.
std::string Equal(const std::string& column, const std::string& text) {
  return "(" + Beginning(column) + "=" + Beginning(text) + " and " + Folded(column) + "=" +
         Folded(text) + ")";
}

std::string OnPostgres(std::string_view statement, const Kinds& kinds = {}) {
  const std::vector<std::string> exact = {"UserPaws"};
  return TranslateSql(statement, kinds, kPostgresDialect, exact).text;
}

TranslatedSql OnSqlServer(std::string_view statement, const Kinds& kinds = {}) {
  const std::vector<std::string> exact = {"UserPaws"};
  return TranslateSql(statement, kinds, kTransactSqlDialect, exact);
}

std::string Sought(const std::string& x) {
  return FoldedText(x, kTransactSqlDialect);
}

TEST(SqlComparison, TextsAreFoldedOnBothSides) {
  EXPECT_EQ(OnPostgres("Select * from T where UserID=?", {kText}),
            "Select * from T where " + Equal("UserID", "$1"));
  EXPECT_EQ(OnPostgres("Select * from T where  Name = 'Ann' or ?<>a.Name", {kText}),
            "Select * from T where  " + Equal("Name", "'Ann'") + " or " + Folded("$1") + "<>" +
                Folded("a.Name"));
}

TEST(SqlComparison, NumbersStayAsTheyAre) {
  for (const char* words : {"ChatId=$1", "Status=0", "a.ID = 1 and b<>2"}) {
    std::string written = words;
    if (size_t at = written.find("$1"); at != std::string::npos) written.replace(at, 2, "?");
    EXPECT_EQ(OnPostgres("select * from T where " + written, {kNumber}),
              std::string("select * from T where ") + words);
  }
}

TEST(SqlComparison, MarkersKeepTheirNumbersBesideEachOther) {
  EXPECT_EQ(OnPostgres("delete from T where n=? and s=? and m=?", {kNumber, kText, kNumber}),
            "delete from T where n=$1 and " + Equal("s", "$2") + " and m=$3");
}

TEST(SqlComparison, ListsAreFoldedEntryByEntry) {
  EXPECT_EQ(OnPostgres("delete from T where g=? and u in (?,?)", {kText, kText, kText}),
            "delete from T where " + Equal("g", "$1") + " and (" + Beginning("u") + " in (" +
                Beginning("$2") + "," + Beginning("$3") + ") and " + Folded("u") + " in (" +
                Folded("$2") + "," + Folded("$3") + "))");
}

TEST(SqlComparison, ColumnsOfAJoinAreFolded) {
  EXPECT_EQ(OnPostgres("select b.* from A as a,B as b where a.Msg_ID=b.Msg_ID"),
            "select b.* from A as a,B as b where " + Folded("a.Msg_ID") + "=" + Folded("b.Msg_ID"));
}

TEST(SqlComparison, AssignmentsAndOrderAreNoComparisons) {
  EXPECT_EQ(OnPostgres("update T set a=?,b='X' where c=?", {kText, kText}),
            "update T set a=$1,b='X' where " + Equal("c", "$2"));
  EXPECT_EQ(OnPostgres("delete from T where To_Date <='2026-01-02'"),
            "delete from T where To_Date <='2026-01-02'");
}

TEST(SqlComparison, ExpressionsAreLeftToTheEngine) {
  for (const char* words :
       {"a='x'||b", "1+a='x'", "len(a)='3'", "a='x''y'", "a in (select b from U)"}) {
    EXPECT_EQ(OnPostgres(std::string("select * from T where ") + words),
              std::string("select * from T where ") + words);
  }
}

TEST(SqlComparison, InnerSelectsHaveConditionsOfTheirOwn) {
  EXPECT_EQ(
      OnPostgres("select * from T where n in (select m from U where s=?) and t=?", {kText, kText}),
      "select * from T where n in (select m from U where " + Equal("s", "$1") + ") and " +
          Equal("t", "$2"));
}

TEST(SqlComparison, AnExactColumnIsComparedAsItIs) {
  EXPECT_EQ(OnPostgres("select * from T where Name=? and userpaws=?", {kText, kText}),
            "select * from T where " + Equal("Name", "$1") + " and userpaws=$2");
  EXPECT_EQ(OnSqlServer("select * from T where UserPaws=?", {kText}).text,
            "select * from T where (UserPaws=? and UserPaws collate Latin1_General_BIN2+N'.'=? "
            "collate Latin1_General_BIN2+N'.')");
}

TEST(SqlComparison, SqlServerSeeksByTheIndexAndComparesBesideIt) {
  const TranslatedSql equal = OnSqlServer("select * from T where n=? and s=?", {kNumber, kText});
  EXPECT_EQ(equal.text,
            "select * from T where n=? and (s=? and " + Sought("s") + "=" + Sought("?") + ")");
  EXPECT_EQ(equal.parameters, (std::vector<size_t>{0, 1, 1}));

  const TranslatedSql other = OnSqlServer("select * from T where s<>?", {kText});
  EXPECT_EQ(other.text, "select * from T where (s<>? or " + Sought("s") + "<>" + Sought("?") + ")");
  EXPECT_EQ(other.parameters, (std::vector<size_t>{0, 0}));
}

TEST(SqlComparison, SqlServerComparesAListBesideTheOtherMarkers) {
  const TranslatedSql list =
      OnSqlServer("delete from T where u in (?,?) and n=?", {kText, kText, kNumber});
  EXPECT_EQ(list.parameters, (std::vector<size_t>{0, 1, 0, 1, 2}));
}

TEST(SqlComparison, DigitsNeedNoCareOnSqlServer) {
  EXPECT_EQ(OnSqlServer("Select top 1 * from Plug where Plug_Site = '11' order by x desc").text,
            "Select top 1 * from Plug where Plug_Site = '11' order by x desc");
  EXPECT_EQ(OnSqlServer("select * from A,B where A.x=B.y").text, "select * from A,B where A.x=B.y");
}

TEST(SqlComparison, NullsSortAsTheSmallestValueOnPostgres) {
  EXPECT_EQ(OnPostgres("Select top 1 * from T order by a desc, b "),
            "Select * from T order by a desc nulls last, b nulls first limit 1 ");
  EXPECT_EQ(OnPostgres("select * from (select a from T order by a) order by b asc;"),
            "select * from (select a from T order by a nulls first) order by b asc nulls first;");
}

TEST(SqlComparison, AnyTextComesOutWithoutHarm) {
  for (const char* text :
       {"where ?", "where a=", "where a in (", "where a in (?,", "where a.", "where .=?",
        "order by", "order by ,", "where a<>", "where ?=?", "where '=a", "?"}) {
    EXPECT_FALSE(OnPostgres(text, {kText, kText}).empty()) << text;
    EXPECT_FALSE(OnSqlServer(text, {kText, kText}).text.empty()) << text;
  }
}

}  // namespace
}  // namespace vnq
