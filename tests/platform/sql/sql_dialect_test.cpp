#include "platform/sql/sql_dialect.h"

#include <gtest/gtest.h>

namespace vnq {
namespace {

std::string ToSqlite(std::string_view statement) {
  return TranslateSql(statement, {}, kSqliteDialect).text;
}

TEST(TranslateSql, TopBecomesALimitAtTheEnd) {
  EXPECT_EQ(ToSqlite("Select top 1 * from Users_ID"), "Select * from Users_ID limit 1");
  EXPECT_EQ(ToSqlite("SELECT top 1 *  FROM MessengVerify_Type"),
            "SELECT *  FROM MessengVerify_Type limit 1");
  EXPECT_EQ(ToSqlite("select TOP\t20 a from T where b=? order by a desc"),
            "select a from T where b=? order by a desc limit 20");
}

TEST(TranslateSql, LimitStandsBeforeWhatFollowsTheSelect) {
  EXPECT_EQ(ToSqlite("select top 1 a from T ; "), "select a from T limit 1 ; ");
  EXPECT_EQ(ToSqlite("select top 1 a from T -- the first"), "select a from T limit 1 -- the first");
}

TEST(TranslateSql, TopOfAnInnerSelectLimitsThatSelect) {
  EXPECT_EQ(ToSqlite("select top 2 a from T where b in (select top 3 c from U) and d=(1)"),
            "select a from T where b in (select c from U limit 3) and d=(1) limit 2");
}

TEST(TranslateSql, TopElsewhereIsAName) {
  EXPECT_EQ(ToSqlite("select a, top from T where top 1"), "select a, top from T where top 1");
  EXPECT_EQ(ToSqlite("select top from T"), "select top from T");
  EXPECT_EQ(ToSqlite("select topic 1 from T"), "select topic 1 from T");
}

TEST(TranslateSql, DateBecomesAText) {
  EXPECT_EQ(ToSqlite("Delete from LeaveFile where ToDate <=#2024-02-29#"),
            "Delete from LeaveFile where ToDate <='2024-02-29'");
}

TEST(TranslateSql, HashesAroundNoDateStay) {
  for (std::string text : {"#2024-2-29#", "#2024-02-29", "# #", "#", "a#2024-02-2x#"}) {
    EXPECT_EQ(ToSqlite(text), text);
  }
}

TEST(TranslateSql, ConversionsBecomeTheFunction) {
  EXPECT_EQ(ToSqlite("Select max(clng(UserID)) from Users_ID"),
            "Select max(convert_int(UserID)) from Users_ID");
  EXPECT_EQ(ToSqlite("Select max(CONVERT(int,UserID)) from Users_ID"),
            "Select max(convert_int(UserID)) from Users_ID");
  EXPECT_EQ(ToSqlite("select convert ( INT , (a)+(1)) x"), "select convert_int( (a)+(1)) x");
}

TEST(TranslateSql, OtherUsesOfTheNamesStay) {
  for (std::string text : {"select clng from T", "select convert(text,a)", "select convert from T",
                           "select xclng(a)", "convert(int", "clng", "convert(int a"}) {
    EXPECT_EQ(ToSqlite(text), text);
  }
}

TEST(TranslateSql, QuotedTextBracketsAndCommentsAreNotTouched) {
  for (std::string text :
       {"select 'select top 1 * from T #2024-01-01# clng(x)'", "select \"top 1 clng(a)\" from T",
        "select [clng(a) #2024-01-01#] from T", "select `top 1` from T", "/* clng(x) */ select 1",
        "-- #2024-01-01#\nselect 1", "select 'it''s clng(x)'", "select 'not closed clng(x)",
        "select \"not closed #2024-01-01#", "select [not closed clng(x)",
        "/* not closed clng(x)"}) {
    EXPECT_EQ(ToSqlite(text), text);
  }
}

TEST(TranslateSql, AnyTextComesOutWithoutHarm) {
  EXPECT_EQ(ToSqlite(""), "");
  EXPECT_EQ(ToSqlite(")))((("), ")))(((");
  EXPECT_EQ(ToSqlite("select top 1 a) b"), "select a) b limit 1");
  std::string everyByte;
  for (int c = 0; c < 256; ++c) everyByte += static_cast<char>(c);
  EXPECT_EQ(ToSqlite(everyByte), everyByte);
}

TEST(TranslateSql, OtherEnginesWriteTheirOwnForms) {
  std::string_view statement = "select top 1 clng(a) from T where d<=#2024-01-01#";
  EXPECT_EQ(TranslateSql(statement, {}, kPostgresDialect).text,
            "select cast(a as integer) from T where d<='2024-01-01' limit 1");
  EXPECT_EQ(TranslateSql(statement, {}, kTransactSqlDialect).text,
            "select top 1 CONVERT(int,a) from T where d<='2024-01-01'");
}

std::string WithX(std::string_view select, const SqlDialect& dialect = kSqliteDialect) {
  const TranslatedSql translated = TranslateSql(select, {}, dialect);
  return translated.columnsEnd ? translated.WithColumns("x") : "no columns";
}

TEST(TranslatedSql, TakesFurtherColumnsBehindTheList) {
  EXPECT_EQ(WithX("Select * from T where a=?"), "Select *,x  from T where a=?");
  EXPECT_EQ(WithX("select a ,b from T order by a, b limit 1"),
            "select a ,b,x  from T order by a, b limit 1");
  EXPECT_EQ(WithX("select a /* b */ from T"), "select a,x  /* b */ from T");
}

TEST(TranslatedSql, TakesFurtherColumnsWhereTheEngineHasTheList) {
  constexpr std::string_view kSelect = "select top 1 clng(a) from T order by a";
  EXPECT_EQ(WithX(kSelect), "select convert_int(a),x  from T order by a limit 1");
  EXPECT_EQ(WithX(kSelect, kPostgresDialect),
            "select cast(a as integer),x  from T order by a nulls first limit 1");
  EXPECT_EQ(WithX(kSelect, kTransactSqlDialect),
            "select top 1 CONVERT(int,a),x  from T order by a");
}

TEST(TranslatedSql, LooksPastInnerSelects) {
  EXPECT_EQ(WithX("select a from T where b in (select c from U group by c)"),
            "select a,x  from T where b in (select c from U group by c)");
  EXPECT_EQ(WithX("select a,(select b from U) from T"), "select a,(select b from U),x  from T");
}

TEST(TranslatedSql, NamesTheOneTable) {
  auto table = [](std::string_view select) {
    return TranslateSql(select, {}, kTransactSqlDialect).table;
  };
  EXPECT_EQ(table(" Select top 1 * from Users_ID where a=?"), "Users_ID");
  EXPECT_EQ(table("select a from [odd name] as b"), "[odd name]");
  EXPECT_EQ(table("select a,(select b from U) from T"), "T");
  EXPECT_EQ(table("select a from (select a from T) b"), "");
  EXPECT_EQ(table("select * from T,U"), "");
  EXPECT_EQ(table("delete from T"), "");
}

TEST(TranslatedSql, RowsThatAreNotOneTablesTakeNoColumn) {
  for (std::string_view text :
       {"select distinct a from T", "select a from T group by a",
        "select a from T union select a from U", "select * from T as aa,U as bb where aa.a=bb.a",
        "select a from T inner join U on 1", "update T set a=1", "select 1", "",
        "insert into T select * from U"}) {
    EXPECT_EQ(WithX(text), "no columns") << text;
    EXPECT_EQ(TranslateSql(text, {}, kSqliteDialect).table, "") << text;
  }
}

}  // namespace
}  // namespace vnq
