#include "tools/folder/init_command.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <map>
#include <memory>
#include <sstream>

#include <CLI/CLI.hpp>

#include "host/database/schema.h"
#include "host/settings/platform_settings.h"
#include "host/settings/settings.h"
#include "host/settings/texts.h"
#include "platform/sql/sql_driver.h"
#include "tests/harness/app_folder.h"
#include "tests/harness/as_nobody.h"

namespace vnq {
namespace {

class InitCommand : public ::testing::Test {
 protected:
  int Run(std::string locale, bool demo = false) {
    InitOptions options;
    options.appPath = folder_.path();
    options.demo = demo;
    options.localeName = std::move(locale);
    options.languageId = languageId_;
    options.codePage = codePage_;
    out_.str("");
    err_.str("");
    return RunInit(options, out_, err_);
  }

  /// Name and bytes of every file but the database's own side files.
  std::map<std::string, std::string> Snapshot() const {
    std::map<std::string, std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_.path())) {
      const std::string name = std::filesystem::relative(entry.path(), folder_.path()).string();
      if (name.ends_with("-wal") || name.ends_with("-shm")) continue;
      files[name] = entry.is_regular_file() ? folder_.ReadBytes(name) : "";
    }
    return files;
  }

  /// Cells joined by blanks, rows by commas.
  std::string Query(const std::string& statement) {
    SqliteOptions options;
    options.path = folder_.path() + "/Web/Data/vnq.db";
    const auto driver = OpenSqlite(options);
    SqlRows rows;
    EXPECT_TRUE(driver->Query(statement, {}, rows)) << driver->LastError();
    std::string text;
    for (size_t i = 0; i < rows.cells.size(); ++i) {
      const SqlValue& cell = rows.cells[i];
      if (i > 0) text += i % rows.columns->size() == 0 ? "," : " ";
      text += cell.kind == SqlValue::Kind::kInteger ? std::to_string(cell.integer) : cell.text;
    }
    return text;
  }

  Settings ReadSettings() {
    IniStrings strings(PathMapper(), CodePage::Open(1252));
    return Settings::Read(strings, folder_.path());
  }

  bool OutHas(std::string_view text) const { return out_.str().find(text) != std::string::npos; }
  bool ErrHas(std::string_view text) const { return err_.str().find(text) != std::string::npos; }

  AppFolder folder_;
  std::optional<int> languageId_, codePage_;
  std::ostringstream out_, err_;
};

TEST_F(InitCommand, MakesEveryFileAndTheDatabase) {
  ASSERT_EQ(Run("zh_CN.UTF-8"), 0) << err_.str();
  EXPECT_TRUE(folder_.Has("platform.ini"));
  EXPECT_TRUE(folder_.Has("Web/Data/DataBase.ini"));
  EXPECT_TRUE(folder_.Has("Web/Data/vnq.db"));
  EXPECT_EQ(folder_.ReadBytes("Web/download/log.txt"), "0|0\n");
  EXPECT_TRUE(folder_.Has("Language/Chinese_Simplified/lang.ini"));
  EXPECT_EQ(err_.str(), "");
}

TEST_F(InitCommand, SettingsHaveTheirDocumentedValues) {
  ASSERT_EQ(Run("en_US.UTF-8"), 0);
  const Settings settings = ReadSettings();
  EXPECT_EQ(settings.DbType, "access");
  EXPECT_EQ(settings.DataBaseName, "\\Web\\Data\\vnq.db");
  EXPECT_EQ(settings.DataBaseIp, "127.0.0.1");
  EXPECT_EQ(settings.pushIntervalMs, 30000);
  EXPECT_EQ(settings.deleteChats.options, 0);
  EXPECT_EQ(settings.deleteChats.days, 30);
  EXPECT_EQ(settings.deleteOfflineFiles.options, 0);
  EXPECT_EQ(settings.deleteNotices.options, 0);
  EXPECT_EQ(settings.deleteNotices.days, 30);
  EXPECT_EQ(settings.CheckIM0 + settings.CheckIM1 + settings.chats + settings.control_computer, 0);
}

