#include <gtest/gtest.h>

#include "platform/net/clock.h"
#include "tests/harness/postgres_server.h"
#include "tests/platform/sql/postgres_fixture.h"
#include "tests/platform/sql/sqlite_fixture.h"

namespace vnq {
namespace {

class PostgresDriverTest : public PostgresTest {
 protected:
  void SetUp() override {
    PostgresTest::SetUp();
    if (IsSkipped()) return;
    Other(kPeople);
  }

  static constexpr const char* kPeople =
      "create table People(Name varchar(50),Secret text,Age integer default 7,"
      "Since text default '2024-02-01')";
};

TEST_F(PostgresDriverTest, TextsOfAllScriptsComeBack) {
  const std::string text = "中文 Ünïcode 😀 ' \" \\ % \x01\n end";
  for (const char* database :
       {"", "encoding SQL_ASCII template template0 lc_collate 'C' lc_ctype 'C'"}) {
    UseDatabase(database);
    Other(kPeople);
    EXPECT_TRUE(Run("insert into People(Secret) values(?)", {SqlValue::Text(text)}));
    EXPECT_TRUE(Run("insert into People(Secret) values('中文😀')"));
    EXPECT_EQ(Cells(Rows("select Secret from People where Secret=?", {SqlValue::Text(text)})),
              Lines{"'" + text + "'"});
    EXPECT_EQ(Cells(Rows("select Secret from People where Secret='中文😀'")), Lines{"'中文😀'"});
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

TEST_F(PostgresDriverTest, AValueThatIsNoNumberDoesNotConvert) {
  for (const std::string& text : PostgresEngine::Words().noConversion) {
    EXPECT_TRUE(Fails("select clng(?)", {T(text)})) << text;
  }
  Other("insert into People(Name) values('nine')");
  EXPECT_TRUE(Fails("select CONVERT(int,Name) from People"));
  ExpectError("22P02");
}

TEST_F(PostgresDriverTest, ACountIsAColumnOfIntegers) {
  const SqlRows count = Rows("select count(*) from People");
  EXPECT_EQ((*count.columns)[0].type, SqlColumnType::kInteger);
}

TEST_F(PostgresDriverTest, ATextThatIsNoNumberEqualsNone) {
  Other("insert into People(Age) values(34)");
  EXPECT_EQ(Text("select Age from People where Age=?", {T("x")}), "");
}

TEST_F(PostgresDriverTest, ATextTooLongForItsColumnFails) {
  EXPECT_FALSE(Run("insert into People(Name) values(?)", {T(std::string(51, 'x'))}));
  ExpectError("22001");
}

TEST_F(PostgresDriverTest, WhatKeepsTheDatabaseFromWritingIsTold) {
  const std::string insert = "insert into People(Name) values('x')";
  EXPECT_FALSE(Run("insert into People(Age) values('x')"));
  EXPECT_EQ(driver_->LastTrouble(), SqlTrouble::kNone);
  EXPECT_TRUE(Run("set lock_timeout='20ms'"));
  Other("begin");
  Other("lock table People in exclusive mode");
  EXPECT_FALSE(Run(insert));
  EXPECT_EQ(driver_->LastTrouble(), SqlTrouble::kLocked);
  Other("rollback");
  MustRun(insert);
  EXPECT_TRUE(Run("set default_transaction_read_only=on"));
  EXPECT_FALSE(Run(insert));
  EXPECT_EQ(driver_->LastTrouble(), SqlTrouble::kReadOnly);
}

// --- Rows that are added without waiting for the answer ---

class PendingRows : public PostgresDriverTest {
 protected:
  void SetUp() override {
    PostgresDriverTest::SetUp();
    if (IsSkipped()) return;
    Other("create table Once(Name text primary key,Age integer)");
    options_.commit = SqlCommit::kTurn;
    options_.clock = &clock_;
    driver_ = OpenPostgres(options_);
    target_ = Rows("select * from Once");
    Add("prepared");
    EXPECT_TRUE(driver_->EndTurn());
  }

  bool Add(const std::string& name) {
    return driver_->Insert(target_, Assigned{{"name", T(name)}});
  }
  std::string Stored() {
    return OtherReads("select string_agg(Name,',' order by Name) from Once where Name<>'prepared'");
  }

  TestClock clock_;
  SqlRows target_;
};

TEST_F(PendingRows, AreThereAtTheEndOfTheTurn) {
  EXPECT_TRUE(Add("a"));
  EXPECT_TRUE(Add("b"));
  EXPECT_EQ(Stored(), "NULL") << "nothing was sent yet";
  EXPECT_TRUE(driver_->EndTurn());
  EXPECT_EQ(Stored(), "a,b");
  EXPECT_EQ(driver_->TakeUndone(), 0U);
}

TEST_F(PendingRows, AreSeenByTheNextStatementWhateverItIs) {
  Add("a");
  EXPECT_EQ(Text("select Name from Once where Name='a'"), "a") << "one that is prepared for it";
  Add("b");
  EXPECT_EQ(Text("select Name from Once where Name='a'"), "a");
  EXPECT_EQ(Stored(), "a,b");
  Add("c");
  MustRun("update Once set Age=1 where Name='c'");
  EXPECT_EQ(OtherReads("select Age from Once where Name='c'"), "1");
  Add("d");
  SqlRows rows = Rows("select * from Once where Name='d'");
  Add("e");
  EXPECT_TRUE(driver_->DeleteRow(rows, 0)) << driver_->LastError();
  EXPECT_EQ(Stored(), "a,b,c,e");
}

TEST_F(PendingRows, OneThatIsRefusedTakesNoOtherWithIt) {
  Add("a");
  Add("a");
  Add("b");
  EXPECT_FALSE(driver_->EndTurn());
  EXPECT_EQ(driver_->TakeUndone(), 1U);
  ExpectError("23505");
  EXPECT_EQ(Stored(), "a,b");
  Add("b");
  Add("c");
  EXPECT_EQ(Text("select count(*) from Once"), "4") << "with the one behind the refused one";
  Add("c");
  Add("d");
  EXPECT_EQ(Text("select count(*) from Once"), "5") << "also where the select is prepared";
  EXPECT_EQ(driver_->TakeUndone(), 2U);
}

TEST_F(PendingRows, AreTakenToTheNextSessionWhenTheirOwnHasEnded) {
  const std::string session = Text("select pg_backend_pid()");
  Add("a");
  OtherReads("select pg_terminate_backend(" + session + ",5000)");
  EXPECT_TRUE(driver_->EndTurn()) << driver_->LastError();
  EXPECT_EQ(Stored(), "a");
}

TEST_F(PendingRows, ThatWereOnTheirWayWhenTheSessionEndedCountAsUndone) {
  Other(
      "create function ends() returns trigger language plpgsql as $$ begin perform"
      " pg_terminate_backend(pg_backend_pid()); perform pg_sleep(1); return new; end $$");
  Other(
      "create trigger ends before insert on Once for each row when (new.Name='last')"
      " execute function ends()");
  Add("a");
  Add("last");
  EXPECT_FALSE(driver_->EndTurn());
  EXPECT_EQ(driver_->TakeUndone(), 2U);
  EXPECT_EQ(driver_->LastTrouble(), SqlTrouble::kUnavailable);
  EXPECT_FALSE(driver_->SyncCommitted()) << "nobody can tell what became of them";
  Add("b");
  EXPECT_TRUE(driver_->EndTurn());
  EXPECT_EQ(Stored(), "b");
}

TEST_F(PendingRows, OfALockedTableWaitOnceForAllOfThem) {
  options_.busyTimeoutMs = 1000;
  driver_ = OpenPostgres(options_);
  target_ = Rows("select * from Once");
  Add("first");
  Other("begin");
  Other("lock table Once in exclusive mode");
  for (int i = 0; i < 20; ++i) Add(std::to_string(i));
  EXPECT_LT(MsOf([&] { EXPECT_FALSE(driver_->EndTurn()); }), 1900);
  EXPECT_EQ(driver_->TakeUndone(), 20U);
  EXPECT_EQ(driver_->LastTrouble(), SqlTrouble::kLocked);
  Other("rollback");
  Add("last");
  EXPECT_TRUE(driver_->EndTurn());
  EXPECT_EQ(Stored(), "first,last");
}

TEST_F(PendingRows, AreDescribedByARunThatWasNotLongAgo) {
  MustRun("delete from Once");
  SqlRows described;
  ASSERT_TRUE(driver_->Describe("select top 1 * from Once", {}, described));
  Other("insert into Once values('other',1)");
  ASSERT_TRUE(driver_->Describe("select top 1 * from Once", {}, described));
  EXPECT_EQ(described.rowCount(), 0U);
  EXPECT_EQ(Names(described), (Lines{"name", "age"}));
  ASSERT_TRUE(driver_->Insert(described, Assigned{{"name", T("a")}})) << driver_->LastError();
  EXPECT_TRUE(driver_->EndTurn());
  EXPECT_EQ(Stored(), "a,other");
  Other("alter table Once add Note text");
  clock_.nowMs += 1000;
  ASSERT_TRUE(driver_->Describe("select top 1 * from Once", {}, described));
  EXPECT_EQ(Names(described), (Lines{"name", "age", "note"}));
}

TEST_F(PendingRows, AreManyInOneTurnAndAllThere) {
  const std::string large(10'000, 'x');
  for (int i = 0; i < 500; ++i) ASSERT_TRUE(Add(std::to_string(i) + large));
  EXPECT_TRUE(driver_->EndTurn());
  EXPECT_EQ(OtherReads("select count(*) from Once"), "501");
}

TEST_F(PendingRows, WaitForNothingWithinATransaction) {
  MustRun("begin immediate");
  Add("a");
  EXPECT_FALSE(Add("a")) << "who asks is told";
  MustRun("rollback");
  EXPECT_EQ(Stored(), "NULL");
}

TEST_F(PendingRows, AreThereWhenTheDriverGoes) {
  Add("a");
  driver_.reset();
  EXPECT_EQ(Stored(), "a");
}

// --- Where the server listens ---

TEST(PostgresSocket, TakesThePlaceOfTheAddress) {
  if (!PostgresServer::IsInstalled()) GTEST_SKIP() << "no PostgreSQL server is installed";
  PostgresServer server({"fsync=off"}, PostgresServer::Socket::kInItsFolder);
  ASSERT_TRUE(server.ready());
  ServerDatabaseOptions options = server.options();
  options.socketFolder = server.folder();
  options.host = "127.0.0.1";
  auto driver = OpenPostgres(options);
  SqlRows rows;
  ASSERT_TRUE(driver->Query("select inet_server_addr() is null as local", {}, rows))
      << driver->LastError();
  EXPECT_EQ(AsText(rows), "1");
  options.socketFolder = "/nowhere";
  auto lost = OpenPostgres(options);
  EXPECT_FALSE(lost->Execute("select 1", {}));
  EXPECT_NE(lost->LastError().find("/nowhere"), std::string::npos) << lost->LastError();
}

TEST_F(PostgresDriverTest, SeveralStatementsInOneTextAreRefused) {
  EXPECT_FALSE(Run("delete from People;delete from People"));
  ExpectError("multiple commands");
  EXPECT_TRUE(Run("delete from People;"));
}

TEST_F(PostgresDriverTest, AnEmptyStatementIsRefused) {
  for (const char* text : {"", "  ", ";", "-- nothing"}) {
    EXPECT_FALSE(Run(text)) << text;
    ExpectError("an empty statement");
    EXPECT_TRUE(Fails(text)) << text;
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

TEST_F(PostgresDriverTest, AStatementMadeBeforeTheTableWasMadeAnewWritesToTheNewOne) {
  Rows("select * from People");
  Other("drop table People");
  Other(kPeople);
  Other("alter table People add primary key(Name)");
  Other("insert into People(Name) values('a')");
  SqlRows rows = Rows("select * from People");
  EXPECT_EQ(rows.identity.front().text, "a");
  EXPECT_TRUE(driver_->UpdateRow(rows, 0, Assigned{{"age", SqlValue::Integer(3)}}));
  EXPECT_EQ(OtherReads("select Age from People"), "3");
}

TEST_F(PostgresDriverTest, ATableThatTookAnothersNameIsNotWrittenForIt) {
  Rows("select * from People");
  Other("alter table People rename to Former");
  Other("create table People(Name text primary key)");
  SqlRows rows = Rows("select * from Former");
  EXPECT_TRUE(driver_->Insert(rows, Assigned{{"name", SqlValue::Text("a")}}));
  EXPECT_EQ(OtherReads("select count(*) from People"), "0");
  EXPECT_EQ(OtherReads("select count(*) from Former"), "1");
  rows = Rows("select * from People");
  EXPECT_EQ(Names(rows), Lines{"name"});
  EXPECT_TRUE(driver_->Insert(rows, Assigned{{"name", SqlValue::Text("b")}}));
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
  EXPECT_EQ(Cells(Rows("select 0 where 1=1")), Lines{"0"});
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
    EXPECT_TRUE(driver_->UpdateRow(rows, 0, Assigned{{"age", SqlValue::Integer(i)}}));
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
              Lines{"'" + expected + "'"});
    EXPECT_TRUE(Run("insert into People(Age) values(1)"));
    EXPECT_TRUE(driver_->SyncCommitted());
    EXPECT_EQ(Cells(Rows("select current_setting('synchronous_commit')")),
              Lines{"'" + expected + "'"});
  }
}

}  // namespace
}  // namespace vnq
