// vnqctl backup and restore: what goes in comes out, and nothing else is taken for a backup.
#include "tools/backup/backup_command.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>

#include "tests/harness/app_folder.h"
#include "tests/harness/lines.h"
#include "tests/harness/own_address.h"
#include "tests/harness/real_process.h"
#include "tests/harness/shell_run.h"
#include "tests/harness/sqlite_test_database.h"
#include "tools/backup/backup_file.h"
#include "tools/folder/init_command.h"
#include "tools/users/user_command.h"

namespace vnq {
namespace {

using testing::HasSubstr;
namespace fs = std::filesystem;

class BackupCommand : public testing::Test {
 protected:
  BackupCommand() : app_(place_.path() + "/app"), file_(place_.path() + "/b.tar.gz") {
    fs::create_directories(place_.path() + "/data/MyPic");
    Init();
    Run("delete from Tab_Config where Col_Name='VNQ_CONSOLE'");
    Run("insert into Tab_Config(Col_Name,Col_Genre,Col_Disabled,Col_Data) "
        "values('VNQ_CONSOLE','SysConfig',0,'" +
        place_.path() + "/data')");
    place_.Write("data/MyPic/7.jpg", std::string("\xFF\xD8\0picture", 10));
    place_.Write("app/Web/Data/DataBase.ini",
                 place_.ReadBytes("app/Web/Data/DataBase.ini") + "; mine\n");
  }

  void Init() {
    std::ostringstream said;
    InitOptions options{app_, true, "en_US.UTF-8"};
    EXPECT_EQ(RunInit(options, said, said), 0) << said.str();
  }
  void Run(const std::string& statements) { SqliteFile(Database()).Run(statements); }
  Lines Rows(const std::string& select) { return SqliteFile(Database()).Rows(select); }
  std::string Database() const { return app_ + "/Web/Data/vnq.db"; }

  int Save(const std::string& to, int keep = 0) {
    said_.str("");
    return RunBackup({app_, to, keep}, said_, said_);
  }
  int Bring(RestoreOptions options) {
    said_.str("");
    return RunRestore(options, said_, said_);
  }

