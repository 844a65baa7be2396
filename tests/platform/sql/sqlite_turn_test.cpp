#include "platform/sql/sqlite/sqlite_turn.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>

#include <filesystem>

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
