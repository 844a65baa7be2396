// Rows of tables as other programs make them: how they are read, and found again to be written.
#include <gtest/gtest.h>

#include "tests/platform/sql/postgres_fixture.h"

namespace vnq {
namespace {

class PostgresTablesTest : public PostgresTest {
 protected:
  bool Set(SqlRows& rows, size_t row, const std::string& column, const SqlValue& value) {
    return driver_->UpdateRow(rows, row, Assigned{{column, value}});
  }
  void ExpectGone() { ExpectError("the row is no longer there"); }
};

TEST_F(PostgresTablesTest, ARowIsWrittenTwiceThroughOneRowSet) {
  Other("create table Plain(Name text)");
  Other("create table Keyed(Id integer primary key,Name text)");
  Other("insert into Plain values('a')");
  Other("insert into Keyed values(1,'a')");
  for (std::string table : {"Plain", "Keyed"}) {
    SqlRows rows = Rows("select * from " + table);
    EXPECT_TRUE(Set(rows, 0, "name", SqlValue::Text("b"))) << driver_->LastError();
    EXPECT_TRUE(Set(rows, 0, "name", SqlValue::Null())) << driver_->LastError();
    EXPECT_TRUE(Set(rows, 0, "name", SqlValue::Text("c"))) << driver_->LastError();
    EXPECT_EQ(OtherReads("select Name from " + table), "c");
    EXPECT_TRUE(driver_->DeleteRow(rows, 0));
    EXPECT_EQ(OtherReads("select count(*) from " + table), "0");
  }
}

TEST_F(PostgresTablesTest, ARowWithoutAKeyThatMovedMeanwhileCannotBeWritten) {
  Other("create table Plain(Name text)");
  Other("insert into Plain values('a')");
  SqlRows rows = Rows("select * from Plain");
  Other("update Plain set Name='other'");
  EXPECT_FALSE(Set(rows, 0, "name", SqlValue::Text("b")));
  ExpectGone();
}

TEST_F(PostgresTablesTest, ARowWithoutAKeyIsFoundAgainByTheColumnsOfItsIndexes) {
  Other("create table Plain(Note text,Name text,Other integer)");
  Other(
      "create index plain_name on Plain((substr(lower(cast(Name as text) collate \"C\"),1,255)))");
  Other("insert into Plain values('n','Ann',1),('n','Ben',2),('n',null,3)");
  SqlRows rows = Rows("select * from Plain where Name='ann'");
  SqlRows nameless = Rows("select * from Plain where Name is null");
  Other("update Plain set Note='other'");
  EXPECT_TRUE(Set(rows, 0, "other", SqlValue::Integer(9))) << driver_->LastError();
  EXPECT_TRUE(Set(nameless, 0, "other", SqlValue::Integer(8))) << driver_->LastError();
  EXPECT_EQ(OtherReads("select Note,Other from Plain order by Other"), "other|2;other|8;other|9");
  Other("update Plain set Note='once more'");
  EXPECT_TRUE(driver_->DeleteRow(rows, 0)) << driver_->LastError();
  EXPECT_EQ(OtherReads("select count(*) from Plain where Name='Ann'"), "0");
}

TEST_F(PostgresTablesTest, ARowWithoutKeyOrIndexIsFoundAgainByItsFirstColumn) {
  Other("create table Counters(Id integer,A integer,B integer)");
  Other("insert into Counters values(1,5,5),(2,5,5)");
  SqlRows rows = Rows("select * from Counters where Id=1");
  Other("update Counters set A=6");
  EXPECT_TRUE(Set(rows, 0, "b", SqlValue::Integer(6))) << driver_->LastError();
  EXPECT_EQ(OtherReads("select * from Counters order by Id"), "1|6|6;2|6|5");
}

TEST_F(PostgresTablesTest, ADeletedRowIsNotTakenForAnotherWithTheSameName) {
  Other("create table Roles(Name text,Role integer)");
  Other("create index roles_name on Roles(Name)");
  Other("insert into Roles values('Ann',1),('Ann',2)");
  SqlRows rows = Rows("select * from Roles where Name='Ann' order by Role");
  Other("delete from Roles where Role=1");
  EXPECT_FALSE(Set(rows, 0, "role", SqlValue::Integer(9)));
  ExpectGone();
  EXPECT_EQ(OtherReads("select Role from Roles"), "2");
}

TEST_F(PostgresTablesTest, OneOfSeveralRowsThatWereAllWrittenIsNotGuessed) {
  Other("create table Roles(Name text,Role integer)");
  Other("create index roles_name on Roles(Name)");
  Other("insert into Roles values('Ann',1),('Ann',2)");
  SqlRows rows = Rows("select * from Roles where Name='Ann'");
  Other("update Roles set Role=Role+10");
  EXPECT_FALSE(Set(rows, 0, "role", SqlValue::Integer(9)));
  ExpectGone();
}

TEST_F(PostgresTablesTest, TextsOfAnyLengthGoIntoAnIndexOfBeginnings) {
  Other("create table Long(Msg_ID text,YouID text,Note text)");
  Other(
      "create index long_ids on Long((substr(lower(cast(Msg_ID as text) collate \"C\"),1,255)),"
      "(substr(lower(cast(YouID as text) collate \"C\"),1,255)))");
  // As hard to press together as it gets, four bytes a character.
  std::string id, other;
  for (uint32_t i = 0, seed = 7; i < 5000; ++i) {
    seed = seed * 1664525 + 1013904223;
    const uint32_t point = 0x20000 + (seed >> 8) % 0x8000;
    for (int shift : {18, 12, 6, 0}) {
      id += static_cast<char>((shift == 18 ? 0xF0 : 0x80) |
                              ((point >> shift) & (shift == 18 ? 7 : 0x3F)));
    }
  }
  other = id + "x";
  MustRun("insert into Long values(?,?,'first')", {T(id), T(id)});
  MustRun("insert into Long values(?,?,'second')", {T(other), T(id)});
  EXPECT_EQ(Text("select Note from Long where Msg_ID=? and YouID=?", {T(id), T(id)}), "first");
  EXPECT_EQ(Text("select Note from Long where Msg_ID=?", {T(other)}), "second");
  EXPECT_EQ(Text("select Note from Long where Msg_ID<>?", {T(other)}), "first");
  EXPECT_EQ(Text("select count(*) from Long where Msg_ID in (?,?)", {T(other), T(id)}), "2");
  MustRun("set enable_seqscan=off");
  const std::string plan = Text(
      "explain select * from Long where substr(lower(cast(Msg_ID as text)"
      " collate \"C\"),1,255)='a'");
  EXPECT_NE(plan.find("long_ids"), std::string::npos) << plan;
}

TEST_F(PostgresTablesTest, ARowInTheFormerPlaceOfAnotherIsNotTakenForIt) {
  Other("create table Plain(Name text)");
  Other("insert into Plain values('a')");
  SqlRows rows = Rows("select * from Plain");
  Other("delete from Plain");
  Other("vacuum Plain");
  Other("insert into Plain values('new')");
  ASSERT_EQ(OtherReads("select cast(ctid as text) from Plain"), rows.identity.front().text);
  EXPECT_FALSE(Set(rows, 0, "name", SqlValue::Text("b")));
  ExpectGone();
  EXPECT_EQ(OtherReads("select Name from Plain"), "new");
}

TEST_F(PostgresTablesTest, AKeyOfTwoColumnsFindsTheRowEvenWhenNotSelected) {
  Other("create table Pairs(A varchar(9),B integer,Note text,primary key(A,B))");
  Other("insert into Pairs values('x',1,'n'),('x',2,'n'),('X',1,'n')");
  SqlRows rows = Rows("select Note from Pairs where A='x' and B=1");
  EXPECT_EQ(Names(rows), Lines{"note"});
  EXPECT_EQ(rows.identityWidth, 2U);
  size_t row = 0;
  while (row + 1 < rows.rowCount() && rows.identity[row * 2].text != "x") ++row;
  Other("update Pairs set Note='moved'");
  EXPECT_TRUE(Set(rows, row, "note", SqlValue::Text("mine"))) << driver_->LastError();
  EXPECT_EQ(OtherReads("select string_agg(Note,',' order by A collate \"C\",B) from Pairs"),
            "moved,mine,moved");
}

TEST_F(PostgresTablesTest, TheIdentityFollowsAChangedKey) {
  Other("create table Keyed(Id numeric(6,1) primary key,Name text)");
  Other("insert into Keyed values(1,'a'),(2,'b')");
  SqlRows rows = Rows("select * from Keyed order by Id");
  EXPECT_TRUE(Set(rows, 0, "id", SqlValue::Text("5.26"))) << driver_->LastError();
  EXPECT_TRUE(Set(rows, 0, "name", SqlValue::Text("c"))) << driver_->LastError();
  EXPECT_EQ(OtherReads("select Name from Keyed where Id=5.3"), "c");
  EXPECT_FALSE(Set(rows, 0, "id", SqlValue::Integer(2))) << "another row's key";
  EXPECT_TRUE(Set(rows, 0, "name", SqlValue::Text("d"))) << driver_->LastError();
}

TEST_F(PostgresTablesTest, ColumnsBesideTheKeyInItsIndexAreNoPartOfIt) {
  Other("create table Keyed(Id integer,Name text,primary key(Id) include(Name))");
  Other("insert into Keyed values(1,null)");
  SqlRows rows = Rows("select * from Keyed");
  EXPECT_EQ(rows.identityWidth, 1U);
  EXPECT_TRUE(Set(rows, 0, "name", SqlValue::Text("a"))) << driver_->LastError();
}

TEST_F(PostgresTablesTest, OtherProgramsTypesAreReadAsNumbersAndTexts) {
  Other(
      "create table Odd(Id bigint,Flag boolean,Made timestamp,Price numeric(8,2),Code varchar(5),"
      "Fixed char(4),Small smallint,Day date)");
  Other(
      "insert into Odd values(9000000000,true,'2024-02-01 10:11:12',12.50,'abcde','ab',-2,"
      "'2024-02-29')");
  SqlRows rows = Rows("select * from Odd");
  EXPECT_EQ(Cells(rows), (Lines{"9000000000", "1", "'2024-02-01 10:11:12'", "'12.50'", "'abcde'",
                                "'ab  '", "-2", "'2024-02-29'"}));
  EXPECT_EQ((*rows.columns)[1].type, SqlColumnType::kInteger);
  EXPECT_EQ((*rows.columns)[3].type, SqlColumnType::kText);
  EXPECT_EQ((*rows.columns)[4].maxLength, 5U);
  EXPECT_EQ((*rows.columns)[5].maxLength, 4U);
  const Assigned values = {{"flag", SqlValue::Integer(0)},
                           {"made", SqlValue::Text("2025-01-01 00:00:00")},
                           {"price", SqlValue::Text("7.25")},
                           {"id", SqlValue::Integer(-9'000'000'000)}};
  EXPECT_TRUE(driver_->UpdateRow(rows, 0, values)) << driver_->LastError();
  EXPECT_EQ(Cells(Rows("select Flag,Made,Price,Id from Odd")),
            (Lines{"0", "'2025-01-01 00:00:00'", "'7.25'", "-9000000000"}));
  EXPECT_TRUE(driver_->Insert(rows, values)) << driver_->LastError();
  EXPECT_FALSE(Set(rows, 0, "code", SqlValue::Text("abcdef"))) << "one letter too many";
  EXPECT_TRUE(Set(rows, 0, "code", SqlValue::Text("汉字汉字汉"))) << driver_->LastError();
}

TEST_F(PostgresTablesTest, NamesInMixedCaseAndWithQuotesAreKept) {
  Other(
      "create table \"Mixed Case\"(\"Key \"\"1\"\"\" integer primary key,\"Name\" text,name text)");
  Other("insert into \"Mixed Case\" values(1,'a','b')");
  SqlRows rows = Rows("select * from \"Mixed Case\"");
  EXPECT_EQ(Names(rows), (Lines{"Key \"1\"", "Name", "name"}));
  EXPECT_TRUE(Set(rows, 0, "Name", SqlValue::Text("c"))) << driver_->LastError();
  EXPECT_TRUE(driver_->Insert(
      rows, Assigned{{"Key \"1\"", SqlValue::Integer(2)}, {"name", SqlValue::Text("d")}}))
      << driver_->LastError();
  EXPECT_EQ(OtherReads("select \"Name\"||name from \"Mixed Case\" where \"Key \"\"1\"\"\"=1"),
            "cb");
}

TEST_F(PostgresTablesTest, ATableOutsideTheSearchPathIsWritten) {
  Other("create schema Apart");
  Other("create table Apart.Plain(Name text)");
  SqlRows rows = Rows("select * from Apart.Plain");
  EXPECT_EQ(rows.table, "\"apart\".\"plain\"");
  EXPECT_TRUE(driver_->Insert(rows, Assigned{{"name", SqlValue::Text("a")}}));
  EXPECT_EQ(OtherReads("select Name from Apart.Plain"), "a");
}

TEST_F(PostgresTablesTest, ASelectMayCallAColumnLikeTheKey) {
  Other("create table Keyed(Id integer primary key,Name text)");
  Other("insert into Keyed values(1,'b'),(2,'a')");
  SqlRows rows = Rows("select Name as Id from Keyed order by Id");
  EXPECT_EQ(Cells(rows), (Lines{"'a'", "'b'"}));
  EXPECT_TRUE(Set(rows, 0, "name", SqlValue::Text("c"))) << driver_->LastError();
  EXPECT_EQ(OtherReads("select Name from Keyed where Id=2"), "c");
}

TEST_F(PostgresTablesTest, EqualPlacesInTwoPartitionsAreTwoRows) {
  Other("create table Parts(Id integer,Name text) partition by list(Id)");
  Other("create table Parts1 partition of Parts for values in (1)");
  Other("create table Parts2 partition of Parts for values in (2)");
  Other("insert into Parts values(1,'a'),(2,'a')");
  SqlRows rows = Rows("select * from Parts order by Id");
  EXPECT_TRUE(Set(rows, 1, "name", SqlValue::Text("b"))) << driver_->LastError();
  EXPECT_EQ(OtherReads("select string_agg(Name,',' order by Id) from Parts"), "a,b");
  EXPECT_TRUE(driver_->DeleteRow(rows, 1)) << driver_->LastError();
  EXPECT_TRUE(Set(rows, 0, "id", SqlValue::Integer(2))) << driver_->LastError();
  EXPECT_TRUE(Set(rows, 0, "name", SqlValue::Text("moved"))) << driver_->LastError();
  EXPECT_EQ(OtherReads("select Name from Parts2"), "moved");
}

TEST_F(PostgresTablesTest, AKeyDoesNotHoldForTablesThatInherit) {
  Other("create table Parent(Id integer primary key,Name text)");
  Other("create table Child() inherits(Parent)");
  Other("insert into Parent values(1,'a')");
  Other("insert into Child values(1,'a')");
  SqlRows rows = Rows("select * from Parent");
  ASSERT_EQ(rows.rowCount(), 2U);
  EXPECT_TRUE(Set(rows, 0, "name", SqlValue::Text("b"))) << driver_->LastError();
  EXPECT_EQ(OtherReads("select count(*) from Parent where Name='b'"), "1");
}

TEST_F(PostgresTablesTest, ARowThatAnotherRowSetHasWrittenIsStillFound) {
  Other("create table Moving(Name text,Age int)");
  Other("insert into Moving values('a',1),('b',1)");
  SqlRows early = Rows("select * from Moving where Name='a'");
  for (int age = 2; age < 5; ++age) {
    SqlRows late = Rows("select * from Moving where Name='a'");
    EXPECT_TRUE(Set(late, 0, "age", SqlValue::Integer(age))) << driver_->LastError();
  }
  EXPECT_TRUE(Set(early, 0, "name", SqlValue::Text("c"))) << driver_->LastError();
  EXPECT_EQ(Cells(Rows("select Name,Age from Moving order by Name")),
            (Lines{"'b'", "1", "'c'", "4"}));
  SqlRows third = Rows("select * from Moving where Name='c'");
  EXPECT_TRUE(driver_->DeleteRow(early, 0));
  EXPECT_FALSE(Set(third, 0, "age", SqlValue::Integer(9)));
  ExpectGone();
}

}  // namespace
}  // namespace vnq
