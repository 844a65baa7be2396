// What a database engine must offer to the cursors of the host. One implementation per engine.
//
// Statements arrive in the written dialect (`top 1`, `#YYYY-MM-DD#`, `clng(x)`, `CONVERT(int,x)`),
// with a bare `?` for each bound parameter; the driver rewrites them for its engine and caches what
// it prepared. A failed call returns false, changes nothing in its output, and LastError() says
// what, which and why.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vnq {

class Clock;

/// A value on its way to or from the database. Text is UTF-8.
struct SqlValue {
  enum class Kind { kNull, kInteger, kText };

  Kind kind = Kind::kNull;
  int64_t integer = 0;
  std::string text;

  static SqlValue Null() { return {}; }
  static SqlValue Integer(int64_t value) { return {Kind::kInteger, value, {}}; }
  static SqlValue Text(std::string value) { return {Kind::kText, 0, std::move(value)}; }
};

enum class SqlColumnType { kText, kInteger };

struct SqlColumn {
  std::string name;
  SqlColumnType type = SqlColumnType::kText;
  size_t maxLength = 0;  ///< the longest text, in 16-bit units; 0 is without bound
};

/// The rows of one query, all in memory: the statement is finished when Query returns, so the rows
/// outlive anything that runs later.
struct SqlRows {
  std::shared_ptr<const std::vector<SqlColumn>> columns;  ///< never null after a successful Query
  std::vector<SqlValue> cells;  ///< row by row, columns->size() cells each
  std::string table;  ///< the one table the rows come from; empty for joins and expressions

  /// What finds the rows again when `table` is set: identityWidth values a row, which only the
  /// driver that read them understands. A width of 0 leaves it to the row's own cells.
  std::vector<SqlValue> identity;
  size_t identityWidth = 0;

  size_t rowCount() const {
    return columns && !columns->empty() ? cells.size() / columns->size() : 0;
  }
};

/// A column that counts the rows of a table as they are added, where the engine has nothing of the
/// kind by itself. A statement that does not name it does not see it: it is in no row set.
inline constexpr std::string_view kSqlRowColumn = "vnq_row";

/// One column to write.
struct SqlAssignment {
  std::string column;
  SqlValue value;
  bool isAdded = false;  ///< to what the column holds then, instead of taking its place
};

/// A lock that programs on one server know by its numbers, apart from the locks of its tables.
struct SqlLock {
  int space = 0;       ///< whose locks they are
  int32_t number = 0;  ///< which of them
};

/// What keeps a database from running statements that are right in themselves.
enum class SqlTrouble {
  kNone,         ///< nothing: the statement itself was refused
  kLocked,       ///< another program keeps it locked
  kFull,         ///< the disk, or what the engine may use of it, is full
  kReadOnly,     ///< it may only be read
  kWriteFailed,  ///< the system refused a write
  kForbidden,    ///< its user has not the right to
  kMissing,      ///< a table or a column is not there
  kUnavailable,  ///< it cannot be reached; the driver says in the log when that begins and ends
};

class SqlDriver {
 public:
  virtual ~SqlDriver() = default;

  /// Runs a select and reads all rows.
  virtual bool Query(std::string_view statement, std::span<const SqlValue> parameters,
                     SqlRows& rows) = 0;

  /// The same where only columns and table of the rows matter: there may be fewer rows, or none.
  virtual bool Describe(std::string_view statement, std::span<const SqlValue> parameters,
                        SqlRows& rows) {
    return Query(statement, parameters, rows);
  }

  /// Runs a statement that gives no rows.
  virtual bool Execute(std::string_view statement, std::span<const SqlValue> parameters) = 0;

  /// Adds a row with the given columns; the others take their defaults.
  virtual bool Insert(const SqlRows& target, std::span<const SqlAssignment> values) = 0;

  /// The same, unless there is a row that has the same values in the columns `key`, of those given:
  /// also one that another program adds at the same moment in this way. Done in either case. Where
  /// the engine belongs to one program it is Insert.
  virtual bool InsertOnce(const SqlRows& target, std::span<const SqlAssignment> values,
                          [[maybe_unused]] std::span<const SqlAssignment> key) {
    return Insert(target, values);
  }

  /// Takes a lock until Unlock, or until the connection ends. waits: as long as statements do for
  /// any lock; else false at once where another has it. False where the engine has no such locks.
  virtual bool Lock(const SqlLock&, [[maybe_unused]] bool waits) { return false; }
  virtual bool Unlock(const SqlLock&) { return false; }

  /// Has each connection from the next one on share the lock while it stands: nobody can take it
  /// meanwhile.
  virtual void ShareWhileConnected(const SqlLock&) {}

