#include "tests/platform/sql/odbc_fixture.h"

namespace vnq {
namespace {

constexpr const char* kNumbered =
    "create table Numbered (Id int identity(1,1) primary key,"
    " Name nvarchar(255) collate Latin1_General_100_CI_AS null, Age int null default 7,"
    " Since nvarchar(255) null default convert(nvarchar(10),getdate(),23), Body nvarchar(max) "
    "null)";
constexpr const char* kPeople =
    "create table People (Name nvarchar(255) collate Latin1_General_100_CI_AS null,"
    " Age int null default 7, Note nvarchar(20) null)";

SqlValue T(std::string text) {
  return SqlValue::Text(std::move(text));
}
SqlValue I(int64_t value) {
  return SqlValue::Integer(value);
}

class OdbcDriverTest : public OdbcTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(Run(kNumbered)) << driver_->LastError();
    ASSERT_TRUE(Run(kPeople)) << driver_->LastError();
  }

  void AddPerson(const std::string& name, int64_t age) {
    MustRun("insert into People(Name,Age) values(?,?)", {T(name), I(age)});
  }

  bool Update(SqlRows& rows, size_t row, const std::vector<SqlAssignment>& values) {
    return driver_->UpdateRow(rows, row, values);
  }
};

std::vector<std::string> Names(const SqlRows& rows) {
  std::vector<std::string> names;
  for (const SqlColumn& column : *rows.columns) names.push_back(column.name);
  return names;
}

// --- What queries give ---

TEST_F(OdbcDriverTest, RowsCarryTheirTypesAndValues) {
  MustRun("insert into Numbered(Name,Age,Since,Body) values(?,?,?,?)",
          {T("Ann"), SqlValue::Null(), T("2024-01-01"), T("long")});
  SqlRows rows = Rows("select * from Numbered");
  EXPECT_EQ(Names(rows), (std::vector<std::string>{"Id", "Name", "Age", "Since", "Body"}));
  const std::vector<SqlColumn>& columns = *rows.columns;
  EXPECT_EQ(columns[0].type, SqlColumnType::kInteger);
  EXPECT_EQ(columns[1].type, SqlColumnType::kText);
  EXPECT_EQ(columns[1].maxLength, 255U);
  EXPECT_EQ(columns[2].type, SqlColumnType::kInteger);
  EXPECT_EQ(columns[4].type, SqlColumnType::kText);
  EXPECT_EQ(columns[4].maxLength, 0U) << "nvarchar(max) has no bound";
  EXPECT_EQ(AsText(rows), "1|Ann|NULL|2024-01-01|long");
  EXPECT_EQ(rows.cells[0].kind, SqlValue::Kind::kInteger);
  EXPECT_EQ(rows.table, "Numbered");
}

TEST_F(OdbcDriverTest, TopOneReadsOneRow) {
  AddPerson("a", 1);
  AddPerson("b", 2);
  EXPECT_EQ(Text("Select top 1 Name from People order by Age desc"), "b");
  EXPECT_EQ(Rows("Select top 1 * from People where Name=?", {T("c")}).rowCount(), 0U);
}

TEST_F(OdbcDriverTest, CountsAreExact) {
  for (int i = 0; i < 37; ++i) AddPerson("p" + std::to_string(i), i);
  EXPECT_EQ(Rows("select * from People").rowCount(), 37U);
  EXPECT_EQ(Text("select count(*) from People"), "37");
}

TEST_F(OdbcDriverTest, ConversionTakesNumbersAndFailsOnWhatIsNone) {
  AddPerson("9", 1);
  AddPerson(" 12 ", 1);
  EXPECT_EQ(Text("Select max(CONVERT(int,Name)) from People"), "12");
  EXPECT_EQ(Text("Select max(clng(Name)) from People"), "12");
  AddPerson("12a", 1);
  EXPECT_TRUE(Fails("Select max(clng(Name)) from People"));
  EXPECT_NE(driver_->LastError().find("(245)"), std::string::npos) << driver_->LastError();
}