  AppFolder place_;
  std::string app_, file_;
  std::ostringstream said_;
};

TEST_F(BackupCommand, WhatWasSavedComesBackInAnEmptyFolder) {
  const Lines users = Rows("select UserID,UserName,UserPaws from Users_ID order by UserID");
  ASSERT_GE(users.size(), 2U);
  const std::string settings = place_.ReadBytes("app/Web/Data/DataBase.ini");
  const std::string texts = place_.ReadBytes("app/Language/English/lang.ini");
  ASSERT_EQ(Save(file_), 0) << said_.str();
  EXPECT_THAT(said_.str(), HasSubstr("b.tar.gz: "));
  EXPECT_EQ(fs::status(file_).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  fs::remove_all(app_);
  fs::remove_all(place_.path() + "/data/MyPic");
  ASSERT_EQ(Bring({app_, file_}), 0) << said_.str();
  EXPECT_EQ(Rows("select UserID,UserName,UserPaws from Users_ID order by UserID"), users);
  EXPECT_EQ(place_.ReadBytes("app/Web/Data/DataBase.ini"), settings);
  EXPECT_EQ(place_.ReadBytes("app/Language/English/lang.ini"), texts);
  EXPECT_TRUE(place_.Has("app/platform.ini"));
  EXPECT_TRUE(place_.Has("app/Web/download/log.txt"));
  EXPECT_EQ(place_.ReadBytes("data/Mypic/7.jpg"), std::string("\xFF\xD8\0picture", 10));
  std::vector<std::string> left;
  for (const auto& entry : fs::directory_iterator(app_ + "/Web/Data")) {
    left.push_back(entry.path().filename().string());
  }
  EXPECT_THAT(left, testing::IsSubsetOf({"vnq.db", "vnq.db-wal", "vnq.db-shm", "DataBase.ini"}));
}

TEST_F(BackupCommand, WhatIsThereIsReplacedOnlyWhenAskedTo) {
  ASSERT_EQ(Save(file_), 0) << said_.str();
  Run("update Users_ID set UserName='later'");
  EXPECT_EQ(Bring({app_, file_}), 1);
  EXPECT_THAT(said_.str(), HasSubstr("--replace"));
  EXPECT_EQ(Rows("select count(*) from Users_ID where UserName<>'later'"), Lines({"0"}));
  EXPECT_EQ(Bring({app_, file_, false, true}), 0) << said_.str();
  EXPECT_EQ(Rows("select count(*) from Users_ID where UserName='later'"), Lines({"0"}));
}

TEST_F(BackupCommand, ARunningServerIsSavedAndGoesOnWithWhatWasBroughtBack) {
  const std::string address = AddressOfThisProcess(217);
  Run("update Users_ID set UserPaws='secret', UserState=1");
  const std::string names = Rows("select min(UserName)||' --to '||max(UserName) from Users_ID")[0];
  RealProcess server({VNQ_SERVER_PROGRAM, "--app-path", app_, "--bind", address});
  ASSERT_TRUE(server.WaitForWords("ready")) << server.standardError();
  const std::string probe = "VNQ_PASSWORD=secret " VNQ_CTL_PROGRAM " probe --server " + address +
                            " --app-path " + app_ + " --from " + names;
  ASSERT_EQ(RunInShell(probe).exitCode, 0);
  ASSERT_EQ(Save(file_), 0) << said_.str();
  const Lines saved = Rows("select count(*) from Messeng_Text");
  Run("delete from Users_ID");
  Run("delete from Messeng_Text");
  EXPECT_EQ(RunInShell(probe + " --wait 3").exitCode, 1);
  ASSERT_EQ(Bring({app_, file_, false, true}), 0) << said_.str();
  EXPECT_THAT(said_.str(), HasSubstr("note: a server runs here"));
  EXPECT_EQ(Rows("select count(*) from Messeng_Text"), saved);
  const ShellRun again = RunInShell(probe);
  EXPECT_EQ(again.exitCode, 0) << again.output << server.standardError();
}

TEST_F(BackupCommand, ADamagedFileChangesNothing) {
  ASSERT_EQ(Save(file_), 0) << said_.str();
  const std::string whole = place_.ReadBytes("b.tar.gz");
  const auto refuses = [&](const std::string& bytes) {
    place_.Write("b.tar.gz", bytes);
    EXPECT_EQ(Bring({place_.path() + "/new", file_}), 1);
    EXPECT_FALSE(fs::exists(place_.path() + "/new"));
    return said_.str();
  };
  EXPECT_THAT(refuses(whole.substr(0, whole.size() / 2)), HasSubstr("vnqctl restore: "));
  std::string flipped = whole;
  flipped[flipped.size() / 2] = static_cast<char>(flipped[flipped.size() / 2] ^ 0x55);
  refuses(flipped);
  refuses("no archive at all");
  refuses("");
  EXPECT_EQ(Bring({place_.path() + "/new", place_.path() + "/none"}), 1);
}

TEST_F(BackupCommand, EntriesThatLeadElsewhereOrAreUnknownAreRefused) {
  for (const char* entry : {"folder/../../etc/x", "/etc/x", "folder//x", "pictures/", "other/x",
                            "folder/./x", "folder"}) {
    EXPECT_FALSE(IsBackupEntry(entry)) << entry;
    std::string error;
    {
      BackupWriter writer;
      ASSERT_TRUE(writer.Open(file_, error) &&
                  writer.AddText("vnqbackup", "vnqbackup 1\n", error) &&
                  writer.AddText(entry, "x", error) && writer.Close(error))
          << error;
    }
    BackupContents contents;
    EXPECT_FALSE(CheckBackup(file_, contents, error)) << entry;
  }
  EXPECT_TRUE(IsBackupEntry("folder/Web/Data/DataBase.ini"));
  EXPECT_TRUE(IsBackupEntry("database.db"));
}

TEST_F(BackupCommand, ANewerFormOrTextBehindTheChecksumsIsRefused) {
  std::string error;
  {
    BackupWriter writer;
    ASSERT_TRUE(writer.Open(file_, error) && writer.AddText("vnqbackup", "vnqbackup 2\n", error) &&
                writer.Close(error));
  }
  BackupContents contents;
  EXPECT_FALSE(CheckBackup(file_, contents, error));
  EXPECT_THAT(error, HasSubstr("newer vnqctl: vnqbackup 2"));
}

TEST_F(BackupCommand, CheckTellsWhatIsInIt) {
  ASSERT_EQ(Save(file_), 0) << said_.str();
  EXPECT_EQ(Bring({app_, file_, true}), 0);
  EXPECT_THAT(said_.str(), HasSubstr("whole, "));
  EXPECT_THAT(said_.str(), HasSubstr("engine SQLite\n"));
}

TEST_F(BackupCommand, AFolderKeepsTheNewest) {
  const std::string folder = place_.path() + "/backups";
  fs::create_directories(folder);
  for (const char* name :
       {"vnq-20200101-000000.tar.gz", "vnq-20200102-000000.tar.gz", "mine.txt"}) {
    place_.Write(std::string("backups/") + name, "old");
  }
  ASSERT_EQ(Save(folder, 2), 0) << said_.str();
  EXPECT_FALSE(place_.Has("backups/vnq-20200101-000000.tar.gz"));
  EXPECT_TRUE(place_.Has("backups/vnq-20200102-000000.tar.gz"));
  EXPECT_TRUE(place_.Has("backups/mine.txt"));
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 3);
  EXPECT_EQ(Save(file_, 2), 1);
  EXPECT_THAT(said_.str(), HasSubstr("is no folder"));
}

TEST_F(BackupCommand, AFailedBackupLeavesTheFileThatWasThere) {
  place_.Write("b.tar.gz", "before");
  place_.Write("app/Web/Data/vnq.db", "no database");
  EXPECT_EQ(Save(file_), 1);
  EXPECT_EQ(place_.ReadBytes("b.tar.gz"), "before");
  EXPECT_EQ(Save(place_.path() + "/none/b.tar.gz"), 1);
}

TEST_F(BackupCommand, TarItselfReadsIt) {
  ASSERT_EQ(Save(file_), 0) << said_.str();
  const ShellRun list = RunInShell("tar tzf " + file_);
  EXPECT_EQ(list.exitCode, 0);
  EXPECT_THAT(list.output, HasSubstr("vnqbackup\ndatabase.db\nfolder/platform.ini\n"));
  EXPECT_THAT(list.output, HasSubstr("pictures/7.jpg\nchecksums\n"));
}

}  // namespace
}  // namespace vnq
