// What every driver does, on every engine. What only one of them has stands in its own test.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "platform/net/clock.h"
#include "tests/platform/sql/driver_fixture.h"
#include "tests/platform/sql/odbc_fixture.h"
#include "tests/platform/sql/postgres_fixture.h"
#include "tests/platform/sql/sqlite_fixture.h"

namespace vnq {
namespace {

struct Engine {
  const char* name;
  std::unique_ptr<EngineDatabase> (*open)();  // null: this run has no server of the kind
};

std::unique_ptr<EngineDatabase> OpenPostgresEngine() {
  if (TestServer().host.empty()) return nullptr;
  return std::make_unique<PostgresEngine>();
}

void PrintTo(const Engine& engine, std::ostream* out) {
  *out << engine.name;
}

class SqlDriverContract : public DriverTest, public testing::WithParamInterface<Engine> {
 protected:
  void SetUp() override {
    database_ = GetParam().open();
    if (!database_) GTEST_SKIP() << "no server of this engine for this run";
    driver_ = database_->Connect();
    other_ = database_->Connect();
    Make(
        "People(Name {name},Secret {secret},Age {number} default 7,Since {name} default "
        "({today}))");
    Make("Numbered(Id {counted},Name {name},Age {number} default 7,Body {text})");
  }
  void TearDown() override {
    driver_.reset();
    other_.reset();
  }

  const EngineWords& words() const { return database_->words(); }

  /// A statement with the engine's words in it.
  std::string Worded(const std::string& statement) const {
    const EngineWords& own = words();
    return fmt::format(fmt::runtime(statement), fmt::arg("name", own.name),
                       fmt::arg("secret", own.secret), fmt::arg("text", own.text),
                       fmt::arg("number", own.number), fmt::arg("counted", own.counted),
                       fmt::arg("key", own.key), fmt::arg("today", own.today));
  }
  void Make(const std::string& table) { Other(Worded("create table " + table + words().ending)); }

  void AddPerson(const std::string& name, int64_t age) {
    MustRun("insert into People(Name,Age) values(?,?)", {T(name), I(age)});
  }

  Lines Columns(Lines written) const {
    for (std::string& name : written) name = database_->ColumnName(name);
    return written;
  }

  /// Writes one column, and its cell too when that was read.
  bool Set(SqlRows& rows, size_t row, const std::string& column, const SqlValue& value) {
    const std::string name = database_->ColumnName(column);
    if (!driver_->UpdateRow(rows, row, Assigned{{name, value}})) return false;
    const Lines names = Names(rows);
    const auto found = std::find(names.begin(), names.end(), name);
    if (found != names.end()) {
      rows.cells[row * names.size() + static_cast<size_t>(found - names.begin())] = value;
    }
    return true;
  }
  void MustSet(SqlRows& rows, size_t row, const std::string& column, const SqlValue& value) {
    EXPECT_TRUE(Set(rows, row, column, value)) << driver_->LastError();
  }

 private:
  std::unique_ptr<EngineDatabase> database_;

