// The TDS test server as a process of its own, and a driver that is connected to it.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "platform/sql/sql_driver.h"
#include "tests/harness/loopback_http_server.h"
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
  std::string File(const std::string& database) const { return folder_.File(database + ".db"); }

  void Start() {
    int toServer[2];
    int fromServer[2];
    ASSERT_EQ(pipe2(toServer, O_CLOEXEC), 0);
    ASSERT_EQ(pipe2(fromServer, O_CLOEXEC), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, toServer[0], 0);
    posix_spawn_file_actions_adddup2(&actions, fromServer[1], 1);
    std::vector<std::string> words = {"python3",  VNQ_TDS_SERVER,   "--address",
                                      address_,   "--port",         kPort,
                                      "--folder", folder_.File(""), "--until-eof"};
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

/// A driver with a database of its own on a server of its own.
class OdbcTest : public testing::Test {
 protected:
  using Values = std::vector<SqlValue>;

  OdbcTest() { Reopen(); }

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
    options.clock = &clock_;
    return options;
  }

  void Reopen() { driver_ = OpenOdbc(Options()); }

  bool Run(std::string_view statement, const Values& values = {}) {
    return driver_->Execute(statement, values);
  }

  void MustRun(std::string_view statement, const Values& values = {}) {
    EXPECT_TRUE(Run(statement, values)) << driver_->LastError();
  }

  SqlRows Rows(std::string_view statement, const Values& values = {}) {
    SqlRows rows;
    EXPECT_TRUE(driver_->Query(statement, values, rows)) << driver_->LastError();
    return rows;
  }

  bool Fails(std::string_view statement, const Values& values = {}) {
    SqlRows rows;
    return !driver_->Query(statement, values, rows) && rows.columns == nullptr;
  }

  /// What a select gives as a text: cells joined by '|', rows by ';', NULL as "NULL".
  std::string Text(std::string_view select, const Values& values = {}) {
    return AsText(Rows(select, values));
  }

  static std::string AsText(const SqlRows& rows) {
    std::string text;
    for (size_t i = 0; i < rows.cells.size(); ++i) {
      if (i > 0) text += i % rows.columns->size() == 0 ? ";" : "|";
      const SqlValue& cell = rows.cells[i];
      text += cell.kind == SqlValue::Kind::kNull      ? "NULL"
              : cell.kind == SqlValue::Kind::kInteger ? std::to_string(cell.integer)
                                                      : cell.text;
    }
    return text;
  }

  /// How long something takes, in milliseconds.
  template <typename Work>
  static int64_t Ms(const Work& work) {
    auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 start)
        .count();
  }

  TdsServer server_;
  TestClock clock_;
  std::unique_ptr<SqlDriver> driver_;
};

}  // namespace vnq
