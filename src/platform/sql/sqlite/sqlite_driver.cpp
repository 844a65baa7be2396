#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include "platform/net/clock.h"
#include "platform/sql/row_statements.h"
#include "platform/sql/sqlite/sqlite_connection.h"

namespace vnq {
namespace {

constexpr int64_t kRetryMs = 1000;    // between two attempts to open the file
constexpr int64_t kBackOffMs = 1000;  // without waiting, after a wait for a lock was in vain
constexpr int64_t kMovedCheckMs = 1000;

constexpr RowWriting kWriting = {DoubleQuoted, false};

// The texts are the caller's and stay until the statement was reset.
int Bind(sqlite3_stmt* statement, int index, const SqlValue& value) {
  switch (value.kind) {
    case SqlValue::Kind::kNull:
      return sqlite3_bind_null(statement, index);
    case SqlValue::Kind::kInteger:
      return sqlite3_bind_int64(statement, index, value.integer);
    case SqlValue::Kind::kText:
      break;
  }
  return sqlite3_bind_text64(statement, index, value.text.data(), value.text.size(), SQLITE_STATIC,
                             SQLITE_UTF8);
}

SqlValue ReadCell(sqlite3_stmt* statement, int column) {
  int type = sqlite3_column_type(statement, column);
  if (type == SQLITE_NULL) return SqlValue::Null();
  if (type == SQLITE_INTEGER) return SqlValue::Integer(sqlite3_column_int64(statement, column));
  auto text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
  auto bytes = static_cast<size_t>(sqlite3_column_bytes(statement, column));
  return SqlValue::Text(text ? std::string(text, bytes) : std::string());
}

void ReadRow(SqliteStatement& statement, SqlRows& rows) {
  sqlite3_stmt* handle = statement.handle.get();
  int count = static_cast<int>(statement.columns->size());
  for (int i = 0; i < count; ++i) rows.cells.push_back(ReadCell(handle, i));
  if (!statement.table.empty()) rows.identity.push_back(ReadCell(handle, count));
}

class SqliteDriver final : public SqlDriver {
 public:
  explicit SqliteDriver(SqliteOptions options) : options_(std::move(options)) {}

  bool Query(std::string_view statement, std::span<const SqlValue> parameters,
             SqlRows& rows) override;
  bool Execute(std::string_view statement, std::span<const SqlValue> parameters) override;
  bool Insert(const SqlRows& target, std::span<const SqlAssignment> values) override;
  bool UpdateRow(SqlRows& rows, size_t row, std::span<const SqlAssignment> values) override;
  bool DeleteRow(const SqlRows& rows, size_t row) override;
  bool SyncCommitted() override;
  const std::string& LastError() const override { return lastError_; }

 private:
  int64_t NowMs() const { return MonotonicMs(options_.clock); }

  bool EnsureOpen();
  void Unavailable(const std::string& why);
  void RegainPatience();
  SqliteStatement* Begin(std::string_view statement, std::span<const SqlValue> parameters);
  bool End(SqliteStatement& prepared, int code);
  bool Fail(std::string_view statement, std::string_view why);
  bool FailByEngine(std::string_view statement);
  bool ChangeOneRow(const std::string& statement, const SqlRows& rows, size_t row,
                    std::vector<SqlValue> parameters);