TEST_F(InitCommand, EverySettingIsSpeltOut) {
  ASSERT_EQ(Run("en_US.UTF-8"), 0);
  const IniData data = IniData::Parse(folder_.ReadBytes("Web/Data/DataBase.ini"));
  for (const char* key : {"DB_TYPE", "DataBaseName", "DataPaw", "DB_USER", "DB_PWD", "DB_NAME",
                          "DB_SERVER", "DB_PORT", "CheckIM0", "CheckIM1", "offline_information",
                          "chats", "control_computer", "DataBaseIp"}) {
    EXPECT_TRUE(data.Find("server_connection", key)) << key;
  }
  EXPECT_EQ(data.Find("message_push", "interval_time"), "30");
  EXPECT_EQ(data.Find("delete_offline_files", "options"), "0");
}

TEST_F(InitCommand, PlatformIniHoldsTheDetectedLanguageAndCodePage) {
  ASSERT_EQ(Run("zh_TW.UTF-8"), 0);
  const IniData data = IniData::Parse(folder_.ReadBytes("platform.ini"));
  EXPECT_EQ(data.Find("locale", "language_id"), "1028");
  EXPECT_EQ(data.Find("locale", "code_page"), "950");
}

TEST_F(InitCommand, PlatformIniOtherwiseLeavesTheDefaults) {
  ASSERT_EQ(Run("en_US.UTF-8"), 0);
  std::string error;
  const auto settings = ReadPlatformSettings(PlatformIniPath(folder_.path()), "", error);
  ASSERT_TRUE(settings) << error;
  EXPECT_EQ(settings->bindAddress, "0.0.0.0");
  EXPECT_EQ(settings->busyTimeoutMs, 2000);
  EXPECT_TRUE(settings->drives.empty());
}

TEST_F(InitCommand, TextsAreWrittenInTheCodePage) {
  ASSERT_EQ(Run("zh_CN.UTF-8"), 0);
  IniStrings strings(PathMapper(), CodePage::Open(936));
  EXPECT_EQ(Texts(strings, folder_.path(), 2052).ReadLang("im53"), "：登录");
  EXPECT_EQ(Texts(strings, folder_.path(), 1028).ReadLang("im53"), "：登入");
  EXPECT_EQ(Texts(strings, folder_.path(), 1033).ReadLang("im53"), ": signed in");
}

TEST_F(InitCommand, TextsThatTheCodePageDoesNotHoldAreLeftOut) {
  ASSERT_EQ(Run("en_US.UTF-8"), 0);
  EXPECT_TRUE(folder_.Has("Language/English/lang.ini"));
  EXPECT_FALSE(folder_.Has("Language/Chinese_Simplified/lang.ini"));
  EXPECT_FALSE(folder_.Has("Language/Chinese_Traditional/lang.ini"));
  EXPECT_TRUE(OutHas("left out the texts in Chinese_Simplified: code page 1252")) << out_.str();
  EXPECT_TRUE(OutHas("left out the texts in Chinese_Traditional: code page 1252")) << out_.str();
}

TEST_F(InitCommand, LocaleThatNamesNoLanguageMakesAnEnglishFolderAndSaysSo) {
  for (const char* locale : {"C.UTF-8", "", "de_DE.UTF-8"}) {
    std::filesystem::remove_all(folder_.path());
    ASSERT_EQ(Run(locale), 0) << err_.str();
    const IniData data = IniData::Parse(folder_.ReadBytes("platform.ini"));
    EXPECT_EQ(data.Find("locale", "language_id"), "1033") << locale;
    EXPECT_EQ(data.Find("locale", "code_page"), "1252") << locale;
    EXPECT_TRUE(OutHas("note: the locale \"" + std::string(locale) + "\" names no language"))
        << out_.str();
    EXPECT_TRUE(folder_.Has("Language/English/lang.ini"));
    EXPECT_EQ(Run(locale), 0);
    EXPECT_FALSE(OutHas("note: "));
    EXPECT_TRUE(OutHas("everything is there already\n")) << out_.str();
  }
}

TEST_F(InitCommand, LanguageAndCodePageThatAreGivenWinOverTheLocale) {
  languageId_ = 2052;
  ASSERT_EQ(Run("en_US"), 0) << err_.str();
  IniData data = IniData::Parse(folder_.ReadBytes("platform.ini"));
  EXPECT_EQ(data.Find("locale", "language_id"), "2052");
  EXPECT_EQ(data.Find("locale", "code_page"), "936");
  std::filesystem::remove_all(folder_.path());
  languageId_ = 1033;
  codePage_ = 950;
  ASSERT_EQ(Run("C", true), 0) << err_.str();
  data = IniData::Parse(folder_.ReadBytes("platform.ini"));
  EXPECT_EQ(data.Find("locale", "language_id"), "1033");
  EXPECT_EQ(data.Find("locale", "code_page"), "950");
}

