// Private to platform: one open SQLite file and the statements prepared on it.
#pragma once

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sql/recent_cache.h"
#include "platform/sql/sql_driver.h"
#include "platform/sql/sqlite/sqlite_memo.h"

namespace vnq {

struct FinalizeSqlite {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using SqliteHandle = std::unique_ptr<sqlite3_stmt, FinalizeSqlite>;

/// A prepared statement and what is known of its rows.
struct SqliteStatement {
  std::string written;  ///< the text it was made from
  SqliteHandle handle;
  std::shared_ptr<const std::vector<SqlColumn>> columns;
  std::string table;  ///< the one table; then each row has the rowid as one more cell at its end
  int repreparations = 0;
  uint64_t turn = 0;  ///< the last one that it has read in; 0 is none
  SqliteTouched touched;
  SqliteMemo memo;
};

/// Prepared statements by their written text, the least recently used dropped first.
class SqliteStatementCache {
 public:
  explicit SqliteStatementCache(sqlite3* database) : database_(database), touches_(database) {}

  /// The statement, prepared if it was not. Owned by the cache and good until the next call. Null
  /// on failure; the engine's error is then the connection's, `refusal` says what else was wrong.
  SqliteStatement* Prepare(std::string_view written, std::string& refusal);

  /// The statement, if it is prepared; null otherwise.
  SqliteStatement* Find(std::string_view written) { return recent_.Find(written); }

  size_t size() const { return recent_.size(); }

  static constexpr size_t kCapacity = 512;
  static constexpr size_t kLongestKept =
      4096;  ///< bytes; a longer text is prepared anew at each use

 private:
  bool Make(std::string_view written, SqliteStatement& statement, std::string& refusal);

  sqlite3* database_;
  SqliteTouchWatch touches_;
  RecentCache<SqliteStatement> recent_{kCapacity};
  SqliteStatement unkept_;
};

/// Reads columns and table anew when the engine had to prepare the statement again, after a change
/// of the schema.
void RefreshDescription(SqliteStatement& statement);

class SqliteConnection {
 public:
  /// Opens the file as the options say. Null on failure, with the reason in `error`.
  static std::unique_ptr<SqliteConnection> Open(const SqliteOptions& options, std::string& error);
  ~SqliteConnection();

  SqliteConnection(const SqliteConnection&) = delete;
  SqliteConnection& operator=(const SqliteConnection&) = delete;

  sqlite3* handle() const { return handle_; }
  SqliteStatementCache& statements() { return *statements_; }

  bool hasWriteAheadLog() const { return writeAheadLog_; }

  /// True when the file's name leads to another file now, or to none.
  bool HasMoved() const;

  /// True when something was committed since the last sync.
  bool hasUnsynced() const { return written_; }

  /// Syncs what was committed since the last successful call, when `durability` leaves that to it,
  /// and moves a long write-ahead log into the file.
  bool Sync(SqlDurability durability, std::string& error);

 private:
  SqliteConnection() = default;
  bool Prepare(const SqliteOptions& options, std::string& error);
  bool UseWriteAheadLog(std::string& error);
  bool Run(const char* statement, std::string& error);
  static int NoteCommit(void* self, sqlite3*, const char*, int logPages);

  sqlite3* handle_ = nullptr;
  std::unique_ptr<SqliteStatementCache> statements_;
  bool writeAheadLog_ = false;
  bool written_ = false;  // committed since the last sync
  int logPages_ = 0;      // length of the write-ahead log at the last commit
};

}  // namespace vnq