TEST_F(OdbcDriverTest, DatesAreTexts) {
  MustRun("insert into Numbered(Name,Since) values(?,?)", {T("old"), T("2023-12-31")});
  MustRun("insert into Numbered(Name,Since) values(?,?)", {T("new"), T("2024-01-02")});
  EXPECT_EQ(Text("select Name from Numbered where Since <=#2024-01-01#"), "old");
}

TEST_F(OdbcDriverTest, ColumnsAndTablesAreFoundInAnyCase) {
  AddPerson("Ann", 3);
  SqlRows rows = Rows("SELECT name,AGE from PEOPLE");
  ASSERT_EQ(rows.rowCount(), 1U);
  ASSERT_TRUE(Update(rows, 0, {{"aGe", I(4)}})) << driver_->LastError();
  EXPECT_EQ(Text("select Age from People"), "4");
}

TEST_F(OdbcDriverTest, MixedRowsHaveNoTable) {
  AddPerson("a", 1);
  MustRun("insert into Numbered(Name) values(?)", {T("a")});
  for (std::string_view select :
       {"select * from People as aa,Numbered as bb where aa.Name=bb.Name",
        "select bb.* from People as aa,Numbered as bb where aa.Name=bb.Name",
        "select count(*) from People", "select count(*) from Numbered",
        "select max(Age) as c from People", "select max(Id) as c from Numbered",
        "select Name from People group by Name", "select distinct Name from People", "select 1"}) {
    SqlRows rows = Rows(select);
    EXPECT_EQ(rows.table, "") << select;
    EXPECT_TRUE(rows.identity.empty()) << select;
    EXPECT_EQ(rows.rowCount(), 1U) << select;
    EXPECT_FALSE(driver_->Insert(rows, {})) << select;
    EXPECT_FALSE(driver_->DeleteRow(rows, 0)) << select;
  }
}

TEST_F(OdbcDriverTest, TheSameTextRunsWithOtherKindsOfValues) {
  AddPerson("5", 5);
  EXPECT_EQ(Text("select Age from People where Age=?", {I(5)}), "5");
  EXPECT_EQ(Text("select Age from People where Age=?", {T("5")}), "5");
  EXPECT_EQ(Text("select Age from People where Age=?", {I(1LL << 40)}), "");
  EXPECT_EQ(Text("select Age from People where Age=?", {SqlValue::Null()}), "");
  EXPECT_TRUE(Fails("select Age from People where Age=?", {T("five")}));
  EXPECT_EQ(Text("select Age from People where Age=?", {I(5)}), "5");
}

TEST_F(OdbcDriverTest, RowsOutliveWhatRunsLater) {
  AddPerson("a", 1);
  AddPerson("b", 2);
  SqlRows outer = Rows("select Name from People");
  MustRun("delete from People");
  EXPECT_EQ(AsText(outer), "a;b");
}

TEST_F(OdbcDriverTest, AStatementMadeBeforeAChangeOfTheTableSeesTheChange) {
  AddPerson("a", 1);
  EXPECT_EQ(Rows("select * from People").columns->size(), 3U);
  MustRun("alter table People add Size int default 3");
  SqlRows rows = Rows("select * from People");
  EXPECT_EQ(rows.columns->size(), 4U);
  EXPECT_TRUE(Update(rows, 0, {{"Size", I(4)}})) << driver_->LastError();
}

TEST_F(OdbcDriverTest, MoreStatementsThanAreKeptAllRun) {
  for (int i = 0; i < 600; ++i) {
    std::string select = "select " + std::to_string(i) + " where 1=?";
    ASSERT_EQ(Text(select, {I(1)}), std::to_string(i));
  }
  EXPECT_EQ(Text("select 0 where 1=?", {I(1)}), "0");
}

