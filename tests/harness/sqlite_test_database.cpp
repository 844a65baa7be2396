#include "tests/harness/sqlite_test_database.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <sstream>

#include "platform/sql/sql_driver.h"

namespace vnq {
namespace {

// An insert that names no columns leaves out the one that counts by itself, as on the server that
// the file stands for.
std::string WithInsertedColumns(SqliteFile& file, std::string statements) {
  constexpr std::string_view kInsert = "insert into ", kValues = " values";
  for (size_t at = 0; (at = statements.find(kInsert, at)) != std::string::npos;) {
    at += kInsert.size();
    const size_t end = statements.find_first_of(" (", at);
    if (end == std::string::npos || statements.compare(end, kValues.size(), kValues) != 0) continue;
    const std::string table = statements.substr(at, end - at);
    std::string names;
    for (const std::string& name :
         file.Rows("select name from pragma_table_info('" + table + "') where name<>'" +
                   std::string(kSqlRowColumn) + "'")) {
      names += (names.empty() ? "(" : ",") + name;
    }
    statements.insert(end, names + ")");
  }
  return statements;
}

}  // namespace

SqliteFile::SqliteFile(const std::string& path) {
  sqlite3_open_v2(path.c_str(), &handle_, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
  sqlite3_busy_timeout(handle_, 2000);
  Run("PRAGMA synchronous=OFF");
}

SqliteFile::~SqliteFile() {
  sqlite3_close(handle_);
}

std::vector<std::string> SqliteFile::Rows(const std::string& select) {
  std::vector<std::string> rows;
  sqlite3_stmt* statement = nullptr;
  EXPECT_EQ(sqlite3_prepare_v2(handle_, select.c_str(), -1, &statement, nullptr), SQLITE_OK)
      << sqlite3_errmsg(handle_) << ": " << select;
  while (statement != nullptr && sqlite3_step(statement) == SQLITE_ROW) {
    std::string row;
    for (int i = 0; i < sqlite3_column_count(statement); ++i) {
      // In front it stands for the rowid that the select names.
      if (i > 0 && sqlite3_column_name(statement, i) == kSqlRowColumn) continue;
      const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, i));
      row += i > 0 ? "|" : "";
      row += text != nullptr ? text : "NULL";
    }
    rows.push_back(std::move(row));
  }
  sqlite3_finalize(statement);
  return rows;
}

void SqliteFile::Run(const std::string& statements) {
  char* error = nullptr;
  sqlite3_exec(handle_, statements.c_str(), nullptr, nullptr, &error);
  EXPECT_EQ(error, nullptr) << error << ": " << statements;
  sqlite3_free(error);
}

std::string SqliteTestDatabase::Settings() const {
  return "DB_TYPE=access";
}

void SqliteTestDatabase::Open(const std::string& folder) {
  file_ = std::make_unique<SqliteFile>(folder + "/Web/Data/vnq.db");
}

TdsTestDatabase::TdsTestDatabase() {
  static int count = 0;
  name_ = fmt::format("test_{}_{}", getpid(), ++count);
  // ADDRESS:PORT:FOLDER
  const char* server = getenv("VNQ_TEST_TDS");
  std::istringstream words(server != nullptr ? server : "");
  std::getline(words, address_, ':');
  std::getline(words, port_, ':');
  std::getline(words, filesFolder_);
  EXPECT_FALSE(filesFolder_.empty()) << "VNQ_TEST_TDS is not set; see scripts/with_tds.sh";
}

TdsTestDatabase::~TdsTestDatabase() {
  file_.reset();
  std::error_code ignored;
  for (const char* end : {".db", ".db-wal", ".db-shm"}) {
    std::filesystem::remove(filesFolder_ + "/" + name_ + end, ignored);
  }
}

std::string TdsTestDatabase::Settings() const {
  return fmt::format("DB_TYPE=mssql\nDB_SERVER={}\nDB_PORT={}\nDB_NAME={}\nDB_USER=vnq\nDB_PWD=vnq",
                     address_, port_, name_);
}

void TdsTestDatabase::Run(const std::string& statements) {
  file_->Run(WithInsertedColumns(*file_, statements));
}

void TdsTestDatabase::Open(const std::string&) {
  file_ = std::make_unique<SqliteFile>(filesFolder_ + "/" + name_ + ".db");
}

}  // namespace vnq
