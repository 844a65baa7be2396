// A PostgreSQL database as the settings name it, through the cursors that commands use.
#include <gtest/gtest.h>
#include <unistd.h>

#include "host/database/database.h"
#include "host/database/open_database.h"
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
