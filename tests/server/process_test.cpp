// The shipped binary in real time: start, one instance per folder, signals, exit codes.
#include <arpa/inet.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>
#include <sstream>

#include "tests/harness/own_address.h"
#include "tests/harness/real_process.h"
#include "tests/harness/sqlite_test_database.h"
#include "tools/folder/init_command.h"

namespace vnq {
namespace {

std::string OwnAddress(unsigned number) {
  return AddressOfThisProcess(210 + number);
}

class Process : public ::testing::Test {
 protected:
  Process() {
    std::string name = (std::filesystem::temp_directory_path() / "vnq_process_XXXXXX").string();
    folder = mkdtemp(name.data());
    std::ostringstream said;
    EXPECT_EQ(RunInit({folder, false, "en_US.UTF-8"}, said, said), 0) << said.str();
  }
  ~Process() override {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
  }

  std::unique_ptr<RealProcess> Start(unsigned address = 0, std::vector<std::string> more = {},
                                     const std::vector<std::string>& variables = {}) {
    std::vector<std::string> line = {VNQ_SERVER_PROGRAM, "--app-path", folder, "--bind",
                                     OwnAddress(address)};
    line.insert(line.end(), more.begin(), more.end());
    return std::make_unique<RealProcess>(line, variables);
  }

  static int ExitCodeOf(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), VNQ_SERVER_PROGRAM);
    return RealProcess(arguments).ExitCode();
  }