TEST_F(InitCommand, LanguageOtherThanTheFoldersIsRefused) {
  ASSERT_EQ(Run("en_US"), 0);
  const auto before = Snapshot();
  languageId_ = 1033;
  EXPECT_EQ(Run("zh_CN"), 0) << err_.str();
  languageId_ = 2052;
  EXPECT_EQ(Run("zh_CN"), 1);
  EXPECT_TRUE(ErrHas("platform.ini is there and says language_id=1033, not 2052")) << err_.str();
  EXPECT_EQ(Snapshot(), before);
}

TEST_F(InitCommand, UnknownCodePageMakesNothing) {
  codePage_ = 12345;
  EXPECT_EQ(Run("en_US"), 2);
  EXPECT_EQ(err_.str(), "vnqctl init: unknown code page 12345; 936, 950 and 1252 are known\n");
  EXPECT_TRUE(std::filesystem::is_empty(folder_.path()));
}

TEST_F(InitCommand, LanguageWithoutTextsIsPointedOut) {
  languageId_ = 1031;
  ASSERT_EQ(Run("C"), 0);
  EXPECT_TRUE(OutHas("language id 1031 has no texts")) << out_.str();
}

TEST_F(InitCommand, WhatRootMakesBelongsToTheFoldersOwner) {
  if (geteuid() != 0) GTEST_SKIP() << "only root makes files for others";
  ASSERT_EQ(chown(folder_.path().c_str(), kNobody, kNobody), 0);
  ASSERT_EQ(Run("en_US"), 0) << err_.str();
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder_.path())) {
    struct stat state {};
    ASSERT_EQ(lstat(entry.path().c_str(), &state), 0);
    EXPECT_EQ(state.st_uid, kNobody) << entry.path();
  }
}

TEST_F(InitCommand, DatabaseHasEveryTableAndTheTwoRows) {
  ASSERT_EQ(Run("en_US"), 0);
  for (const TableDef& table : SchemaTables()) {
    const std::string name(table.name);
    const bool hasRow = name == "UpDateForm" || name == "OtherForm";
    EXPECT_EQ(Query("select count(*) from " + name), hasRow ? "1" : "0") << name;
  }
  EXPECT_EQ(Query("select * from UpDateForm"), "1 0 0 0 0 0 0 0 0");
  EXPECT_EQ(Query("select * from OtherForm"), "1 0");
}

TEST_F(InitCommand, RunningAgainChangesNothing) {
  ASSERT_EQ(Run("en_US"), 0);
  const auto before = Snapshot();
  ASSERT_EQ(Run("zh_CN"), 0);
  EXPECT_EQ(Snapshot(), before);
  EXPECT_TRUE(OutHas("everything is there already")) << out_.str();
}

TEST_F(InitCommand, TouchesNoFileThatIsThere) {
  folder_.Write("Web/download/log.txt", "1005|1007\n");
  folder_.Write("Language/English/lang.ini", "[IndexForm]\nim13=x\n");
  ASSERT_EQ(Run("en_US"), 0);
  EXPECT_EQ(folder_.ReadBytes("Web/download/log.txt"), "1005|1007\n");
  EXPECT_EQ(folder_.ReadBytes("Language/English/lang.ini"), "[IndexForm]\nim13=x\n");
}

TEST_F(InitCommand, FindsFilesThatAreThereInOtherLetterCase) {
  folder_.Write("web/data/database.ini",
                "[server_connection]\nDB_TYPE=access\nDataBaseName=\\Web\\Data\\other.db\n");
  ASSERT_EQ(Run("en_US"), 0) << err_.str();
  EXPECT_FALSE(folder_.Has("Web"));
  EXPECT_TRUE(folder_.Has("web/data/other.db"));
}

