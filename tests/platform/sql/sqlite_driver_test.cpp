#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "platform/sql/sql_driver.h"
#include "platform/sql/sqlite/sqlite_connection.h"
#include "tests/harness/said_lines.h"
#include "tests/platform/sql/sqlite_fixture.h"

namespace vnq {
namespace {

using Values = std::vector<SqlValue>;

constexpr const char* kTables =
    "create table People(Name text collate nocase, Secret text, Age integer default 7,"
    "  Since text default (strftime('%Y-%m-%d','now','localtime'))) strict;"
    "create table Numbered(Id integer primary key autoincrement, Name text collate nocase) strict;";

class SqliteDriverTest : public testing::Test {
 protected:
  void SetUp() override {
    other_ = std::make_unique<OtherProgram>(path_);
    other_->Run(std::string("pragma journal_mode=wal;") + kTables);
    Reopen();
  }

  void Reopen(SqlDurability durability = SqlDurability::kReceipt) {
    SqliteOptions options;
    options.path = path_;
    options.busyTimeoutMs = 50;
    options.durability = durability;
    options.clock = &clock_;
    driver_ = OpenSqlite(options);
  }

  bool Run(std::string_view statement, const Values& values = {}) {
    return driver_->Execute(statement, values);
  }

  SqlRows Rows(std::string_view statement, const Values& values = {}) {
    SqlRows rows;
    EXPECT_TRUE(driver_->Query(statement, values, rows)) << driver_->LastError();
    return rows;
  }

  bool Fails(std::string_view statement, const Values& values = {}) {
    SqlRows rows;
    return !driver_->Query(statement, values, rows) && rows.columns == nullptr;
  }

  // How long a statement took until it failed.
  int64_t FailureMs(std::string_view statement) {
    auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(Run(statement));
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 start)
        .count();
  }