  // Connects to the main port and reads until the server ends the connection or says nothing for a
  // second.
  static std::string ReadAll(int descriptor) {
    timeval second{1, 0};
    setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &second, sizeof second);
    std::string all;
    char buffer[1024];
    for (ssize_t count; (count = recv(descriptor, buffer, sizeof buffer, 0)) > 0;) {
      all.append(buffer, static_cast<size_t>(count));
    }
    return all;
  }
  // The answer to a keep-alive; empty when none comes within ten seconds.
  static std::string Ask(int descriptor) {
    timeval patience{10, 0};
    setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    EXPECT_EQ(send(descriptor, kKeepAlive, strlen(kKeepAlive), 0), ssize_t(strlen(kKeepAlive)));
    char answer[64];
    const ssize_t count = recv(descriptor, answer, sizeof answer, 0);
    return count > 0 ? std::string(answer, static_cast<size_t>(count)) : "";
  }
  static int ConnectTo(const std::string& address) {
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in peer{};
    peer.sin_family = AF_INET;
    peer.sin_port = htons(6004);
    inet_pton(AF_INET, address.c_str(), &peer.sin_addr);
    EXPECT_EQ(connect(descriptor, reinterpret_cast<sockaddr*>(&peer), sizeof peer), 0);
    return descriptor;
  }

  // Takes a port of the server's before it comes.
  static int Listen(uint16_t port) {
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in own{};
    own.sin_family = AF_INET;
    own.sin_port = htons(port);
    inet_pton(AF_INET, OwnAddress(0).c_str(), &own.sin_addr);
    EXPECT_EQ(bind(descriptor, reinterpret_cast<sockaddr*>(&own), sizeof own), 0) << port;
    EXPECT_EQ(listen(descriptor, 1), 0) << port;
    return descriptor;
  }
  static int NotifySocket(const std::string& path) {
    const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    EXPECT_EQ(bind(descriptor, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    return descriptor;
  }
  // Runs statements on the server's database, as another program does.
  void Run(const std::string& statements) const {
    SqliteFile(folder + "/Web/Data/vnq.db").Run(statements);
  }

  static constexpr const char* kGreeting = "LitTdWNjZXNzZnVsQ29ubmVjdGlvbnwj";
  static constexpr const char* kKeepAlive = "Lit5fCM=";  // .+y|#

  std::string folder;
};

TEST_F(Process, StartsOnItsFolderAndStopsCleanlyOnSigterm) {
  auto server = Start();
  ASSERT_TRUE(server->WaitForWords("ready")) << server->standardError();
  const int client = ConnectTo(OwnAddress(0));
  server->Signal(SIGTERM);
  server->Signal(SIGTERM);
  EXPECT_EQ(server->ExitCode(), 0);
  // The greeting, then the last word, each with its own padding.
  EXPECT_EQ(ReadAll(client).substr(0, 32), kGreeting);
  close(client);
}

TEST_F(Process, SigintStopsItToo) {
  auto server = Start();
  ASSERT_TRUE(server->WaitForWords("ready"));
  server->Signal(SIGINT);
  EXPECT_EQ(server->ExitCode(), 0);
}

TEST_F(Process, NoOtherSignalEndsIt) {
  auto server = Start();
  ASSERT_TRUE(server->WaitForWords("ready"));
  for (const int number : {SIGUSR2, SIGALRM}) {
    server->Signal(number);
    EXPECT_TRUE(
        server->WaitForWords(fmt::format("SIG{} has no meaning here", sigabbrev_np(number))))
        << server->standardError();
  }
  server->Signal(SIGUSR1);
  EXPECT_TRUE(server->WaitForWords("info: status: 6004 ")) << server->standardError();
  server->Signal(SIGHUP);
  EXPECT_TRUE(server->WaitForWords("keyword lists read again")) << server->standardError();
  const int client = ConnectTo(OwnAddress(0));
  EXPECT_EQ(ReadAll(client), kGreeting);
  close(client);
  server->Signal(SIGTERM);
  EXPECT_EQ(server->ExitCode(), 0);
  EXPECT_NE(server->standardError().find("stopped"), std::string::npos);
}

TEST_F(Process, ALogThatNobodyReadsKeepsNobodyWaiting) {
  auto server = Start();
  ASSERT_TRUE(server->WaitForWords("ready"));
  const int client = ConnectTo(OwnAddress(0));
  EXPECT_EQ(ReadAll(client), kGreeting);
  for (int i = 0; i < 400; ++i) {
    server->Signal(SIGUSR1);
    ASSERT_EQ(Ask(client), kKeepAlive) << "behind " << i << " reports";
  }
  close(client);
  server->standardError();
  server->Signal(SIGUSR1);
  EXPECT_TRUE(server->WaitForWords(" lines are lost: nobody read the log"))
      << server->standardError();
}

TEST_F(Process, ASignalDuringTheStartDoesNotEndIt) {
  auto server = Start();
  const std::string lock = folder + "/.vnq_main_service.lock";
  for (int i = 0; i < 10'000'000 && !std::filesystem::exists(lock); ++i) {
  }
  server->Signal(SIGUSR1);
  server->Signal(SIGHUP);
  EXPECT_TRUE(server->WaitForWords("ready")) << server->standardError();
  EXPECT_TRUE(server->WaitForWords("keyword lists read again")) << server->standardError();
}

TEST_F(Process, SighupReadsTheKeywordListsAgain) {
  auto server = Start();
  ASSERT_TRUE(server->WaitForWords("ready"));
  Run("insert into vnq_keyword(col_type,col_keyword) values(0,'one,two'),(1,'three')");
  server->Signal(SIGHUP);
  EXPECT_TRUE(server->WaitForWords("keyword lists read again: 2 masked, 1 blocking"))
      << server->standardError();
  Run("drop table vnq_keyword");
  server->Signal(SIGHUP);
  EXPECT_TRUE(server->WaitForWords("keyword lists not read again")) << server->standardError();
}

TEST_F(Process, ReadyTellsPortsAndDatabaseInOneLine) {
  auto server = Start();
  ASSERT_TRUE(
      server->WaitForWords("ready on " + OwnAddress(0) + ": 6 of 6 ports, database usable\n"))
      << server->standardError();
}

TEST_F(Process, ReadyTellsThatTheDatabaseCannotBeUsed) {
  std::filesystem::remove(folder + "/Web/Data/vnq.db");
  auto server = Start();
  EXPECT_TRUE(server->WaitForWords(": 6 of 6 ports, database not usable\n"))
      << server->standardError();
}

TEST_F(Process, ReadyNamesThePortsThatItLacks) {
  const int control = Listen(6003), visitors = Listen(6001);
  auto server = Start();
  EXPECT_TRUE(server->WaitForWords(": 4 of 6 ports (without 6001, 6003), database usable\n"))
      << server->standardError();
  const int client = ConnectTo(OwnAddress(0));
  EXPECT_EQ(ReadAll(client), kGreeting);
  for (const int descriptor : {control, visitors, client}) close(descriptor);
}

TEST_F(Process, WithoutAnyPortItEndsWithOneAndIsNeverReady) {
  auto first = Start();
  ASSERT_TRUE(first->WaitForWords("ready"));
  const std::string otherFolder = folder + "/other";
  std::ostringstream said;
  ASSERT_EQ(RunInit({otherFolder, false, "C"}, said, said), 0);
  const std::string path = folder + "/notify";
  const int notify = NotifySocket(path);
  RealProcess second({VNQ_SERVER_PROGRAM, "--app-path", otherFolder, "--bind", OwnAddress(0)},
                     {"NOTIFY_SOCKET=" + path});
  EXPECT_EQ(second.ExitCode(), 1);
  const std::string& error = second.standardError();
  EXPECT_NE(error.find("no port could be bound on " + OwnAddress(0)), std::string::npos) << error;
  EXPECT_EQ(error.find("ready on"), std::string::npos) << error;
  EXPECT_EQ(ReadAll(notify), "");
  close(notify);
}

TEST_F(Process, TheDescriptorLimitIsRaisedToWhatTheSystemAllows) {
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  const rlimit low{std::min<rlim_t>(256, before.rlim_max), before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &low);
  auto server = Start();
  setrlimit(RLIMIT_NOFILE, &before);
  ASSERT_TRUE(server->WaitForWords("ready"));
  rlimit now{};
  prlimit(server->pid(), RLIMIT_NOFILE, nullptr, &now);
  EXPECT_EQ(now.rlim_cur, before.rlim_max);
  if (before.rlim_max > 256) {
    EXPECT_TRUE(server->WaitForWords("descriptor limit raised from 256 to "))
        << server->standardError();
  }
}

TEST_F(Process, OutOfDescriptorsItSaysSoOnceAndServesAgainWhenThereAreSome) {
  auto server = Start();
  ASSERT_TRUE(server->WaitForWords("ready"));
  rlimit limit{};
  prlimit(server->pid(), RLIMIT_NOFILE, nullptr, &limit);
  limit.rlim_cur = 40;
  prlimit(server->pid(), RLIMIT_NOFILE, &limit, nullptr);
  std::vector<int> crowd(60);
  for (int& descriptor : crowd) descriptor = ConnectTo(OwnAddress(0));
  const std::string words = "connections have to wait: Too many open files";
  ASSERT_TRUE(server->WaitForWords(words)) << server->standardError();
  EXPECT_EQ(ReadAll(crowd.back()), "");
  const std::string& error = server->standardError();
  EXPECT_EQ(error.find(words, error.find(words) + 1), std::string::npos) << error;

  const int last = crowd.back();
  crowd.pop_back();
  for (const int descriptor : crowd) close(descriptor);
  std::string greeting;
  for (int second = 0; second < 10 && greeting.empty(); ++second) greeting = ReadAll(last);
  EXPECT_EQ(greeting, kGreeting);
  close(last);
}

TEST_F(Process, ASecondInstanceOnTheSameFolderIsRefused) {
  auto first = Start();
  ASSERT_TRUE(first->WaitForWords("ready"));
  auto second = Start(1);
  EXPECT_EQ(second->ExitCode(), 1);
  EXPECT_TRUE(second->standardError().starts_with("VNQ_Main_Service.exe: "))
      << second->standardError();
  EXPECT_GT(second->standardError().size(), std::string("VNQ_Main_Service.exe: \n").size());
}

TEST_F(Process, AJetFileIsSaidOnceAndTheServerStarts) {
  const std::string path = folder + "/Web/Data/vnq.db";
  const std::string bytes("\0\1\0\0Standard ACE DB\0more", 24);
  std::ofstream(path, std::ios::binary) << bytes;
  auto server = Start();
  ASSERT_TRUE(server->WaitForWords("ready")) << server->standardError();
  server->Signal(SIGTERM);
  EXPECT_EQ(server->ExitCode(), 0);
  const std::string said = server->standardError();
  const std::string command = "vnqctl import --from " + path + " --app-path " + folder;
  ASSERT_NE(said.find(command), std::string::npos) << said;
  EXPECT_EQ(said.find(command, said.find(command) + 1), std::string::npos) << said;
  std::ifstream file(path, std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), bytes);
}

