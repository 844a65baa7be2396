// status, who, top, presence repair and probe against the shipped server in real time.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>
#include <sstream>

#include "tests/harness/app_folder.h"
#include "tests/harness/own_address.h"
#include "tests/harness/real_process.h"
#include "tests/harness/shell_run.h"
#include "tests/harness/sqlite_test_database.h"
#include "tools/folder/init_command.h"
#include "tools/users/user_command.h"

namespace vnq {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

class WatchCommands : public testing::Test {
 protected:
  WatchCommands() {
    std::ostringstream said;
    EXPECT_EQ(RunInit({folder_.path(), false, "en_US.UTF-8"}, said, said), 0) << said.str();
  }

  void AddUser(const std::string& name) {
    UserOptions options;
    options.appPath = folder_.path();
    options.user.name = name;
    options.password = "secret";
    std::ostringstream out, err;
    EXPECT_EQ(RunUserAdd(options, out, err), 0) << err.str();
  }
  bool Start() {
    server_ = std::make_unique<RealProcess>(std::vector<std::string>{
        VNQ_SERVER_PROGRAM, "--app-path", folder_.path(), "--bind", Address()});
    return server_->WaitForWords("ready");
  }
  static std::string Address() { return AddressOfThisProcess(216); }

  ShellRun Ctl(const std::string& command, const std::string& more = {}) {
    return RunInShell("VNQ_PASSWORD=secret " VNQ_CTL_PROGRAM " " + command + " --app-path " +
                      folder_.path() + " " + more);
  }
  ShellRun Probe(const std::string& more) {
    return Ctl("probe --server " + Address(), "--from anna --to bert " + more);
  }
  // What fail2ban looks for, with an address in place of its own word for one.
  static std::string FailRegex() {
    std::ifstream file(VNQ_ROOT "/examples/fail2ban/vnq.conf");
    const std::string key = "failregex = ", host = "<HOST>";
    for (std::string line; std::getline(file, line);) {
      if (!line.starts_with(key)) continue;
      line.erase(0, key.size());
      return line.replace(line.find(host), host.size(), R"(\d+\.\d+\.\d+\.\d+)");
    }
    return "there is no failregex";
  }
  void Run(const std::string& statements) {
    SqliteFile(folder_.path() + "/Web/Data/vnq.db").Run(statements);
  }

