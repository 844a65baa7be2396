#include "host/database/jet_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "host/database/open_database.h"
#include "tests/harness/app_folder.h"

namespace vnq {
namespace {

using testing::HasSubstr;

std::string Header(const std::string& name) {
  return std::string("\0\1\0\0", 4) + name + std::string(1, '\0');
}

class JetFile : public ::testing::Test {
 protected:
  bool Recognised(const std::string& bytes) {
    folder_.Write("f", bytes);
    return IsJetFile(folder_.path() + "/f");
  }
  AppFolder folder_;
};

TEST_F(JetFile, BothKindsAreRecognised) {
  EXPECT_TRUE(Recognised(Header("Standard Jet DB")));
  EXPECT_TRUE(Recognised(Header("Standard ACE DB")));
}

TEST_F(JetFile, AnythingElseIsNone) {
  EXPECT_FALSE(Recognised(""));
  EXPECT_FALSE(Recognised(std::string("\0\1\0\0Standard Jet D", 18)));
  EXPECT_FALSE(Recognised("SQLite format 3"));
  EXPECT_FALSE(Recognised("Standard Jet DB and more of it"));
  EXPECT_FALSE(IsJetFile(folder_.path() + "/missing"));
  EXPECT_FALSE(IsJetFile(folder_.path()));
}

TEST_F(JetFile, AdviceQuotesPathsForTheShell) {
  EXPECT_THAT(JetFileAdvice("/srv/im o'clock/a.mdb", PathMapper(), "/srv/im o'clock"),
              HasSubstr("vnqctl import --from '/srv/im o'\\''clock/a.mdb'"
                        " --app-path '/srv/im o'\\''clock'"));
}

TEST_F(JetFile, AdviceNamesADatabaseThatIsNotThereYet) {
  folder_.Write("Web/Data/vnq.db", Header("Standard Jet DB"));
  EXPECT_THAT(JetFileAdvice(folder_.path() + "/Web/Data/vnq.db", PathMapper(), folder_.path()),
              HasSubstr("DataBaseName=\\Web\\Data\\vnq2.db"));
}

TEST_F(JetFile, ServersDatabaseFailsEveryStatementAndLeavesTheFileAlone) {
  const std::string bytes = Header("Standard ACE DB");
  folder_.Write("Web/Data/im.accdb", bytes);
  Settings settings;
  settings.DbType = "access";
  settings.DataBaseName = "\\Web\\Data\\im.accdb";
  const auto driver = OpenConfiguredDatabase(settings, {}, PathMapper(), folder_.path());
  SqlRows rows;
  EXPECT_FALSE(driver->Query("Select * from Users_ID", {}, rows));
  EXPECT_THAT(driver->LastError(), HasSubstr("vnqctl import --from " + folder_.path()));
  EXPECT_EQ(folder_.ReadBytes("Web/Data/im.accdb"), bytes);
}

}  // namespace
}  // namespace vnq