TEST_F(Process, AKilledInstanceLeavesTheFolderFree) {
  auto first = Start();
  ASSERT_TRUE(first->WaitForWords("ready"));
  first->Signal(SIGKILL);
  first->ExitCode();
  auto second = Start();
  EXPECT_TRUE(second->WaitForWords("ready"));
}

TEST_F(Process, TwoInstancesOnTwoFoldersAndAddressesRunSideBySide) {
  const std::string otherFolder = folder + "/other";
  std::ostringstream said;
  ASSERT_EQ(RunInit({otherFolder, false, "C"}, said, said), 0);
  auto first = Start();
  RealProcess second({VNQ_SERVER_PROGRAM, "--app-path", otherFolder, "--bind", OwnAddress(1)});
  EXPECT_TRUE(first->WaitForWords("ready"));
  EXPECT_TRUE(second.WaitForWords("ready"));
}

TEST_F(Process, IsReadyInUnderTwoHundredMilliseconds) {
  using std::chrono::steady_clock;
  auto best = std::chrono::milliseconds(10'000);
  for (int i = 0; i < 5; ++i) {
    const auto start = steady_clock::now();
    auto server = Start();
    ASSERT_TRUE(server->WaitForWords("ready"));
    best = std::min(
        best, std::chrono::duration_cast<std::chrono::milliseconds>(steady_clock::now() - start));
    server->Signal(SIGTERM);
    server->ExitCode();
  }
#if !defined(__SANITIZE_ADDRESS__)
  EXPECT_LT(best.count(), 200);
#endif
}

TEST_F(Process, TellsTheServiceManagerWhenItIsReady) {
  const std::string path = folder + "/notify";
  const int notify = NotifySocket(path);
  auto server = Start(0, {}, {"NOTIFY_SOCKET=" + path});
  ASSERT_TRUE(server->WaitForWords("ready"));
  EXPECT_EQ(ReadAll(notify), "READY=1\nSTATUS=6 of 6 ports, database usable");
  close(notify);
}

TEST_F(Process, BadArgumentsAreAUsageLineAndExitCodeTwo) {
  EXPECT_EQ(ExitCodeOf({}), 2);
  EXPECT_EQ(ExitCodeOf({"--app-path"}), 2);
  EXPECT_EQ(ExitCodeOf({"--app-path", folder, "--nonsense"}), 2);
  EXPECT_EQ(ExitCodeOf({"--app-path", folder + "/none"}), 2);
  EXPECT_EQ(ExitCodeOf({"--app-path", folder, "--code-page", "12345"}), 2);
  EXPECT_EQ(ExitCodeOf({"--app-path", folder, "--code-page", "x"}), 2);
  EXPECT_EQ(ExitCodeOf({"--app-path", folder, "--bind", "nowhere"}), 2);
  RealProcess usage({VNQ_SERVER_PROGRAM});
  EXPECT_EQ(usage.ExitCode(), 2);
  EXPECT_NE(usage.standardError().find("--app-path"), std::string::npos);
}

TEST_F(Process, HelpAndVersionEndWithZero) {
  EXPECT_EQ(ExitCodeOf({"--help"}), 0);
  EXPECT_EQ(ExitCodeOf({"--version"}), 0);
}

TEST_F(Process, TheLogCanBeAnObjectALine) {
  auto server = Start(0, {"--log-format", "json"});
  ASSERT_TRUE(server->WaitForWords("ready on "));
  server->Signal(SIGTERM);
  EXPECT_EQ(server->ExitCode(), 0);
  const std::regex object(
      R"(\{"time":"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}","level":"info","event":"[a-z_]+","message":"[^"]*"\})");
  std::istringstream lines(server->standardError());
  int count = 0;
  for (std::string line; std::getline(lines, line); ++count) {
    EXPECT_TRUE(std::regex_match(line, object)) << line;
  }
  EXPECT_GE(count, 3);
}

