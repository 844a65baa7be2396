#include "platform/sql/sqlite/sqlite_turn.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <set>

#include "platform/sql/sql_driver.h"
#include "tests/platform/sql/sqlite_fixture.h"

namespace vnq {
namespace {

class SqliteTurnTest : public testing::Test {
 protected:
  void SetUp() override {
    other_->Run("pragma journal_mode=wal; create table T(a integer unique, b text) strict");
    Open();
  }

  void Open() {
    SqliteOptions options;
    options.path = path_;
    options.busyTimeoutMs = 50;
    options.commit = SqlCommit::kTurn;
    options.clock = &clock_;
    driver_ = OpenSqlite(options);
  }

  bool Run(const std::string& statement) { return driver_->Execute(statement, {}); }
  bool Insert(int a) { return Run("insert into T(a) values(" + std::to_string(a) + ")"); }

  int64_t Count() {
    SqlRows rows;
    EXPECT_TRUE(driver_->Query("select count(*) from T", {}, rows)) << driver_->LastError();
    return rows.cells.empty() ? -1 : rows.cells[0].integer;
  }

  std::string SeenByOthers() { return other_->Read("select ifnull(group_concat(a),'') from T"); }
  bool OthersCanWrite() { return other_->Try("begin immediate; rollback"); }

  TemporaryFolder folder_;
  std::string path_ = folder_ / "test.db";
  TestClock clock_;
  std::unique_ptr<OtherProgram> other_ = std::make_unique<OtherProgram>(path_);
  std::unique_ptr<SqlDriver> driver_;
};

// Keeps this process from making files longer than they are, as a full disk would.
class NoRoomToWrite {
 public:
  explicit NoRoomToWrite(rlim_t bytes) {
    handler_ = signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &before_);
    rlimit now = before_;
    now.rlim_cur = bytes;
    setrlimit(RLIMIT_FSIZE, &now);
  }
  ~NoRoomToWrite() {
    setrlimit(RLIMIT_FSIZE, &before_);
    signal(SIGXFSZ, handler_);
  }
  NoRoomToWrite(const NoRoomToWrite&) = delete;
  NoRoomToWrite& operator=(const NoRoomToWrite&) = delete;

