#include <fmt/format.h>

#include <cassert>
#include <optional>
#include <utility>

#include "platform/net/clock.h"
#include "platform/sql/lock_patience.h"
#include "platform/sql/row_statements.h"
#include "platform/sql/sqlite/sqlite_connection.h"
#include "platform/sql/sqlite/sqlite_files.h"
#include "platform/sql/sqlite/sqlite_turn.h"
#include "platform/system/event_log.h"

namespace vnq {
namespace {

constexpr int64_t kRetryMs = 1000;  // between two attempts to open the file
constexpr int64_t kMovedCheckMs = 1000;

// The values for a statement's markers, where they lie: given ones, or assigned columns and behind
// them a row's identity.
class Markers {
 public:
  Markers(std::span<const SqlValue> values) : values_(values) {}  // NOLINT: values are markers
  explicit Markers(std::span<const SqlAssignment> assigned, const SqlValue* identity = nullptr)
      : assigned_(assigned), identity_(identity) {}

  size_t size() const { return values_.size() + assigned_.size() + (identity_ ? 1 : 0); }

  const SqlValue& operator[](size_t index) const {
    if (index < values_.size()) return values_[index];
    if (index < assigned_.size()) return assigned_[index].value;
    assert(identity_ != nullptr);
    return *identity_;
  }

 private:
  std::span<const SqlValue> values_;
  std::span<const SqlAssignment> assigned_;
  const SqlValue* identity_ = nullptr;
};

void AppendQuoted(std::string& text, std::string_view name) {
  text += '"';
  if (name.find('"') == name.npos) {
    text += name;
  } else {
    for (const char c : name) text.append(c == '"' ? 2 : 1, c);
  }
  text += '"';
}

bool IsFailedWrite(int extendedCode) {
  switch (extendedCode) {
    case SQLITE_IOERR_WRITE:
    case SQLITE_IOERR_FSYNC:
    case SQLITE_IOERR_DIR_FSYNC:
    case SQLITE_IOERR_TRUNCATE:
    case SQLITE_IOERR_SHMSIZE:
      return true;
    default:
      return false;
  }
}

SqlTrouble TroubleOf(int extendedCode) {
  if (IsFailedWrite(extendedCode)) return SqlTrouble::kWriteFailed;
  switch (extendedCode & 0xff) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return SqlTrouble::kLocked;
    case SQLITE_FULL:
      return SqlTrouble::kFull;
    case SQLITE_READONLY:
      return SqlTrouble::kReadOnly;
    case SQLITE_IOERR:
    case SQLITE_CANTOPEN:
    case SQLITE_NOTADB:
      return SqlTrouble::kUnavailable;
    default:
      return SqlTrouble::kNone;
  }
}

// The engine has one number for everything that is wrong with a statement.
bool NamesWhatIsMissing(std::string_view message) {
  return message.starts_with("no such table: ") || message.starts_with("no such column: ") ||
         message.find(" has no column named ") != message.npos;
}

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

void Head(const SqliteStatement& statement, SqlRows& rows) {
  rows.columns = statement.columns;
  rows.table = statement.table;
  rows.identityWidth = rows.table.empty() ? 0 : 1;
}

void ReadRow(SqliteStatement& statement, SqlRows& rows) {
  sqlite3_stmt* handle = statement.handle.get();
  int count = static_cast<int>(statement.columns->size());
  if (rows.cells.empty()) rows.cells.reserve(statement.columns->size());
  for (int i = 0; i < count; ++i) rows.cells.push_back(ReadCell(handle, i));
  if (!statement.table.empty()) rows.identity.push_back(ReadCell(handle, count));
}

class SqliteDriver final : public SqlDriver {
 public:
  explicit SqliteDriver(SqliteOptions options)
      : options_(std::move(options)), patience_(options_.busyTimeoutMs, options_.clock) {}
  ~SqliteDriver() override;

  bool Query(std::string_view statement, std::span<const SqlValue> parameters,
             SqlRows& rows) override;
  bool Describe(std::string_view statement, std::span<const SqlValue> parameters,
                SqlRows& rows) override;
  bool Execute(std::string_view statement, std::span<const SqlValue> parameters) override;
  bool Insert(const SqlRows& target, std::span<const SqlAssignment> values) override;
  bool UpdateRow(SqlRows& rows, size_t row, std::span<const SqlAssignment> values) override;
  bool DeleteRow(const SqlRows& rows, size_t row) override;
  bool EndTurn() override;
  bool OwesCommit() const override { return turn_ && turn_->IsWriting(); }
  void ExpectWrites() override { expectsWrites_ = true; }
  size_t TakeUndone() override { return std::exchange(undone_, 0); }
  bool SyncCommitted() override;
  const std::string& LastError() const override { return lastError_; }
  SqlTrouble LastTrouble() const override { return trouble_; }