// The journal names its stream by the numbers of device and file.
TEST_F(Process, LinesForTheJournalBeginWithTheirPriority) {
  for (const std::string format : {"text", "json"}) {
    const std::string log = folder + "/log_" + format;
    RealProcess server(
        {"/bin/sh", "-c",
         fmt::format("JOURNAL_STREAM=$(stat -L -c %d:%i {0}) exec \"$@\" 2>> {0}", log), "sh",
         VNQ_SERVER_PROGRAM, "--app-path", folder, "--bind", OwnAddress(0), "--log-format", format},
        {});
    for (int i = 0; i < 1000 && !std::filesystem::exists(folder + "/.vnq_main_service.sock"); ++i) {
      usleep(10'000);
    }
    server.Signal(SIGTERM);
    EXPECT_EQ(server.ExitCode(), 0);
    std::ifstream file(log);
    int lines = 0;
    for (std::string line; std::getline(file, line); ++lines) {
      EXPECT_TRUE(line.starts_with(format == "text" ? "<6>info: " : "<6>{\"time\":")) << line;
    }
    EXPECT_GE(lines, 3) << format;
  }
}

TEST_F(Process, SighupTakesOverWhatTheFileSaysOfTheLog) {
  std::ofstream(folder + "/platform.ini") << "[log]\nlevel=warning\n";
  auto server = Start();
  for (int i = 0; i < 1000 && !std::filesystem::exists(folder + "/.vnq_main_service.sock"); ++i) {
    usleep(10'000);
  }
  std::ofstream(folder + "/platform.ini") << "[log]\nlevel=info\nslow_ms=250\n";
  server->Signal(SIGHUP);
  EXPECT_TRUE(server->WaitForWords(
      "info: log settings read again: level info, format text, slow from 250 ms on\n"))
      << server->standardError();
  EXPECT_EQ(server->standardError().find("ready on"), std::string::npos);
  std::ofstream(folder + "/platform.ini") << "[log]\nlevel=loud\n";
  server->Signal(SIGHUP);
  EXPECT_TRUE(server->WaitForWords("log settings not read again: " + folder +
                                   "/platform.ini: [log] level=loud is not one of debug, info"))
      << server->standardError();
}

TEST_F(Process, ADatabaseOfANewerVersionEndsItWithOne) {
  Run("update vnq_schema set version=99");
  auto server = Start();
  EXPECT_EQ(server->ExitCode(), 1);
  EXPECT_NE(server->standardError().find("error: the database is of schema version 99, and this"),
            std::string::npos)
      << server->standardError();
  EXPECT_EQ(server->standardError().find("ready on"), std::string::npos);
}

TEST_F(Process, RecordsOfAUserCanBeFollowedFromTheStart) {
  auto server = Start(0, {"--trace", "7", "--trace", "8"});
  EXPECT_TRUE(server->WaitForWords("records of user 7 are written to the log"))
      << server->standardError();
  EXPECT_TRUE(server->WaitForWords("records of user 8 are written to the log"));
  EXPECT_TRUE(server->WaitForWords("ready on"));
}

TEST_F(Process, TheLogTellsAsMuchAsItIsAskedTo) {
  auto quiet = Start(0, {"--log-level", "error"});
  for (int i = 0; i < 1000 && !std::filesystem::exists(folder + "/.vnq_main_service.sock"); ++i) {
    usleep(10'000);
  }
  quiet->Signal(SIGTERM);
  EXPECT_EQ(quiet->ExitCode(), 0);
  EXPECT_EQ(quiet->standardError(), "");
  EXPECT_EQ(ExitCodeOf({"--app-path", folder, "--log-level", "loud"}), 2);
  EXPECT_EQ(ExitCodeOf({"--app-path", folder, "--log-format", "xml"}), 2);
}

TEST_F(Process, TheStartSaysWhatTheSettingsComeTo) {
  auto server = Start();
  EXPECT_TRUE(server->WaitForWords(
      "language 1033, code page 1252, database SQLite, push every 30 s, retention of chats 0"))
      << server->standardError();
}

TEST_F(Process, AWatchdogIsFedEachSecond) {
  const std::string path = folder + "/notify";
  const int notify = NotifySocket(path);
  auto server = Start(0, {}, {"NOTIFY_SOCKET=" + path, "WATCHDOG_USEC=5000000"});
  timeval limit{5, 0};
  setsockopt(notify, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
  std::vector<std::string> states;
  char buffer[1024];
  while (states.size() < 3) {
    const ssize_t count = recv(notify, buffer, sizeof buffer, 0);
    ASSERT_GT(count, 0);
    states.emplace_back(buffer, static_cast<size_t>(count));
  }
  EXPECT_EQ(states[1], "WATCHDOG=1\n");
  EXPECT_EQ(states[2], "WATCHDOG=1\n");
  close(notify);
}

TEST_F(Process, ABadValueInPlatformIniIsNamed) {
  std::ofstream(folder + "/platform.ini") << "[locale]\ncode_page=777\n";
  auto server = Start();
  EXPECT_EQ(server->ExitCode(), 2);
  EXPECT_NE(server->standardError().find("777"), std::string::npos) << server->standardError();
}

}  // namespace
}  // namespace vnq