  AppFolder folder_;
  std::unique_ptr<RealProcess> server_;
};

TEST_F(WatchCommands, StatusWhoAndTopTellOfTheRunningServer) {
  ASSERT_TRUE(Start());
  const ShellRun status = Ctl("status");
  EXPECT_EQ(status.exitCode, 0);
  EXPECT_THAT(status.output, StartsWith("vnq_main_service " VNQ_VERSION ", process " +
                                        std::to_string(server_->pid()) + ", up "));
  EXPECT_THAT(status.output, HasSubstr("database  SQLite, no trouble"));
  const ShellRun json = Ctl("status --json");
  EXPECT_THAT(json.output, StartsWith("{\"version\":\"" VNQ_VERSION "\",\"pid\":"));
  EXPECT_EQ(Ctl("who --json").output, "[]\n");
  EXPECT_THAT(Ctl("who").output, StartsWith("port  user "));
  const ShellRun top = Ctl("top --count 2 --interval 0.1 --json");
  EXPECT_EQ(top.exitCode, 0);
  EXPECT_EQ(std::count(top.output.begin(), top.output.end(), '\n'), 2);
}

TEST_F(WatchCommands, WithoutAServerTheySayThatNoneAnswers) {
  for (const char* command : {"status", "who", "top"}) {
    const ShellRun run = Ctl(command);
    EXPECT_EQ(run.exitCode, 1) << command;
    EXPECT_THAT(run.output, StartsWith(fmt::format("vnqctl {}: no server answers in {} (", command,
                                                   folder_.path())));
  }
}

TEST_F(WatchCommands, PresenceRepairWorksAfterACrashAndBesideAServer) {
  AddUser("anna");
  AddUser("bert");
  Run("update Users_ID set UserIcoLine=1");
  EXPECT_THAT(Ctl("presence repair --dry-run").output, HasSubstr("online would become offline"));
  EXPECT_THAT(Ctl("presence repair").output, HasSubstr("anna"));
  EXPECT_EQ(Ctl("presence repair").output, "nobody seems to be online without a session\n");
  ASSERT_TRUE(Start());
  Run("update Users_ID set UserIcoLine=2 where UserName='bert'");
  const ShellRun json = Ctl("presence repair --json");
  EXPECT_THAT(json.output, HasSubstr(R"("name":"bert","was":"away","now":"offline"})"));
  EXPECT_EQ(Ctl("presence repair --json").output, "[]\n");
}

TEST_F(WatchCommands, ProbeSendsAMessageAndLeavesNobodyOnline) {
  AddUser("anna");
  AddUser("bert");
  ASSERT_TRUE(Start());
  const ShellRun probe = Probe("");
  EXPECT_EQ(probe.exitCode, 0);
  EXPECT_THAT(probe.output,
              MatchesRegex("ok: log-in [0-9]+ ms, message [0-9]+ ms, receipt [0-9]+ ms\n"));
  EXPECT_THAT(Probe("--json").output, StartsWith("{\"ok\":true,\"error\":null,\"loginMs\":"));
  EXPECT_EQ(Ctl("presence repair").output, "nobody seems to be online without a session\n");
  EXPECT_THAT(Ctl("status").output, HasSubstr(".+landing"));
}

TEST_F(WatchCommands, TraceIsSwitchedOnTheRunningServerByName) {
  AddUser("anna");
  AddUser("bert");
  EXPECT_THAT(Ctl("trace anna on").output, StartsWith("vnqctl trace: no server answers in "));
  ASSERT_TRUE(Start());
  EXPECT_EQ(Ctl("trace --json").output, "[]\n");
  EXPECT_EQ(Ctl("trace anna on", "--json").output, "[\n{\"user\":\"1\"}\n]\n");
  EXPECT_EQ(Ctl("trace anna").exitCode, 2);
  EXPECT_THAT(Ctl("trace carl on").output, HasSubstr("there is no user carl"));
  EXPECT_EQ(Probe("").exitCode, 0);
  EXPECT_TRUE(server_->WaitForWords("info: trace of 1, slot 1, in: .+landing|anna|***|"))
      << server_->standardError();
  EXPECT_EQ(server_->standardError().find("trace of 2"), std::string::npos);
  EXPECT_EQ(server_->standardError().find("secret"), std::string::npos);
  EXPECT_EQ(Ctl("trace anna off", "--json").output, "[]\n");
}

TEST_F(WatchCommands, ProbeSaysWhatDoesNotWork) {
  AddUser("anna");
  const ShellRun unreachable = Probe("");
  EXPECT_EQ(unreachable.exitCode, 1);
  EXPECT_THAT(unreachable.output, StartsWith("vnqctl probe: cannot reach "));
  ASSERT_TRUE(Start());
  const ShellRun unknown = Probe("--wait 5");
  EXPECT_EQ(unknown.exitCode, 1);
  EXPECT_THAT(unknown.output, StartsWith("vnqctl probe: bert: The log-in failed"));
  EXPECT_TRUE(server_->WaitForWords("info: log-in of user 1 from 127.0.0.1: anna"))
      << server_->standardError();
  EXPECT_TRUE(std::regex_search(server_->standardError(), std::regex(FailRegex())))
      << server_->standardError();
  const ShellRun json = Probe("--json --wait 5");
  EXPECT_EQ(json.exitCode, 1);
  EXPECT_THAT(json.output, StartsWith("{\"ok\":false,\"error\":\"bert: The log-in failed"));
}

}  // namespace
}  // namespace vnq
