// What the tests of all drivers share: an engine's database for one test, and a driver on it.
#pragma once

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/net/clock.h"
#include "platform/sql/sql_driver.h"
#include "tests/harness/lines.h"

namespace vnq {

using Values = std::vector<SqlValue>;
using Assigned = std::vector<SqlAssignment>;

inline SqlValue T(std::string text) {
  return SqlValue::Text(std::move(text));
}
inline SqlValue I(int64_t value) {
  return SqlValue::Integer(value);
}
inline SqlValue Null() {
  return SqlValue::Null();
}

/// An engine's own words, where tables that mean the same are written differently.
struct EngineWords {
  std::string name;     ///< a text of bounded length, compared without regard to ASCII case
  std::string secret;   ///< a text compared to the letter, in columns called Secret
  std::string text;     ///< a text of any length
  std::string number;   ///< a 32-bit integer
  std::string counted;  ///< a key that counts up by itself
  std::string key;      ///< a text that is the key
  std::string today;    ///< an expression: this day, as YYYY-MM-DD
  std::string ending;   ///< behind the columns of a table

  size_t nameLength = 0;   ///< the bound of `name`; 0: the engine has none
  size_t longestText = 0;  ///< that a test still reads back in good time

  std::vector<std::string> noIntegers;    ///< what no column of integers takes
  std::vector<std::string> noConversion;  ///< what does not convert to an integer
  std::vector<std::string> mixed;         ///< further selects whose rows are not one table's

  std::string unknownTable;   ///< how the error of `select * from Nowhere where a=?` begins
  std::string unknownNamed;   ///< what it says besides
  std::string badConversion;  ///< what the error of a failed conversion says
  std::string duplicateKey;   ///< and that of a second row with the same key
};

/// A database of a test's own; gone with the object.
class EngineDatabase {
 public:
  virtual ~EngineDatabase() = default;

  /// A driver on it, as each program has one.
  virtual std::unique_ptr<SqlDriver> Connect() = 0;

  /// One that waits so long for a lock, and whose pauses are of the clock.
  virtual std::unique_ptr<SqlDriver> ConnectWaiting(int busyTimeoutMs, const Clock& clock) = 0;
  virtual const EngineWords& words() const = 0;

  /// What row sets call a table, and a column.
  virtual std::string TableName(const std::string& written) const { return written; }
  virtual std::string ColumnName(const std::string& written) const { return written; }
};

inline Lines Names(const SqlRows& rows) {
  Lines names;
  for (const SqlColumn& column : *rows.columns) names.push_back(column.name);
  return names;
}

/// Rows as a text: cells joined by '|', rows by ';', NULL as "NULL".
inline std::string AsText(const SqlRows& rows) {
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

/// How long something takes, in milliseconds of the machine.
template <typename Work>
int64_t MsOf(const Work& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                               start)
      .count();
}

/// Two drivers on one database: the one under test, and that of another program.
class DriverTest : public testing::Test {
 protected:
  bool Run(std::string_view statement, const Values& values = {}) {
    return driver_->Execute(statement, values);
  }
  void MustRun(std::string_view statement, const Values& values = {}) {
    EXPECT_TRUE(Run(statement, values)) << driver_->LastError();
  }

  SqlRows Rows(std::string_view statement, const Values& values = {}) {
    SqlRows rows;
    EXPECT_TRUE(driver_->Query(statement, values, rows)) << driver_->LastError();
    EXPECT_NE(rows.columns, nullptr);
    return rows;
  }
  std::string Text(std::string_view select, const Values& values = {}) {
    return AsText(Rows(select, values));
  }

  /// The query fails and leaves its output as it was.
  bool Fails(std::string_view statement, const Values& values = {}) {
    SqlRows rows;
    return !driver_->Query(statement, values, rows) && rows.columns == nullptr;
  }
  /// The last error holds the words.
  void ExpectError(std::string_view words) {
    EXPECT_NE(driver_->LastError().find(words), std::string::npos) << driver_->LastError();
  }

  void Other(const std::string& statement) {
    EXPECT_TRUE(other_->Execute(statement, {})) << other_->LastError();
  }
  std::string OtherReads(const std::string& select) {
    SqlRows rows;
    EXPECT_TRUE(other_->Query(select, {}, rows)) << other_->LastError();
    return AsText(rows);
  }

  std::unique_ptr<SqlDriver> driver_, other_;
};

}  // namespace vnq
