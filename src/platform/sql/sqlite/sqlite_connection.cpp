#include "platform/sql/sqlite/sqlite_connection.h"

#include <fmt/format.h>

#include "platform/system/event_log.h"
#include "support/numbers.h"

namespace vnq {
namespace {

constexpr int kCheckpointPages = 1000;
constexpr int64_t kKeptLogBytes = 64 << 20;

bool HasReason(int code, int reason) {
  return (code & 0xff) == reason;
}

// SQL function convert_int(x), also clng(x): the engine's own cast would make 0 of a text that is
// no number.
void ConvertToInteger(sqlite3_context* context, int, sqlite3_value** arguments) {
  if (sqlite3_value_type(arguments[0]) == SQLITE_NULL) return sqlite3_result_null(context);
  auto text = reinterpret_cast<const char*>(sqlite3_value_text(arguments[0]));
  auto bytes = static_cast<size_t>(sqlite3_value_bytes(arguments[0]));
  auto number = text ? ParseInt32({text, bytes}) : std::nullopt;
  if (!number) return sqlite3_result_error(context, "conversion to integer: no 32-bit number", -1);
  sqlite3_result_int(context, *number);
}

// The engine would count what it allocates, under a lock, and nobody asks. Only in front of the
// first use of the engine in a process; behind it nothing changes.
void LeaveOutAllocationCounts() {
  static const int ignored = sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
  static_cast<void>(ignored);
}

void RegisterFunctions(sqlite3* database) {
  constexpr int kFlags = SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_INNOCUOUS;
  for (const char* name : {"convert_int", "clng"}) {
    sqlite3_create_function_v2(database, name, 1, kFlags, nullptr, ConvertToInteger, nullptr,
                               nullptr, nullptr);
  }
}

const char* SynchronousPragma(SqlDurability durability, bool writeAheadLog) {
  if (durability == SqlDurability::kNone) return "pragma synchronous=off";
  // Without a write-ahead log there is nothing to sync later, so each commit has to.
  bool later = durability == SqlDurability::kReceipt && writeAheadLog;
  return later ? "pragma synchronous=normal" : "pragma synchronous=full";
}

}  // namespace

std::unique_ptr<SqliteConnection> SqliteConnection::Open(const SqliteOptions& options,
                                                         std::string& error) {
  // The empty name would open a file of the engine's own making that vanishes when it is closed.
  if (options.path.empty()) {
    error = "the database has no path";
    return nullptr;
  }
  LeaveOutAllocationCounts();
  std::unique_ptr<SqliteConnection> connection(new SqliteConnection);
  int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE;
  if (options.createFile) flags |= SQLITE_OPEN_CREATE;
  int code = sqlite3_open_v2(options.path.c_str(), &connection->handle_, flags, nullptr);
  if (code == SQLITE_OK && connection->Prepare(options, error)) return connection;
  if (code != SQLITE_OK) error = sqlite3_errstr(code);
  error = fmt::format("database file {}: {}", options.path, error);
  return nullptr;
}

SqliteConnection::~SqliteConnection() {
  statements_.reset();
  sqlite3_close_v2(handle_);
}

bool SqliteConnection::Prepare(const SqliteOptions& options, std::string& error) {
  sqlite3_busy_timeout(handle_, options.busyTimeoutMs);
  // A misspelt column in double quotes is an error, not a text.
  sqlite3_db_config(handle_, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
  RegisterFunctions(handle_);
  if (!UseWriteAheadLog(error)) return false;
  if (!Run(SynchronousPragma(options.durability, writeAheadLog_), error)) return false;
  // Behind a long reader the log grows; its length is given back when it begins anew.
  if (!Run(("pragma journal_size_limit=" + std::to_string(kKeptLogBytes)).c_str(), error))
    return false;
  // Takes the place of the engine's own check points, which would run inside a statement's commit.
  sqlite3_wal_hook(handle_, NoteCommit, this);
  statements_ = std::make_unique<SqliteStatementCache>(handle_);
  return true;
}

bool SqliteConnection::UseWriteAheadLog(std::string& error) {
  auto readMode = [](void* mode, int count, char** values, char**) {
    if (count > 0 && values[0]) *static_cast<std::string*>(mode) = values[0];
    return 0;
  };
  std::string mode;
  int code = sqlite3_exec(handle_, "pragma journal_mode=wal", readMode, &mode, nullptr);
  if (code != SQLITE_OK && !HasReason(code, SQLITE_READONLY)) {
    error = sqlite3_errmsg(handle_);
    return false;
  }
  writeAheadLog_ = mode == "wal";
  if (!writeAheadLog_) {
    LogWarning("database_journal", "database file {}: no write-ahead log here, journal mode is {}",
               sqlite3_db_filename(handle_, "main"), mode.empty() ? "unchanged" : mode);
  }
  return true;
}

bool SqliteConnection::Run(const char* statement, std::string& error) {
  if (sqlite3_exec(handle_, statement, nullptr, nullptr, nullptr) == SQLITE_OK) return true;
  error = sqlite3_errmsg(handle_);
  return false;
}

bool SqliteConnection::HasMoved() const {
  int moved = 0;
  sqlite3_file_control(handle_, "main", SQLITE_FCNTL_HAS_MOVED, &moved);
  return moved != 0;
}

int SqliteConnection::NoteCommit(void* self, sqlite3*, const char*, int logPages) {
  auto connection = static_cast<SqliteConnection*>(self);
  connection->written_ = true;
  connection->logPages_ = logPages;
  return SQLITE_OK;
}

bool SqliteConnection::Sync(SqlDurability durability, std::string& error) {
  if (!written_) return true;
  if (durability == SqlDurability::kReceipt) {
    sqlite3_file* log = nullptr;
    sqlite3_file_control(handle_, "main", SQLITE_FCNTL_JOURNAL_POINTER, &log);
    int code = log && log->pMethods ? log->pMethods->xSync(log, SQLITE_SYNC_NORMAL) : SQLITE_OK;
    if (code != SQLITE_OK) {
      error = fmt::format("sync of the write-ahead log: {}", sqlite3_errstr(code));
      return false;
    }
  }
  written_ = false;

  if (logPages_ <= kCheckpointPages) return true;
  int code =
      sqlite3_wal_checkpoint_v2(handle_, "main", SQLITE_CHECKPOINT_PASSIVE, nullptr, nullptr);
  // Another program's check point or reader only puts it off to a later call.
  if (code == SQLITE_OK || HasReason(code, SQLITE_BUSY) || HasReason(code, SQLITE_LOCKED))
    return true;
  error = fmt::format("check point: {}", sqlite3_errmsg(handle_));
  return false;
}

}  // namespace vnq