TEST_F(OdbcDriverTest, MarkersAndValuesMustBeEqualInNumber) {
  EXPECT_TRUE(Fails("select * from People where Name=?"));
  EXPECT_TRUE(Fails("select * from People", {I(1)}));
  EXPECT_TRUE(Fails("select * from People where Name=?", {I(1), I(2)}));
}

// --- Texts ---

TEST_F(OdbcDriverTest, ChineseAndEmojiComeBack) {
  std::string text = "中文 änd 😀👍🏽 ﾊﾝｶｸ";
  AddPerson(text, 1);
  EXPECT_EQ(Text("select Name from People where Name=?", {T(text)}), text);
}

TEST_F(OdbcDriverTest, ComparisonIgnoresAsciiCaseOnly) {
  MustRun(
      "create table Words (Word nvarchar(255) collate Latin1_General_100_CI_AS null,"
      " Secret nvarchar(255) collate Latin1_General_100_BIN2 null)");
  auto found = [&](const std::string& stored, const std::string& asked) {
    MustRun("delete from Words");
    MustRun("insert into Words(Word,Secret) values(?,?)", {T(stored), T(stored)});
    size_t equal = Rows("select * from Words where Word=?", {T(asked)}).rowCount();
    EXPECT_EQ(equal + Rows("select * from Words where Word<>?", {T(asked)}).rowCount(), 1U);
    EXPECT_EQ(Rows("select * from Words where Word in (?,?)", {T("-"), T(asked)}).rowCount(),
              equal);
    EXPECT_EQ(Rows("select * from Words where Secret=?", {T(asked)}).rowCount(),
              stored == asked ? 1U : 0U);
    return equal == 1;
  };
  EXPECT_TRUE(found("a", "a"));
  EXPECT_TRUE(found("a", "A"));
  EXPECT_FALSE(found("é", "É"));
  EXPECT_FALSE(found("Ａ", "A"));
  EXPECT_FALSE(found("あ", "ア"));
  EXPECT_FALSE(found("a ", "a"));
  EXPECT_FALSE(found("a", "a "));
  EXPECT_FALSE(found("a", ""));
}

TEST_F(OdbcDriverTest, TheServersOwnComparisonIsLaxer) {
  AddPerson("é ", 1);
  AddPerson("É", 2);
  EXPECT_EQ(Text("select count(distinct Name) from People"), "1")
      << "or the test server does not show what the translation is for";
}

TEST_F(OdbcDriverTest, TheEmptyTextIsNotNull) {
  MustRun("insert into People(Name,Note) values(?,?)", {T(""), SqlValue::Null()});
  SqlRows rows = Rows("select Name,Note from People");
  EXPECT_EQ(rows.cells[0].kind, SqlValue::Kind::kText);
  EXPECT_EQ(rows.cells[1].kind, SqlValue::Kind::kNull);
}

TEST_F(OdbcDriverTest, NumbersAndTextsTakeNullFromAMarker) {
  MustRun("insert into Numbered(Name,Age,Body) values(?,?,?)",
          {SqlValue::Null(), SqlValue::Null(), SqlValue::Null()});
  EXPECT_EQ(Text("select Name,Age,Body from Numbered"), "NULL|NULL|NULL");
}

TEST_F(OdbcDriverTest, LongTextsComeBackWhole) {
  for (size_t characters : {3999U, 4000U, 4001U, 4095U, 4096U, 4097U, 8190U, 8191U, 100000U}) {
    std::string text;
    while (text.size() < characters) text += static_cast<char>('a' + text.size() % 26);
    MustRun("delete from Numbered");
    MustRun("insert into Numbered(Body) values(?)", {T(text)});
    EXPECT_TRUE(Rows("select Body from Numbered").cells[0].text == text) << characters;
  }
}

TEST_F(OdbcDriverTest, EmojiStayWholeWhereverAPieceEnds) {
  for (std::string front : {"", "a"}) {
    std::string text = front;
    for (int i = 0; i < 10000; ++i) text += "😀";
    MustRun("delete from Numbered");
    MustRun("insert into Numbered(Body) values(?)", {T(text)});
    EXPECT_TRUE(Rows("select Body from Numbered").cells[0].text == text) << front;
  }
}