TEST_F(InitCommand, KeepsTheRowsOfADatabaseThatIsThere) {
  ASSERT_EQ(Run("en_US"), 0);
  {
    SqliteOptions options;
    options.path = folder_.path() + "/Web/Data/vnq.db";
    const auto driver = OpenSqlite(options);
    ASSERT_TRUE(driver->Execute("update UpDateForm set Users_IDVesr=7", {}));
    ASSERT_TRUE(driver->Execute("drop table Kefu", {}));
    ASSERT_TRUE(driver->Execute("delete from OtherForm", {}));
  }
  ASSERT_EQ(Run("en_US"), 0);
  EXPECT_EQ(Query("select Users_IDVesr from UpDateForm"), "7");
  EXPECT_EQ(Query("select count(*) from Kefu"), "0");
  EXPECT_EQ(Query("select * from OtherForm"), "1 0");
  EXPECT_TRUE(OutHas("tables 1, indexes 0, rows 1")) << out_.str();
}

TEST_F(InitCommand, HonoursThePlatformIniThatIsThere) {
  folder_.Write("platform.ini", "[locale]\nlanguage_id=2052\ncode_page=936\n");
  ASSERT_EQ(Run("en_US"), 0);
  EXPECT_TRUE(folder_.Has("Language/Chinese_Simplified/lang.ini"));
}

TEST_F(InitCommand, BadPlatformIniIsNamedAndNothingElseIsMade) {
  folder_.Write("platform.ini", "[locale]\ncode_page=x\n");
  EXPECT_EQ(Run("en_US"), 1);
  EXPECT_TRUE(ErrHas(folder_.path() + "/platform.ini: [locale] code_page=x is not")) << err_.str();
  EXPECT_FALSE(folder_.Has("Web"));
}

TEST_F(InitCommand, UnknownCodePageIsNamed) {
  folder_.Write("platform.ini", "[locale]\ncode_page=54321\n");
  EXPECT_EQ(Run("en_US"), 1);
  EXPECT_TRUE(ErrHas("code_page=54321 is not a known code page")) << err_.str();
}

TEST_F(InitCommand, ServerDatabaseNeedsItsSettings) {
  folder_.Write("Web/Data/DataBase.ini",
                "[server_connection]\nDB_TYPE=mssql\nDB_SERVER=db1\nDB_USER=im\nDB_PWD=geheim\n");
  EXPECT_EQ(Run("en_US"), 1);
  EXPECT_TRUE(ErrHas("DataBase.ini: [server_connection] DB_NAME= is empty")) << err_.str();
  EXPECT_TRUE(ErrHas("DB_TYPE=mssql")) << err_.str();
  EXPECT_FALSE(ErrHas("geheim")) << err_.str();
  EXPECT_FALSE(folder_.Has("Web/Data/vnq.db"));
  EXPECT_TRUE(folder_.Has("Language/English/lang.ini"));
}

TEST_F(InitCommand, DatabaseWithoutANameIsRefused) {
  folder_.Write("Web/Data/DataBase.ini", "[server_connection]\nDB_TYPE=access\n");
  EXPECT_EQ(Run("en_US"), 1);
  EXPECT_TRUE(ErrHas("DataBaseName=")) << err_.str();
}

TEST_F(InitCommand, FileThatIsNoDatabaseIsNamedAndLeftAlone) {
  const std::string bytes(4096, 'x');
  folder_.Write("Web/Data/vnq.db", bytes);
  EXPECT_EQ(Run("en_US"), 1);
  EXPECT_TRUE(ErrHas("vnq.db: ")) << err_.str();
  EXPECT_EQ(folder_.ReadBytes("Web/Data/vnq.db"), bytes);
}

TEST_F(InitCommand, JetFileIsAnsweredWithTheCommandsToRun) {
  const std::string bytes = std::string("\0\1\0\0Standard Jet DB", 19) + std::string(4077, '\0');
  folder_.Write("Web/Data/im.mdb", bytes);
  folder_.Write("Web/Data/DataBase.ini",
                "[server_connection]\nDB_TYPE=access\nDataBaseName=\\web\\data\\IM.mdb\n");
  EXPECT_EQ(Run("en_US"), 1);
  const std::string folder = folder_.path();
  EXPECT_EQ(err_.str(),
            "vnqctl init: " + folder +
                "/Web/Data/im.mdb is a Jet file, which can be imported but not worked on: set"
                " [server_connection] DataBaseName=\\Web\\Data\\vnq.db in " +
                folder + "/Web/Data/DataBase.ini, then run: vnqctl init --app-path " + folder +
                " && vnqctl import --from " + folder + "/Web/Data/im.mdb --app-path " + folder +
                "\n");
  EXPECT_EQ(folder_.ReadBytes("Web/Data/im.mdb"), bytes);
  EXPECT_FALSE(folder_.Has("Web/Data/im.mdb-wal"));
}

