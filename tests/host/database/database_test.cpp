#include "host/database/database.h"

#include <gtest/gtest.h>

#include "host/values/skipped.h"
#include "tests/host/database/faulty_driver.h"
#include "tests/platform/sql/sqlite_fixture.h"

namespace vnq {
namespace {

constexpr const char* kTables =
    "create table Users_ID(UserID text collate nocase, UserName text collate nocase, UserPaws text,"
    "  UserIcoLine integer default 0, Users_IDVesr integer default 0, age text collate nocase) "
    "strict;"
    "create table Clot_Form(UpperID text collate nocase, UserID text collate nocase,"
    "  IsAdmin integer default 0) strict;"
    "create table LeaveFile(Msg_ID text collate nocase, ToDate text collate nocase) strict;";

class DatabaseTest : public testing::Test {
 protected:
  void SetUp() override {
    other_ = std::make_unique<OtherProgram>(path_);
    other_->Run(std::string("pragma journal_mode=wal;") + kTables);
    SqliteOptions options;
    options.path = path_;
    options.busyTimeoutMs = 50;
    auto driver = std::make_unique<FaultyDriver>(OpenSqlite(options));
    faults_ = driver.get();
    database_ = std::make_unique<Database>(std::move(driver));
    skippedBefore_ = SkippedStatements();
  }

  void AddUsers() {
    other_->Run(
        "insert into Users_ID(UserID,UserName,UserPaws,UserIcoLine) values"
        "('1','ann','s',3),('2','bob','t',NULL),('3','cid','u',5)");
  }

  uint64_t Skipped() const { return SkippedStatements() - skippedBefore_; }