TEST_F(OdbcDriverTest, ATextTooLongForItsColumnFails) {
  EXPECT_FALSE(Run("insert into People(Note) values(?)", {T("123456789012345678901")}));
  EXPECT_NE(driver_->LastError().find("(8152)"), std::string::npos) << driver_->LastError();
  MustRun("insert into People(Note) values(?)", {T("12345678901234567890")});
}

TEST_F(OdbcDriverTest, NulAndLoneSurrogatesAreNoObstacle) {
  std::string odd = std::string("a\0b", 3) + "\xED\xA0\xBD" + "c";
  AddPerson(odd, 1);
  EXPECT_EQ(Rows("select Name from People").cells[0].text, odd);
}

// --- Writing ---

TEST_F(OdbcDriverTest, InsertLeavesOtherColumnsToTheirDefaults) {
  SqlRows rows = Rows("Select top 1 * from Numbered");
  EXPECT_EQ(rows.table, "Numbered");
  ASSERT_TRUE(driver_->Insert(rows, std::vector<SqlAssignment>{{"Name", T("Ann")}}))
      << driver_->LastError();
  EXPECT_EQ(Text("select Id,Name,Age from Numbered"), "1|Ann|7");
  EXPECT_EQ(Rows("select Since from Numbered").cells[0].text.size(), 10U);
}

TEST_F(OdbcDriverTest, InsertWithoutColumnsTakesAllDefaults) {
  ASSERT_TRUE(driver_->Insert(Rows("Select top 1 * from People"), {})) << driver_->LastError();
  EXPECT_EQ(Text("select * from People"), "NULL|7|NULL");
}

TEST_F(OdbcDriverTest, AKeyFindsTheRowAndIsNoColumn) {
  for (std::string name : {"same", "same", "same"}) {
    MustRun("insert into Numbered(Name) values(?)", {T(name)});
  }
  SqlRows rows = Rows("select Name,Age from Numbered where Name=?", {T("same")});
  EXPECT_EQ(Names(rows), (std::vector<std::string>{"Name", "Age"}));
  EXPECT_EQ(rows.identityWidth, 1U);
  ASSERT_TRUE(Update(rows, 1, {{"Age", I(8)}})) << driver_->LastError();
  ASSERT_TRUE(Update(rows, 1, {{"Age", I(9)}})) << driver_->LastError();
  ASSERT_TRUE(driver_->DeleteRow(rows, 2)) << driver_->LastError();
  EXPECT_EQ(Text("select Id,Age from Numbered order by Id"), "1|7;2|9");
}

TEST_F(OdbcDriverTest, AKeyThatIsWrittenStillFindsTheRow) {
  MustRun("create table Keyed (Code nvarchar(20) not null primary key, Age int)");
  MustRun("insert into Keyed(Code,Age) values(?,?)", {T("a"), I(1)});
  SqlRows rows = Rows("select Age from Keyed");
  ASSERT_TRUE(Update(rows, 0, {{"Code", T("B")}})) << driver_->LastError();
  ASSERT_TRUE(Update(rows, 0, {{"Age", I(2)}})) << driver_->LastError();
  EXPECT_EQ(Text("select * from Keyed"), "B|2");
}

TEST_F(OdbcDriverTest, AUniqueIndexWithoutNullServesAsAKey) {
  MustRun("create table Coded (Code nvarchar(20) not null, Age int null)");
  MustRun("create unique index Coded_Code on Coded(Code)");
  MustRun("insert into Coded(Code,Age) values(?,?)", {T("a"), I(1)});
  SqlRows rows = Rows("select Age from Coded");
  EXPECT_EQ(rows.identityWidth, 1U);
  EXPECT_TRUE(Update(rows, 0, {{"Age", I(2)}})) << driver_->LastError();
  EXPECT_EQ(Text("select * from Coded"), "a|2");
}

