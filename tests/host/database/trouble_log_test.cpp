// What the log says when the database takes nothing, with real files and real causes.
#include "host/database/trouble_log.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/database/database.h"
#include "host/values/skipped.h"
#include "tests/harness/as_nobody.h"
#include "tests/harness/lines.h"
#include "tests/harness/said_lines.h"
#include "tests/platform/sql/sqlite_fixture.h"

namespace vnq {
namespace {

class TroubleLogTest : public testing::TestWithParam<SqlCommit> {
 protected:
  void SetUp() override {
    other_.Run("pragma journal_mode=wal; create table T(a text unique) strict");
    chmod(path_.c_str(), 0666);
    Open();
  }

  void Open() {
    SqliteOptions options;
    options.path = path_;
    options.busyTimeoutMs = 0;
    options.commit = GetParam();
    options.clock = &clock_;
    database_ = std::make_unique<Database>(OpenSqlite(options), &clock_);
  }

  // Adds a row, as a handler in a turn of its own.
  bool Add(const std::string& value) {
    Cursor Adodc1(*database_);
    Adodc1.Open(Sql("Select top 1 * from T"));
    Adodc1.AddNew();
    Adodc1.Set("a", value);
    const bool done = Adodc1.Update();
    database_->EndTurn();
    return done;
  }

  void Seconds(int count) {
    for (int i = 0; i < count; ++i) {
      clock_.nowMs += 1000;
      database_->SyncCommitted();
    }
  }

  TemporaryFolder folder_;
  std::string path_ = folder_ / "test.db";
  TestClock clock_;
  OtherProgram other_{path_};
  std::unique_ptr<Database> database_;
  SaidLines said_;
};

TEST_P(TroubleLogTest, AForeignLockIsSaidOnceThenCountedEachMinuteThenOver) {
  other_.Run("begin immediate");
  EXPECT_FALSE(Add("1"));
  EXPECT_FALSE(Add("2"));
  EXPECT_EQ(said_.Take(),
            Lines{"warning: database: another program keeps it locked; statements are skipped, and "
                  "what they belong to is acknowledged: insert into \"T\"(\"a\") values(?): "
                  "database is locked"});
  Seconds(59);
  EXPECT_EQ(said_.Take(), Lines{});
  Seconds(1);
  EXPECT_EQ(said_.Take(), Lines{"warning: database: 2 statements skipped in the last minute, 2 in "
                                "1 minutes"});
  EXPECT_FALSE(Add("3"));
  Seconds(60);
  EXPECT_EQ(said_.Take(), Lines{"warning: database: 1 statements skipped in the last minute, 3 in "
                                "2 minutes"});
  other_.Run("commit");
  Seconds(10);
  EXPECT_EQ(said_.Take(), Lines{}) << "nobody has tried";
  EXPECT_TRUE(Add("4"));
  Seconds(1);
  EXPECT_EQ(said_.Take(),
            Lines{"info: database: rows are written again; 3 statements were skipped in 60 "
                  "seconds"});
  Seconds(120);
  EXPECT_EQ(said_.Take(), Lines{});
}

TEST_P(TroubleLogTest, OneRowBetweenTwoFailuresIsNotTheEnd) {
  other_.Run("begin immediate");
  EXPECT_FALSE(Add("1"));
  other_.Run("commit");
  EXPECT_TRUE(Add("2"));
  Seconds(4);
  other_.Run("begin immediate");
  EXPECT_FALSE(Add("3"));
  Seconds(30);
  EXPECT_EQ(said_.Take().size(), 1U) << "the warning alone";
}

TEST_P(TroubleLogTest, AFullDiskIsSaidWithItsCauseAndEndsWithRoom) {
  ASSERT_TRUE(database_->Execute(Sql("pragma max_page_count=4")));
  EXPECT_FALSE(Add(std::string(100'000, 'x')));
  const Lines lines = said_.Take();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_TRUE(lines[0].starts_with("warning: database: the disk is full; ")) << lines[0];
  EXPECT_TRUE(lines[0].ends_with(": database or disk is full")) << lines[0];
  ASSERT_TRUE(database_->Execute(Sql("pragma max_page_count=1000")));
  database_->EndTurn();
  EXPECT_TRUE(Add("y"));
  Seconds(5);
  EXPECT_EQ(said_.Take(),
            Lines{"info: database: rows are written again; 1 statements were skipped in 0 "
                  "seconds"});
}

TEST_P(TroubleLogTest, AFileThatMayOnlyBeReadIsSaid) {
  database_.reset();
  chmod(folder_.path().c_str(), 0777);
  chmod(path_.c_str(), 0444);
  const std::string said = AsNobody([&] {
    Open();
    if (Add("1")) return std::string("written");
    const Lines lines = said_.Take();
    return lines.empty() ? "nothing" : lines.back();
  });
  EXPECT_TRUE(said.starts_with("warning: database: it may only be read; ")) << said;
}

TEST_P(TroubleLogTest, AStatementThatIsWrongInItselfIsNotSaid) {
  EXPECT_TRUE(Add("1"));
  EXPECT_FALSE(Add("1"));
  EXPECT_FALSE(database_->Execute(Sql("delete T")));
  Seconds(60);
  EXPECT_EQ(said_.Take(), Lines{});
}

// A row set is read before a row of it is added, so the read is what tells.
TEST_P(TroubleLogTest, AMissingTableIsSaidOnceAndEndsAMinuteBehindTheLastFailure) {
  other_.Run("alter table T rename to Elsewhere");
  EXPECT_FALSE(Add("1"));
  EXPECT_FALSE(Add("2"));
  EXPECT_EQ(said_.Take(),
            Lines{"warning: database: a table or a column is missing; statements are skipped, and "
                  "what they belong to is acknowledged: Select top 1 * from T: no such table: T"});
  other_.Run("alter table Elsewhere rename to T");
  EXPECT_TRUE(Add("3"));
  Seconds(59);
  EXPECT_EQ(said_.Take(), Lines{});
  Seconds(1);
  const Lines lines = said_.Take();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_TRUE(lines[0].starts_with("info: database: rows are written again; ")) << lines[0];
}

INSTANTIATE_TEST_SUITE_P(Commits, TroubleLogTest,
                         testing::Values(SqlCommit::kStatement, SqlCommit::kTurn),
                         [](const auto& each) {
                           return each.param == SqlCommit::kTurn ? "ATurn" : "AStatement";
                         });

class UndoneTurn : public testing::Test {};

TEST_F(UndoneTurn, EachOfItsStatementsIsASkippedOneAndItIsSaidOnce) {
  TemporaryFolder folder;
  OtherProgram other(folder / "test.db");
  other.Run("pragma journal_mode=wal; create table T(a text) strict");
  SqliteOptions options;
  options.path = folder / "test.db";
  options.commit = SqlCommit::kTurn;
  TestClock clock;
  SaidLines said;
  Database database(OpenSqlite(options), &clock);
  ASSERT_TRUE(database.Execute(Sql("pragma max_page_count=3")));
  const uint64_t before = SkippedStatements();
  EXPECT_TRUE(database.Execute(Sql("insert into T values('1')")));
  EXPECT_TRUE(database.Execute(Sql("insert into T values('2')")));
  EXPECT_FALSE(database.Execute(Sql("insert into T values('?')", std::string(100'000, 'x'))));
  EXPECT_EQ(SkippedStatements() - before, 3U);
  EXPECT_EQ(said.Take().size(), 1U);
  database.EndTurn();
  EXPECT_EQ(other.Read("select count(*) from T"), "0");
}

}  // namespace
}  // namespace vnq
