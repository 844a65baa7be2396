#include "tests/platform/sql/odbc_fixture.h"

namespace vnq {
namespace {

constexpr const char* kPeople =
    "create table People (Name nvarchar(255) collate Latin1_General_100_CI_AS null,"
    " Age int null default 7, Note nvarchar(20) null)";

class OdbcDriverTest : public OdbcTest {
 protected:
  void SetUp() override { ASSERT_TRUE(Run(kPeople)) << driver_->LastError(); }

  void AddPerson(const std::string& name, int64_t age) {
    MustRun("insert into People(Name,Age) values(?,?)", {T(name), I(age)});
  }

  bool Update(SqlRows& rows, size_t row, const Assigned& values) {
    return driver_->UpdateRow(rows, row, values);
  }
};

TEST_F(OdbcDriverTest, ColumnsAndTablesAreFoundInAnyCase) {
  AddPerson("Ann", 3);
  SqlRows rows = Rows("SELECT name,AGE from PEOPLE");
  ASSERT_EQ(rows.rowCount(), 1U);
  ASSERT_TRUE(Update(rows, 0, {{"aGe", I(4)}})) << driver_->LastError();
  EXPECT_EQ(Text("select Age from People"), "4");
}

TEST_F(OdbcDriverTest, ATextThatIsNoNumberFailsBesideANumber) {
  AddPerson("5", 5);
  EXPECT_EQ(Text("select Age from People where Age=?", {T("5")}), "5");
  EXPECT_EQ(Text("select Age from People where Age=?", {I(1LL << 40)}), "");
  EXPECT_TRUE(Fails("select Age from People where Age=?", {T("five")}));
  EXPECT_EQ(Text("select Age from People where Age=?", {I(5)}), "5");
}

TEST_F(OdbcDriverTest, TheServersOwnComparisonIsLaxer) {
  AddPerson("é ", 1);
  AddPerson("É", 2);
  EXPECT_EQ(Text("select count(distinct Name) from People"), "1")
      << "or the test server does not show what the translation is for";
}

TEST_F(OdbcDriverTest, ATextTooLongForItsColumnFails) {
  EXPECT_FALSE(Run("insert into People(Note) values(?)", {T("123456789012345678901")}));
  ExpectError("(8152)");
  MustRun("insert into People(Note) values(?)", {T("12345678901234567890")});
}

TEST_F(OdbcDriverTest, NulAndLoneSurrogatesAreNoObstacle) {
  std::string odd = std::string("a\0b", 3) + "\xED\xA0\xBD" + "c";
  AddPerson(odd, 1);
  EXPECT_EQ(Rows("select Name from People").cells[0].text, odd);
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

TEST_F(OdbcDriverTest, ARollbackOfNothingLeavesNoTransaction) {
  EXPECT_FALSE(Run("rollback"));
  MustRun("exec vnq_fault 'hang_up'");
  clock_.nowMs += 60'000;
  AddPerson("a", 1);
  EXPECT_EQ(Text("select count(*) from People"), "1");
}

TEST_F(OdbcDriverTest, AnErrorOfAWriteNamesItsTableAndColumns) {
  AddPerson("a", 1);
  SqlRows rows = Rows("select * from People");
  EXPECT_FALSE(Update(rows, 0, {{"Age", T("not a number")}}));
  EXPECT_EQ(driver_->LastError().rfind("update People set [Age]=?: 22018 ", 0), 0U)
      << driver_->LastError();
}

TEST_F(OdbcDriverTest, AnErrorHoldsTheServersNumber) {
  EXPECT_TRUE(Fails("select Nmae from People"));
  ExpectError("(207)");
}

TEST_F(OdbcDriverTest, AnErrorKeepsTheConnection) {
  MustRun("begin");
  AddPerson("a", 1);
  EXPECT_EQ(Text("select Name from People where Name=?", {T("a")}), "a");
  MustRun("exec vnq_fault 'error',1,50000");
  EXPECT_TRUE(Fails("select Name from People where Name=?", {T("a")}));
  ExpectError("(50000)");
  MustRun("commit");
  EXPECT_EQ(Text("select count(*) from People"), "1");
}

}  // namespace
}  // namespace vnq
