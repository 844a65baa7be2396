#include "host/settings/program_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/harness/app_folder.h"
#include "tests/harness/as_nobody.h"

namespace vnq {
namespace {

using testing::HasSubstr;

constexpr const char* kIni = "Web/Data/DataBase.ini";

class ProgramFolderTest : public ::testing::Test {
 protected:
  std::optional<ProgramFolder> Open(const PlatformOverrides& overrides = {}) {
    return OpenProgramFolder(folder_.path(), overrides, "en_US", error_);
  }
  // The error that nobody gets.
  std::string ErrorOfNobody() {
    return AsNobody([&] { return Open() ? "opened" : error_; });
  }

  AppFolder folder_;
  std::string error_;
};

TEST_F(ProgramFolderTest, HoldsWhatItsFilesSay) {
  folder_.Write("platform.ini", "[locale]\nlanguage_id=2052\n[database]\ndriver=postgresql\n");
  folder_.Write(kIni, "[server_connection]\nDB_TYPE=pg\nDB_NAME=\xD6\xD0\n");
  const auto folder = Open();
  ASSERT_TRUE(folder) << error_;
  EXPECT_EQ(folder->appPath, folder_.path());
  EXPECT_EQ(folder->codePage->number(), 936);
  EXPECT_EQ(folder->settings.DB_NAME, "中");
  EXPECT_EQ(folder->engine, DatabaseEngine::kPostgres);
  EXPECT_EQ(folder->ini, folder_.path() + "/" + kIni);
}

TEST_F(ProgramFolderTest, EmptyFolderHasTheDefaults) {
  const auto folder = Open();
  ASSERT_TRUE(folder) << error_;
  EXPECT_EQ(folder->platform.languageId, 1033);
  EXPECT_EQ(folder->settings.DbType, "");
}

TEST_F(ProgramFolderTest, PathBecomesAbsoluteWithoutClosingSeparators) {
  const auto folder = OpenProgramFolder(folder_.path() + "//", {}, "", error_);
  ASSERT_TRUE(folder) << error_;
  EXPECT_EQ(folder->appPath, folder_.path());
  EXPECT_EQ(AbsoluteAppPath("x/"), std::filesystem::current_path().string() + "/x");
  EXPECT_EQ(AbsoluteAppPath("/"), "/");
}

TEST_F(ProgramFolderTest, EmptyPathIsRefused) {
  EXPECT_FALSE(OpenProgramFolder("", {}, "", error_));
  EXPECT_EQ(error_, "--app-path the path is empty");
}

TEST_F(ProgramFolderTest, MissingFolderIsNamed) {
  EXPECT_FALSE(OpenProgramFolder(folder_.path() + "/none", {}, "", error_));
  EXPECT_EQ(error_, "--app-path " + folder_.path() + "/none: no such folder");
}

TEST_F(ProgramFolderTest, CommandLineWinsOverTheFile) {
  folder_.Write("platform.ini", "[locale]\nlanguage_id=2052\n");
  const auto folder = Open(
      {.languageId = 1028, .codePage = {}, .bindAddress = {}, .logLevel = {}, .logFormat = {}});
  ASSERT_TRUE(folder) << error_;
  EXPECT_EQ(folder->codePage->number(), 950);
}

TEST_F(ProgramFolderTest, UnknownCodePageNamesWhereItStands) {
  EXPECT_FALSE(Open(
      {.languageId = {}, .codePage = 12345, .bindAddress = {}, .logLevel = {}, .logFormat = {}}));
  EXPECT_THAT(error_, HasSubstr("--code-page 12345 is not a known code page"));
  folder_.Write("platform.ini", "[locale]\ncode_page=12345\n");
  EXPECT_FALSE(Open());
  EXPECT_THAT(error_, HasSubstr("platform.ini: [locale] code_page=12345 is not a known code page"));
}

TEST_F(ProgramFolderTest, DataBaseIniThatMayNotBeReadIsNotTakenForMissing) {
  folder_.Write(kIni, "[server_connection]\nDB_TYPE=access\n");
  chmod((folder_.path() + "/" + kIni).c_str(), 0);
  EXPECT_THAT(ErrorOfNobody(), HasSubstr(std::string(kIni) + " cannot be read by user "));
}

TEST_F(ProgramFolderTest, PlatformIniThatMayNotBeReadIsNotTakenForMissing) {
  folder_.Write("platform.ini", "");
  chmod((folder_.path() + "/platform.ini").c_str(), 0);
  EXPECT_THAT(ErrorOfNobody(), HasSubstr("platform.ini cannot be read by user "));
}

TEST_F(ProgramFolderTest, FolderInTheFilesPlaceIsRefused) {
  std::filesystem::create_directories(folder_.path() + "/" + kIni);
  EXPECT_FALSE(Open());
  EXPECT_EQ(error_, folder_.path() + "/" + kIni + " is not a file");
}

}  // namespace
}  // namespace vnq
