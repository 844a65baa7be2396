// Real SQLite files for tests, and a second program's view of a file.
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <string>

#include "platform/net/clock.h"
#include "tests/platform/sql/driver_fixture.h"
#include "tests/platform/system/temporary_folder.h"

namespace vnq {

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

/// A file of its own, in a folder of its own.
class SqliteEngine : public EngineDatabase {
 public:
  std::unique_ptr<SqlDriver> Connect() override { return OpenSqlite(Options()); }
  std::unique_ptr<SqlDriver> ConnectWaiting(int busyTimeoutMs, const Clock& clock) override {
    SqliteOptions options = Options();
    options.busyTimeoutMs = busyTimeoutMs;
    options.clock = &clock;
    return OpenSqlite(options);
  }

  const EngineWords& words() const override {
    static const EngineWords words = [] {
      EngineWords own;
      own.name = "text collate nocase";
      own.secret = own.text = "text";
      own.number = "integer";
      own.counted = "integer primary key autoincrement";
      own.key = "text collate nocase primary key";
      own.today = "strftime('%Y-%m-%d','now','localtime')";
      own.ending = " strict";
      own.longestText = 10 << 20;
      own.noIntegers = {"x", "", "1.5"};
      own.noConversion = {"", "a", "12a", "2147483648", "--1"};
      own.mixed = {"select aa.* from People aa inner join Numbered bb on aa.Name=bb.Name",
                   "select Name,count(*) from People", "select * from Seen",
                   "select Name from People union select Name from Numbered"};
      own.unknownTable = "select * from Nowhere where a=?: no such table: Nowhere";
      own.badConversion = "conversion to integer";
      own.duplicateKey = "UNIQUE constraint failed";
      return own;
    }();
    return words;
  }

 private:
  SqliteOptions Options() {
    SqliteOptions options;
    options.path = folder_ / "test.db";
    options.createFile = true;
    return options;
  }

  TemporaryFolder folder_;
};

}  // namespace vnq