  SqliteOptions options_;
  std::unique_ptr<SqliteConnection> connection_;
  std::string lastError_;
  std::string unavailable_;     // why the file cannot be used, once said; empty while it can
  bool impatient_ = false;      // a wait for a lock was in vain
  int64_t patientAgainMs_ = 0;  // when the next statement may wait again
  int64_t nextAttemptMs_ = INT64_MIN;
  int64_t nextMovedCheckMs_ = INT64_MIN;
};

// A connection that stands is looked at now and then: who puts a backup in the file's place must
// not have the server go on writing to the file that has no name any more.
bool SqliteDriver::EnsureOpen() {
  int64_t now = NowMs();
  if (connection_ && now >= nextMovedCheckMs_) {
    nextMovedCheckMs_ = now + kMovedCheckMs;
    if (connection_->HasMoved()) {
      connection_.reset();
      nextAttemptMs_ = now;
    }
  }
  if (connection_) return true;
  if (now < nextAttemptMs_) {
    lastError_ = unavailable_;
    return false;
  }
  std::string error;
  connection_ = SqliteConnection::Open(options_, error);
  if (connection_) {
    impatient_ = false;
    nextMovedCheckMs_ = now + kMovedCheckMs;
    return true;
  }
  Unavailable(error);
  return false;
}

void SqliteDriver::Unavailable(const std::string& why) {
  connection_.reset();
  lastError_ = why;
  nextAttemptMs_ = NowMs() + kRetryMs;
  if (unavailable_.empty()) spdlog::error("{}; statements fail until it can be used", why);
  unavailable_ = why;
}

void SqliteDriver::RegainPatience() {
  impatient_ = false;
  sqlite3_busy_timeout(connection_->handle(), options_.busyTimeoutMs);
}

// The statement, bound and ready to step; null when it failed.
SqliteStatement* SqliteDriver::Begin(std::string_view statement,
                                     std::span<const SqlValue> parameters) {
  if (!EnsureOpen()) return nullptr;
  if (impatient_ && NowMs() >= patientAgainMs_) RegainPatience();
  std::string refusal;
  SqliteStatement* prepared = connection_->statements().Prepare(statement, refusal);
  if (!prepared) {
    refusal.empty() ? FailByEngine(statement) : Fail(statement, refusal);
    return nullptr;
  }
  sqlite3_stmt* handle = prepared->handle.get();
  if (static_cast<size_t>(sqlite3_bind_parameter_count(handle)) != parameters.size()) {
    Fail(statement, "another number of markers than of values");
    return nullptr;
  }
  for (size_t i = 0; i < parameters.size(); ++i) {
    if (Bind(handle, static_cast<int>(i) + 1, parameters[i]) == SQLITE_OK) continue;
    sqlite3_clear_bindings(handle);
    FailByEngine(statement);
    return nullptr;
  }
  return prepared;
}

// Ends a run whose last step gave `code`; nothing of it stays open.
bool SqliteDriver::End(SqliteStatement& prepared, int code) {
  sqlite3_stmt* handle = prepared.handle.get();
  bool done = code == SQLITE_DONE;
  bool wrote = done && !sqlite3_stmt_readonly(handle);
  sqlite3_reset(handle);
  sqlite3_clear_bindings(handle);
  if (!done) return FailByEngine(prepared.written);
  if (impatient_ && wrote) RegainPatience();
  if (!unavailable_.empty()) {
    unavailable_.clear();
    spdlog::info("database file {}: statements run again", options_.path);
  }
  return true;
}

bool SqliteDriver::Fail(std::string_view statement, std::string_view why) {
  lastError_ = StatementFailure(statement, why);
  return false;
}

// Takes the engine's last error, and what follows from it for the statements to come.
bool SqliteDriver::FailByEngine(std::string_view statement) {
  sqlite3* handle = connection_->handle();
  int reason = sqlite3_errcode(handle) & 0xff;
  Fail(statement, sqlite3_errmsg(handle));
  if (reason == SQLITE_BUSY && !impatient_) {
    impatient_ = true;
    patientAgainMs_ = NowMs() + kBackOffMs;
    sqlite3_busy_timeout(handle, 0);
  }
  if (reason == SQLITE_IOERR || reason == SQLITE_CANTOPEN || reason == SQLITE_NOTADB) {
    Unavailable(std::string(lastError_));
  }
  return false;
}

bool SqliteDriver::Query(std::string_view statement, std::span<const SqlValue> parameters,
                         SqlRows& rows) {
  SqliteStatement* prepared = Begin(statement, parameters);
  if (!prepared) return false;
  sqlite3_stmt* handle = prepared->handle.get();
  int code = sqlite3_step(handle);
  RefreshDescription(*prepared);
  SqlRows read;
  read.columns = prepared->columns;
  read.table = prepared->table;
  read.identityWidth = read.table.empty() ? 0 : 1;
  for (; code == SQLITE_ROW; code = sqlite3_step(handle)) ReadRow(*prepared, read);
  if (!End(*prepared, code)) return false;
  rows = std::move(read);
  return true;
}

bool SqliteDriver::Execute(std::string_view statement, std::span<const SqlValue> parameters) {
  SqliteStatement* prepared = Begin(statement, parameters);
  if (!prepared) return false;
  int code;
  do {
    code = sqlite3_step(prepared->handle.get());
  } while (code == SQLITE_ROW);
  return End(*prepared, code);
}

bool SqliteDriver::Insert(const SqlRows& target, std::span<const SqlAssignment> values) {
  if (target.table.empty()) return Fail("insert", "the row set comes from no single table");
  const RowStatement insert = InsertStatement(DoubleQuoted(target.table), values, kWriting);
  return Execute(insert.text, insert.parameters);
}

bool SqliteDriver::UpdateRow(SqlRows& rows, size_t row, std::span<const SqlAssignment> values) {
  if (values.empty()) return true;
  RowStatement set = SetClause(values, kWriting);
  return ChangeOneRow("update " + DoubleQuoted(rows.table) + set.text, rows, row,
                      std::move(set.parameters));
}

bool SqliteDriver::DeleteRow(const SqlRows& rows, size_t row) {
  return ChangeOneRow("delete from " + DoubleQuoted(rows.table), rows, row, {});
}

// Runs the statement on the one row alone; a row that another program has deleted meanwhile is a
// failure.
bool SqliteDriver::ChangeOneRow(const std::string& statement, const SqlRows& rows, size_t row,
                                std::vector<SqlValue> parameters) {
  if (rows.table.empty()) return Fail(statement, "the row set comes from no single table");
  if (row >= rows.identity.size()) return Fail(statement, "no current row");
  parameters.push_back(rows.identity[row]);
  if (!Execute(statement + " where _rowid_=?", parameters)) return false;
  if (sqlite3_changes64(connection_->handle()) > 0) return true;
  return Fail(statement, "the row is no longer there");
}

bool SqliteDriver::SyncCommitted() {
  if (!connection_) return true;
  std::string error;
  if (connection_->Sync(options_.durability, error)) return true;
  lastError_ = fmt::format("database file {}: {}", options_.path, error);
  return false;
}

}  // namespace

std::unique_ptr<SqlDriver> OpenSqlite(SqliteOptions options) {
  return std::make_unique<SqliteDriver>(std::move(options));
}

}  // namespace vnq