TEST_F(InitCommand, TableThatDiffersIsLeftAndPointedOut) {
  {
    SqliteOptions options;
    std::filesystem::create_directories(folder_.path() + "/Web/Data");
    options.path = folder_.path() + "/Web/Data/vnq.db";
    options.createFile = true;
    const auto driver = OpenSqlite(options);
    ASSERT_TRUE(driver->Execute("create table kefu (ip text collate nocase)", {}));
  }
  ASSERT_EQ(Run("en_US"), 0) << err_.str();
  EXPECT_TRUE(OutHas("left as it is: table Kefu: column City is missing\n")) << out_.str();
  EXPECT_TRUE(OutHas("tables 45")) << out_.str();
  EXPECT_EQ(Query("select count(*) from pragma_table_info('kefu')"), "1");
  ASSERT_EQ(Run("en_US"), 0);
  EXPECT_TRUE(OutHas("column City is missing\neverything is there already\n")) << out_.str();
}

TEST_F(InitCommand, FolderThatCannotBeMadeIsNamed) {
  folder_.Write("Web", "a file in the way");
  EXPECT_EQ(Run("en_US"), 1);
  EXPECT_TRUE(ErrHas("cannot make folder " + folder_.path() + "/Web")) << err_.str();
}

TEST_F(InitCommand, ClosingSeparatorOfTheFolderDoesNotMatter) {
  InitOptions options;
  options.appPath = folder_.path() + "//";
  options.localeName = "en_US";
  EXPECT_EQ(RunInit(options, out_, err_), 0) << err_.str();
  EXPECT_TRUE(folder_.Has("Web/Data/vnq.db"));
}

TEST_F(InitCommand, DemoSpeaksEnglishOverAChineseWireOnLoopback) {
  ASSERT_EQ(Run("de_DE", true), 0) << err_.str();
  std::string error;
  const auto settings = ReadPlatformSettings(PlatformIniPath(folder_.path()), "", error);
  ASSERT_TRUE(settings) << error;
  EXPECT_EQ(settings->languageId, 1033);
  EXPECT_EQ(settings->codePage, 936);
  EXPECT_EQ(settings->bindAddress, "127.0.0.1");
}

TEST_F(InitCommand, DemoAddsAccountsAsAcceptedApplicationsLeaveThem) {
  ASSERT_EQ(Run("en_US", true), 0) << err_.str();
  EXPECT_EQ(Query("select count(*) from Users_ID where UserState=1 and UserIcoLine=0"), "6");
  EXPECT_EQ(Query("select UserID,UserName,FcName,UserPaws from Users_ID where UserID='4'"),
            "4 wangfang 王芳 wangfang-pw-4");
  EXPECT_EQ(Query("select pic from Users_Pic where UserID='1'"), "0");
  EXPECT_EQ(Query("select UsName,ParentID,To_Type,CreatorID,CreatorName from PtpFolder"
                  " where MyID='1'"),
            "VNQ 0 3 1 alice");
  EXPECT_EQ(Query("select TypeName from Col_Ro where MyID='1'"), "VNQ");
  EXPECT_EQ(Query("select RoleID from Users_Role where UserID='1'"), "1");
  EXPECT_EQ(Query("select ID from Role where DefaultRole=1"), "1");
  EXPECT_EQ(Query("select count(*) from Users_ID where IsVerify is null"), "0");
  EXPECT_EQ(Query("select count(distinct IsVerify) from Users_ID"), "2");
}

TEST_F(InitCommand, DemoAccountsBelongToDepartmentsUnderOneRoot) {
  ASSERT_EQ(Run("en_US", true), 0);
  EXPECT_EQ(Query("select count(*) from Users_Ro where ParentID='000000'"), "1");
  EXPECT_EQ(
      Query("select count(*) from Users_ID where UppeId not in (select TypeID from Users_Ro)"),
      "0");
}