 private:
  int64_t NowMs() const { return MonotonicMs(options_.clock); }

  bool EnsureOpen(int64_t nowMs);
  void Open(int64_t nowMs);
  void CloseFile();
  void Unavailable(const std::string& why);
  void LeaveReplacedFile(int64_t nowMs);
  void TellLockWait();
  SqliteStatement* Begin(std::string_view statement, const Markers& values, int64_t nowMs,
                         SqliteStatement* known = nullptr);
  bool BindAll(SqliteStatement& prepared, const Markers& values);
  bool Run(std::string_view statement, const Markers& values, bool addsRow = false);
  SqliteStatement* PreparedInTurn(std::string_view statement, int64_t nowMs);
  bool JoinTurn(const SqliteStatement& prepared, int64_t nowMs);
  bool JoinAsWriter(int64_t nowMs);
  bool End(SqliteStatement& prepared, int code, bool addsRow = false);
  bool Fail(std::string_view statement, std::string_view why);
  bool FailByEngine(std::string_view statement);
  void Conclude(int extendedCode);
  bool ChangeOneRow(const SqlRows& rows, size_t row, std::span<const SqlAssignment> values);

  SqliteOptions options_;
  std::unique_ptr<SqliteConnection> connection_;
  std::optional<SqliteTurn> turn_;  // none where each statement is committed by itself
  bool expectsWrites_ = false;      // in this turn
  size_t undone_ = 0;
  std::string lastError_;
  SqlTrouble trouble_ = SqlTrouble::kNone;  // what lastError_ comes of
  std::string unavailable_;  // why the file cannot be used, once said; empty while it can
  LockPatience patience_;
  int64_t lockWaitMs_ = 0;  // that the engine knows of
  SqliteFiles files_;       // of the last connection
  bool mayBeLost_ = false;  // what was written last: the file was another one already
  int64_t nextAttemptMs_ = INT64_MIN;
  int64_t nextMovedCheckMs_ = INT64_MIN;
  std::string ownText_;  // of the statement that a row made, kept for its memory
};

SqliteDriver::~SqliteDriver() {
  SqliteDriver::EndTurn();
  CloseFile();
  RemoveLogOfReplaced(files_);
}

// A connection that stands is looked at now and then: who puts a backup in the file's place must
// not have the server go on writing to the file that has no name any more.
bool SqliteDriver::EnsureOpen(int64_t nowMs) {
  const bool inTurn = turn_ && turn_->IsOpen();
  if (connection_ && !inTurn && nowMs >= nextMovedCheckMs_) {
    nextMovedCheckMs_ = nowMs + kMovedCheckMs;
    if (connection_->HasMoved()) LeaveReplacedFile(nowMs);
  }
  if (connection_) return true;
  if (nowMs >= nextAttemptMs_) {
    Open(nowMs);
  } else {
    lastError_ = unavailable_;
    trouble_ = SqlTrouble::kUnavailable;
  }
  return connection_ != nullptr;
}

void SqliteDriver::Open(int64_t nowMs) {
  std::string error;
  SqliteOptions now = options_;
  now.busyTimeoutMs = static_cast<int>(patience_.WaitMs());
  RemoveLogOfReplaced(files_);
  const int64_t start = MonotonicMs(nullptr);
  connection_ = SqliteConnection::Open(now, error);
  if (!connection_) {
    const int64_t spentMs = MonotonicMs(nullptr) - start;
    if (now.busyTimeoutMs > 0 && spentMs >= now.busyTimeoutMs) patience_.NoteVain();
    return Unavailable(error);
  }
  lockWaitMs_ = now.busyTimeoutMs;
  files_ = FilesOf(connection_->handle());
  if (options_.commit == SqlCommit::kTurn && connection_->hasWriteAheadLog()) {
    turn_.emplace(connection_->handle());
  }
  nextMovedCheckMs_ = nowMs + kMovedCheckMs;
}

// What was written since the last sync went to a file that has this name no more.
void SqliteDriver::LeaveReplacedFile(int64_t nowMs) {
  mayBeLost_ = mayBeLost_ || connection_->hasUnsynced();
  CloseFile();
  nextAttemptMs_ = nowMs;
}

void SqliteDriver::CloseFile() {
  if (turn_) undone_ += turn_->Drop();
  turn_.reset();
  connection_.reset();
}

void SqliteDriver::Unavailable(const std::string& why) {
  CloseFile();
  lastError_ = why;
  trouble_ = SqlTrouble::kUnavailable;
  nextAttemptMs_ = NowMs() + kRetryMs;
  if (unavailable_.empty())
    LogError("database_unavailable", "{}; statements fail until it can be used", why);
  unavailable_ = why;
}

void SqliteDriver::TellLockWait() {
  const int64_t waitMs = patience_.WaitMs();
  if (waitMs == lockWaitMs_) return;
  sqlite3_busy_timeout(connection_->handle(), static_cast<int>(waitMs));
  lockWaitMs_ = waitMs;
}

// The statement, bound and ready to step; null when it failed. known: it, where it is prepared.
SqliteStatement* SqliteDriver::Begin(std::string_view statement, const Markers& values,
                                     int64_t nowMs, SqliteStatement* known) {
  if (!EnsureOpen(nowMs)) return nullptr;
  TellLockWait();
  std::string refusal;
  SqliteStatement* prepared = known ? known : connection_->statements().Prepare(statement, refusal);
  if (!prepared) {
    refusal.empty() ? FailByEngine(statement) : Fail(statement, refusal);
    return nullptr;
  }
  if (BindAll(*prepared, values) && JoinTurn(*prepared, nowMs)) return prepared;
  if (connection_) sqlite3_clear_bindings(prepared->handle.get());  // which went with it
  return nullptr;
}

bool SqliteDriver::BindAll(SqliteStatement& prepared, const Markers& values) {
  sqlite3_stmt* handle = prepared.handle.get();
  if (static_cast<size_t>(sqlite3_bind_parameter_count(handle)) != values.size()) {
    return Fail(prepared.written, "another number of markers than of values");
  }
  for (size_t i = 0; i < values.size(); ++i) {
    if (Bind(handle, static_cast<int>(i) + 1, values[i]) == SQLITE_OK) continue;
    return FailByEngine(prepared.written);
  }
  return true;
}

// Has the statement run within the transaction of its turn. Refused, it has failed.
bool SqliteDriver::JoinTurn(const SqliteStatement& prepared, int64_t nowMs) {
  if (!turn_) return true;
  if (turn_->IsOver(nowMs) && !EndTurn() && !turn_) return false;  // the file was closed over it
  const bool writes = sqlite3_stmt_readonly(prepared.handle.get()) == 0;
  if (!writes && expectsWrites_ && JoinAsWriter(nowMs)) return true;
  return turn_->Join(writes, nowMs) || FailByEngine(prepared.written);
}

// Takes the lock for a turn that is going to write, where it is free: who only reads as yet does
// not wait for it.
bool SqliteDriver::JoinAsWriter(int64_t nowMs) {
  if (turn_->IsWriting()) return turn_->Join(true, nowMs);
  sqlite3_busy_timeout(connection_->handle(), 0);
  expectsWrites_ = turn_->Join(true, nowMs);
  sqlite3_busy_timeout(connection_->handle(), static_cast<int>(lockWaitMs_));
  return expectsWrites_;
}

// Ends a run whose last step gave `code`; nothing of it stays open. addsRow: it is an insert of one
// row.
bool SqliteDriver::End(SqliteStatement& prepared, int code, bool addsRow) {
  sqlite3_stmt* handle = prepared.handle.get();
  bool done = code == SQLITE_DONE;
  bool wrote = done && !sqlite3_stmt_readonly(handle);
  prepared.touched.NoteRun(addsRow && done);
  if (turn_ && wrote && !prepared.touched.isKnown) turn_->Renumber();
  sqlite3_reset(handle);
  sqlite3_clear_bindings(handle);
  if (!done) return FailByEngine(prepared.written);
  if (wrote) patience_.NoteHad();
  if (turn_ && wrote) turn_->NoteWrite();
  if (!unavailable_.empty()) {
    unavailable_.clear();
    LogInfo("database_back", "database file {}: statements run again", options_.path);
  }
  return true;
}

bool SqliteDriver::Fail(std::string_view statement, std::string_view why) {
  lastError_ = StatementFailure(statement, why);
  trouble_ = SqlTrouble::kNone;
  return false;
}

// Takes the engine's last error, and what follows from it for the statements to come.
bool SqliteDriver::FailByEngine(std::string_view statement) {
  const int code = sqlite3_extended_errcode(connection_->handle());
  const char* const message = sqlite3_errmsg(connection_->handle());
  const bool isMissing = code == SQLITE_ERROR && NamesWhatIsMissing(message);
  Fail(statement, message);
  if (turn_ && turn_->WasUndone()) undone_ += turn_->Drop();
  Conclude(code);
  if (isMissing) trouble_ = SqlTrouble::kMissing;
  return false;
}

void SqliteDriver::Conclude(int extendedCode) {
  trouble_ = TroubleOf(extendedCode);
  if (trouble_ == SqlTrouble::kUnavailable) return Unavailable(std::string(lastError_));
  if (trouble_ == SqlTrouble::kLocked) patience_.NoteVain();
}

// The statement, where it has been prepared and the transaction goes on; else null.
SqliteStatement* SqliteDriver::PreparedInTurn(std::string_view statement, int64_t nowMs) {
  if (!turn_ || !turn_->IsOpen() || turn_->IsOver(nowMs)) return nullptr;
  return connection_->statements().Find(statement);
}

// Columns and table stay as they are for as long as a transaction that has seen them.
bool SqliteDriver::Describe(std::string_view statement, std::span<const SqlValue> parameters,
                            SqlRows& rows) {
  const SqliteStatement* known = PreparedInTurn(statement, NowMs());
  if (!known || known->turn != turn_->number()) return Query(statement, parameters, rows);
  rows = {};
  Head(*known, rows);
  return true;
}

bool SqliteDriver::Query(std::string_view statement, std::span<const SqlValue> parameters,
                         SqlRows& rows) {
  const int64_t now = NowMs();
  SqliteStatement* known = PreparedInTurn(statement, now);
  if (known && known->memo.Find(turn_->number(), known->touched, parameters, rows)) return true;
  SqliteStatement* prepared = Begin(statement, parameters, now, known);
  if (!prepared) return false;
  sqlite3_stmt* handle = prepared->handle.get();
  int code = sqlite3_step(handle);
  RefreshDescription(*prepared);
  SqlRows read;
  Head(*prepared, read);
  for (; code == SQLITE_ROW; code = sqlite3_step(handle)) ReadRow(*prepared, read);
  if (!End(*prepared, code)) return false;
  if (turn_) {
    prepared->turn = turn_->number();
    prepared->memo.Note(prepared->turn, prepared->touched, parameters, read);
  }
  rows = std::move(read);
  return true;
}

bool SqliteDriver::Run(std::string_view statement, const Markers& values, bool addsRow) {
  SqliteStatement* prepared = Begin(statement, values, NowMs());
  if (!prepared) return false;
  int code;
  do {
    code = sqlite3_step(prepared->handle.get());
  } while (code == SQLITE_ROW);
  RefreshDescription(*prepared);
  return End(*prepared, code, addsRow);
}

bool SqliteDriver::Execute(std::string_view statement, std::span<const SqlValue> parameters) {
  return Run(statement, parameters);
}

bool SqliteDriver::Insert(const SqlRows& target, std::span<const SqlAssignment> values) {
  if (target.table.empty()) return Fail("insert", "the row set comes from no single table");
  ownText_ = "insert into ";
  AppendQuoted(ownText_, target.table);
  ownText_ += values.empty() ? " default values" : "(";
  for (const SqlAssignment& each : values) {
    AppendQuoted(ownText_, each.column);
    ownText_ += &each == &values.back() ? ") values(" : ",";
  }
  for (size_t i = 0; i < values.size(); ++i) ownText_ += i + 1 == values.size() ? "?)" : "?,";
  return Run(ownText_, Markers(values), true);
}

bool SqliteDriver::UpdateRow(SqlRows& rows, size_t row, std::span<const SqlAssignment> values) {
  if (values.empty()) return true;
  ownText_ = "update ";
  AppendQuoted(ownText_, rows.table);
  for (const SqlAssignment& each : values) {
    ownText_ += &each == &values.front() ? " set " : ",";
    AppendQuoted(ownText_, each.column);
    ownText_ += "=?";
  }
  return ChangeOneRow(rows, row, values);
}

bool SqliteDriver::DeleteRow(const SqlRows& rows, size_t row) {
  ownText_ = "delete from ";
  AppendQuoted(ownText_, rows.table);
  return ChangeOneRow(rows, row, {});
}

// Runs the own statement on the one row alone; a row that another program has deleted meanwhile is
// a failure.
bool SqliteDriver::ChangeOneRow(const SqlRows& rows, size_t row,
                                std::span<const SqlAssignment> values) {
  if (rows.table.empty()) return Fail(ownText_, "the row set comes from no single table");
  if (row >= rows.identity.size()) return Fail(ownText_, "no current row");
  ownText_ += " where _rowid_=?";
  if (!Run(ownText_, Markers(values, &rows.identity[row]))) return false;
  if (sqlite3_changes64(connection_->handle()) > 0) return true;
  return Fail(ownText_, "the row is no longer there");
}

bool SqliteDriver::EndTurn() {
  expectsWrites_ = false;
  int code = SQLITE_OK;
  std::string why;
  if (!turn_ || turn_->End(code, why)) return true;
  undone_ += turn_->Drop();
  Fail("commit", why);
  Conclude(code);
  if (trouble_ == SqlTrouble::kNone) trouble_ = SqlTrouble::kWriteFailed;
  return false;
}

bool SqliteDriver::SyncCommitted() {
  EndTurn();
  const bool isReplaced = connection_ && connection_->hasUnsynced() && connection_->HasMoved();
  if (isReplaced) LeaveReplacedFile(NowMs());
  if (std::exchange(mayBeLost_, false)) {
    lastError_ = fmt::format("database file {}: it was replaced before a sync", options_.path);
    return false;
  }
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