TEST_F(OdbcDriverTest, WithoutAKeyWhatWasReadFindsTheRow) {
  AddPerson("a", 1);
  AddPerson("b", 1);
  MustRun("insert into People(Name,Age) values(?,?)", {T("c"), SqlValue::Null()});
  SqlRows rows = Rows("select * from People where Name<>?", {T("a")});
  EXPECT_EQ(rows.identityWidth, 0U);
  ASSERT_TRUE(Update(rows, 0, {{"Age", I(2)}})) << driver_->LastError();
  ASSERT_TRUE(Update(rows, 1, {{"Note", T("n")}})) << driver_->LastError();
  EXPECT_EQ(Text("select * from People"), "a|1|NULL;b|2|NULL;c|NULL|n");
  EXPECT_FALSE(Update(rows, 0, {{"Age", I(3)}})) << "its cells are not those of the row any more";
  rows.cells[1] = I(2);
  EXPECT_TRUE(Update(rows, 0, {{"Age", I(3)}})) << driver_->LastError();
  EXPECT_EQ(Text("select Age from People where Name=?", {T("b")}), "3");
}

TEST_F(OdbcDriverTest, OneOfSeveralEqualRowsIsChanged) {
  for (int i = 0; i < 3; ++i) AddPerson("same", 1);
  SqlRows rows = Rows("select * from People");
  ASSERT_TRUE(Update(rows, 0, {{"Age", I(2)}})) << driver_->LastError();
  ASSERT_TRUE(driver_->DeleteRow(rows, 1)) << driver_->LastError();
  EXPECT_EQ(Text("select Age from People order by Age"), "1;2");
}

TEST_F(OdbcDriverTest, WhatWasReadIsComparedToTheLetter) {
  for (std::string name : {"a", "A", "a ", "á"}) AddPerson(name, 1);
  SqlRows rows = Rows("select * from People");
  ASSERT_EQ(rows.rowCount(), 4U);
  ASSERT_TRUE(Update(rows, 1, {{"Age", I(2)}}));
  ASSERT_TRUE(Update(rows, 2, {{"Age", I(3)}}));
  ASSERT_TRUE(driver_->DeleteRow(rows, 3));
  EXPECT_EQ(Text("select Name,Age from People"), "a|1;A|2;a |3");
}

TEST_F(OdbcDriverTest, ARowDeletedMeanwhileCannotBeWritten) {
  AddPerson("a", 1);
  SqlRows rows = Rows("select * from People");
  MustRun("delete from People");
  EXPECT_FALSE(Update(rows, 0, {{"Age", I(8)}}));
  EXPECT_NE(driver_->LastError().find("no longer there"), std::string::npos);
  EXPECT_FALSE(driver_->DeleteRow(rows, 0));
  EXPECT_FALSE(driver_->DeleteRow(rows, 5));
}

TEST_F(OdbcDriverTest, AnUpdateThatMeetsNoRowIsNoError) {
  MustRun("update People set Age=? where Name=?", {I(1), T("nobody")});
  MustRun("delete from People where Name=?", {T("nobody")});
  MustRun("delete from People");
}

TEST_F(OdbcDriverTest, ValuesAndNamesAreNeverPartOfTheStatement) {
  Values evil = {T("x'); drop table People; --")};
  MustRun("insert into People(Name) values(?)", evil);
  EXPECT_EQ(Rows("select * from People where Name=?", evil).rowCount(), 1U);
  EXPECT_EQ(Rows("select * from People where Name=?", {T("' or ''='")}).rowCount(), 0U);
  SqlRows rows = Rows("select * from People");
  EXPECT_FALSE(Update(rows, 0, {{"Age]=1; drop table People; --", I(8)}}));
  EXPECT_EQ(Text("select count(*) from People"), "1");
}

