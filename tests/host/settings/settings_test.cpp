#include "host/settings/settings.h"

#include <gtest/gtest.h>

#include "tests/harness/app_folder.h"

namespace vnq {
namespace {

class SettingsTest : public ::testing::Test {
 protected:
  Settings Read(std::string_view bytes) {
    folder_.Write("Web/Data/DataBase.ini", bytes);
    return ReadWhatIsThere();
  }

  Settings ReadWhatIsThere() {
    IniStrings strings(PathMapper(), CodePage::Open(936));
    return Settings::Read(strings, folder_.path());
  }

  AppFolder folder_;
};

TEST_F(SettingsTest, EveryKeyReachesItsSetting) {
  const Settings settings = Read(
      "[server_connection]\nDB_TYPE=access\nDataBaseName=\\Web\\Data\\vnq.db\nDataPaw=p\n"
      "DB_USER=sa\nDB_PWD=pw\nDB_NAME=vnq\nDB_SERVER=host\nDB_PORT=1433\nCheckIM0=1\n"
      "CheckIM1=2\noffline_information=3\nchats=4\ncontrol_computer=5\nDataBaseIp=10.0.0.1\n"
      "[message_push]\ninterval_time=20\n[delete_chats]\noptions=1\nchatsday=7\n"
      "[delete_offline_files]\noptions=2\n[delete_offline_notices]\noptions=3\nnoticeday=9\n");
  EXPECT_EQ(settings.DbType, "access");
  EXPECT_EQ(settings.DataBaseName, "\\Web\\Data\\vnq.db");
  EXPECT_EQ(settings.DataPaw, "p");
  EXPECT_EQ(settings.DB_USER + settings.DB_PWD + settings.DB_NAME, "sapwvnq");
  EXPECT_EQ(settings.DB_SERVER + settings.DB_PORT, "host1433");
  EXPECT_EQ(settings.CheckIM0, 1);
  EXPECT_EQ(settings.CheckIM1, 2);
  EXPECT_EQ(settings.offline_information, 3);
  EXPECT_EQ(settings.chats, 4);
  EXPECT_EQ(settings.control_computer, 5);
  EXPECT_EQ(settings.DataBaseIp, "10.0.0.1");
  EXPECT_EQ(settings.pushIntervalMs, 20000);
  EXPECT_EQ(settings.deleteChats.options, 1);
  EXPECT_EQ(settings.deleteChats.days, 7);
  EXPECT_EQ(settings.deleteOfflineFiles.options, 2);
  EXPECT_EQ(settings.deleteNotices.options, 3);
  EXPECT_EQ(settings.deleteNotices.days, 9);
}

TEST_F(SettingsTest, MissingFileLeavesEmptyTextsAndZeros) {
  const Settings settings = ReadWhatIsThere();
  EXPECT_EQ(settings.DbType, "");
  EXPECT_FALSE(settings.IsAccess());
  EXPECT_EQ(settings.CheckIM0, 0);
  EXPECT_EQ(settings.deleteChats.days, 0);
  EXPECT_EQ(settings.pushIntervalMs, kPresetPushIntervalMs);
}

TEST_F(SettingsTest, AccessWithACapitalLetterIsNotTheEmbeddedDatabase) {
  EXPECT_FALSE(Read("[server_connection]\nDB_TYPE=Access\n").IsAccess());
  EXPECT_TRUE(Read("[server_connection]\nDB_TYPE=access\n").IsAccess());
}

TEST_F(SettingsTest, TrailingSpacesAreTrimmed) {
  EXPECT_TRUE(Read("[server_connection]\nDB_TYPE=access   \n").IsAccess());
}

TEST_F(SettingsTest, NumberThatDoesNotConvertIsZero) {
  EXPECT_EQ(Read("[server_connection]\nchats=yes\n").chats, 0);
  EXPECT_EQ(Read("[server_connection]\nchats=\n").chats, 0);
  EXPECT_EQ(Read("[server_connection]\nchats=40000\n").chats, 0);
  EXPECT_EQ(Read("[server_connection]\nchats=-1\n").chats, -1);
}

TEST_F(SettingsTest, TextsGoThroughTheCodePage) {
  EXPECT_EQ(Read("[server_connection]\nDB_NAME=\xD4\xD9\xBC\xFB\n").DB_NAME, "再见");
}

TEST_F(SettingsTest, FileIsFoundInAnyLetterCase) {
  folder_.Write("web/DATA/database.INI", "[server_connection]\nDB_TYPE=access\n");
  EXPECT_TRUE(ReadWhatIsThere().IsAccess());
}

TEST(PushIntervalMs, Of32SecondsFitsAndOf33KeepsThePreset) {
  EXPECT_EQ(PushIntervalMs("32"), 32000);
  EXPECT_EQ(PushIntervalMs("33"), kPresetPushIntervalMs);
}

TEST(PushIntervalMs, ZeroTurnsTheTimerOff) {
  EXPECT_EQ(PushIntervalMs("0"), 0);
}

TEST(PushIntervalMs, WhatIsNoIntervalKeepsThePreset) {
  for (const char* text : {"", "x", "-1", "-32", "-33", "70000"}) {
    EXPECT_EQ(PushIntervalMs(text), kPresetPushIntervalMs) << text;
  }
}

TEST(ConnectionString, OfTheEmbeddedDatabaseNamesItsFile) {
  Settings settings;
  settings.DbType = "access";
  settings.DataBaseName = "\\d.db";
  settings.DataPaw = "p";
  EXPECT_EQ(ConnectionString(settings, "/app"),
            "Driver={Microsoft Access Driver (*.mdb)};Dbq=/app\\d.db;Uid=Admin;Pwd=p;");
}

TEST(ConnectionString, OfAnyOtherDatabaseNamesServerAndCatalog) {
  Settings settings;
  settings.DbType = "mssql";
  settings.DB_USER = "u";
  settings.DB_PWD = "w";
  settings.DB_NAME = "n";
  settings.DB_SERVER = "s";
  settings.DB_PORT = "1433";
  EXPECT_EQ(ConnectionString(settings, "/app"),
            "Provider=SQLOLEDB.1; User ID=u;Password=w;Initial Catalog=n; Data Source=s,1433");
}

}  // namespace
}  // namespace vnq