  TemporaryFolder folder_;
  std::string path_ = folder_.File("test.db");
  TestClock clock_;
  std::unique_ptr<OtherProgram> other_;
  std::unique_ptr<SqlDriver> driver_;
};

std::vector<std::string> Names(const SqlRows& rows) {
  std::vector<std::string> names;
  for (const SqlColumn& column : *rows.columns) names.push_back(column.name);
  return names;
}

TEST_F(SqliteDriverTest, RowsCarryTheirTypesAndValues) {
  other_->Run("insert into People values('Ann','s',NULL,'2024-01-01')");
  SqlRows rows = Rows("select * from People");
  EXPECT_EQ(Names(rows), (std::vector<std::string>{"Name", "Secret", "Age", "Since"}));
  EXPECT_EQ((*rows.columns)[0].type, SqlColumnType::kText);
  EXPECT_EQ((*rows.columns)[2].type, SqlColumnType::kInteger);
  ASSERT_EQ(rows.cells.size(), 4U);
  EXPECT_EQ(rows.cells[0].text, "Ann");
  EXPECT_EQ(rows.cells[2].kind, SqlValue::Kind::kNull);
}

TEST_F(SqliteDriverTest, TopOneOfAnEmptyTableStillNamesItsTable) {
  SqlRows rows = Rows("Select top 1 * from People");
  EXPECT_EQ(rows.rowCount(), 0U);
  EXPECT_EQ(rows.table, "People");
  std::vector<SqlAssignment> values = {{"Name", SqlValue::Text("Ann")}};
  ASSERT_TRUE(driver_->Insert(rows, values)) << driver_->LastError();
  EXPECT_EQ(other_->Read("select Name||Age from People"), "Ann7");
  EXPECT_EQ(other_->Read("select Since=date('now','localtime') from People"), "1");
}

TEST_F(SqliteDriverTest, InsertWithoutColumnsTakesAllDefaults) {
  SqlRows rows = Rows("Select top 1 * from People");
  ASSERT_TRUE(driver_->Insert(rows, {})) << driver_->LastError();
  EXPECT_EQ(other_->Read("select Age from People where Name is null"), "7");
}

TEST_F(SqliteDriverTest, OneOfTwoEqualRowsIsChangedByItsIdentity) {
  other_->Run("insert into People(Name) values('Ann'),('Ann'),('Ann')");
  SqlRows rows = Rows("select Name,Age from People where Name=?", {SqlValue::Text("ann")});
  ASSERT_EQ(rows.rowCount(), 3U);
  std::vector<SqlAssignment> values = {{"Age", SqlValue::Integer(8)}};
  ASSERT_TRUE(driver_->UpdateRow(rows, 1, values)) << driver_->LastError();
  ASSERT_TRUE(driver_->DeleteRow(rows, 2)) << driver_->LastError();
  EXPECT_EQ(other_->Read("select group_concat(rowid||':'||Age) from People"), "1:7,2:8");
}

TEST_F(SqliteDriverTest, TheIdentityIsNoColumn) {
  other_->Run("insert into Numbered(Name) values('a')");
  SqlRows rows = Rows("select * from Numbered");
  EXPECT_EQ(Names(rows), (std::vector<std::string>{"Id", "Name"}));
  EXPECT_EQ(rows.cells.size(), 2U);
  EXPECT_EQ(rows.identity.size(), 1U);
}

TEST_F(SqliteDriverTest, MixedRowsHaveNoTable) {
  other_->Run(
      "insert into People(Name) values('a'); insert into Numbered(Name) values('a');"
      "create view Grown as select * from People");
  for (std::string_view select :
       {"select * from People as aa,Numbered as bb where aa.Name=bb.Name",
        "select bb.* from People as aa,Numbered as bb where aa.Name=bb.Name",
        "select aa.* from People aa inner join Numbered bb on aa.Name=bb.Name",
        "select count(*) from People", "select max(Age) as c from People",
        "select Name,count(*) from People", "select Name from People group by Name",
        "select distinct Name from People", "select * from Grown", "select 1",
        "select Name from People union select Name from Numbered"}) {
    SqlRows rows = Rows(select);
    EXPECT_EQ(rows.table, "") << select;
    EXPECT_TRUE(rows.identity.empty()) << select;
    EXPECT_EQ(rows.rowCount(), 1U) << select;
    EXPECT_FALSE(driver_->Insert(rows, {})) << select;
    EXPECT_FALSE(driver_->DeleteRow(rows, 0)) << select;
  }
}

TEST_F(SqliteDriverTest, ARowDeletedMeanwhileCannotBeWritten) {
  other_->Run("insert into People(Name) values('a')");
  SqlRows rows = Rows("select * from People");
  other_->Run("delete from People");
  std::vector<SqlAssignment> values = {{"Age", SqlValue::Integer(8)}};
  EXPECT_FALSE(driver_->UpdateRow(rows, 0, values));
  EXPECT_NE(driver_->LastError().find("no longer there"), std::string::npos);
  EXPECT_FALSE(driver_->DeleteRow(rows, 0));
  EXPECT_FALSE(driver_->DeleteRow(rows, 5));
}

TEST_F(SqliteDriverTest, AnErrorNamesStatementTableAndCause) {
  EXPECT_TRUE(Fails("select * from Nowhere where a=?", {SqlValue::Integer(1)}));
  EXPECT_EQ(driver_->LastError(), "select * from Nowhere where a=?: no such table: Nowhere");
  EXPECT_TRUE(Fails("select \"Nmae\" from People"));
  EXPECT_TRUE(Fails("selec"));
  EXPECT_TRUE(Fails(""));
}

TEST_F(SqliteDriverTest, ValuesAreNeverPartOfTheStatement) {
  Values evil = {SqlValue::Text("x'); drop table People; --")};
  ASSERT_TRUE(Run("insert into People(Name) values(?)", evil));
  EXPECT_EQ(Rows("select * from People where Name=?", evil).rowCount(), 1U);
  EXPECT_EQ(Rows("select * from People where Name=?", {SqlValue::Text("' or ''='")}).rowCount(),
            0U);
  SqlRows rows = Rows("select * from People");
  std::vector<SqlAssignment> column = {{"Age\"=1; drop table People; --", SqlValue::Integer(8)}};
  EXPECT_FALSE(driver_->UpdateRow(rows, 0, column));
  EXPECT_EQ(other_->Read("select count(*) from People"), "1");
}

TEST_F(SqliteDriverTest, SeveralStatementsInOneTextAreRefused) {
  EXPECT_FALSE(Run("delete from People; delete from Numbered"));
  EXPECT_TRUE(Run("delete from People ; "));
}

TEST_F(SqliteDriverTest, MarkersAndValuesMustBeEqualInNumber) {
  EXPECT_TRUE(Fails("select * from People where Name=?"));
  EXPECT_TRUE(Fails("select * from People", {SqlValue::Integer(1)}));
}

TEST_F(SqliteDriverTest, StrictTablesRefuseBadNumbers) {
  EXPECT_FALSE(Run("insert into People(Age) values('x')"));
  EXPECT_FALSE(Run("insert into People(Age) values(?)", {SqlValue::Text("")}));
  EXPECT_FALSE(Run("insert into People(Age) values(?)", {SqlValue::Text("1.5")}));
  EXPECT_TRUE(Run("insert into People(Age) values(?)", {SqlValue::Text("12")}));
  EXPECT_EQ(other_->Read("select typeof(Age)||Age from People"), "integer12");
}

TEST_F(SqliteDriverTest, ConversionTakesNumbersAndPassesNull) {
  other_->Run("insert into People(Name) values('9'),('  12 '),(NULL),('1e1'),('2.5')");
  EXPECT_EQ(Rows("Select max(clng(Name)) from People").cells[0].integer, 12);
  EXPECT_EQ(Rows("Select max(CONVERT(int,Name)) from People").cells[0].integer, 12);
  EXPECT_EQ(Rows("select clng(NULL)").cells[0].kind, SqlValue::Kind::kNull);
  EXPECT_EQ(Rows("select clng(2.5)").cells[0].integer, 2);
}

TEST_F(SqliteDriverTest, ConversionFailsOnWhatIsNoNumber) {
  for (std::string bad : {"", "a", "12a", "2147483648", "--1"}) {
    other_->Run("delete from People; insert into People(Name) values('1'),('" + bad + "')");
    EXPECT_TRUE(Fails("Select max(clng(Name)) from People")) << bad;
  }
  EXPECT_TRUE(Fails("select clng(4294967296)"));
}

TEST_F(SqliteDriverTest, ComparisonIgnoresAsciiCaseOnly) {
  auto found = [&](const std::string& stored, const std::string& asked) {
    EXPECT_TRUE(Run("delete from People"));
    EXPECT_TRUE(Run("insert into People(Name,Secret) values(?,?)",
                    {SqlValue::Text(stored), SqlValue::Text(stored)}));
    return Rows("select * from People where Name=?", {SqlValue::Text(asked)}).rowCount() == 1;
  };
  EXPECT_TRUE(found("a", "A"));
  EXPECT_FALSE(found("é", "É"));
  EXPECT_FALSE(found("Ａ", "A"));
  EXPECT_FALSE(found("あ", "ア"));
  EXPECT_FALSE(found("a ", "a"));
  EXPECT_FALSE(found("a", "a "));
  EXPECT_FALSE(found("a", ""));
  EXPECT_EQ(Rows("select * from People where Secret=?", {SqlValue::Text("A")}).rowCount(), 0U);
}

TEST_F(SqliteDriverTest, ComparisonInAListIgnoresAsciiCaseToo) {
  other_->Run("insert into People(Name) values('ann'),('Bob'),('c')");
  Values both = {SqlValue::Text("ANN"), SqlValue::Text("bob")};
  EXPECT_EQ(Rows("select * from People where Name in (?,?)", both).rowCount(), 2U);
}

TEST_F(SqliteDriverTest, TextsKeepEveryByte) {
  std::string odd = std::string("a\0b", 3) + "\xED\xA0\xBD" + "\xFF";
  ASSERT_TRUE(Run("insert into People(Name) values(?)", {SqlValue::Text(odd)}));
  EXPECT_EQ(Rows("select Name from People").cells[0].text, odd);
  EXPECT_EQ(Rows("select Name from People where Name=?", {SqlValue::Text("a")}).rowCount(), 0U);
}

TEST_F(SqliteDriverTest, TheEmptyTextIsNotNull) {
  ASSERT_TRUE(
      Run("insert into People(Name,Secret) values(?,?)", {SqlValue::Text(""), SqlValue::Null()}));
  SqlRows rows = Rows("select Name,Secret from People");
  EXPECT_EQ(rows.cells[0].kind, SqlValue::Kind::kText);
  EXPECT_EQ(rows.cells[1].kind, SqlValue::Kind::kNull);
}

TEST_F(SqliteDriverTest, TenMegabytesOfTextComeBack) {
  std::string large(10 << 20, 'x');
  ASSERT_TRUE(Run("insert into People(Name) values(?)", {SqlValue::Text(large)}));
  EXPECT_EQ(Rows("select Name from People").cells[0].text, large);
}

TEST_F(SqliteDriverTest, RowsOutliveWhatRunsLater) {
  other_->Run("insert into People(Name) values('a'),('b')");
  SqlRows outer = Rows("select Name from People");
  ASSERT_TRUE(Run("delete from People"));
  ASSERT_TRUE(Run("drop table Numbered"));
  EXPECT_EQ(outer.cells[1].text, "b");
}

TEST_F(SqliteDriverTest, AStatementMadeBeforeAChangeOfTheTableSeesTheChange) {
  other_->Run("insert into Numbered(Name) values('a')");
  EXPECT_EQ(Rows("select * from Numbered").columns->size(), 2U);
  other_->Run("alter table Numbered add column Size integer default 3");
  SqlRows rows = Rows("select * from Numbered");
  EXPECT_EQ(Names(rows), (std::vector<std::string>{"Id", "Name", "Size"}));
  EXPECT_EQ(rows.cells.size(), 3U);
  EXPECT_EQ(rows.identity[0].integer, 1);
}

TEST_F(SqliteDriverTest, MoreStatementsThanAreKeptAllRun) {
  for (int round = 0; round < 2; ++round) {
    for (int i = 0; i < 700; ++i) {
      ASSERT_EQ(Rows("select " + std::to_string(i)).cells[0].integer, i);
    }
  }
}

TEST(SqliteStatementCacheTest, TheLeastRecentlyUsedGoesFirst) {
  sqlite3* database = nullptr;
  ASSERT_EQ(sqlite3_open(":memory:", &database), SQLITE_OK);
  {
    SqliteStatementCache cache(database);
    std::string refusal;
    sqlite3_stmt* first = cache.Prepare("select 0", refusal)->handle.get();
    for (size_t i = 1; i <= SqliteStatementCache::kCapacity; ++i) {
      ASSERT_NE(cache.Prepare("select " + std::to_string(i), refusal), nullptr);
      if (i == 100) cache.Prepare("select 0", refusal);
    }
    EXPECT_EQ(cache.size(), SqliteStatementCache::kCapacity);
    EXPECT_EQ(cache.Prepare("select 0", refusal)->handle.get(), first);
    std::string longText = "select 1" + std::string(SqliteStatementCache::kLongestKept, ' ');
    ASSERT_NE(cache.Prepare(longText, refusal), nullptr);
    EXPECT_EQ(cache.size(), SqliteStatementCache::kCapacity);
  }
  EXPECT_EQ(sqlite3_close(database), SQLITE_OK);
}

TEST_F(SqliteDriverTest, NoStatementHoldsTheFileOnceItHasReturned) {
  other_->Run("insert into People(Name) values('a'),('b')");
  Rows("select * from People");
  EXPECT_TRUE(Run("select * from People"));
  EXPECT_TRUE(Fails("select clng(Name) from People"));
  EXPECT_EQ(other_->Read("pragma wal_checkpoint(truncate)"), "0");
}

TEST_F(SqliteDriverTest, AMissingFileFailsAndIsTriedOnceASecond) {
  std::string elsewhere = folder_.File("late.db");
  SqliteOptions options;
  options.path = elsewhere;
  options.clock = &clock_;
  driver_ = OpenSqlite(options);
  EXPECT_TRUE(Fails("select 1"));
  EXPECT_NE(driver_->LastError().find(elsewhere), std::string::npos);
  EXPECT_FALSE(std::filesystem::exists(elsewhere));

  OtherProgram(elsewhere).Run(kTables);
  clock_.nowMs += 999;
  EXPECT_TRUE(Fails("select 1"));
  EXPECT_NE(driver_->LastError().find(elsewhere), std::string::npos);
  clock_.nowMs += 1;
  EXPECT_EQ(Rows("select * from People").rowCount(), 0U);
  EXPECT_TRUE(driver_->SyncCommitted());
}

TEST_F(SqliteDriverTest, AnUnusableFileIsSaidOnceAndItsReturnToo) {
  SaidLines said;
  SqliteOptions options;
  options.path = folder_.File("late.db");
  options.clock = &clock_;
  driver_ = OpenSqlite(options);
  for (int i = 0; i < 5; ++i) {
    EXPECT_TRUE(Fails("select 1"));
    clock_.nowMs += 600;
  }
  EXPECT_EQ(said.Take().size(), 1U);
  OtherProgram(options.path).Run(kTables);
  clock_.nowMs += 1000;
  Rows("select 1");
  Rows("select 1");
  EXPECT_EQ(said.Take().size(), 1U);
  EXPECT_TRUE(Fails("select * from Nowhere"));
  EXPECT_EQ(said.Take().size(), 0U) << "a failed statement is the host's to note";
}

TEST_F(SqliteDriverTest, AnEmptyPathOpensNothing) {
  driver_ = OpenSqlite({});
  EXPECT_TRUE(Fails("select 1"));
}

TEST_F(SqliteDriverTest, AFileThatIsNoDatabaseFails) {
  std::string path = folder_.File("text.db");
  FILE* file = fopen(path.c_str(), "w");
  ASSERT_NE(file, nullptr);
  for (int i = 0; i < 1000; ++i) fputs("no database ", file);
  fclose(file);
  SqliteOptions options;
  options.path = path;
  driver_ = OpenSqlite(options);
  EXPECT_TRUE(Fails("select 1"));
  EXPECT_NE(driver_->LastError().find("not a database"), std::string::npos);
}

TEST_F(SqliteDriverTest, AFileIsCreatedWhenTheOptionsSaySo) {
  SqliteOptions options;
  options.path = folder_.File("new.db");
  options.createFile = true;
  driver_ = OpenSqlite(options);
  EXPECT_TRUE(Run("create table T(a text) strict"));
  EXPECT_EQ(OtherProgram(options.path).Read("pragma journal_mode"), "wal");
}

TEST_F(SqliteDriverTest, AFilePutInTheOldOnesPlaceIsReadWithinASecond) {
  std::string backup = folder_.File("backup.db");
  OtherProgram(backup).Run(std::string(kTables) + "insert into People(Name) values('restored')");
  EXPECT_EQ(Rows("select * from People").rowCount(), 0U);
  other_.reset();
  std::filesystem::rename(backup, path_);
  std::filesystem::remove(path_ + "-wal");
  std::filesystem::remove(path_ + "-shm");
  clock_.nowMs += 1000;
  EXPECT_EQ(Rows("select Name from People").cells[0].text, "restored");
}

TEST_F(SqliteDriverTest, AFileThatVanishesFailsAndComesBack) {
  EXPECT_EQ(Rows("select * from People").rowCount(), 0U);
  other_.reset();
  for (std::string suffix : {"", "-wal", "-shm"}) std::filesystem::remove(path_ + suffix);
  clock_.nowMs += 1000;
  EXPECT_TRUE(Fails("select * from People"));
  OtherProgram(path_).Run(kTables);
  clock_.nowMs += 1000;
  EXPECT_EQ(Rows("select * from People").rowCount(), 0U);
}

TEST_F(SqliteDriverTest, ALockedFileHoldsUpOneStatementOnly) {
  EXPECT_TRUE(Run("insert into People(Name) values('a')"));
  other_->Run("begin immediate");
  EXPECT_GE(FailureMs("insert into People(Name) values('b')"), 40);
  EXPECT_NE(driver_->LastError().find("locked"), std::string::npos);
  EXPECT_LT(FailureMs("insert into People(Name) values('c')"), 25);
  EXPECT_EQ(Rows("select * from People").rowCount(), 1U) << "reading goes on";

  clock_.nowMs += 1000;
  EXPECT_GE(FailureMs("insert into People(Name) values('d')"), 40) << "one tries again";
  EXPECT_LT(FailureMs("insert into People(Name) values('e')"), 25);
}

TEST_F(SqliteDriverTest, AReleasedLockIsNoticedAtOnce) {
  other_->Run("begin immediate");
  EXPECT_FALSE(Run("insert into People(Name) values('b')"));
  other_->Run("commit");
  EXPECT_TRUE(Run("insert into People(Name) values('c')"));
  other_->Run("begin immediate");
  EXPECT_GE(FailureMs("insert into People(Name) values('d')"), 40) << "patient again";
}

TEST_F(SqliteDriverTest, AFileLockedWhenItIsOpenedHoldsUpOneStatementOnly) {
  driver_.reset();
  other_->Run(
      "pragma locking_mode=exclusive; begin exclusive; insert into People(Name) values('a')");
  Reopen();
  FailureMs("select * from People");
  EXPECT_LT(FailureMs("select * from People"), 25);
}

class SqliteDurability : public SqliteDriverTest,
                         public testing::WithParamInterface<SqlDurability> {};

TEST_P(SqliteDurability, WhatIsWrittenIsThereAndSyncs) {
  Reopen(GetParam());
  EXPECT_TRUE(driver_->SyncCommitted()) << "nothing written";
  ASSERT_TRUE(Run("insert into People(Name) values('a')"));
  EXPECT_TRUE(driver_->SyncCommitted()) << driver_->LastError();
  EXPECT_TRUE(driver_->SyncCommitted());
  EXPECT_EQ(other_->Read("select count(*) from People"), "1");
}

TEST_P(SqliteDurability, SynchronousFollowsTheMode) {
  Reopen(GetParam());
  int64_t expected = GetParam() == SqlDurability::kNone      ? 0
                     : GetParam() == SqlDurability::kReceipt ? 1
                                                             : 2;
  EXPECT_EQ(Rows("pragma synchronous").cells[0].integer, expected);
}

TEST_P(SqliteDurability, ALongLogIsMovedIntoTheFileAtTheSync) {
  Reopen(GetParam());
  auto logBytes = [&] { return std::filesystem::file_size(path_ + "-wal"); };
  std::string large(1 << 20, 'x');
  auto insert = [&] { return Run("insert into People(Name) values(?)", {SqlValue::Text(large)}); };
  for (int i = 0; i < 6; ++i) ASSERT_TRUE(insert());
  auto before = logBytes();
  EXPECT_GT(before, 6U << 20) << "no check point inside a statement";
  ASSERT_TRUE(driver_->SyncCommitted()) << driver_->LastError();
  EXPECT_GT(std::filesystem::file_size(path_), 6U << 20);
  ASSERT_TRUE(insert());
  EXPECT_EQ(logBytes(), before) << "the log is written from its start again";
}

INSTANTIATE_TEST_SUITE_P(Modes, SqliteDurability,
                         testing::Values(SqlDurability::kReceipt, SqlDurability::kCommit,
                                         SqlDurability::kNone));

}  // namespace
}  // namespace vnq