  TemporaryFolder folder_;
  std::string path_ = folder_ / "test.db";
  std::unique_ptr<OtherProgram> other_;
  std::unique_ptr<Database> database_;
  FaultyDriver* faults_ = nullptr;
  uint64_t skippedBefore_ = 0;
};

TEST(Sql, EachMarkerTakesTheNextValue) {
  Statement statement =
      Sql("insert into T(a,b,c,d) values('?',?,'11','?')", "x", " 7 ", Expr::Null());
  ASSERT_TRUE(statement.ok()) << statement.failure();
  EXPECT_EQ(statement.text(), "insert into T(a,b,c,d) values(?,?,'11',?)");
  ASSERT_EQ(statement.parameters().size(), 3U);
  EXPECT_EQ(statement.parameters()[0].text, "x");
  EXPECT_EQ(statement.parameters()[1].integer, 7);
  EXPECT_EQ(statement.parameters()[2].kind, SqlValue::Kind::kText)
      << "NULL joins as the empty text";
  EXPECT_EQ(statement.parameters()[2].text, "");
}

TEST(Sql, MarkersInsideATextAreText) {
  Statement statement = Sql("select * from T where a='what?' and b='' and c='(?)' and d=?", 1);
  ASSERT_TRUE(statement.ok());
  EXPECT_EQ(statement.text(), "select * from T where a='what?' and b='' and c='(?)' and d=?");
  EXPECT_TRUE(Sql("select 'not closed ?").ok());
}

TEST(Sql, AQuoteInATextFailsTheStatement) {
  EXPECT_FALSE(Sql("select * from T where a='?'", "x' or ''='").ok());
  EXPECT_FALSE(Sql("select * from T where a='?'", "'").ok());
}

TEST(Sql, AValueThatDoesNotConvertFailsTheStatement) {
  for (const Expr& bad : {Expr("x"), Expr(""), Expr::Null(), Expr::Failed(), Expr("2147483648")}) {
    EXPECT_FALSE(Sql("select * from T where a=?", bad).ok());
  }
  EXPECT_FALSE(Sql("select * from T where a='?'", Expr::Failed()).ok());
}

TEST(Sql, ADateIsBoundAndCheckedForItsForm) {
  Statement statement = Sql("Delete from LeaveFile where ToDate <=#?#", "2024-02-29");
  EXPECT_EQ(statement.text(), "Delete from LeaveFile where ToDate <=?");
  EXPECT_EQ(statement.parameters()[0].text, "2024-02-29");
  for (const Expr& bad : {Expr("2024-2-29"), Expr(""), Expr::Null(), Expr("2024-02-29#")}) {
    EXPECT_FALSE(Sql("Delete from LeaveFile where ToDate <=#?#", bad).ok());
  }
}

TEST(Sql, MarkersAndValuesMustBeEqualInNumber) {
  EXPECT_FALSE(Sql("select * from T where a='?'").ok());
  EXPECT_FALSE(Sql("select * from T", "x").ok());
  EXPECT_FALSE(Statement().ok());
}

TEST(SqlList, TheListFillsItsMarker) {
  Statement statement =
      SqlList("Delete from Clot_Form where UpperID='?' and UserID in (?)", {"1", "", "3"}, "g");
  ASSERT_TRUE(statement.ok()) << statement.failure();
  EXPECT_EQ(statement.text(), "Delete from Clot_Form where UpperID=? and UserID in (?,?,?)");
  EXPECT_EQ(statement.parameters()[0].text, "g");
  EXPECT_EQ(statement.parameters()[3].text, "3");
}

TEST(SqlList, EmptyListsAndQuotesFail) {
  EXPECT_FALSE(SqlList("delete from T where a in (?)", {}).ok());
  EXPECT_FALSE(SqlList("delete from T where a in (?)", {"1", "2'"}).ok());
  EXPECT_FALSE(SqlList("delete from T", {"1"}).ok());
}

TEST_F(DatabaseTest, ACursorReadsByNameAndPosition) {
  AddUsers();
  Cursor Adodc1(*database_);
  ASSERT_TRUE(
      Adodc1.Open(Sql("Select UserID,UserIcoLine from Users_ID where UserName='?'", "ANN")));
  EXPECT_EQ(Adodc1.RecordCount(), 1);
  EXPECT_EQ(Adodc1["userid"].text(), "1");
  EXPECT_EQ(Adodc1.Column(1).text(), "3");
  EXPECT_FALSE(Adodc1["Nowhere"].ok());
  EXPECT_FALSE(Adodc1.Column(2).ok());
  EXPECT_EQ(Skipped(), 0U) << "reading is no statement";
}

TEST_F(DatabaseTest, AWalkVisitsEachRowAndCanStartAgain) {
  AddUsers();
  Cursor Adodc1(*database_);
  Adodc1.Open(Sql("Select * from Users_ID order by UserID"));
  std::string walked;
  for (int round = 0; round < 2; ++round) {
    for (; !Adodc1.EndOfRows(); Adodc1.MoveNext()) walked += Adodc1["UserID"].text();
    Adodc1.MoveNext();
    EXPECT_FALSE(Adodc1["UserID"].ok());
    Adodc1.MoveFirst();
  }
  EXPECT_EQ(walked, "123123");
  EXPECT_EQ(Adodc1.RecordCount(), 3);
}

TEST_F(DatabaseTest, NullIsReadAsNull) {
  AddUsers();
  Cursor Adodc1(*database_);
  Adodc1.Open(Sql("Select * from Users_ID where UserID='2'"));
  EXPECT_TRUE(Adodc1["UserIcoLine"].IsNull());
  EXPECT_EQ(ToInt32(Adodc1["UserIcoLine"]), std::nullopt);
  EXPECT_TRUE(Adodc1.Set("UserIcoLine", Plus(Adodc1["UserIcoLine"], 1)));
  EXPECT_TRUE(Adodc1.Update());
  EXPECT_EQ(other_->Read("select UserIcoLine from Users_ID where UserID='2'"), "(null)");
}

TEST_F(DatabaseTest, AnOuterRowSetSurvivesInnerWork) {
  AddUsers();
  Cursor Adodc1(*database_);
  Adodc1.Open(Sql("Select * from Users_ID order by UserID"));
  std::string walked;
  for (; !Adodc1.EndOfRows(); Adodc1.MoveNext()) {
    Cursor Adodc2(*database_);
    Adodc2.Open(Sql("Select * from Users_ID where UserID='?'", Adodc1["UserID"]));
    Adodc2.Set("age", "9");
    EXPECT_TRUE(Adodc2.Update());
    EXPECT_TRUE(database_->Execute(Sql("delete from Users_ID where UserID='?'", Adodc1["UserID"])));
    walked += Adodc1["UserName"].text();
  }
  EXPECT_EQ(walked, "annbobcid");
  EXPECT_EQ(Skipped(), 0U);
}

TEST_F(DatabaseTest, TopOneOfAnEmptyTableAllowsAddNewAndDefaultsApply) {
  Cursor Adodc1(*database_);
  ASSERT_TRUE(Adodc1.Open(Sql("Select top 1 * from Users_ID")));
  EXPECT_EQ(Adodc1.RecordCount(), 0);
  Adodc1.AddNew();
  EXPECT_TRUE(Adodc1.Set("UserID", "7"));
  EXPECT_TRUE(Adodc1.Set("UserName", "it's"));
  EXPECT_TRUE(Adodc1.Update());
  EXPECT_EQ(other_->Read("select UserID||UserName||UserIcoLine||typeof(age) from Users_ID"),
            "7it's0null");
  EXPECT_EQ(Skipped(), 0U);
}

TEST_F(DatabaseTest, ARowSetForNewRowsTakesThem) {
  AddUsers();
  Cursor users(*database_);
  ASSERT_TRUE(users.OpenForNewRows(Sql("Select top 1 * from Users_ID")));
  users.AddNew();
  EXPECT_TRUE(users.Set("userid", "4"));
  EXPECT_FALSE(users.Set("Nothing", "4"));
  EXPECT_TRUE(users.Update());
  EXPECT_EQ(other_->Read("select UserIcoLine from Users_ID where UserID='4'"), "0");
  EXPECT_FALSE(users.OpenForNewRows(Sql("Select top 1 * from Nowhere")));
  EXPECT_FALSE(users.IsOpen());
  EXPECT_EQ(Skipped(), 2U);
}

TEST_F(DatabaseTest, AddNewWithoutAssignmentsAddsARowOfDefaults) {
  Cursor Adodc1(*database_);
  Adodc1.Open(Sql("Select top 1 * from Users_ID"));
  Adodc1.AddNew();
  EXPECT_TRUE(Adodc1.Update());
  EXPECT_EQ(other_->Read("select Users_IDVesr from Users_ID where UserID is null"), "0");
}

TEST_F(DatabaseTest, SeveralRowsAreAddedOnOneRowSet) {
  Cursor Adodc1(*database_);
  Adodc1.Open(Sql("Select top 1 * from Clot_Form"));
  for (int i = 1; i <= 3; ++i) {
    Adodc1.AddNew();
    Adodc1.Set("UpperID", "g");
    Adodc1.Set("UserID", i);
    EXPECT_TRUE(Adodc1.Update());
  }
  EXPECT_EQ(other_->Read("select group_concat(UserID) from Clot_Form"), "1,2,3");
  EXPECT_EQ(Adodc1.RecordCount(), 0) << "added rows do not join the row set";
}

TEST_F(DatabaseTest, AQuoteTakesThePathForNoRow) {
  AddUsers();
  Cursor Adodc1(*database_);
  Adodc1.Open(Sql("Select * from Users_ID where UserID='1'"));
  EXPECT_FALSE(
      Adodc1.Open(Sql("Select * from Users_ID where UserName='?' and UserPaws='?'", "ann'", "s")));
  EXPECT_EQ(Adodc1.RecordCount(), 0);
  EXPECT_TRUE(Adodc1.EndOfRows());
  EXPECT_FALSE(Adodc1["UserID"].ok());
  EXPECT_EQ(Skipped(), 1U);
}

TEST_F(DatabaseTest, InjectedWordsAreAText) {
  AddUsers();
  Cursor Adodc1(*database_);
  EXPECT_TRUE(Adodc1.Open(
      Sql("Select * from Users_ID where UserName='?'", "x\" or 1=1; drop table Users_ID --")));
  EXPECT_EQ(Adodc1.RecordCount(), 0);
  EXPECT_FALSE(Adodc1.Open(Sql("Select * from Users_ID where UserIcoLine=?", "1 or 1=1")));
  EXPECT_FALSE(database_->Execute(Sql("delete from Users_ID where UserID='?'", "' or '1'='1")));
  EXPECT_EQ(other_->Read("select count(*) from Users_ID"), "3");
}

TEST_F(DatabaseTest, NothingWorksOnARowSetThatDidNotOpen) {
  Cursor Adodc1(*database_);
  EXPECT_FALSE(Adodc1.Open(Sql("Select * from Nowhere")));
  EXPECT_FALSE(Adodc1.IsOpen());
  Adodc1.MoveFirst();
  Adodc1.MoveNext();
  Adodc1.AddNew();
  EXPECT_FALSE(Adodc1.Set("UserID", "1"));
  EXPECT_FALSE(Adodc1.Update());
  EXPECT_FALSE(Adodc1.Delete());
  EXPECT_FALSE(Adodc1.Column(0).ok());
  EXPECT_TRUE(Adodc1.EndOfRows());
  EXPECT_EQ(Skipped(), 5U);
}

TEST_F(DatabaseTest, AnUpdateChangesTheCurrentOneOfEqualRows) {
  other_->Run("insert into Clot_Form(UpperID,UserID) values('g','1'),('g','1'),('g','1')");
  Cursor Adodc1(*database_);
  Adodc1.Open(Sql("Select * from Clot_Form where UpperID='?' and UserID='?'", "g", "1"));
  Adodc1.MoveNext();
  EXPECT_TRUE(Adodc1.Set("isadmin", "1"));
  EXPECT_EQ(Adodc1["IsAdmin"].text(), "0") << "not written yet";
  EXPECT_TRUE(Adodc1.Update());
  EXPECT_EQ(Adodc1["IsAdmin"].text(), "1");
  EXPECT_EQ(other_->Read("select group_concat(IsAdmin) from Clot_Form"), "0,1,0");
}

TEST_F(DatabaseTest, OnlyAssignedColumnsAreWritten) {
  AddUsers();
  Cursor Adodc1(*database_);
  Adodc1.Open(Sql("Select * from Users_ID where UserID='1'"));
  other_->Run("update Users_ID set age='40'");
  Adodc1.Set("UserName", "eve");
  EXPECT_TRUE(Adodc1.Update());
  EXPECT_EQ(other_->Read("select UserName||age from Users_ID where UserID='1'"), "eve40");
}

TEST_F(DatabaseTest, AnUpdateWithoutAssignmentsDoesNothing) {
  AddUsers();
  Cursor Adodc1(*database_);
  Adodc1.Open(Sql("Select * from Users_ID"));
  faults_->FailCall(0);
  EXPECT_TRUE(Adodc1.Update());
  EXPECT_EQ(faults_->calls(), 0);
  EXPECT_EQ(Skipped(), 0U);
}

TEST_F(DatabaseTest, AValueThatDoesNotFitSkipsItsAssignmentAlone) {
  AddUsers();
  Cursor Adodc1(*database_);
  Adodc1.Open(Sql("Select * from Users_ID where UserID='1'"));
  EXPECT_FALSE(Adodc1.Set("UserIcoLine", "x"));
  EXPECT_FALSE(Adodc1.Set("UserIcoLine", ""));
  EXPECT_FALSE(Adodc1.Set("UserIcoLine", "2147483648"));
  EXPECT_FALSE(Adodc1.Set("age", Expr::Failed()));
  EXPECT_FALSE(Adodc1.Set("Nowhere", "1"));
  EXPECT_TRUE(Adodc1.Set("UserName", "eve"));
  EXPECT_TRUE(Adodc1.Update());
  EXPECT_EQ(Skipped(), 5U);
  EXPECT_EQ(other_->Read("select UserName||UserIcoLine from Users_ID where UserID='1'"), "eve3");
}

TEST_F(DatabaseTest, NumbersAreTrimmedAndRoundedForAnIntegerColumn) {
  AddUsers();
  Cursor Adodc1(*database_);
  Adodc1.Open(Sql("Select * from Users_ID where UserID='1'"));
  EXPECT_TRUE(Adodc1.Set("UserIcoLine", " 4.5 "));
  EXPECT_TRUE(Adodc1.Set("Users_IDVesr", Expr::Null()));
  EXPECT_TRUE(Adodc1.Set("age", " 4.5 "));
  EXPECT_TRUE(Adodc1.Update());
  EXPECT_EQ(Adodc1["UserIcoLine"].text(), "4");
  EXPECT_TRUE(Adodc1["Users_IDVesr"].IsNull());
  EXPECT_EQ(other_->Read("select typeof(UserIcoLine)||UserIcoLine||age from Users_ID"),
            "integer4 4.5 ");
}

TEST_F(DatabaseTest, TheLastAssignmentOfAColumnCounts) {
  Cursor Adodc1(*database_);
  Adodc1.Open(Sql("Select top 1 * from Users_ID"));
  Adodc1.AddNew();
  Adodc1.Set("UserID", "1");
  Adodc1.Set("userid", "2");
  EXPECT_TRUE(Adodc1.Update());
  EXPECT_EQ(other_->Read("select UserID from Users_ID"), "2");
}

TEST_F(DatabaseTest, AMoveForgetsWhatWasNotWritten) {
  AddUsers();
  Cursor Adodc1(*database_);
  Adodc1.Open(Sql("Select * from Users_ID order by UserID"));
  Adodc1.Set("age", "1");
  Adodc1.MoveNext();
  EXPECT_TRUE(Adodc1.Update());
  EXPECT_EQ(other_->Read("select count(*) from Users_ID where age is not null"), "0");
}

TEST_F(DatabaseTest, ADeletedRowStaysCurrentUntilTheMove) {
  AddUsers();
  Cursor Adodc1(*database_);
  Adodc1.Open(Sql("Select * from Users_ID order by UserID"));
  Adodc1.MoveNext();
  EXPECT_TRUE(Adodc1.Delete());
  EXPECT_FALSE(Adodc1["UserID"].ok());
  EXPECT_FALSE(Adodc1.EndOfRows());
  EXPECT_EQ(Adodc1.RecordCount(), 2);
  EXPECT_FALSE(Adodc1.Set("age", "1"));
  EXPECT_FALSE(Adodc1.Update());
  EXPECT_FALSE(Adodc1.Delete());
  Adodc1.MoveNext();
  EXPECT_EQ(Adodc1["UserID"].text(), "3");
  EXPECT_TRUE(Adodc1.Set("age", "1"));
  EXPECT_TRUE(Adodc1.Update());
  Adodc1.MoveFirst();
  EXPECT_EQ(Adodc1["UserID"].text(), "1");
  EXPECT_EQ(other_->Read("select group_concat(UserID||ifnull(age,'')) from Users_ID"), "1,31");
}

TEST_F(DatabaseTest, AWalkThatDeletesEachRowEnds) {
  AddUsers();
  Cursor Adodc1(*database_);
  Adodc1.Open(Sql("Select * from Users_ID"));
  for (; !Adodc1.EndOfRows(); Adodc1.MoveNext()) EXPECT_TRUE(Adodc1.Delete());
  EXPECT_EQ(Adodc1.RecordCount(), 0);
  EXPECT_EQ(other_->Read("select count(*) from Users_ID"), "0");
}

TEST_F(DatabaseTest, RowsOfAJoinAreForReading) {
  AddUsers();
  other_->Run("insert into Clot_Form(UpperID,UserID) values('g','1')");
  Cursor Adodc1(*database_);
  ASSERT_TRUE(Adodc1.Open(
      Sql("Select * from Users_ID as aa,Clot_Form as bb where aa.UserID=bb.UserID and UpperID='?'",
          "g")));
  EXPECT_EQ(Adodc1["UserName"].text(), "ann");
  EXPECT_EQ(Adodc1["UserID"].text(), "1") << "the first of two columns of one name";
  EXPECT_TRUE(Adodc1.Set("UserName", "eve"));
  EXPECT_FALSE(Adodc1.Update());
  EXPECT_FALSE(Adodc1.Delete());
  EXPECT_EQ(Skipped(), 2U);
}

TEST_F(DatabaseTest, AFailedUpdateLeavesTheRowAsRead) {
  AddUsers();
  Cursor Adodc1(*database_);
  Adodc1.Open(Sql("Select * from Users_ID where UserID='1'"));
  Adodc1.Set("UserName", "eve");
  faults_->FailCall(1);
  EXPECT_FALSE(Adodc1.Update());
  EXPECT_EQ(Adodc1["UserName"].text(), "ann");
  EXPECT_TRUE(Adodc1.Update()) << "the assignments are used up";
  EXPECT_EQ(other_->Read("select UserName from Users_ID where UserID='1'"), "ann");
  EXPECT_EQ(Skipped(), 1U);
}

TEST_F(DatabaseTest, EachFailedCallIsSkippedByItself) {
  for (int failing = 1; failing <= 4; ++failing) {
    other_->Run("delete from Clot_Form");
    skippedBefore_ = SkippedStatements();
    faults_->FailCall(failing);
    database_->Execute(Sql("insert into Clot_Form(UserID) values('?')", "1"));
    Cursor Adodc1(*database_);
    Adodc1.Open(Sql("Select top 1 * from Clot_Form"));
    Adodc1.AddNew();
    Adodc1.Set("UserID", "2");
    Adodc1.Update();
    database_->Execute(Sql("insert into Clot_Form(UserID) values('?')", "3"));
    const char* expected[] = {"", "2,3", "1,3", "1,3", "1,2"};
    EXPECT_EQ(other_->Read("select group_concat(UserID) from Clot_Form"), expected[failing]);
    EXPECT_EQ(Skipped(), failing == 2 ? 4U : 1U);
  }
}

TEST_F(DatabaseTest, OneValueIsReadWithoutACursor) {
  EXPECT_EQ(database_->ReadValue(Sql("select count(*) from Users_ID")).text(), "0");
  EXPECT_TRUE(database_->ReadValue(Sql("Select max(clng(UserID)) from Users_ID")).IsNull());
  EXPECT_FALSE(database_->ReadValue(Sql("select UserID from Users_ID")).ok());
  EXPECT_EQ(Skipped(), 0U) << "no row is no skip";
  EXPECT_FALSE(database_->ReadValue(Sql("select * from Nowhere")).ok());
  EXPECT_EQ(Skipped(), 1U);
}

TEST_F(DatabaseTest, DateLiteralsCompareAsText) {
  other_->Run("insert into LeaveFile values('a','2024-01-31'),('b','2024-02-01'),('c',NULL)");
  EXPECT_TRUE(database_->Execute(Sql("Delete from LeaveFile where ToDate <=#2024-01-31#")));
  EXPECT_EQ(other_->Read("select group_concat(Msg_ID) from LeaveFile"), "b,c");
  EXPECT_TRUE(database_->Execute(Sql("Delete from LeaveFile where ToDate <=#?#", "2024-02-01")));
  EXPECT_EQ(other_->Read("select group_concat(Msg_ID) from LeaveFile"), "c");
}

TEST_F(DatabaseTest, ListsSelectTheirRows) {
  other_->Run(
      "insert into Clot_Form(UpperID,UserID) values('g','1'),('g','2'),('g','3'),('h','1')");
  EXPECT_TRUE(database_->Execute(
      SqlList("Delete from Clot_Form where UpperID='?' and UserID in (?)", {"1", "3"}, "g")));
  EXPECT_EQ(other_->Read("select group_concat(UpperID||UserID) from Clot_Form"), "g2,h1");
}

TEST_F(DatabaseTest, SyncFailuresDoNotStopTheServer) {
  EXPECT_TRUE(database_->Execute(Sql("insert into LeaveFile values('a','b')")));
  faults_->FailSync(true);
  database_->SyncCommitted();
  database_->SyncCommitted();
  faults_->FailSync(false);
  database_->SyncCommitted();
  EXPECT_EQ(Skipped(), 0U);
  EXPECT_EQ(other_->Read("select count(*) from LeaveFile"), "1");
}

TEST(DatabaseWithoutFile, EveryStatementIsSkipped) {
  TemporaryFolder folder;
  SqliteOptions options;
  options.path = folder / "missing.db";
  Database database(OpenSqlite(options));
  uint64_t before = SkippedStatements();
  Cursor Adodc1(database);
  EXPECT_FALSE(Adodc1.Open(Sql("Select top 1 * from Users_ID")));
  EXPECT_FALSE(database.Execute(Sql("delete from Users_ID")));
  EXPECT_EQ(SkippedStatements() - before, 2U);
  database.SyncCommitted();
}

}  // namespace
}  // namespace vnq
