#include "platform/system/child_process.h"

#include <gtest/gtest.h>

namespace vnq {
namespace {

ChildCommand Shell(const std::string& script) {
  return {"sh", {"-c", script}, {}};
}

class ChildProcessTest : public ::testing::Test {
 protected:
  void Start(const ChildCommand& command) {
    ASSERT_EQ(child_.Start(command, error_), ChildProcess::Started::kYes) << error_;
  }

  std::vector<std::string> Lines() {
    std::vector<std::string> lines;
    for (std::string line; child_.ReadLine(line);) lines.push_back(line);
    return lines;
  }

  ChildProcess child_;
  std::string error_, said_;
};

using TextLines = std::vector<std::string>;

TEST_F(ChildProcessTest, LinesComeAsTheyWereWritten) {
  Start(Shell(R"(printf 'a\n\nb\r\nno end')"));
  EXPECT_EQ(Lines(), (TextLines{"a", "", "b\r", "no end"}));
  EXPECT_TRUE(child_.Finish(error_, said_));
  EXPECT_EQ(said_, "");
}

TEST_F(ChildProcessTest, LineOfManyBlocksIsOne) {
  Start(Shell("head -c 1000000 /dev/zero | tr '\\0' x; echo; echo y"));
  const auto lines = Lines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], std::string(1000000, 'x'));
  EXPECT_EQ(lines[1], "y");
}

TEST_F(ChildProcessTest, WordsReachItWithoutAShell) {
  Start({"printf", {"%s\\n", "$HOME *", "a b;'\""}, {}});
  EXPECT_EQ(Lines(), (TextLines{"$HOME *", "a b;'\""}));
}

TEST_F(ChildProcessTest, EnvironmentIsAddedAndReplaced) {
  ChildCommand command = Shell("echo \"$VNQ_TEST_A $PATH\"");
  command.environment = {{"VNQ_TEST_A", "one"}, {"PATH", "/usr/bin:/bin"}};
  Start(command);
  EXPECT_EQ(Lines(), (TextLines{"one /usr/bin:/bin"}));
}

TEST_F(ChildProcessTest, StandardInputIsEmpty) {
  Start(Shell("cat; echo end"));
  EXPECT_EQ(Lines(), (TextLines{"end"}));
}

TEST_F(ChildProcessTest, FailureHasItsCodeAndWhatWasSaid) {
  Start(Shell("echo out; echo why >&2; exit 3"));
  EXPECT_EQ(Lines(), (TextLines{"out"}));
  EXPECT_FALSE(child_.Finish(error_, said_));
  EXPECT_EQ(error_, "exit code 3");
  EXPECT_EQ(said_, "why\n");
}

TEST_F(ChildProcessTest, SignalIsNamed) {
  Start(Shell("kill -9 $$"));
  EXPECT_EQ(Lines(), (TextLines{}));
  EXPECT_FALSE(child_.Finish(error_, said_));
  EXPECT_EQ(error_, "signal 9");
}

TEST_F(ChildProcessTest, ManyComplaintsHoldNothingUp) {
  Start(Shell("head -c 1000000 /dev/zero >&2; echo done"));
  EXPECT_EQ(Lines(), (TextLines{"done"}));
  EXPECT_TRUE(child_.Finish(error_, said_));
  EXPECT_EQ(said_.size(), 4096u);
}

TEST_F(ChildProcessTest, ProgramThatIsNotThereIsToldApart) {
  EXPECT_EQ(child_.Start({"vnq-no-such-program", {}, {}}, error_),
            ChildProcess::Started::kNotFound);
  EXPECT_EQ(error_, "vnq-no-such-program: No such file or directory");
}

TEST_F(ChildProcessTest, FileThatIsNoProgramIsAnError) {
  EXPECT_EQ(child_.Start({"/", {}, {}}, error_), ChildProcess::Started::kError);
  EXPECT_NE(error_, "");
}

TEST_F(ChildProcessTest, OneThatIsLeftAloneIsEnded) {
  // Without its end this would wait for as long as the child sleeps.
  ChildProcess endless;
  ASSERT_EQ(endless.Start(Shell("echo here; exec sleep 1000"), error_),
            ChildProcess::Started::kYes);
  std::string line;
  EXPECT_TRUE(endless.ReadLine(line));
}

}  // namespace
}  // namespace vnq
