// The TDS test server as a process of its own, and a driver that is connected to it.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "tests/harness/loopback_http_server.h"
#include "tests/platform/sql/driver_fixture.h"
#include "tests/platform/sql/sqlite_fixture.h"

extern char** environ;

namespace vnq {

class TdsServer {
 public:
  static constexpr const char* kPort = "1433";

  /// Starts it on a loopback address of the test's own and waits until it listens.
  TdsServer() : address_(LoopbackAddress(11)) { Start(); }
  ~TdsServer() { Stop(); }
  TdsServer(const TdsServer&) = delete;
  TdsServer& operator=(const TdsServer&) = delete;

  const std::string& address() const { return address_; }

  /// The file of a database.
  std::string File(const std::string& database) const { return folder_ / (database + ".db"); }

  void Start() {
    int toServer[2];
    int fromServer[2];
    ASSERT_EQ(pipe2(toServer, O_CLOEXEC), 0);
    ASSERT_EQ(pipe2(fromServer, O_CLOEXEC), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, toServer[0], 0);
    posix_spawn_file_actions_adddup2(&actions, fromServer[1], 1);
    std::vector<std::string> words = {"python3",  VNQ_TDS_SERVER, "--address",
                                      address_,   "--port",       kPort,
                                      "--folder", folder_.path(), "--until-eof"};
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    EXPECT_EQ(posix_spawnp(&process_, "python3", &actions, nullptr, arguments.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    close(toServer[0]);
    close(fromServer[1]);
    input_ = toServer[1];
    std::string said;
    for (char c = 0; c != '\n' && read(fromServer[0], &c, 1) == 1;) said += c;
    EXPECT_EQ(said, "ready\n");
    close(fromServer[0]);
  }

  /// Ends it, with all its connections. Its databases stay.
  void Stop() {
    if (process_ <= 0) return;
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
    process_ = -1;
    close(input_);
  }

 private:
  std::string address_;
  TemporaryFolder folder_;
  pid_t process_ = -1;
  int input_ = -1;  // the server ends with it, should the test crash
};

/// A server of its own, with a database that comes with the first log-in.
class OdbcEngine : public EngineDatabase {
 public:
  TdsServer& server() { return server_; }
  ServerDatabaseOptions Options() {
    ServerDatabaseOptions options;
    options.odbcDriver = "FreeTDS";
    options.host = server_.address();
    options.database = "company";
    options.user = "strict";
    options.password = "s{e;c}r=e t";  // of this user, on the test server
    options.exactColumns = {"Secret"};
    options.connectTimeoutS = 1;
    options.statementTimeoutS = 1;
    return options;
  }
  std::unique_ptr<SqlDriver> Connect() override {
    ServerDatabaseOptions options = Options();
    options.statementTimeoutS = 10;
    return OpenOdbc(options);
  }
  std::unique_ptr<SqlDriver> ConnectWaiting(int busyTimeoutMs, const Clock& clock) override {
    ServerDatabaseOptions options = Options();
    options.statementTimeoutS = 10;
    options.busyTimeoutMs = busyTimeoutMs;
    options.clock = &clock;
    return OpenOdbc(options);
  }

  const EngineWords& words() const override {
    static const EngineWords words = [] {
      EngineWords own;
      own.name = "nvarchar(255) collate Latin1_General_100_CI_AS null";
      own.secret = "nvarchar(255) collate Latin1_General_100_BIN2 null";
      own.text = "nvarchar(max) null";
      own.number = "int null";
      own.counted = "int identity(1,1) primary key";
      own.key = "nvarchar(20) not null primary key";
      own.today = "convert(nvarchar(10),getdate(),23)";
      own.nameLength = 255;
      own.longestText = 100'000;
      own.noIntegers = {"x"};
      own.noConversion = {"12a"};
      own.unknownTable = "select * from Nowhere where a=?: 42S02 ";
      own.unknownNamed = "Nowhere'. (208)";
      own.badConversion = "(245)";
      own.duplicateKey = "(2627)";
      return own;
    }();
    return words;
  }

 private:
  TdsServer server_;
};

/// A driver whose time the test moves, on a server of its own.
class OdbcTest : public DriverTest {
 protected:
  OdbcTest() { Reopen(); }

  ServerDatabaseOptions Options() {
    ServerDatabaseOptions options = engine_.Options();
    options.clock = &clock_;
    return options;
  }

  void Reopen() { driver_ = OpenOdbc(Options()); }

  OdbcEngine engine_;
  TdsServer& server_ = engine_.server();
  TestClock clock_;
};

}  // namespace vnq
