// A PostgreSQL database as the settings name it, through the cursors that commands use.
#include <gtest/gtest.h>
#include <unistd.h>

#include "host/database/database.h"
#include "host/database/open_database.h"
#include "tests/harness/lines.h"
#include "tests/harness/said_lines.h"
#include "tests/harness/stepped_clock.h"
#include "tests/platform/sql/postgres_fixture.h"

namespace vnq {
namespace {

std::unique_ptr<SqlDriver> OpenNamed(const ServerDatabaseOptions& server) {
  Settings settings;
  settings.DbType = "sql";
  settings.DB_SERVER = server.host;
  settings.DB_PORT = server.port;
  settings.DB_NAME = server.database;
  settings.DB_USER = server.user;
  settings.DB_PWD = "hidden-word";
  PlatformSettings platform;
  platform.databaseDriver = "postgresql";
  return OpenConfiguredDatabase(settings, platform, PathMapper(), "");
}

using PostgresDatabaseTest = PostgresTest;

TEST_F(PostgresDatabaseTest, CursorsAddChangeAndDeleteRows) {
  Other("create table Users(UserID varchar(20) primary key,Age integer default 5,Note text)");
  Database database(OpenNamed(options_));
  Cursor Adodc1(database);
  ASSERT_TRUE(Adodc1.Open(Sql("Select top 1 * from Users where UserID='?'", "ann")));
  EXPECT_TRUE(Adodc1.EndOfRows());
  Adodc1.AddNew();
  EXPECT_TRUE(Adodc1.Set("USERID", "ann"));
  EXPECT_FALSE(Adodc1.Set("Age", "no number"));
  EXPECT_TRUE(Adodc1.Set("Note", "备注"));
  EXPECT_TRUE(Adodc1.Update());

  ASSERT_TRUE(Adodc1.Open(Sql("Select * from USERS where userid='?' and Age=?", "ann", 5)));
  ASSERT_EQ(Adodc1.RecordCount(), 1);
  EXPECT_EQ(Adodc1["note"].text(), "备注");
  EXPECT_TRUE(Adodc1.Set("Age", 6));
  EXPECT_TRUE(Adodc1.Update());
  EXPECT_FALSE(Adodc1.Set("UserID", std::string(21, 'x'))) << "longer than the column";
  EXPECT_TRUE(Adodc1.Set("Age", 7));
  EXPECT_TRUE(Adodc1.Update());
  EXPECT_EQ(database.ReadValue(Sql("Select max(Age) from Users")).text(), "7");
  EXPECT_TRUE(Adodc1.Delete());
  EXPECT_EQ(database.ReadValue(Sql("Select count(*) from Users")).text(), "0");
  database.SyncCommitted();
}

// What is refused for want of a right or of a table, as an operator hears of it.
class RefusedWrites : public PostgresTest {
 protected:
  void SetUp() override {
    PostgresTest::SetUp();
    if (IsSkipped()) return;
    Other("create table Users(UserID text,Note text)");
    Other("create table Logs(Txt text)");
    Other("do $$ begin create role vnq_plain login; exception when duplicate_object then end $$");
    Other("grant all on Users to vnq_plain");
    Other("grant all on Logs to vnq_plain");
    options_.user = "vnq_plain";
    options_.clock = &clock_;
    options_.commit = SqlCommit::kTurn;
    database_ = std::make_unique<Database>(OpenPostgres(options_), &clock_);
    Add("Users", "UserID", "first");
    Add("Logs", "Txt", "first");
  }
  void TearDown() override {
    database_.reset();
    PostgresTest::TearDown();
  }

  void Add(const char* table, const char* column, const char* value) {
    Cursor Adodc1(*database_);
    Adodc1.Open(Sql(std::string("Select top 1 * from ") + table));
    Adodc1.AddNew();
    Adodc1.Set(column, value);
    Adodc1.Update();
    database_->EndTurn();
  }
  void Seconds(int count) {
    for (int i = 0; i < count; ++i) {
      clock_.AdvanceMs(1000);
      database_->SyncCommitted();
    }
  }

  SteppedClock clock_{LocalTime{}};
  std::unique_ptr<Database> database_;
  SaidLines said_;
};

TEST_F(RefusedWrites, AreSaidOnceACauseAndOnceWhenTheyAreOver) {
  Other("revoke insert on Users from vnq_plain");
  for (int i = 0; i < 3; ++i) {
    Add("Users", "UserID", "ann");
    Add("Logs", "Txt", "goes on");
    Seconds(1);
  }
  const Lines lines = said_.Take();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_TRUE(lines[0].starts_with("warning: database: its user has not the right to; "))
      << lines[0];
  EXPECT_TRUE(lines[0].ends_with("permission denied for table users (42501)")) << lines[0];
  Seconds(20);
  Add("Logs", "Txt", "still");
  Seconds(20);
  EXPECT_EQ(said_.Take(), Lines{}) << "other rows being written does not end it";

  Other("grant insert on Users to vnq_plain");
  Add("Users", "UserID", "ben");
  Seconds(60);
  const Lines over = said_.Take();
  ASSERT_FALSE(over.empty());
  EXPECT_TRUE(over.back().starts_with("info: database: rows are written again; 3 statements"))
      << over.back();
  EXPECT_EQ(OtherReads("select string_agg(UserID,',' order by UserID) from Users"), "ben,first");
}

TEST_F(RefusedWrites, AMissingColumnOrTableIsACauseOfItsOwn) {
  Other("alter table Logs rename column Txt to Text");
  EXPECT_FALSE(database_->Execute(Sql("insert into Logs(Txt) values('x')")));
  EXPECT_FALSE(database_->Execute(Sql("delete from Nowhere")));
  const Lines lines = said_.Take();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_TRUE(lines[0].starts_with("warning: database: a table or a column is missing; "))
      << lines[0];
}

TEST_F(RefusedWrites, AStandbyIsACauseOfItsOwn) {
  Other("alter role vnq_plain set default_transaction_read_only=on");
  database_ = std::make_unique<Database>(OpenPostgres(options_), &clock_);
  Add("Users", "UserID", "ann");
  Other("alter role vnq_plain reset default_transaction_read_only");
  const Lines lines = said_.Take();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_TRUE(lines[0].starts_with("warning: database: it may only be read; ")) << lines[0];
}

TEST(PostgresSettingsTest, TheServerThatCannotBeReachedIsNamedWithoutThePassword) {
  ServerDatabaseOptions nobody;
  nobody.host = "127.0.0.1";
  nobody.port = "1";
  nobody.database = "chat";
  nobody.user = "vnq";
  auto driver = OpenNamed(nobody);
  EXPECT_FALSE(driver->Execute("delete from T", {}));
  EXPECT_NE(driver->LastError().find("127.0.0.1"), std::string::npos) << driver->LastError();
  EXPECT_EQ(driver->LastError().find("hidden-word"), std::string::npos);
}

}  // namespace
}  // namespace vnq
