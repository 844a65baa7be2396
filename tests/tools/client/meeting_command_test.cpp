#include "tools/client/meeting_command.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include <CLI/CLI.hpp>

#include "platform/sql/sql_driver.h"
#include "tests/harness/app_folder.h"
#include "tools/folder/init_command.h"

namespace vnq {
namespace {

using testing::HasSubstr;

class MeetingCommand : public testing::Test {
 protected:
  MeetingCommand() {
    std::ostringstream said;
    RunInit({folder_.path(), false, "C"}, said, said);
    SqliteOptions options;
    options.path = folder_.path() + "/Web/Data/vnq.db";
    driver_ = OpenSqlite(options);
    Run("insert into Users_ID(UserID,UserName) values('10001','wang'),('10002','li')");
  }

  void Run(const std::string& statement) {
    ASSERT_TRUE(driver_->Execute(statement, {})) << driver_->LastError();
  }

  int Open(const std::string& from, const std::string& to, bool isVideo = false) {
    out_.str("");
    err_.str("");
    return RunMeetingOpen({folder_.path(), from, to, isVideo}, out_, err_);
  }

  // The rows, cells joined by '|', rows by blanks.
  std::string Meetings() {
    SqlRows rows;
    EXPECT_TRUE(driver_->Query(
        "select ChatId,MyID,YouID,IsVideo,LoginType1,LoginType2,Status,CloseRole from Tab_Chat", {},
        rows));
    std::string text;
    for (size_t i = 0; i < rows.cells.size(); ++i) {
      const SqlValue& cell = rows.cells[i];
      if (i > 0) text += i % rows.columns->size() == 0 ? " " : "|";
      text += cell.kind == SqlValue::Kind::kInteger ? std::to_string(cell.integer) : cell.text;
    }
    return text;
  }

  AppFolder folder_;
  std::unique_ptr<SqlDriver> driver_;
  std::ostringstream out_, err_;
};

TEST_F(MeetingCommand, MakesTheRowAndPrintsItsChatId) {
  EXPECT_EQ(Open("10001", "10002"), 0) << err_.str();
  EXPECT_EQ(out_.str(), "1\n");
  EXPECT_EQ(Meetings(), "1|10001|10002|0|1|0|0|0");
}

TEST_F(MeetingCommand, LoginNamesDoAsWellAndVideoIsNoted) {
  EXPECT_EQ(Open("li", "wang", true), 0) << err_.str();
  EXPECT_EQ(Meetings(), "1|10002|10001|1|1|0|0|0");
}

TEST_F(MeetingCommand, EachRowHasAnIdOfItsOwn) {
  Run("insert into Tab_Chat(ChatId) values(41)");
  Open("wang", "li");
  EXPECT_EQ(out_.str(), "42\n");
  Open("wang", "li");
  EXPECT_EQ(out_.str(), "43\n");
}

TEST_F(MeetingCommand, UnknownUserIsAnErrorAndNoRowIsMade) {
  EXPECT_EQ(Open("wang", "nobody"), 1);
  EXPECT_THAT(err_.str(), HasSubstr("nobody"));
  EXPECT_EQ(out_.str() + Meetings(), "");
}

TEST_F(MeetingCommand, CallToOneselfIsAnError) {
  EXPECT_EQ(Open("wang", "10001"), 1);
  EXPECT_THAT(err_.str(), HasSubstr("between two people"));
}

TEST_F(MeetingCommand, IdsThatAreUsedUpAreAnError) {
  Run("insert into Tab_Chat(ChatId) values(2147483647)");
  EXPECT_EQ(Open("wang", "li"), 1);
  EXPECT_EQ(out_.str(), "");
  EXPECT_NE(err_.str(), "");
}

TEST_F(MeetingCommand, MissingFolderIsAnError) {
  EXPECT_EQ(RunMeetingOpen({folder_.path() + "/no", "wang", "li", false}, out_, err_), 1);
  EXPECT_THAT(err_.str(), HasSubstr("no such folder"));
}

TEST_F(MeetingCommand, ArgumentsReachTheCommand) {
  CLI::App app("vnqctl");
  int exitCode = -1;
  AddMeetingCommand(app, exitCode);
  testing::internal::CaptureStdout();
  app.parse("meeting open --app-path " + folder_.path() + " --from wang --to li --video", false);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "1\n");
  EXPECT_EQ(exitCode, 0);
  EXPECT_EQ(Meetings(), "1|10001|10002|1|1|0|0|0");
}

}  // namespace
}  // namespace vnq
