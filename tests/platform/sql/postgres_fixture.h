// A PostgreSQL database of a test's own, on the server that VNQ_TEST_POSTGRES=ADDRESS:PORT names.
#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sql/sql_driver.h"

namespace vnq {

using Values = std::vector<SqlValue>;

/// The server's address; empty when there is none, and the test is to be skipped.
inline ServerDatabaseOptions TestServer() {
  const char* named = getenv("VNQ_TEST_POSTGRES");
  std::string server = named ? named : "";
  ServerDatabaseOptions options;
  options.host = server.substr(0, server.find(':'));
  if (options.host.size() < server.size()) options.port = server.substr(options.host.size() + 1);
  options.user = "vnq";
  options.database = "postgres";
  return options;
}

class PostgresTest : public testing::Test {
 protected:
  void SetUp() override {
    options_ = TestServer();
    if (options_.host.empty()) GTEST_SKIP() << "VNQ_TEST_POSTGRES names no server";
    admin_ = OpenPostgres(options_);
    UseDatabase("");
  }

  void TearDown() override {
    driver_.reset();
    other_.reset();
    if (admin_) DropDatabase();
  }

  /// Opens a database made with `properties`, in place of the one before.
  void UseDatabase(const std::string& properties) {
    driver_.reset();
    other_.reset();
    DropDatabase();
    options_.database = name_;
    Do(*admin_, "create database " + name_ + " " + properties);
    driver_ = OpenPostgres(options_);
    other_ = OpenPostgres(options_);
  }

  void DropDatabase() { Do(*admin_, "drop database if exists " + name_ + " with (force)"); }

  /// Runs a statement that must work.
  static void Do(SqlDriver& driver, const std::string& statement) {
    EXPECT_TRUE(driver.Execute(statement, {})) << driver.LastError();
  }

  /// As another program does.
  void Other(const std::string& statement) { Do(*other_, statement); }

  /// The first column of the first row, as another program reads it; "(none)" without a row.
  std::string OtherReads(const std::string& select) {
    SqlRows rows;
    EXPECT_TRUE(other_->Query(select, {}, rows)) << other_->LastError();
    if (rows.cells.empty()) return "(none)";
    const SqlValue& cell = rows.cells.front();
    if (cell.kind == SqlValue::Kind::kNull) return "(null)";
    return cell.kind == SqlValue::Kind::kText ? cell.text : std::to_string(cell.integer);
  }

  bool Run(std::string_view statement, const Values& values = {}) {
    return driver_->Execute(statement, values);
  }

  SqlRows Rows(std::string_view statement, const Values& values = {}) {
    SqlRows rows;
    EXPECT_TRUE(driver_->Query(statement, values, rows)) << driver_->LastError();
    EXPECT_NE(rows.columns, nullptr);
    return rows;
  }

  bool Fails(std::string_view statement, const Values& values = {}) {
    SqlRows rows;
    return !driver_->Query(statement, values, rows) && rows.columns == nullptr;
  }

  std::string name_ = "vnq_test_" + std::to_string(getpid());
  ServerDatabaseOptions options_;
  std::unique_ptr<SqlDriver> admin_, driver_, other_;
};

inline std::vector<std::string> Names(const SqlRows& rows) {
  std::vector<std::string> names;
  for (const SqlColumn& column : *rows.columns) names.push_back(column.name);
  return names;
}

/// A cell as text; "(null)" for NULL.
inline std::string Shown(const SqlValue& cell) {
  if (cell.kind == SqlValue::Kind::kNull) return "(null)";
  return cell.kind == SqlValue::Kind::kText ? "'" + cell.text + "'" : std::to_string(cell.integer);
}

inline std::vector<std::string> Cells(const SqlRows& rows) {
  std::vector<std::string> cells;
  for (const SqlValue& cell : rows.cells) cells.push_back(Shown(cell));
  return cells;
}

}  // namespace vnq