 protected:
  void UseDriverThatWaits(int busyTimeoutMs, const Clock& clock) {
    driver_ = database_->ConnectWaiting(busyTimeoutMs, clock);
  }
  std::string TableName(const std::string& written) const { return database_->TableName(written); }
  std::unique_ptr<SqlDriver> Connect() { return database_->Connect(); }
};

INSTANTIATE_TEST_SUITE_P(Engines, SqlDriverContract,
                         testing::Values(Engine{"Sqlite",
                                                []() -> std::unique_ptr<EngineDatabase> {
                                                  return std::make_unique<SqliteEngine>();
                                                }},
                                         Engine{"Postgres", OpenPostgresEngine},
                                         Engine{"Odbc",
                                                []() -> std::unique_ptr<EngineDatabase> {
                                                  return std::make_unique<OdbcEngine>();
                                                }}),
                         [](const auto& engine) { return engine.param.name; });

// --- What queries give ---

TEST_P(SqlDriverContract, RowsCarryTheirTypesAndValues) {
  Other("insert into People(Name,Secret,Age,Since) values('Ann','s',NULL,'2024-01-01')");
  const SqlRows rows = Rows("select * from People");
  EXPECT_EQ(Names(rows), Columns({"Name", "Secret", "Age", "Since"}));
  EXPECT_EQ(AsText(rows), "Ann|s|NULL|2024-01-01");
  EXPECT_EQ(rows.rowCount(), 1U);
  EXPECT_EQ(rows.table, TableName("People"));
  const std::vector<SqlColumn>& columns = *rows.columns;
  EXPECT_EQ(columns[0].type, SqlColumnType::kText);
  EXPECT_EQ(columns[0].maxLength, words().nameLength);
  EXPECT_EQ(columns[1].type, SqlColumnType::kText);
  EXPECT_EQ(columns[2].type, SqlColumnType::kInteger);
}

TEST_P(SqlDriverContract, ATextOfAnyLengthHasNoBound) {
  Other("insert into Numbered(Name,Body) values('Ann','long')");
  const SqlRows rows = Rows("select * from Numbered");
  EXPECT_EQ(Names(rows), Columns({"Id", "Name", "Age", "Body"}));
  EXPECT_EQ(AsText(rows), "1|Ann|7|long");
  EXPECT_EQ(rows.cells[0].kind, SqlValue::Kind::kInteger);
  EXPECT_EQ((*rows.columns)[0].type, SqlColumnType::kInteger);
  EXPECT_EQ((*rows.columns)[3].type, SqlColumnType::kText);
  EXPECT_EQ((*rows.columns)[3].maxLength, 0U);
  EXPECT_EQ(rows.table, TableName("Numbered"));
}

TEST_P(SqlDriverContract, TopOneIsTheFirstRow) {
  AddPerson("b", 2);
  AddPerson("a", 1);
  AddPerson("c", 3);
  EXPECT_EQ(Text("Select top 1 Name from People order by Name"), "a");
  EXPECT_EQ(Text("select top 1 Name from People order by Age desc"), "c");
  EXPECT_EQ(Rows("Select top 1 * from People where Name=?", {T("d")}).rowCount(), 0U);
}

TEST_P(SqlDriverContract, CountsAreExactAndAreIntegers) {
  for (int from = 0; from < 2500; from += 500) {
    std::string rows;
    for (int age = from + 1; age <= from + 500; ++age) rows += fmt::format(",('p',{})", age);
    Other("insert into People(Name,Age) values" + rows.substr(1));
  }
  EXPECT_EQ(Rows("select * from People").rowCount(), 2500U);
  const SqlRows count = Rows("select count(*),max(Age),sum(Age) from People");
  EXPECT_EQ(AsText(count), "2500|2500|3126250");
  for (const SqlValue& cell : count.cells) EXPECT_EQ(cell.kind, SqlValue::Kind::kInteger);
}

TEST_P(SqlDriverContract, DatesAreTexts) {
  Other("insert into People(Name,Since) values('old','2024-01-31'),('day','2024-02-01')");
  Other("insert into People(Name,Since) values('new','2024-02-02')");
  EXPECT_EQ(Text("select count(*) from People where Since<=#2024-02-01#"), "2");
  EXPECT_EQ(Text("select count(*) from People where Since<=?", {T("2024-02-01")}), "2");
  EXPECT_EQ(Text("select Name from People where Since <=#2024-01-31#"), "old");
}

TEST_P(SqlDriverContract, ConversionTakesNumbersAndPassesNull) {
  EXPECT_EQ(Text("select clng('12'),CONVERT(int,' -3 '),clng(NULL)"), "12|-3|NULL");
  Other("insert into People(Name) values('9'),('  12 '),(NULL)");
  EXPECT_EQ(Text("Select max(clng(Name)) from People"), "12");
  EXPECT_EQ(Text("Select max(CONVERT(int,Name)) from People"), "12");
}

TEST_P(SqlDriverContract, ConversionFailsOnWhatIsNoNumber) {
  for (const std::string& bad : words().noConversion) {
    MustRun("delete from People");
    Other("insert into People(Name) values('1'),('" + bad + "')");
    EXPECT_TRUE(Fails("Select max(clng(Name)) from People")) << bad;
    ExpectError(words().badConversion);
    EXPECT_TRUE(Fails("select CONVERT(int,Name) from People")) << bad;
    ExpectError(words().badConversion);
  }
}

TEST_P(SqlDriverContract, TablesAndColumnsAreFoundInAnyCase) {
  AddPerson("Ann", 3);
  SqlRows rows = Rows("SELECT name,AGE from PEOPLE where nAmE='Ann'");
  EXPECT_EQ(AsText(rows), "Ann|3");
  MustSet(rows, 0, "Age", I(4));
  EXPECT_EQ(Text("select Age from People"), "4");
}

TEST_P(SqlDriverContract, OneTextRunsWithNumbersAndWithTexts) {
  AddPerson("a", 5);
  const std::string select = "select Name from People where Age=?";
  EXPECT_EQ(Text(select, {I(5)}), "a");
  EXPECT_EQ(Text(select, {T("5")}), "a");
  EXPECT_EQ(Text(select, {Null()}), "");
  EXPECT_EQ(Text(select, {I(5)}), "a");
}

TEST_P(SqlDriverContract, RowsOutliveWhatRunsLater) {
  AddPerson("a", 1);
  AddPerson("b", 2);
  const SqlRows rows = Rows("select Name from People order by Name");
  MustRun("delete from People");
  MustRun("drop table Numbered");
  Rows("select * from People");
  EXPECT_EQ(AsText(rows), "a;b");
}

TEST_P(SqlDriverContract, AStatementMadeBeforeAChangeOfTheTableSeesTheChange) {
  AddPerson("a", 1);
  MustRun("insert into Numbered(Name) values('a')");
  EXPECT_EQ(Rows("select * from People").columns->size(), 4U);
  EXPECT_EQ(Rows("select * from Numbered").columns->size(), 4U);
  for (const std::string table : {"People", "Numbered"}) {
    Other(Worded("alter table " + table + " add Size {number} default 3"));
    SqlRows rows = Rows("select * from " + table);
    EXPECT_EQ(Names(rows).back(), Columns({"Size"}).front());
    EXPECT_EQ(rows.cells.size(), 5U);
    EXPECT_EQ(rows.cells.back().integer, 3);
    MustSet(rows, 0, "Size", I(4));
    EXPECT_EQ(Text("select Size from " + table), "4");
  }
  const SqlValue key = Rows("select * from Numbered").identity[0];
  EXPECT_EQ(key.kind == SqlValue::Kind::kText ? key.text : std::to_string(key.integer), "1");
}

TEST_P(SqlDriverContract, MoreStatementsThanAreKeptAllRun) {
  for (int round = 0; round < 2; ++round) {
    for (int i = 0; i < 700; ++i) {
      ASSERT_EQ(Text(fmt::format("select {} where 1=?", i), {I(1)}), std::to_string(i));
    }
  }
}

TEST_P(SqlDriverContract, MarkersAndValuesMustBeEqualInNumber) {
  EXPECT_TRUE(Fails("select * from People where Age=?"));
  ExpectError("another number of markers than of values");
  EXPECT_TRUE(Fails("select * from People", {I(1)}));
  EXPECT_TRUE(Fails("select * from People where Age=?", {I(1), I(2)}));
  EXPECT_FALSE(Run("delete from People where Age=?"));
  EXPECT_FALSE(Run("delete from People where Age=?", {I(1), I(2)}));
  ExpectError("another number of markers than of values");
}

// --- Texts ---

TEST_P(SqlDriverContract, TextsOfAllScriptsComeBack) {
  const std::string text = "中文 Ünïcode 😀👍🏽 ﾊﾝｶｸ ' \" \\ % \x01\n end";
  AddPerson(text, 1);
  EXPECT_EQ(Text("select Name from People where Name=?", {T(text)}), text);
}

TEST_P(SqlDriverContract, ComparisonIgnoresAsciiCaseOnly) {
  auto found = [&](const std::string& stored, const std::string& asked) {
    MustRun("delete from People");
    MustRun("insert into People(Name,Secret) values(?,?)", {T(stored), T(stored)});
    const size_t equal = Rows("select * from People where Name=?", {T(asked)}).rowCount();
    EXPECT_EQ(equal + Rows("select * from People where Name<>?", {T(asked)}).rowCount(), 1U);
    EXPECT_EQ(Rows("select * from People where Name in (?,?)", {T("-"), T(asked)}).rowCount(),
              equal);
    EXPECT_EQ(Rows("select * from People where Secret=?", {T(asked)}).rowCount(),
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

TEST_P(SqlDriverContract, ComparisonInAListIgnoresAsciiCaseToo) {
  for (const char* name : {"ann", "Bob", "c"}) AddPerson(name, 1);
  EXPECT_EQ(Rows("select * from People where Name in (?,?)", {T("ANN"), T("bob")}).rowCount(), 2U);
}

TEST_P(SqlDriverContract, TheEmptyTextIsNotNull) {
  MustRun("insert into People(Name,Secret,Age) values(?,?,?)", {Null(), T(""), Null()});
  const SqlRows rows = Rows("select Name,Secret,Age from People");
  EXPECT_EQ(rows.cells[0].kind, SqlValue::Kind::kNull);
  EXPECT_EQ(rows.cells[1].kind, SqlValue::Kind::kText);
  EXPECT_EQ(rows.cells[1].text, "");
  EXPECT_EQ(rows.cells[2].kind, SqlValue::Kind::kNull);
}

TEST_P(SqlDriverContract, NumbersAndTextsTakeNullFromAMarker) {
  MustRun("insert into Numbered(Name,Age,Body) values(?,?,?)", {Null(), Null(), Null()});
  EXPECT_EQ(Text("select Name,Age,Body from Numbered"), "NULL|NULL|NULL");
}

TEST_P(SqlDriverContract, LongTextsComeBackWhole) {
  for (const size_t characters :
       {size_t{3999}, size_t{4000}, size_t{4001}, size_t{4095}, size_t{4096}, size_t{4097},
        size_t{8190}, size_t{8191}, words().longestText}) {
    std::string text;
    while (text.size() < characters) text += static_cast<char>('a' + text.size() % 26);
    MustRun("delete from Numbered");
    MustRun("insert into Numbered(Body) values(?)", {T(text)});
    EXPECT_TRUE(Rows("select Body from Numbered").cells[0].text == text) << characters;
  }
}

TEST_P(SqlDriverContract, EmojiStayWholeWhereverAPieceEnds) {
  for (const std::string front : {"", "a"}) {
    std::string text = front;
    for (int i = 0; i < 10000; ++i) text += "😀";
    MustRun("delete from Numbered");
    MustRun("insert into Numbered(Body) values(?)", {T(text)});
    EXPECT_TRUE(Rows("select Body from Numbered").cells[0].text == text) << front;
  }
}

// --- Adding rows ---

TEST_P(SqlDriverContract, TopOneOfAnEmptyTableStillTakesARow) {
  const SqlRows rows = Rows("Select top 1 * from People");
  EXPECT_EQ(rows.rowCount(), 0U);
  EXPECT_EQ(rows.table, TableName("People"));
  const std::string name = Columns({"Name"}).front();
  ASSERT_TRUE(driver_->Insert(rows, Assigned{{name, T("Ann")}})) << driver_->LastError();
  EXPECT_EQ(OtherReads("select Name,Age from People"), "Ann|7");
  EXPECT_EQ(OtherReads("select Since from People").size(), 10U);
  EXPECT_EQ(OtherReads(Worded("select count(*) from People where Since={today}")), "1");
}

TEST_P(SqlDriverContract, AnInsertLeavesTheKeyToCount) {
  const SqlRows rows = Rows("Select top 1 * from Numbered");
  const std::string name = Columns({"Name"}).front();
  ASSERT_TRUE(driver_->Insert(rows, Assigned{{name, T("Ann")}})) << driver_->LastError();
  EXPECT_EQ(OtherReads("select Id,Name,Age from Numbered"), "1|Ann|7");
}

TEST_P(SqlDriverContract, InsertWithoutColumnsTakesAllDefaults) {
  const SqlRows rows = Rows("Select top 1 * from People");
  ASSERT_TRUE(driver_->Insert(rows, {})) << driver_->LastError();
  EXPECT_EQ(OtherReads("select Name,Secret,Age from People"), "NULL|NULL|7");
  EXPECT_EQ(OtherReads("select Since from People").size(), 10U);
}

// --- What programs that share a database hold against each other ---

TEST_P(SqlDriverContract, ARowIsAddedOnceByItsKeyWhereTheDatabaseIsShared) {
  const SqlRows rows = Rows("Select top 1 * from People");
  const Lines columns = Columns({"Name", "Secret", "Age"});
  const auto add = [&](const std::unique_ptr<SqlDriver>& driver, const SqlValue& name,
                       const SqlValue& secret, const SqlValue& age) {
    const Assigned key{{columns[0], name}, {columns[2], age}};
    const Assigned values{{columns[0], name}, {columns[1], secret}, {columns[2], age}};
    ASSERT_TRUE(driver->InsertOnce(rows, values, key)) << driver->LastError();
    ASSERT_TRUE(driver->EndTurn());
  };
  add(driver_, T("Ann"), T("first"), I(1));
  add(driver_, T("Ann"), Null(), I(2));
  add(other_, T("Bob"), T("x"), T("1"));
  EXPECT_EQ(OtherReads("select Name,Secret,Age from People order by Name,Age"),
            "Ann|first|1;Ann|NULL|2;Bob|x|1");
  EXPECT_EQ(OtherReads("select Since from People where Age=2").size(), 10U);
  if (std::string(GetParam().name) == "Sqlite") return;  // a file is one program's
  add(other_, T("Ann"), T("second"), I(1));
  EXPECT_EQ(OtherReads("select Secret from People where Age=1 and Name='Ann'"), "first");
}

TEST_P(SqlDriverContract, ALockByNumbersKeepsOtherProgramsOut) {
  const SqlLock lock{7, -12}, another{7, 13};
  if (std::string(GetParam().name) == "Sqlite") {
    EXPECT_FALSE(driver_->Lock(lock, false));
    return;
  }
  EXPECT_TRUE(driver_->Lock(lock, true)) << driver_->LastError();
  EXPECT_FALSE(other_->Lock(lock, false));
  EXPECT_TRUE(other_->Lock(another, false)) << other_->LastError();
  EXPECT_TRUE(driver_->Unlock(lock)) << driver_->LastError();
  EXPECT_TRUE(other_->Lock(lock, false)) << other_->LastError();
  other_.reset();
  EXPECT_TRUE(driver_->Lock(lock, true)) << driver_->LastError();
}

TEST_P(SqlDriverContract, AConnectionSharesALockWhileItStands) {
  const bool hasLocks = std::string(GetParam().name) != "Sqlite";
  const SqlLock lock{7, 14};
  auto third = Connect(), fourth = Connect();
  for (const auto& driver : {&third, &fourth}) {
    (*driver)->ShareWhileConnected(lock);
    SqlRows rows;
    EXPECT_TRUE((*driver)->Query("select 1", {}, rows)) << (*driver)->LastError();
  }
  EXPECT_FALSE(driver_->Lock(lock, false));
  third.reset();
  EXPECT_FALSE(driver_->Lock(lock, false));
  fourth.reset();
  EXPECT_EQ(driver_->Lock(lock, true), hasLocks) << driver_->LastError();
}

TEST_P(SqlDriverContract, NumbersInTextColumnsAndTextsInNumberColumns) {
  MustRun("insert into People(Name,Age) values(?,?)", {I(12), T("34")});
  const SqlRows rows = Rows("select Name,Age from People where Age=?", {I(34)});
  EXPECT_EQ(AsText(rows), "12|34");
  EXPECT_EQ(rows.cells[0].kind, SqlValue::Kind::kText);
  EXPECT_EQ(rows.cells[1].kind, SqlValue::Kind::kInteger);
}

TEST_P(SqlDriverContract, ABadNumberForAColumnFails) {
  EXPECT_FALSE(Run("insert into People(Age) values('x')"));
  for (const std::string& bad : words().noIntegers) {
    EXPECT_FALSE(Run("insert into People(Age) values(?)", {T(bad)})) << bad;
  }
  MustRun("insert into People(Age) values(?)", {T("12")});
  EXPECT_EQ(OtherReads("select Age from People"), "12");
}

TEST_P(SqlDriverContract, ADuplicateKeyFails) {
  Make("Keyed(Code {key})");
  MustRun("insert into Keyed(Code) values(?)", {T("a")});
  EXPECT_FALSE(Run("insert into Keyed(Code) values(?)", {T("a")}));
  ExpectError(words().duplicateKey);
}

// --- Writing rows that were read ---

TEST_P(SqlDriverContract, AKeyFindsTheRowAndIsNoColumn) {
  for (int i = 0; i < 3; ++i) MustRun("insert into Numbered(Name) values('same')");
  SqlRows rows = Rows("select Name,Age from Numbered where Name=? order by Id", {T("Same")});
  EXPECT_EQ(Names(rows), Columns({"Name", "Age"}));
  EXPECT_EQ(rows.cells.size(), 6U);
  EXPECT_EQ(rows.identityWidth, 1U);
  EXPECT_EQ(rows.identity.size(), 3U);
  MustSet(rows, 1, "Age", I(8));
  MustSet(rows, 1, "Age", I(9));
  EXPECT_TRUE(driver_->DeleteRow(rows, 2)) << driver_->LastError();
  EXPECT_EQ(OtherReads("select Id,Age from Numbered order by Id"), "1|7;2|9");
}

TEST_P(SqlDriverContract, AKeyThatIsWrittenStillFindsTheRow) {
  Make("Keyed(Code {key},Age {number})");
  MustRun("insert into Keyed(Code,Age) values(?,?)", {T("a"), I(1)});
  SqlRows rows = Rows("select Age from Keyed");
  MustSet(rows, 0, "Code", T("B"));
  MustSet(rows, 0, "Age", I(2));
  EXPECT_EQ(OtherReads("select * from Keyed"), "B|2");
}

TEST_P(SqlDriverContract, OneOfSeveralEqualRowsIsChanged) {
  for (int i = 0; i < 3; ++i) AddPerson("same", 1);
  SqlRows rows = Rows("select * from People");
  ASSERT_EQ(rows.rowCount(), 3U);
  MustSet(rows, 0, "Age", I(2));
  EXPECT_TRUE(driver_->DeleteRow(rows, 1)) << driver_->LastError();
  EXPECT_EQ(OtherReads("select Age from People order by Age"), "1;2");
  EXPECT_TRUE(driver_->DeleteRow(rows, 0)) << driver_->LastError();
  EXPECT_EQ(OtherReads("select Age from People"), "1");
}

TEST_P(SqlDriverContract, WhatWasReadIsComparedToTheLetter) {
  for (const char* name : {"a", "A", "a ", "á"}) AddPerson(name, 1);
  SqlRows rows = Rows("select * from People");
  ASSERT_EQ(rows.rowCount(), 4U);
  MustSet(rows, 1, "Age", I(2));
  MustSet(rows, 2, "Age", I(3));
  EXPECT_TRUE(driver_->DeleteRow(rows, 3)) << driver_->LastError();
  EXPECT_EQ(OtherReads("select Name,Age from People order by Age"), "a|1;A|2;a |3");
}

TEST_P(SqlDriverContract, ARowIsWrittenTwiceThroughOneRowSet) {
  AddPerson("a", 1);
  MustRun("insert into Numbered(Name) values('a')");
  for (const std::string table : {"People", "Numbered"}) {
    SqlRows rows = Rows("select * from " + table);
    MustSet(rows, 0, "Name", T("b"));
    MustSet(rows, 0, "Name", Null());
    MustSet(rows, 0, "Name", T("c"));
    EXPECT_EQ(OtherReads("select Name from " + table), "c");
    EXPECT_TRUE(driver_->DeleteRow(rows, 0)) << driver_->LastError();
    EXPECT_EQ(OtherReads("select count(*) from " + table), "0");
  }
}

TEST_P(SqlDriverContract, ARowDeletedMeanwhileCannotBeWritten) {
  AddPerson("a", 1);
  MustRun("insert into Numbered(Name) values('a')");
  for (const std::string table : {"People", "Numbered"}) {
    SqlRows rows = Rows("select * from " + table);
    Other("delete from " + table);
    EXPECT_FALSE(Set(rows, 0, "Age", I(8)));
    ExpectError("the row is no longer there");
    EXPECT_FALSE(driver_->DeleteRow(rows, 0));
    ExpectError("the row is no longer there");
  }
}

// --- Rows that count themselves ---

class RowColumnContract : public SqlDriverContract {
 protected:
  void SetUp() override {
    SqlDriverContract::SetUp();
    if (IsSkipped()) return;
    Make("Counted(Name {name},Age {number} default 7,vnq_row {counted})");
    for (const char* name : {"c", "a", "b"}) {
      MustRun("insert into Counted(Name) values(?)", {T(name)});
    }
  }
};

INSTANTIATE_TEST_SUITE_P(Servers, RowColumnContract,
                         testing::Values(Engine{"Postgres", OpenPostgresEngine},
                                         Engine{"Odbc",
                                                []() -> std::unique_ptr<EngineDatabase> {
                                                  return std::make_unique<OdbcEngine>();
                                                }}),
                         [](const auto& engine) { return engine.param.name; });

TEST_P(RowColumnContract, IsSeenByWhoNamesItAlone) {
  EXPECT_EQ(Names(Rows("select * from Counted")), Columns({"Name", "Age"}));
  EXPECT_EQ(Text("select * from Counted where Name='a'"), "a|7");
  EXPECT_EQ(Names(Rows("select Counted.*,People.Age from Counted,People")),
            Columns({"Name", "Age", "Age"}));
  EXPECT_EQ(Text("select vnq_row,Name from Counted where vnq_row=?", {I(2)}), "2|a");
}

TEST_P(RowColumnContract, IsFilledByItself) {
  const SqlRows rows = Rows("select top 1 * from Counted");
  ASSERT_TRUE(driver_->Insert(rows, Assigned{{Columns({"Name"}).front(), T("d")}}))
      << driver_->LastError();
  EXPECT_EQ(OtherReads("select vnq_row from Counted where Name='d'"), "4");
}

TEST_P(RowColumnContract, FindsARowThatAnotherProgramWroteSinceItWasRead) {
  SqlRows rows = Rows("select * from Counted where Name='a'");
  Other("update Counted set Name='x',Age=9 where Name='a'");
  MustSet(rows, 0, "Age", I(10));
  EXPECT_EQ(OtherReads("select Name,Age from Counted where Name='x'"), "x|10");
  Other("update Counted set Age=11 where Name='x'");
  EXPECT_TRUE(driver_->DeleteRow(rows, 0)) << driver_->LastError();
  EXPECT_EQ(OtherReads("select count(*) from Counted"), "2");
}

TEST_P(RowColumnContract, TellsEqualRowsApart) {
  MustRun("update Counted set Name='same'");
  SqlRows rows = Rows("select Name from Counted");
  MustSet(rows, 1, "Age", I(8));
  EXPECT_EQ(OtherReads("select vnq_row from Counted where Age=8"), "2");
}

TEST_P(RowColumnContract, KeepsRowsInTheOrderOfTheirAddingWhateverIsWritten) {
  Other("update Counted set Age=1 where Name='c'");
  Other("update Counted set Age=2 where Name='a'");
  EXPECT_EQ(Text("select Name from Counted"), "c;a;b");
  EXPECT_EQ(Text("select Name from Counted where Age<?", {I(5)}), "c;a");
  EXPECT_EQ(Text("select top 1 Name from Counted"), "c");
  EXPECT_EQ(Text("select top 2 Name from Counted where Age>0"), "c;a");
  EXPECT_EQ(Text("select Name from Counted order by Name"), "a;b;c");
  EXPECT_EQ(Text("select count(*) from Counted"), "3");
}

// --- What keeps a database from its work ---

TEST_P(SqlDriverContract, MissingTablesAndColumnsAreTold) {
  for (const char* statement :
       {"insert into Nowhere values(1)", "delete from Nowhere",
        "insert into People(Absent) values(1)", "update People set Absent=1"}) {
    EXPECT_FALSE(Run(statement));
    EXPECT_EQ(driver_->LastTrouble(), SqlTrouble::kMissing) << driver_->LastError();
  }
  for (const char* statement : {"select * from Nowhere", "select Absent from People"}) {
    EXPECT_TRUE(Fails(statement));
    EXPECT_EQ(driver_->LastTrouble(), SqlTrouble::kMissing) << driver_->LastError();
  }
  EXPECT_FALSE(Run("insert into People(Age) values('x')"));
  EXPECT_EQ(driver_->LastTrouble(), SqlTrouble::kNone) << "merely wrong: " << driver_->LastError();
}

// --- Locks of other programs ---

class LockContract : public SqlDriverContract {
 protected:
  void SetUp() override {
    SqlDriverContract::SetUp();
    if (IsSkipped()) return;
    AddPerson("Ann", 1);
    UseDriverThatWaits(kWaitMs, clock_);
    EXPECT_TRUE(Write());
  }

  static constexpr int kWaitMs = 200;
  void LockTheRow() {
    Other("begin immediate");
    Other("update People set Age=5");
  }
  bool Write() { return Run("update People set Age=6 where Name='Ann'"); }
  /// How long it is waited for the lock until the write fails.
  int64_t VainMs() {
    const int64_t ms = MsOf([&] { EXPECT_FALSE(Write()); });
    EXPECT_EQ(driver_->LastTrouble(), SqlTrouble::kLocked) << driver_->LastError();
    return ms;
  }

  TestClock clock_;
};

INSTANTIATE_TEST_SUITE_P(Engines, LockContract,
                         testing::Values(Engine{"Sqlite",
                                                []() -> std::unique_ptr<EngineDatabase> {
                                                  return std::make_unique<SqliteEngine>();
                                                }},
                                         Engine{"Postgres", OpenPostgresEngine},
                                         Engine{"Odbc",
                                                []() -> std::unique_ptr<EngineDatabase> {
                                                  return std::make_unique<OdbcEngine>();
                                                }}),
                         [](const auto& engine) { return engine.param.name; });

TEST_P(LockContract, AVainWaitIsFollowedByAPauseInWhichNothingWaits) {
  LockTheRow();
  EXPECT_GE(VainMs(), kWaitMs * 9 / 10);
  int64_t ms = 0;
  for (int i = 0; i < 5; ++i) ms += VainMs();
  EXPECT_LT(ms, kWaitMs) << "five at once";
  EXPECT_EQ(Text("select Name from People"), "Ann") << "reading goes on";
}

TEST_P(LockContract, PausesGrowWhileTheLockIsHeld) {
  LockTheRow();
  VainMs();
  clock_.nowMs += 1000;
  EXPECT_GE(VainMs(), kWaitMs * 9 / 10) << "one waits again";
  clock_.nowMs += 1000;
  EXPECT_LT(VainMs(), kWaitMs / 2) << "the second pause is longer";
  clock_.nowMs += 1000;
  EXPECT_GE(VainMs(), kWaitMs * 9 / 10);
}

TEST_P(LockContract, ALockThatIsFreeAgainIsHadInThePauseAndEndsIt) {
  LockTheRow();
  VainMs();
  Other("commit");
  EXPECT_TRUE(Write()) << driver_->LastError();
  LockTheRow();
  EXPECT_GE(VainMs(), kWaitMs * 9 / 10) << "patient again";
}

// --- Rows that are not there ---

TEST_P(SqlDriverContract, RowsOutsideTheSetAreNoRows) {
  SqlRows rows = Rows("select * from People");
  EXPECT_FALSE(driver_->UpdateRow(rows, 0, Assigned{{Columns({"Name"}).front(), T("a")}}));
  EXPECT_FALSE(driver_->DeleteRow(rows, 5));
  EXPECT_TRUE(driver_->UpdateRow(rows, 0, {})) << "nothing to write";
}

TEST_P(SqlDriverContract, AnUpdateThatMeetsNoRowIsNoError) {
  MustRun("update People set Age=? where Name=?", {I(1), T("nobody")});
  MustRun("delete from People where Name=?", {T("nobody")});
  MustRun("delete from People");
}

TEST_P(SqlDriverContract, AnAliasedTableWithALimitAndAConditionIsWritten) {
  MustRun("insert into Numbered(Name) values('a')");
  MustRun("insert into Numbered(Name) values('b')");
  SqlRows rows =
      Rows("select top 1 k.Name from Numbered k where k.Name>=? order by k.Name desc", {T("a")});
  EXPECT_EQ(AsText(rows), "b");
  EXPECT_TRUE(driver_->DeleteRow(rows, 0)) << driver_->LastError();
  EXPECT_EQ(OtherReads("select max(Id) from Numbered"), "1");
}

TEST_P(SqlDriverContract, RowsOfSeveralTablesAndOfNoneAreForReadingOnly) {
  AddPerson("a", 1);
  MustRun("insert into Numbered(Name) values('a')");
  Lines selects = {"select * from People as aa,Numbered as bb where aa.Name=bb.Name",
                   "select bb.* from People as aa,Numbered as bb where aa.Name=bb.Name",
                   "select count(*) from People",
                   "select count(*) from Numbered",
                   "select max(Age) as c from People",
                   "select max(Id) as c from Numbered",
                   "select Name from People group by Name",
                   "select distinct Name from People",
                   "select 1"};
  if (!words().mixed.empty()) Other("create view Seen as select * from People");
  selects.insert(selects.end(), words().mixed.begin(), words().mixed.end());
  for (const std::string& select : selects) {
    SqlRows rows = Rows(select);
    EXPECT_EQ(rows.table, "") << select;
    EXPECT_TRUE(rows.identity.empty()) << select;
    EXPECT_EQ(rows.identityWidth, 0U) << select;
    EXPECT_EQ(rows.rowCount(), 1U) << select;
    EXPECT_FALSE(driver_->Insert(rows, {})) << select;
    EXPECT_FALSE(Set(rows, 0, "Name", T("b"))) << select;
    EXPECT_FALSE(driver_->DeleteRow(rows, 0)) << select;
  }
  EXPECT_EQ(OtherReads("select count(*) from People where Name='a'"), "1");
}

TEST_P(SqlDriverContract, ValuesAndNamesAreNeverPartOfTheStatement) {
  const Values evil = {T("x'); drop table People; --")};
  MustRun("insert into People(Name) values(?)", evil);
  EXPECT_EQ(Text("select Name from People where Name=?", evil), evil[0].text);
  EXPECT_EQ(Rows("select * from People where Name=?", {T("' or ''='")}).rowCount(), 0U);
  SqlRows rows = Rows("select * from People");
  for (const char* name : {"Age\"=1; drop table People; --", "Age]=1; drop table People; --"}) {
    EXPECT_FALSE(driver_->UpdateRow(rows, 0, Assigned{{name, I(8)}})) << name;
  }
  EXPECT_EQ(OtherReads("select count(*) from People"), "1");
}

// --- Transactions ---

TEST_P(SqlDriverContract, ATransactionIsKeptOrTakenBackAsAWhole) {
  MustRun("BEGIN immediate");
  AddPerson("a", 1);
  MustRun("rollback");
  EXPECT_EQ(OtherReads("select count(*) from People"), "0");
  MustRun("begin");
  AddPerson("a", 1);
  EXPECT_TRUE(driver_->SyncCommitted());
  MustRun("commit");
  EXPECT_EQ(OtherReads("select count(*) from People"), "1");
  MustRun("begin");
  MustRun("delete from People");
  MustRun("rollback");
  EXPECT_EQ(OtherReads("select count(*) from People"), "1");
  EXPECT_TRUE(driver_->SyncCommitted());
}

TEST_P(SqlDriverContract, AnErrorLeavesNoTransactionOpen) {
  EXPECT_FALSE(Run("insert into People(Age) values(?)", {T("x")}));
  AddPerson("a", 1);
  EXPECT_EQ(OtherReads("select count(*) from People"), "1");
}

// --- Errors ---

TEST_P(SqlDriverContract, AnErrorNamesStatementTableAndCause) {
  EXPECT_TRUE(Fails("select * from Nowhere where a=?", {I(1)}));
  EXPECT_EQ(driver_->LastError().rfind(words().unknownTable, 0), 0U) << driver_->LastError();
  ExpectError(words().unknownNamed);
  EXPECT_TRUE(Fails("select Nmae from People"));
  EXPECT_TRUE(Fails("selec"));
  EXPECT_TRUE(Fails(""));
}

TEST_P(SqlDriverContract, AStatementThatFailedRunsOnceItCan) {
  EXPECT_TRUE(Fails("select * from Later where Name=?", {T("a")}));
  EXPECT_FALSE(Run("insert into Later(Name) values(?)", {T("a")}));
  Make("Later(Name {name})");
  MustRun("insert into Later(Name) values(?)", {T("a")});
  const SqlRows rows = Rows("select * from Later where Name=?", {T("a")});
  EXPECT_EQ(AsText(rows), "a");
  EXPECT_EQ(rows.table, TableName("Later"));
}

}  // namespace
}  // namespace vnq
