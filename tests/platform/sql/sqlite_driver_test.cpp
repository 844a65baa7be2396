#include <gtest/gtest.h>

#include <filesystem>

#include "platform/sql/sqlite/sqlite_connection.h"
#include "tests/harness/said_lines.h"
#include "tests/platform/sql/sqlite_fixture.h"

namespace vnq {
namespace {

constexpr const char* kTables =
    "create table People(Name text collate nocase, Secret text, Age integer default 7,"
    "  Since text default (strftime('%Y-%m-%d','now','localtime'))) strict;"
    "create table Numbered(Id integer primary key autoincrement, Name text collate nocase) strict;";

class SqliteDriverTest : public DriverTest {
 protected:
  void SetUp() override {
    program_ = std::make_unique<OtherProgram>(path_);
    program_->Run(std::string("pragma journal_mode=wal;") + kTables);
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

  // How long a statement took until it failed.
  int64_t FailureMs(std::string_view statement) {
    return MsOf([&] { EXPECT_FALSE(Run(statement)); });
  }

  TemporaryFolder folder_;
  std::string path_ = folder_ / "test.db";
  TestClock clock_;
  std::unique_ptr<OtherProgram> program_;
};

TEST_F(SqliteDriverTest, OneOfTwoEqualRowsIsChangedByItsIdentity) {
  program_->Run("insert into People(Name) values('Ann'),('Ann'),('Ann')");
  SqlRows rows = Rows("select Name,Age from People where Name=?", {SqlValue::Text("ann")});
  ASSERT_EQ(rows.rowCount(), 3U);
  std::vector<SqlAssignment> values = {{"Age", SqlValue::Integer(8)}};
  ASSERT_TRUE(driver_->UpdateRow(rows, 1, values)) << driver_->LastError();
  ASSERT_TRUE(driver_->DeleteRow(rows, 2)) << driver_->LastError();
  EXPECT_EQ(program_->Read("select group_concat(rowid||':'||Age) from People"), "1:7,2:8");
}

TEST_F(SqliteDriverTest, SeveralStatementsInOneTextAreRefused) {
  EXPECT_FALSE(Run("delete from People; delete from Numbered"));
  EXPECT_TRUE(Run("delete from People ; "));
}

TEST_F(SqliteDriverTest, ANumberForAnIntegerColumnIsKeptAsOne) {
  EXPECT_TRUE(Run("insert into People(Age) values(?)", {T("12")}));
  EXPECT_EQ(program_->Read("select typeof(Age)||Age from People"), "integer12");
}

TEST_F(SqliteDriverTest, ConversionRoundsAndTakesExponents) {
  program_->Run("insert into People(Name) values('9'),('  12 '),(NULL),('1e1'),('2.5')");
  EXPECT_EQ(Text("Select max(clng(Name)) from People"), "12");
  EXPECT_EQ(Text("Select max(CONVERT(int,Name)) from People"), "12");
  EXPECT_EQ(Text("select clng(2.5)"), "2");
  EXPECT_TRUE(Fails("select clng(4294967296)"));
}

TEST_F(SqliteDriverTest, AQuotedNameThatIsNoColumnIsNoText) {
  EXPECT_TRUE(Fails("select \"Nmae\" from People"));
}

TEST_F(SqliteDriverTest, TextsKeepEveryByte) {
  std::string odd = std::string("a\0b", 3) + "\xED\xA0\xBD" + "\xFF";
  ASSERT_TRUE(Run("insert into People(Name) values(?)", {SqlValue::Text(odd)}));
  EXPECT_EQ(Rows("select Name from People").cells[0].text, odd);
  EXPECT_EQ(Rows("select Name from People where Name=?", {SqlValue::Text("a")}).rowCount(), 0U);
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
  program_->Run("insert into People(Name) values('a'),('b')");
  Rows("select * from People");
  EXPECT_TRUE(Run("select * from People"));
  EXPECT_TRUE(Fails("select clng(Name) from People"));
  EXPECT_EQ(program_->Read("pragma wal_checkpoint(truncate)"), "0");
}

TEST_F(SqliteDriverTest, AMissingFileFailsAndIsTriedOnceASecond) {
  std::string elsewhere = folder_ / "late.db";
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
  options.path = folder_ / "late.db";
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
  std::string path = folder_ / "text.db";
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
  options.path = folder_ / "new.db";
  options.createFile = true;
  driver_ = OpenSqlite(options);
  EXPECT_TRUE(Run("create table T(a text) strict"));
  EXPECT_EQ(OtherProgram(options.path).Read("pragma journal_mode"), "wal");
}

TEST_F(SqliteDriverTest, AFilePutInTheOldOnesPlaceIsReadWithinASecond) {
  std::string backup = folder_ / "backup.db";
  OtherProgram(backup).Run(std::string(kTables) + "insert into People(Name) values('restored')");
  EXPECT_EQ(Rows("select * from People").rowCount(), 0U);
  program_.reset();
  std::filesystem::rename(backup, path_);
  std::filesystem::remove(path_ + "-wal");
  std::filesystem::remove(path_ + "-shm");
  clock_.nowMs += 1000;
  EXPECT_EQ(Rows("select Name from People").cells[0].text, "restored");
}

// As an operator does it: the log of the file before stays where it was.
TEST_F(SqliteDriverTest, AnOlderBackupMovedOverTheFileInUseIsNotSpoiltByItsLog) {
  program_->Run("insert into People(Name) values('old')");
  program_->Run("vacuum into '" + (folder_ / "backup.db") + "'");
  program_.reset();
  for (int i = 0; i < 200; ++i) {
    ASSERT_TRUE(Run("insert into People(Name,Secret) values(?,?)",
                    {SqlValue::Text(std::to_string(i)), SqlValue::Text(std::string(2000, 's'))}));
  }
  ASSERT_GT(std::filesystem::file_size(path_ + "-wal"), 100'000U);
  std::filesystem::rename(folder_ / "backup.db", path_);
  clock_.nowMs += 1000;
  EXPECT_EQ(Text("select Name from People"), "old");
  ASSERT_TRUE(Run("insert into People(Name) values('new')"));
  EXPECT_EQ(Text("pragma integrity_check"), "ok");
  EXPECT_EQ(OtherProgram(path_).Read("select group_concat(Name) from People"), "old,new");
}

TEST_F(SqliteDriverTest, ABackupMovedOverTheFileJustBeforeTheEndIsNotSpoiltEither) {
  program_->Run("vacuum into '" + (folder_ / "backup.db") + "'");
  program_.reset();
  ASSERT_TRUE(Run("insert into People(Name) values('lost')"));
  std::filesystem::rename(folder_ / "backup.db", path_);
  driver_.reset();
  EXPECT_FALSE(std::filesystem::exists(path_ + "-wal"));
  EXPECT_EQ(OtherProgram(path_).Read("select count(*) from People"), "0");
}

TEST_F(SqliteDriverTest, AFileThatIsMovedAwayAndBackHasAllItsRows) {
  program_.reset();
  ASSERT_TRUE(Run("insert into People(Name) values('a')"));
  std::filesystem::rename(path_, folder_ / "away.db");
  clock_.nowMs += 1000;
  EXPECT_TRUE(Fails("select * from People"));
  std::filesystem::rename(folder_ / "away.db", path_);
  clock_.nowMs += 1000;
  EXPECT_EQ(Text("select Name from People"), "a");
}

TEST_F(SqliteDriverTest, ASyncFailsForWhatWasWrittenToAFileThatIsReplaced) {
  program_->Run("vacuum into '" + (folder_ / "backup.db") + "'");
  program_.reset();
  ASSERT_TRUE(Run("insert into People(Name) values('lost')"));
  std::filesystem::rename(folder_ / "backup.db", path_);
  EXPECT_FALSE(driver_->SyncCommitted());
  ExpectError("it was replaced before a sync");
  ASSERT_TRUE(Run("insert into People(Name) values('kept')"));
  EXPECT_TRUE(driver_->SyncCommitted()) << driver_->LastError();
  EXPECT_EQ(OtherProgram(path_).Read("select group_concat(Name) from People"), "kept");
}

TEST_F(SqliteDriverTest, ALogThatGrewBehindALongReaderIsShortAgainAfterIt) {
  program_->Run("begin; select * from People");
  const std::string large(1 << 20, 'x');
  auto insert = [&] { return Run("insert into People(Name) values(?)", {SqlValue::Text(large)}); };
  for (int i = 0; i < 80; ++i) ASSERT_TRUE(insert());
  ASSERT_TRUE(driver_->SyncCommitted());
  EXPECT_GT(std::filesystem::file_size(path_ + "-wal"), 80U << 20);
  program_->Run("commit");
  for (int i = 0; i < 3; ++i) {
    ASSERT_TRUE(insert());
    ASSERT_TRUE(driver_->SyncCommitted());
  }
  EXPECT_LE(std::filesystem::file_size(path_ + "-wal"), 64U << 20);
}

TEST_F(SqliteDriverTest, AFileThatVanishesFailsAndComesBack) {
  EXPECT_EQ(Rows("select * from People").rowCount(), 0U);
  program_.reset();
  for (std::string suffix : {"", "-wal", "-shm"}) std::filesystem::remove(path_ + suffix);
  clock_.nowMs += 1000;
  EXPECT_TRUE(Fails("select * from People"));
  OtherProgram(path_).Run(kTables);
  clock_.nowMs += 1000;
  EXPECT_EQ(Rows("select * from People").rowCount(), 0U);
}

TEST_F(SqliteDriverTest, ALockedFileHoldsUpOneStatementOnly) {
  EXPECT_TRUE(Run("insert into People(Name) values('a')"));
  program_->Run("begin immediate");
  EXPECT_GE(FailureMs("insert into People(Name) values('b')"), 40);
  EXPECT_NE(driver_->LastError().find("locked"), std::string::npos);
  EXPECT_LT(FailureMs("insert into People(Name) values('c')"), 25);
  EXPECT_EQ(Rows("select * from People").rowCount(), 1U) << "reading goes on";

  clock_.nowMs += 1000;
  EXPECT_GE(FailureMs("insert into People(Name) values('d')"), 40) << "one waits again";
  EXPECT_LT(FailureMs("insert into People(Name) values('e')"), 25);
}

TEST_F(SqliteDriverTest, AReleasedLockIsNoticedAtOnce) {
  program_->Run("begin immediate");
  EXPECT_FALSE(Run("insert into People(Name) values('b')"));
  program_->Run("commit");
  EXPECT_TRUE(Run("insert into People(Name) values('c')"));
  program_->Run("begin immediate");
  EXPECT_GE(FailureMs("insert into People(Name) values('d')"), 40) << "patient again";
}

TEST_F(SqliteDriverTest, AFileLockedWhenItIsOpenedHoldsUpOneStatementOnly) {
  driver_.reset();
  program_->Run(
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
  EXPECT_EQ(program_->Read("select count(*) from People"), "1");
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
  for (int i = 0; i < 20; ++i) ASSERT_TRUE(insert());  // what a busy second writes
  auto before = logBytes();
  EXPECT_GT(before, 20U << 20) << "no check point inside a statement";
  ASSERT_TRUE(driver_->SyncCommitted()) << driver_->LastError();
  EXPECT_GT(std::filesystem::file_size(path_), 20U << 20);
  ASSERT_TRUE(insert());
  EXPECT_EQ(logBytes(), before) << "written from its start again, and not cut under the lock";
}

INSTANTIATE_TEST_SUITE_P(Modes, SqliteDurability,
                         testing::Values(SqlDurability::kReceipt, SqlDurability::kCommit,
                                         SqlDurability::kNone));

}  // namespace
}  // namespace vnq
