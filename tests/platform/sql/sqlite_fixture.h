// Real SQLite files for tests: a folder that goes with its owner, and a second program's view of a
// file.
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "platform/net/clock.h"

namespace vnq {

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "vnq_test_XXXXXX").string();
    if (mkdtemp(name.data())) path_ = name;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  std::string File(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

/// A connection beside the driver's, as another program has one. Creates the file.
class OtherProgram {
 public:
  explicit OtherProgram(const std::string& path) {
    EXPECT_EQ(sqlite3_open(path.c_str(), &database_), SQLITE_OK);
  }
  ~OtherProgram() { sqlite3_close(database_); }
  OtherProgram(const OtherProgram&) = delete;
  OtherProgram& operator=(const OtherProgram&) = delete;

  void Run(const std::string& statements) {
    char* error = nullptr;
    sqlite3_exec(database_, statements.c_str(), nullptr, nullptr, &error);
    EXPECT_EQ(error, nullptr) << error << " in " << statements;
    sqlite3_free(error);
  }

  /// False when a statement failed; a transaction of it is then rolled back.
  bool Try(const std::string& statements) {
    const bool done =
        sqlite3_exec(database_, statements.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
    if (!done) sqlite3_exec(database_, "rollback", nullptr, nullptr, nullptr);
    return done;
  }

  /// The first column of the first row; "(none)" without a row.
  std::string Read(const std::string& select) {
    std::string value = "(none)";
    auto take = [](void* target, int, char** cells, char**) {
      *static_cast<std::string*>(target) = cells[0] ? cells[0] : "(null)";
      return 1;
    };
    sqlite3_exec(database_, select.c_str(), take, &value, nullptr);
    return value;
  }

 private:
  sqlite3* database_ = nullptr;
};

/// Monotonic time that the test moves.
class TestClock : public Clock {
 public:
  LocalTime Now() const override { return {}; }
  int64_t MonotonicMs() const override { return nowMs; }

  int64_t nowMs = 1'000'000;
};

}  // namespace vnq
