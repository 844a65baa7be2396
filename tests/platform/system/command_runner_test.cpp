#include "platform/system/command_runner.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/harness/loopback_http_server.h"

namespace vnq {
namespace {

// True when every command has ended and its end was seen.
bool HasNoCommands() {
  siginfo_t ended{};
  return waitid(P_ALL, 0, &ended, WEXITED | WNOHANG | WNOWAIT) < 0 && errno == ECHILD;
}

class ShellCommandRunnerTest : public ::testing::Test {
 protected:
  ShellCommandRunnerTest() {
    char pattern[] = "/tmp/vnq_service_XXXXXX";
    folder_ = mkdtemp(pattern);
  }
  ~ShellCommandRunnerTest() override { std::filesystem::remove_all(folder_); }

  std::string Path(const std::string& name) const { return folder_ + "/" + name; }

  std::string Content(const std::string& name) const {
    std::ifstream file(Path(name));
    std::stringstream content;
    content << file.rdbuf();
    return content.str();
  }

  /// Runs a command that writes its findings to "out", up to its end.
  std::string OutputOf(const std::string& command) {
    runner_.Start("(" + command + ") > " + Path("out"));
    EXPECT_TRUE(RunUntil(loop_, HasNoCommands)) << command;
    return Content("out");
  }

  std::string folder_;
  MovableClock clock_;
  EventLoop loop_{clock_};
  ShellCommandRunner runner_{loop_};
};

TEST_F(ShellCommandRunnerTest, ACommandIsReadByTheShell) {
  EXPECT_EQ(OutputOf("x='a b'; echo \"$x\" | tr a c"), "c b\n");
}

TEST_F(ShellCommandRunnerTest, StartDoesNotWaitForTheEnd) {
  const std::string gate = Path("gate");
  ASSERT_EQ(mkfifo(gate.c_str(), 0600), 0);
  runner_.Start("read line < " + gate + "; echo \"$line\" > " + Path("out"));
  EXPECT_FALSE(HasNoCommands());
  std::ofstream(gate) << "go\n";  // opens once the command reads
  ASSERT_TRUE(RunUntil(loop_, HasNoCommands));
  EXPECT_EQ(Content("out"), "go\n");
}

TEST_F(ShellCommandRunnerTest, StandardDescriptorsAreNull) {
  EXPECT_EQ(OutputOf("readlink /proc/$$/fd/0 /proc/$$/fd/2"), "/dev/null\n/dev/null\n");
}

TEST_F(ShellCommandRunnerTest, NoOtherDescriptorIsInherited) {
  const int inherited = open("/dev/zero", O_RDONLY);  // not close-on-exec
  const std::string descriptors = OutputOf("readlink /proc/$$/fd/*");
  close(inherited);
  EXPECT_THAT(descriptors, ::testing::Not(::testing::HasSubstr("/dev/zero")));
}

TEST_F(ShellCommandRunnerTest, ACommandHasASessionOfItsOwn) {
  const std::string stat = OutputOf("cut -d' ' -f6 /proc/$$/stat");
  EXPECT_NE(stat, std::to_string(getsid(0)) + "\n");
  EXPECT_NE(stat, "");
}

TEST_F(ShellCommandRunnerTest, AFailingCommandIsSkipped) {
  runner_.Start("exit 3");
  runner_.Start("/no/such/program");
  runner_.Start("'");
  runner_.Start("");
  EXPECT_TRUE(RunUntil(loop_, HasNoCommands));
}

TEST_F(ShellCommandRunnerTest, EndedCommandsLeaveNoZombie) {
  for (int i = 0; i < 20; ++i) runner_.Start("true");
  ASSERT_TRUE(RunUntil(loop_, HasNoCommands));
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST_F(ShellCommandRunnerTest, TheNextStartNoticesEndsThatNoTurnReported) {
  runner_.Start("true");
  siginfo_t ended{};
  ASSERT_EQ(waitid(P_ALL, 0, &ended, WEXITED | WNOWAIT), 0);
  runner_.Start("true");
  EXPECT_FALSE(HasNoCommands());
  EXPECT_TRUE(RunUntil(loop_, HasNoCommands));
}

TEST_F(ShellCommandRunnerTest, ACommandOutlivesItsRunner) {
  const std::string gate = Path("gate");
  ASSERT_EQ(mkfifo(gate.c_str(), 0600), 0);
  {
    ShellCommandRunner shortLived(loop_);
    shortLived.Start("read line < " + gate + "; echo \"$line\" > " + Path("out"));
  }
  std::ofstream(gate) << "go\n";
  ASSERT_GT(waitpid(-1, nullptr, 0), 0);
  EXPECT_EQ(Content("out"), "go\n");
}

TEST_F(ShellCommandRunnerTest, BlockForBlocksTheThread) {
  const auto start = std::chrono::steady_clock::now();
  runner_.BlockFor(20);
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(20));
}

TEST_F(ShellCommandRunnerTest, WaitForLetsOthersRun) {
  std::string order;
  loop_.StartHandler([&] {
    runner_.WaitFor(5);
    order += "waited";
  });
  loop_.StartHandler([&] { order += "other "; });
  for (int i = 0; i < 500 && !order.ends_with("waited"); ++i) loop_.Turn(10);
  EXPECT_EQ(order, "other waited");
}

}  // namespace
}  // namespace vnq