TEST_F(InitCommand, DemoAddsAGroupWithOneAdministrator) {
  ASSERT_EQ(Run("en_US", true), 0);
  EXPECT_EQ(Query("select TypeID,Users_IDVesr,length(To_Date) from Clot_Ro"), "Clot000001 0 10");
  EXPECT_EQ(Query("select ClotID,ClotInfo from Clot_Pic"), "Clot000001 0");
  EXPECT_EQ(Query("select UserID,IsAdmin from Clot_Form where UpperID='Clot000001'"),
            "1 1,2 0,4 0,5 0");
}

TEST_F(InitCommand, DemoPrintsIdsNamesAndPasswords) {
  ASSERT_EQ(Run("en_US", true), 0);
  EXPECT_TRUE(OutHas("UserID  login name  password       name\n")) << out_.str();
  EXPECT_TRUE(OutHas("1       alice       alice-pw-1     Alice Martin\n")) << out_.str();
  EXPECT_TRUE(OutHas("6       张敏        zhangmin-pw-6  张敏\n")) << out_.str();
  EXPECT_TRUE(OutHas("Clot000001")) << out_.str();
}

TEST_F(InitCommand, DemoTwiceChangesNothingAndPrintsTheAccountsAgain) {
  ASSERT_EQ(Run("en_US", true), 0);
  const auto before = Snapshot();
  ASSERT_EQ(Run("en_US", true), 0);
  EXPECT_EQ(Snapshot(), before);
  EXPECT_EQ(Query("select count(*) from Users_ID"), "6");
  EXPECT_EQ(Query("select Users_IDVesr from UpDateForm"), "1");
  EXPECT_TRUE(OutHas("alice-pw-1")) << out_.str();
}

TEST_F(InitCommand, DemoDoesNotTellAPasswordThatWasChanged) {
  ASSERT_EQ(Run("en_US", true), 0);
  {
    SqliteOptions options;
    options.path = folder_.path() + "/Web/Data/vnq.db";
    ASSERT_TRUE(
        OpenSqlite(options)->Execute("update Users_ID set UserPaws='own' where UserID='1'", {}));
  }
  ASSERT_EQ(Run("en_US", true), 0);
  EXPECT_TRUE(OutHas("(changed)")) << out_.str();
  EXPECT_FALSE(OutHas("own")) << out_.str();
}

TEST_F(InitCommand, DemoLeavesADatabaseWithAccountsAlone) {
  ASSERT_EQ(Run("en_US"), 0);
  {
    SqliteOptions options;
    options.path = folder_.path() + "/Web/Data/vnq.db";
    ASSERT_TRUE(OpenSqlite(options)->Execute("insert into Users_ID(UserID) values('1')", {}));
  }
  EXPECT_EQ(Run("en_US", true), 1);
  EXPECT_TRUE(ErrHas("no sample data added")) << err_.str();
  EXPECT_EQ(Query("select count(*) from Users_ID"), "1");
  EXPECT_EQ(Query("select count(*) from Role"), "0");
}

TEST_F(InitCommand, ForeignersCannotReadWhatTheProgramMade) {
  CLI::App app;
  int exitCode = -1;
  AddInitCommand(app, exitCode);
  std::vector<std::string> arguments = {folder_.path() + "/new", "--app-path", "init"};
  const mode_t before = umask(022);
  ::testing::internal::CaptureStdout();
  app.parse(arguments);  // takes the words from the last to the first
  ::testing::internal::GetCapturedStdout();
  umask(before);
  EXPECT_EQ(exitCode, 0);
  for (const char* name : {"new", "new/Web/Data/DataBase.ini", "new/Web/Data/vnq.db"}) {
    struct stat status = {};
    ASSERT_EQ(stat((folder_.path() + "/" + name).c_str(), &status), 0) << name;
    EXPECT_EQ(status.st_mode & S_IRWXO, 0u) << name;
  }
}

TEST_F(InitCommand, NeedsTheFoldersPath) {
  CLI::App app;
  int exitCode = 0;
  AddInitCommand(app, exitCode);
  std::vector<std::string> arguments = {"init"};
  EXPECT_THROW(app.parse(arguments), CLI::RequiredError);
}

}  // namespace
}  // namespace vnq
