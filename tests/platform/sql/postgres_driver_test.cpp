#include <gtest/gtest.h>

#include "tests/platform/sql/postgres_fixture.h"

namespace vnq {
namespace {

using Texts = std::vector<std::string>;

class PostgresDriverTest : public PostgresTest {
 protected:
  void SetUp() override {
    PostgresTest::SetUp();
    if (IsSkipped()) return;
    Other(kPeople);
  }

  bool Mentions(const std::string& words) {
    bool found = driver_->LastError().find(words) != std::string::npos;
    EXPECT_TRUE(found) << driver_->LastError();
    return found;
  }

  static constexpr const char* kPeople =
      "create table People(Name varchar(50),Secret text,Age integer default 7,"
      "Since text default '2024-02-01')";
};

TEST_F(PostgresDriverTest, RowsCarryTheirTypesAndValues) {
  Other("insert into People values('Ann','s',NULL,'2024-01-01')");
  SqlRows rows = Rows("select * from People");
  EXPECT_EQ(Names(rows), (Texts{"name", "secret", "age", "since"}));
  EXPECT_EQ(Cells(rows), (Texts{"'Ann'", "'s'", "(null)", "'2024-01-01'"}));
  EXPECT_EQ((*rows.columns)[0].maxLength, 50U);
  EXPECT_EQ((*rows.columns)[1].maxLength, 0U);
  EXPECT_EQ((*rows.columns)[1].type, SqlColumnType::kText);
  EXPECT_EQ((*rows.columns)[2].type, SqlColumnType::kInteger);
  EXPECT_EQ(rows.rowCount(), 1U);
}

TEST_F(PostgresDriverTest, TopOneOfAnEmptyTableStillTakesARow) {
  SqlRows rows = Rows("select top 1 * from People");
  EXPECT_EQ(rows.rowCount(), 0U);
  EXPECT_TRUE(driver_->Insert(rows, std::vector<SqlAssignment>{{"name", SqlValue::Text("x")}}));
  EXPECT_EQ(OtherReads("select name from people"), "x");
}

TEST_F(PostgresDriverTest, TopOneIsTheFirstRow) {
  Other("insert into People(Name) values('b'),('a'),('c')");
  EXPECT_EQ(Cells(Rows("select top 1 Name from People order by Name")), Texts{"'a'"});
}

TEST_F(PostgresDriverTest, InsertTakesTheDefaultsOfOtherColumns) {
  SqlRows rows = Rows("select * from People");
  EXPECT_TRUE(driver_->Insert(rows, std::vector<SqlAssignment>{{"name", SqlValue::Text("Bob")}}));
  EXPECT_TRUE(driver_->Insert(rows, {}));
  EXPECT_EQ(Cells(Rows("select Name,Age,Since from People order by Name")),
            (Texts{"(null)", "7", "'2024-02-01'", "'Bob'", "7", "'2024-02-01'"}));
}

TEST_F(PostgresDriverTest, NullIsWrittenAndIsNotTheEmptyText) {
  EXPECT_TRUE(Run("insert into People(Name,Secret,Age) values(?,?,?)",
                  {SqlValue::Null(), SqlValue::Text(""), SqlValue::Null()}));
  EXPECT_EQ(Cells(Rows("select Name,Secret,Age from People")), (Texts{"(null)", "''", "(null)"}));
}

TEST_F(PostgresDriverTest, DateLiteralsAreTexts) {
  Other("insert into People(Since) values('2024-01-31'),('2024-02-01'),('2024-02-02')");
  EXPECT_EQ(Cells(Rows("select count(*) from People where Since<=#2024-02-01#")), Texts{"2"});
  EXPECT_EQ(
      Cells(Rows("select count(*) from People where Since<=?", {SqlValue::Text("2024-02-01")})),
      Texts{"2"});
}

TEST_F(PostgresDriverTest, CountsAreExactAndAreIntegers) {
  Other("insert into People(Age) select generate_series(1,2500)");
  EXPECT_EQ(Rows("select * from People").rowCount(), 2500U);
  SqlRows count = Rows("select count(*),max(Age),sum(Age) from People");
  EXPECT_EQ(Cells(count), (Texts{"2500", "2500", "3126250"}));
  EXPECT_EQ((*count.columns)[0].type, SqlColumnType::kInteger);
}

TEST_F(PostgresDriverTest, ConversionTakesNumbersAndPassesNull) {
  EXPECT_EQ(Cells(Rows("select clng('12'),CONVERT(int,' -3 '),clng(null)")),
            (Texts{"12", "-3", "(null)"}));
  Other("insert into People(Name) values('9'),('10')");
  EXPECT_EQ(Cells(Rows("select max(clng(Name)) from People")), Texts{"10"});
}

TEST_F(PostgresDriverTest, ConversionFailsOnWhatIsNoNumber) {
  for (const char* text : {"", "x", "1x", "99999999999"}) {
    EXPECT_TRUE(Fails("select clng(?)", {SqlValue::Text(text)})) << text;
  }
  Other("insert into People(Name) values('nine')");
  EXPECT_TRUE(Fails("select CONVERT(int,Name) from People"));
  EXPECT_TRUE(Mentions("22P02"));
}

TEST_F(PostgresDriverTest, NumbersInTextColumnsAndTextsInNumberColumns) {
  EXPECT_TRUE(Run("insert into People(Name,Age) values(?,?)",
                  {SqlValue::Integer(12), SqlValue::Text("34")}));
  EXPECT_EQ(Cells(Rows("select Name,Age from People where Age=?", {SqlValue::Integer(34)})),
            (Texts{"'12'", "34"}));
  EXPECT_EQ(Cells(Rows("select * from People where Age=?", {SqlValue::Text("x")})), Texts{});
}

TEST_F(PostgresDriverTest, OneTextRunsWithNumbersAndWithTexts) {
  Other("insert into People(Name,Age) values('a',1)");
  for (const SqlValue& value : {SqlValue::Integer(1), SqlValue::Text("1"), SqlValue::Integer(1)}) {
    EXPECT_EQ(Cells(Rows("select Name from People where Age=?", {value})), Texts{"'a'"});
  }
}

TEST_F(PostgresDriverTest, TablesAndColumnsAreNamedInAnyCase) {
  Other("insert into People(Name) values('Ann')");
  EXPECT_EQ(Names(Rows("select NAME from PEOPLE where nAmE='Ann'")), Texts{"name"});
}

TEST_F(PostgresDriverTest, TextsOfAllScriptsComeBack) {
  const std::string text = "中文 Ünïcode 😀 ' \" \\ % \x01\n end";
  for (const char* database :
       {"", "encoding SQL_ASCII template template0 lc_collate 'C' lc_ctype 'C'"}) {
    UseDatabase(database);
    Other(kPeople);
    EXPECT_TRUE(Run("insert into People(Secret) values(?)", {SqlValue::Text(text)}));
    EXPECT_TRUE(Run("insert into People(Secret) values('中文😀')"));
    EXPECT_EQ(Cells(Rows("select Secret from People where Secret=?", {SqlValue::Text(text)})),
              Texts{"'" + text + "'"});
    EXPECT_EQ(Cells(Rows("select Secret from People where Secret='中文😀'")), Texts{"'中文😀'"});
  }
}

TEST_F(PostgresDriverTest, CharactersThatCannotBeKeptAreReplaced) {
  const std::string text = std::string("a\0b", 3) +
                           "\xED\xA0\x80"
                           "c\xFF"
                           "d";
  EXPECT_TRUE(Run("insert into People(Secret) values(?)", {SqlValue::Text(text)}));
  EXPECT_EQ(OtherReads("select Secret from People"), "a\uFFFDb\uFFFDc\uFFFDd");
  // In the statement itself too, and nothing behind it is cut off.
  EXPECT_TRUE(Run(std::string("update People set Secret='x\0y'", 30) + "where 1=0"));
  EXPECT_EQ(OtherReads("select Secret from People"), "a\uFFFDb\uFFFDc\uFFFDd");
}

TEST_F(PostgresDriverTest, HalvesOfACharacterAreJoined) {
  EXPECT_TRUE(
      Run("insert into People(Secret) values(?)", {SqlValue::Text("\xED\xA0\xBD\xED\xB8\x80")}));
  EXPECT_EQ(OtherReads("select Secret from People"), "😀");
}

TEST_F(PostgresDriverTest, TenMegabytesOfTextComeBack) {
  const std::string text(10 << 20, 'x');
  EXPECT_TRUE(Run("insert into People(Secret) values(?)", {SqlValue::Text(text)}));
  EXPECT_EQ(Rows("select Secret from People").cells.front().text, text);
}

TEST_F(PostgresDriverTest, ValuesAreNeverPartOfTheStatement) {
  const std::string text = "'); drop table People; --";
  EXPECT_TRUE(Run("insert into People(Name) values(?)", {SqlValue::Text(text)}));
  EXPECT_EQ(Cells(Rows("select Name from People where Name=?", {SqlValue::Text(text)})),
            Texts{"'" + text + "'"});
}

TEST_F(PostgresDriverTest, AnErrorNamesStatementAndCause) {
  EXPECT_TRUE(Fails("select * from Nowhere"));
  EXPECT_EQ(driver_->LastError(),
            "select * from Nowhere: relation \"nowhere\" does not exist (42P01)");
  EXPECT_FALSE(Run("insert into People(Name) values(?)", {SqlValue::Text(std::string(51, 'x'))}));
  EXPECT_TRUE(Mentions("22001"));
}

TEST_F(PostgresDriverTest, SeveralStatementsInOneTextAreRefused) {
  EXPECT_FALSE(Run("delete from People;delete from People"));
  EXPECT_TRUE(Mentions("multiple commands"));
  EXPECT_TRUE(Run("delete from People;"));
}

TEST_F(PostgresDriverTest, AnEmptyStatementIsRefused) {
  for (const char* text : {"", "  ", ";", "-- nothing"}) {
    EXPECT_FALSE(Run(text)) << text;
    EXPECT_TRUE(Mentions("an empty statement"));
    EXPECT_TRUE(Fails(text)) << text;
  }
}

TEST_F(PostgresDriverTest, MarkersAndValuesMustBeEqualInNumber) {
  for (const Values& values : {Values{}, Values{SqlValue::Integer(1), SqlValue::Integer(2)}}) {
    EXPECT_FALSE(Run("delete from People where Age=?", values));
    EXPECT_TRUE(Mentions("another number of markers than of values"));
  }
}

std::string CountOfAges(int values) {
  std::string list = "select count(*) from People where Age in (?";
  for (int i = 1; i < values; ++i) list += ",?";
  return list + ")";
}

TEST_F(PostgresDriverTest, MoreValuesThanTheServerTakesAreRefused) {
  EXPECT_TRUE(Fails(CountOfAges(70'000), Values(70'000, SqlValue::Integer(1))));
  EXPECT_TRUE(Run("delete from People"));
}

// More than the client library lets the server describe.
TEST_F(PostgresDriverTest, ALongListOfValuesIsTaken) {
  EXPECT_TRUE(Run(CountOfAges(20'000), Values(20'000, SqlValue::Integer(1))));
  EXPECT_TRUE(Run("delete from People"));
}

TEST_F(PostgresDriverTest, AStreamOfDataIsRefused) {
  EXPECT_FALSE(Run("copy People to stdout"));
  EXPECT_FALSE(Run("copy People from stdin"));
}

TEST_F(PostgresDriverTest, AnErrorLeavesNoTransactionOpen) {
  EXPECT_FALSE(Run("insert into People(Age) values(1/0)"));
  EXPECT_TRUE(Run("insert into People(Age) values(1)"));
  EXPECT_EQ(OtherReads("select count(*) from People"), "1");
}

TEST_F(PostgresDriverTest, ATransactionIsTheCallers) {
  EXPECT_TRUE(Run("BEGIN immediate"));
  EXPECT_TRUE(Run("insert into People(Age) values(1)"));
  EXPECT_EQ(OtherReads("select count(*) from People"), "0");
  EXPECT_TRUE(driver_->SyncCommitted());
  EXPECT_TRUE(Run("commit"));
  EXPECT_EQ(OtherReads("select count(*) from People"), "1");
  EXPECT_TRUE(Run("begin"));
  EXPECT_TRUE(Run("delete from People"));
  EXPECT_TRUE(Run("rollback"));
  EXPECT_EQ(OtherReads("select count(*) from People"), "1");
  EXPECT_TRUE(driver_->SyncCommitted());
}

TEST_F(PostgresDriverTest, TheCommitOfASpoiltTransactionFails) {
  EXPECT_TRUE(Run("begin"));
  EXPECT_TRUE(Run("insert into People(Age) values(1)"));
  EXPECT_FALSE(Run("insert into People(Age) values(1/0)"));
  EXPECT_FALSE(Run("insert into People(Age) values(2)"));
  EXPECT_FALSE(Run("commit"));
  EXPECT_TRUE(Run("insert into People(Age) values(3)"));
  EXPECT_EQ(OtherReads("select sum(Age) from People"), "3");
}

TEST_F(PostgresDriverTest, ReadingDoesNotSpoilATransaction) {
  EXPECT_TRUE(Run("begin"));
  EXPECT_EQ(Rows("select Name from (select Name from People) Inner_").table, "");
  EXPECT_NE(Rows("select Name from People").table, "");
  EXPECT_TRUE(Run("insert into People(Age) values(1)"));
  EXPECT_TRUE(Run("commit")) << driver_->LastError();
  EXPECT_EQ(OtherReads("select count(*) from People"), "1");
}

TEST_F(PostgresDriverTest, RowsOutliveWhatRunsLater) {
  Other("insert into People(Name) values('a')");
  SqlRows rows = Rows("select Name from People");
  EXPECT_TRUE(Run("delete from People"));
  Rows("select * from People");
  EXPECT_EQ(Cells(rows), Texts{"'a'"});
}

TEST_F(PostgresDriverTest, AStatementMadeBeforeAChangeOfTheTableSeesTheChange) {
  Other("insert into People(Name) values('a')");
  EXPECT_EQ(Rows("select * from People").columns->size(), 4U);
  Other("alter table People add Town text default 'here'");
  SqlRows rows = Rows("select * from People");
  EXPECT_EQ(Names(rows).back(), "town");
  EXPECT_EQ(Shown(rows.cells.back()), "'here'");
}

TEST_F(PostgresDriverTest, AStatementMadeBeforeTheTableWasMadeAnewWritesToTheNewOne) {
  Rows("select * from People");
  Other("drop table People");
  Other(kPeople);
  Other("alter table People add primary key(Name)");
  Other("insert into People(Name) values('a')");
  SqlRows rows = Rows("select * from People");
  EXPECT_EQ(rows.identity.front().text, "a");
  EXPECT_TRUE(
      driver_->UpdateRow(rows, 0, std::vector<SqlAssignment>{{"age", SqlValue::Integer(3)}}));
  EXPECT_EQ(OtherReads("select Age from People"), "3");
}

TEST_F(PostgresDriverTest, ATableThatTookAnothersNameIsNotWrittenForIt) {
  Rows("select * from People");
  Other("alter table People rename to Former");
  Other("create table People(Name text primary key)");
  SqlRows rows = Rows("select * from Former");
  EXPECT_TRUE(driver_->Insert(rows, std::vector<SqlAssignment>{{"name", SqlValue::Text("a")}}));
  EXPECT_EQ(OtherReads("select count(*) from People"), "0");
  EXPECT_EQ(OtherReads("select count(*) from Former"), "1");
  rows = Rows("select * from People");
  EXPECT_EQ(Names(rows), Texts{"name"});
  EXPECT_TRUE(driver_->Insert(rows, std::vector<SqlAssignment>{{"name", SqlValue::Text("b")}}));
  EXPECT_EQ(OtherReads("select Name from People"), "b");
}

TEST_F(PostgresDriverTest, AViewThatTookATablesNameIsForReadingOnly) {
  Other("insert into People(Name) values('a')");
  Rows("select * from People");
  Other("alter table People rename to Former");
  Other("create view People as select * from Former");
  SqlRows rows = Rows("select * from People");
  EXPECT_EQ(rows.rowCount(), 1U);
  EXPECT_EQ(rows.table, "");
}

TEST_F(PostgresDriverTest, MoreStatementsThanAreKeptAllRun) {
  for (int i = 0; i < 600; ++i) {
    SqlRows rows = Rows("select " + std::to_string(i) + ",Name from People");
    EXPECT_EQ(rows.rowCount(), 0U);
  }
  EXPECT_EQ(Cells(Rows("select 0 where 1=1")), Texts{"0"});
  SqlRows count = Rows("select count(*) from pg_prepared_statements");
  EXPECT_GE(count.cells.front().integer, 500);
  EXPECT_LE(count.cells.front().integer, 550);
}

TEST_F(PostgresDriverTest, LongTextsRunAndAreNotKept) {
  Other("insert into People(Name) values('a')");
  std::string list = "select * from People where Name in ('a'";
  while (list.size() < 5000) list += ",'b'";
  Rows("select * from People");  // what looks tables up stays too
  int64_t before = Rows("select count(*) from pg_prepared_statements").cells.front().integer;
  for (int i = 0; i < 2; ++i) {
    SqlRows rows = Rows(list + ")");
    EXPECT_EQ(rows.rowCount(), 1U);
    EXPECT_TRUE(
        driver_->UpdateRow(rows, 0, std::vector<SqlAssignment>{{"age", SqlValue::Integer(i)}}));
  }
  int64_t after = Rows("select count(*) from pg_prepared_statements").cells.front().integer;
  EXPECT_EQ(after - before, 1) << "the update";
}

TEST_F(PostgresDriverTest, StatementsThatTheServerForgotAreMadeAgain) {
  EXPECT_TRUE(Run("delete from People"));
  Rows("select * from People");
  EXPECT_TRUE(Run("deallocate all"));
  EXPECT_TRUE(Run("delete from People")) << driver_->LastError();
  EXPECT_NE(Rows("select * from People").table, "");
}

TEST_F(PostgresDriverTest, SessionsFollowTheDurability) {
  const std::vector<std::pair<SqlDurability, std::string>> cases = {
      {SqlDurability::kReceipt, "off"},
      {SqlDurability::kCommit, "on"},
      {SqlDurability::kNone, "off"}};
  for (const auto& [durability, expected] : cases) {
    options_.durability = durability;
    driver_ = OpenPostgres(options_);
    EXPECT_EQ(Cells(Rows("select current_setting('synchronous_commit')")),
              Texts{"'" + expected + "'"});
    EXPECT_TRUE(Run("insert into People(Age) values(1)"));
    EXPECT_TRUE(driver_->SyncCommitted());
    EXPECT_EQ(Cells(Rows("select current_setting('synchronous_commit')")),
              Texts{"'" + expected + "'"});
  }
}

}  // namespace
}  // namespace vnq