  /// Writes the given columns of one row that Query returned. The row's identity may change with
  /// it; its cells are the caller's to keep up.
  virtual bool UpdateRow(SqlRows& rows, size_t row, std::span<const SqlAssignment> values) = 0;

  /// Deletes one row that Query returned.
  virtual bool DeleteRow(const SqlRows& rows, size_t row) = 0;

  /// Commits what the statements since the last call have written, where the driver lets them share
  /// a transaction. False: the commit was refused, and TakeUndone() tells what that cost. Cheap
  /// when nothing is open.
  virtual bool EndTurn() { return true; }

  /// True while EndTurn may have to commit what a statement was reported to have done, so that
  /// nobody outside may be told of it yet.
  virtual bool OwesCommit() const { return true; }

  /// Says that the statements until then will write. A hint: where they share a transaction it can
  /// be begun for writing at once.
  virtual void ExpectWrites() {}

  /// Statements that were reported as done and have been undone since, with the transaction that
  /// they shared. Each is told of once.
  virtual size_t TakeUndone() { return 0; }

  /// Makes everything committed so far survive a power cut, as far as the configured durability
  /// asks for it. Cheap when nothing was written since the last call. False also when it is not
  /// known what became of something written since then: its session, or its file, is another one.
  virtual bool SyncCommitted() = 0;

  /// What went wrong in the last call that returned false.
  virtual const std::string& LastError() const = 0;

  /// The same in one word.
  virtual SqlTrouble LastTrouble() const { return SqlTrouble::kNone; }
};

/// What receipts promise; see SqlDriver::SyncCommitted.
enum class SqlDurability { kReceipt, kCommit, kNone };

/// When what a statement wrote is committed; see OpenSqlite and OpenPostgres.
enum class SqlCommit { kStatement, kTurn };

struct SqliteOptions {
  std::string path;
  int busyTimeoutMs = 2000;
  SqlDurability durability = SqlDurability::kReceipt;
  SqlCommit commit = SqlCommit::kStatement;
  bool createFile = false;       ///< false: a missing file makes every statement fail
  const Clock* clock = nullptr;  ///< for the waits below; null: the machine's. Outlives the driver
};

/// An SQLite file in WAL mode. Never null: while the file cannot be opened, each
/// statement tries again (at most once a second) and fails; that it fails is logged once, and once
/// that it is back. A file that was moved or replaced is noticed within a second.
///
/// A statement that finds the file locked by another program waits for busyTimeoutMs. When that was
/// in vain, statements do not wait at all for a pause that is longer each time, so that a lock
/// holds the thread up now and then and not at each statement.
///
/// With kStatement each statement is committed by itself. With kTurn, where there is a write-ahead
/// log, statements share a transaction until EndTurn, or for a few milliseconds when that comes
/// late: the first that reads begins one for reading, the first that writes ends it and begins one
/// for writing. A statement that fails is undone alone. The caller begins no transactions then.
std::unique_ptr<SqlDriver> OpenSqlite(SqliteOptions options);

/// A database on a server, shared with other programs.
struct ServerDatabaseOptions {
  std::string odbcDriver;  ///< name of the ODBC driver, as odbcinst.ini knows it; OpenOdbc only
  std::string host;
  std::string port;  ///< empty: the engine's usual one
  std::string database;
  std::string user, password;
  std::vector<std::string> exactColumns;  ///< names of columns whose texts are compared exactly
  std::string socketFolder;  ///< where the server's socket is on this machine, to be used in place
                             ///< of host; empty: none. OpenPostgres only
  int connectTimeoutS = 5;
  int statementTimeoutS = 10;
  int busyTimeoutMs = 2000;  ///< how long a statement waits for another program's lock
  SqlDurability durability = SqlDurability::kReceipt;
  SqlCommit commit = SqlCommit::kStatement;  ///< OpenPostgres only
  const Clock* clock = nullptr;  ///< for the back-off; null: the machine's. Outlives the driver
};

/// A PostgreSQL database through its native client; see OpenOdbc for what holds for both.
///
/// With kTurn, rows that are added are not waited for: they are sent with the next statement that
/// has an answer, or at EndTurn, and one that is refused then counts as undone. A session that the
/// server has ended is replaced at once, and a select that it took with it is run again.
std::unique_ptr<SqlDriver> OpenPostgres(ServerDatabaseOptions options);

/// A database behind an ODBC driver: SQL Server with FreeTDS or with its maker's own.
///
/// Never null, and opening it does not connect: each statement does where no connection stands. No
/// call holds the thread longer than one connect and one statement may take; after a failed connect
/// or a time-out statements fail at once for a short back-off, then one is tried. That the database
/// went away is logged once, and once that it is back. A wait for a lock that was in vain is
/// followed by a pause in which no statement waits for one.
std::unique_ptr<SqlDriver> OpenOdbc(ServerDatabaseOptions options);

}  // namespace vnq