TEST_F(OdbcDriverTest, ABadNumberForAColumnFails) {
  EXPECT_FALSE(Run("insert into People(Age) values(?)", {T("x")}));
  EXPECT_TRUE(Run("insert into People(Age) values(?)", {T("12")}));
  EXPECT_EQ(Text("select Age from People"), "12");
}

// --- Transactions ---

TEST_F(OdbcDriverTest, ATransactionIsKeptOrTakenBackAsAWhole) {
  MustRun("begin immediate");
  AddPerson("a", 1);
  MustRun("rollback");
  EXPECT_EQ(Text("select count(*) from People"), "0");
  MustRun("begin");
  AddPerson("a", 1);
  MustRun("commit");
  EXPECT_EQ(Text("select count(*) from People"), "1");
  EXPECT_TRUE(driver_->SyncCommitted());
}

TEST_F(OdbcDriverTest, ARollbackOfNothingLeavesNoTransaction) {
  EXPECT_FALSE(Run("rollback"));
  MustRun("exec vnq_fault 'hang_up'");
  clock_.nowMs += 60'000;
  AddPerson("a", 1);
  EXPECT_EQ(Text("select count(*) from People"), "1");
}

// --- Errors ---

TEST_F(OdbcDriverTest, AnErrorOfAWriteNamesItsTableAndColumns) {
  AddPerson("a", 1);
  SqlRows rows = Rows("select * from People");
  EXPECT_FALSE(Update(rows, 0, {{"Age", T("not a number")}}));
  EXPECT_EQ(driver_->LastError().rfind("update People set [Age]=?: 22018 ", 0), 0U)
      << driver_->LastError();
}

TEST_F(OdbcDriverTest, AnErrorNamesStatementStateAndCause) {
  EXPECT_TRUE(Fails("select * from Nowhere where a=?", {I(1)}));
  EXPECT_EQ(driver_->LastError().rfind("select * from Nowhere where a=?: 42S02 ", 0), 0U)
      << driver_->LastError();
  EXPECT_NE(driver_->LastError().find("Nowhere'. (208)"), std::string::npos);
  EXPECT_TRUE(Fails("select Nmae from People"));
  EXPECT_NE(driver_->LastError().find("(207)"), std::string::npos) << driver_->LastError();
  EXPECT_TRUE(Fails("selec"));
  EXPECT_TRUE(Fails(""));
}

TEST_F(OdbcDriverTest, AnErrorKeepsTheConnection) {
  MustRun("begin");
  AddPerson("a", 1);
  EXPECT_EQ(Text("select Name from People where Name=?", {T("a")}), "a");
  MustRun("exec vnq_fault 'error',1,50000");
  EXPECT_TRUE(Fails("select Name from People where Name=?", {T("a")}));
  EXPECT_NE(driver_->LastError().find("(50000)"), std::string::npos) << driver_->LastError();
  MustRun("commit");
  EXPECT_EQ(Text("select count(*) from People"), "1");
}

TEST_F(OdbcDriverTest, AStatementThatFailedRunsOnceItCan) {
  EXPECT_TRUE(Fails("select * from Later where Name=?", {T("a")}));
  EXPECT_FALSE(Run("insert into Later(Name) values(?)", {T("a")}));
  MustRun("create table Later (Name nvarchar(20) null)");
  MustRun("insert into Later(Name) values(?)", {T("a")});
  SqlRows rows = Rows("select * from Later where Name=?", {T("a")});
  EXPECT_EQ(AsText(rows), "a");
  EXPECT_EQ(rows.table, "Later");
}

TEST_F(OdbcDriverTest, ADuplicateKeyFails) {
  MustRun("create table Keyed (Code nvarchar(20) not null primary key)");
  MustRun("insert into Keyed(Code) values(?)", {T("a")});
  EXPECT_FALSE(Run("insert into Keyed(Code) values(?)", {T("a")}));
  EXPECT_NE(driver_->LastError().find("(2627)"), std::string::npos) << driver_->LastError();
}

}  // namespace
}  // namespace vnq