 private:
  rlimit before_{};
  sighandler_t handler_;
};

TEST_F(SqliteTurnTest, OthersSeeAllOfATurnAtItsEndAndNothingBefore) {
  EXPECT_TRUE(Insert(1));
  EXPECT_TRUE(Insert(2));
  EXPECT_EQ(SeenByOthers(), "");
  EXPECT_EQ(Count(), 2);
  EXPECT_TRUE(driver_->EndTurn());
  EXPECT_EQ(SeenByOthers(), "1,2");
  EXPECT_EQ(driver_->TakeUndone(), 0U);
}

TEST_F(SqliteTurnTest, BetweenTurnsNothingIsHeld) {
  Insert(1);
  Count();
  EXPECT_TRUE(driver_->EndTurn());
  EXPECT_TRUE(OthersCanWrite());
  EXPECT_EQ(other_->Read("pragma wal_checkpoint(truncate)"), "0");
  Count();
  EXPECT_TRUE(driver_->EndTurn()) << "of reading alone";
  EXPECT_EQ(other_->Read("pragma wal_checkpoint(truncate)"), "0");
  EXPECT_TRUE(driver_->EndTurn()) << "of nothing";
}

TEST_F(SqliteTurnTest, AFailedStatementIsUndoneAloneAndTheNextRuns) {
  EXPECT_TRUE(Insert(1));
  EXPECT_FALSE(Insert(1));
  EXPECT_EQ(driver_->LastTrouble(), SqlTrouble::kNone);
  EXPECT_FALSE(Run("insert into T(a) values(5),(6),(1)")) << "fails at its third row";
  EXPECT_FALSE(Run("insert into T(a) values('x')"));
  EXPECT_FALSE(Run("insert into Nowhere values(1)"));
  EXPECT_TRUE(Insert(2));
  EXPECT_TRUE(driver_->EndTurn());
  EXPECT_EQ(SeenByOthers(), "1,2");
  EXPECT_EQ(driver_->TakeUndone(), 0U);
}

TEST_F(SqliteTurnTest, ReadingSeesOneMomentOfTheFileUntilTheTurnEnds) {
  EXPECT_EQ(Count(), 0);
  other_->Run("insert into T(a) values(7)");
  EXPECT_EQ(Count(), 0);
  EXPECT_TRUE(driver_->EndTurn());
  EXPECT_EQ(Count(), 1);
}

TEST_F(SqliteTurnTest, AWriteBehindWhatAnotherProgramWroteIsNotRefused) {
  EXPECT_EQ(Count(), 0);
  other_->Run("insert into T(a) values(7)");
  EXPECT_TRUE(Insert(1)) << driver_->LastError();
  EXPECT_EQ(Count(), 2) << "the turn reads what it writes on";
  EXPECT_TRUE(driver_->EndTurn());
  EXPECT_EQ(SeenByOthers(), "1,7");
}

TEST_F(SqliteTurnTest, OtherWritersWaitForTheRestOfATurnThatIsBounded) {
  EXPECT_TRUE(Insert(1));
  EXPECT_FALSE(OthersCanWrite());
  clock_.nowMs += SqliteTurn::kLongestMs - 1;
  EXPECT_EQ(Count(), 1);
  EXPECT_FALSE(OthersCanWrite());
  clock_.nowMs += 1;
  EXPECT_EQ(Count(), 1) << "the next statement finds the turn over";
  EXPECT_TRUE(OthersCanWrite());
  EXPECT_EQ(SeenByOthers(), "1");
}

TEST_F(SqliteTurnTest, ATurnIsBoundedInStatementsToo) {
  for (size_t i = 0; i < SqliteTurn::kMostStatements; ++i) ASSERT_TRUE(Insert(static_cast<int>(i)));
  EXPECT_EQ(SeenByOthers(), "");
  Count();
  EXPECT_EQ(other_->Read("select count(*) from T"), std::to_string(SqliteTurn::kMostStatements));
}

TEST_F(SqliteTurnTest, AForeignLockRefusesWritesAndIsWaitedForOnce) {
  other_->Run("begin immediate; insert into T(a) values(9)");
  EXPECT_EQ(Count(), 0) << "reading goes on";
  EXPECT_FALSE(Insert(1));
  EXPECT_EQ(driver_->LastTrouble(), SqlTrouble::kLocked);
  EXPECT_FALSE(Insert(2));
  EXPECT_EQ(Count(), 0);
  EXPECT_EQ(driver_->TakeUndone(), 0U) << "what never ran is not undone";
  other_->Run("commit");
  EXPECT_TRUE(Insert(3)) << "noticed at once";
  EXPECT_TRUE(driver_->EndTurn());
  EXPECT_EQ(SeenByOthers(), "3,9");
}

TEST_F(SqliteTurnTest, ARefusedCommitUndoesTheTurnAndTellsHowMuchThatIs) {
  EXPECT_TRUE(Insert(1));
  EXPECT_TRUE(driver_->EndTurn());
  EXPECT_TRUE(Insert(2));
  EXPECT_TRUE(Insert(3));
  EXPECT_EQ(Count(), 3);
  {
    NoRoomToWrite full(std::filesystem::file_size(path_ + "-wal"));
    EXPECT_FALSE(driver_->EndTurn());
  }
  EXPECT_EQ(driver_->LastTrouble(), SqlTrouble::kWriteFailed);
  EXPECT_EQ(driver_->TakeUndone(), 2U);
  EXPECT_EQ(driver_->TakeUndone(), 0U);
  EXPECT_EQ(Count(), 1);
  EXPECT_TRUE(Insert(4));
  EXPECT_TRUE(driver_->EndTurn());
  EXPECT_EQ(SeenByOthers(), "1,4");
}

// Pages that leave the memory before the commit, that are read back and written again, and that a
// failed statement takes back, among another program's transactions.
TEST_F(SqliteTurnTest, ATurnThatDoesNotFitTheMemoryIsWholeInTheLog) {
  EXPECT_TRUE(Run("pragma cache_size=5"));
  EXPECT_TRUE(Run("create index ByText on T(b)"));
  for (int turn = 0; turn < 6; ++turn) {
    for (int i = 0; i < 40; ++i) {
      const std::string a = std::to_string(turn * 100 + i), other = std::to_string(i);
      ASSERT_TRUE(Run("insert into T(a,b) values(" + a + ",hex(randomblob(900)))"));
      ASSERT_TRUE(Run("update T set b=b||'x' where a%7=" + other + "%7"));
      EXPECT_FALSE(Run("insert into T(a,b) select a+1000,b from T union all select 0,'x'"));
    }
    ASSERT_TRUE(driver_->EndTurn());
    EXPECT_EQ(other_->Read("pragma integrity_check"), "ok");
    EXPECT_EQ(other_->Read("select count(*) from T"), std::to_string((turn + 1) * 41 - 1));
    other_->Run("insert into T(a,b) values(-1-" + std::to_string(turn) + ",'other')");
  }
  driver_.reset();
  EXPECT_EQ(OtherProgram(path_).Read("pragma integrity_check"), "ok");
}

TEST_F(SqliteTurnTest, AFullFileThatEndsTheTransactionUndoesTheTurn) {
  EXPECT_TRUE(Run("pragma max_page_count=4"));
  EXPECT_TRUE(Insert(1));
  EXPECT_FALSE(Run("insert into T(a,b) values(2,printf('%.100000c','x'))"));
  EXPECT_EQ(driver_->LastTrouble(), SqlTrouble::kFull);
  EXPECT_EQ(driver_->TakeUndone(), 1U);
  EXPECT_TRUE(Insert(3)) << "the next one runs";
  EXPECT_TRUE(driver_->EndTurn());
  EXPECT_EQ(SeenByOthers(), "3");
}

TEST_F(SqliteTurnTest, TheSyncEndsTheTurnFirst) {
  EXPECT_TRUE(Insert(1));
  EXPECT_TRUE(driver_->SyncCommitted()) << driver_->LastError();
  EXPECT_EQ(SeenByOthers(), "1");
}

TEST_F(SqliteTurnTest, ClosingEndsTheTurn) {
  EXPECT_TRUE(Insert(1));
  driver_.reset();
  EXPECT_EQ(SeenByOthers(), "1");
}

TEST_F(SqliteTurnTest, AReplacedFileIsNoticedBetweenTurns) {
  std::string backup = folder_ / "backup.db";
  OtherProgram(backup).Run("create table T(a integer, b text); insert into T(a) values(5),(6)");
  EXPECT_EQ(Count(), 0);
  other_.reset();
  std::filesystem::rename(backup, path_);
  std::filesystem::remove(path_ + "-wal");
  std::filesystem::remove(path_ + "-shm");
  clock_.nowMs += 1000;
  driver_->EndTurn();
  EXPECT_EQ(Count(), 2);
}

// The same select again and again, among everything that can change what it gives.
TEST_F(SqliteTurnTest, ARepeatedSelectGivesWhatItWouldGive) {
  auto reads = [&](const std::string& select) {
    SqlRows rows;
    EXPECT_TRUE(driver_->Query(select, {}, rows)) << driver_->LastError();
    std::string text;
    for (const SqlValue& cell : rows.cells) {
      text += (cell.kind == SqlValue::Kind::kText ? cell.text : std::to_string(cell.integer)) + ",";
    }
    return text;
  };
  const std::string each = "select a from T";
  const std::string inner = "select 1 from Other where x in (select a from T)";
  EXPECT_TRUE(Run("create table Other(x integer) strict"));
  EXPECT_TRUE(Run("insert into Other values(1),(2)"));
  EXPECT_TRUE(Run("create view Seen as select a from T"));
  for (int i = 1; i <= 4; ++i) {
    for (int again = 0; again < 3; ++again) {
      std::string expected;
      for (int k = 1; k < i; ++k) expected += std::to_string(k) + ",";
      EXPECT_EQ(reads(each), expected);
      EXPECT_EQ(reads("select a from Seen"), expected);
      EXPECT_EQ(reads("select count(*) from T"), std::to_string(i - 1) + ",");
      EXPECT_EQ(reads(inner),
                std::string("1,1,").substr(0, static_cast<size_t>(2 * std::min(i - 1, 2))));
    }
    EXPECT_TRUE(Insert(i));
    EXPECT_FALSE(Insert(i));
  }
  EXPECT_TRUE(
      Run("create trigger Copy after insert on Other begin "
          "insert into T(a) values(new.x); end"));
  for (int again = 0; again < 3; ++again) reads(each);
  EXPECT_TRUE(Run("insert into Other values(9)"));
  EXPECT_EQ(reads(each), "1,2,3,4,9,") << "written by a trigger";
  for (int again = 0; again < 3; ++again) reads("select * from Other where x=9");
  EXPECT_TRUE(Run("alter table Other add column y integer default 5"));
  EXPECT_EQ(reads("select * from Other where x=9"), "9,5,");
  EXPECT_TRUE(Run("delete from T"));
  EXPECT_EQ(reads(each), "");
  for (int again = 0; again < 3; ++again) reads(each);
  EXPECT_TRUE(driver_->EndTurn());
  other_->Run("insert into T(a) values(77)");
  EXPECT_EQ(reads(each), "77,") << "another program's, in the next turn";
}

TEST_F(SqliteTurnTest, ARepeatedSelectOfChanceIsRunEachTime) {
  std::set<int64_t> seen;
  for (int i = 0; i < 5; ++i) {
    SqlRows rows;
    ASSERT_TRUE(driver_->Query("select random()", {}, rows));
    seen.insert(rows.cells[0].integer);
  }
  EXPECT_EQ(seen.size(), 5U);
}

TEST_F(SqliteTurnTest, ARepeatedSelectDependsOnItsValues) {
  for (int i = 1; i <= 3; ++i) EXPECT_TRUE(Insert(i));
  for (const int64_t value : {1, 1, 1, 2, 1, 3, 3, 3, 2}) {
    SqlRows rows;
    const SqlValue wanted = SqlValue::Integer(value);
    ASSERT_TRUE(driver_->Query("select a from T where a=?", {&wanted, 1}, rows));
    ASSERT_EQ(rows.rowCount(), 1U);
    EXPECT_EQ(rows.cells[0].integer, value);
  }
}

// A count is carried on over rows that are added one by one, and over nothing else.
TEST_F(SqliteTurnTest, ARepeatedCountFollowsEveryWrite) {
  EXPECT_TRUE(Run("create view Odd as select a from T where a%2=1"));
  SqlRows all;
  ASSERT_TRUE(driver_->Query("select * from T", {}, all));
  int64_t odd = 0, expected = 0;
  const auto counts = [&] {
    for (int again = 0; again < 3; ++again) {
      EXPECT_EQ(Count(), expected);
      SqlRows rows;
      EXPECT_TRUE(driver_->Query("select count(*) from Odd", {}, rows));
      EXPECT_EQ(rows.cells[0].integer, odd);
    }
  };
  const auto add = [&](int a) {
    const std::vector<SqlAssignment> values = {{"a", SqlValue::Integer(a)}};
    return driver_->Insert(all, values);
  };
  counts();
  for (int a = 1; a <= 4; ++a) {
    EXPECT_TRUE(add(a));
    ++expected;
    odd += a % 2;
    counts();
    EXPECT_FALSE(add(a)) << "is not unique";
    counts();
  }
  EXPECT_TRUE(Run("insert into T(a) values(6),(8)"));
  expected += 2;
  counts();
  EXPECT_TRUE(add(10));
  EXPECT_TRUE(Run("delete from T where a<3"));
  expected -= 1;
  odd -= 1;
  counts();
  EXPECT_TRUE(
      Run("create trigger Twice after insert on T when new.a<100 begin "
          "insert into T(a) values(new.a+100); end"));
  counts();
  EXPECT_TRUE(add(12));
  expected += 2;
  counts();
  EXPECT_TRUE(driver_->EndTurn());
  other_->Run("insert into T(a) values(500)");
  expected += 1;
  counts();
}

TEST_F(SqliteTurnTest, ADescriptionWithoutRowsIsTheSameAndFollowsTheSchema) {
  EXPECT_TRUE(Insert(1));
  SqlRows rows, described;
  ASSERT_TRUE(driver_->Query("select * from T", {}, rows));
  ASSERT_TRUE(driver_->Describe("select * from T", {}, described));
  EXPECT_EQ(described.columns, rows.columns);
  EXPECT_EQ(described.table, "T");
  EXPECT_EQ(described.rowCount(), 0U) << "known from this turn";
  EXPECT_TRUE(Run("alter table T add column c text"));
  ASSERT_TRUE(driver_->Describe("select * from T", {}, described));
  EXPECT_EQ(described.columns->size(), 3U);
  EXPECT_TRUE(driver_->EndTurn());
  other_->Run("alter table T add column d text");
  ASSERT_TRUE(driver_->Describe("select * from T", {}, described));
  EXPECT_EQ(described.columns->size(), 4U);
  EXPECT_FALSE(driver_->Describe("select * from Nowhere", {}, described));
}

TEST_F(SqliteTurnTest, ATurnThatIsSaidToWriteTakesTheLockAtItsFirstRead) {
  driver_->ExpectWrites();
  EXPECT_EQ(Count(), 0);
  EXPECT_FALSE(OthersCanWrite());
  EXPECT_TRUE(driver_->EndTurn());
  EXPECT_EQ(Count(), 0);
  EXPECT_TRUE(OthersCanWrite()) << "it is said of one turn";
}

TEST_F(SqliteTurnTest, ATurnThatIsSaidToWriteReadsBesideAForeignLock) {
  other_->Run("insert into T(a) values(1); begin immediate; insert into T(a) values(9)");
  driver_->ExpectWrites();
  EXPECT_EQ(Count(), 1);
  EXPECT_EQ(Count(), 1);
  other_->Run("commit");
  EXPECT_TRUE(Insert(2)) << driver_->LastError();
  EXPECT_TRUE(driver_->EndTurn());
  EXPECT_EQ(SeenByOthers(), "1,2,9");
}

TEST_F(SqliteTurnTest, OnlyWhatWasWrittenIsOwed) {
  EXPECT_FALSE(driver_->OwesCommit());
  Count();
  EXPECT_FALSE(driver_->OwesCommit());
  EXPECT_TRUE(Insert(1));
  EXPECT_TRUE(driver_->OwesCommit());
  EXPECT_TRUE(driver_->EndTurn());
  EXPECT_FALSE(driver_->OwesCommit());
}

TEST_F(SqliteTurnTest, ARowOfTheTurnIsChangedAndDeletedByItsIdentity) {
  EXPECT_TRUE(Insert(1));
  SqlRows rows;
  ASSERT_TRUE(driver_->Query("select * from T", {}, rows));
  std::vector<SqlAssignment> values = {{"b", SqlValue::Text("x")}};
  EXPECT_TRUE(driver_->UpdateRow(rows, 0, values));
  EXPECT_TRUE(Run("delete from T"));
  EXPECT_FALSE(driver_->UpdateRow(rows, 0, values));
  EXPECT_FALSE(driver_->DeleteRow(rows, 0));
  EXPECT_TRUE(driver_->EndTurn());
  EXPECT_EQ(driver_->TakeUndone(), 0U);
}

}  // namespace
}  // namespace vnq
