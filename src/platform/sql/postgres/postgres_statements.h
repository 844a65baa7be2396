// Private to platform: the statements prepared in one session, and what is known of its tables.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/sql/postgres/postgres_connection.h"
#include "platform/sql/recent_cache.h"
#include "platform/sql/sql_dialect.h"

namespace vnq {

/// A table whose rows can be written back.
struct PostgresTable {
  unsigned number = 0;                ///< the server's number for it
  std::string name;                   ///< as it stands in a statement
  std::vector<std::string> identity;  ///< the columns that find a row again, as in a statement
  bool isByPlace = false;             ///< they are ctid and xmin: the table has no key
  bool isCounted = false;             ///< they are one that counts the rows as they were added
};

struct PostgresStatement {
  std::string name;  ///< on the server; empty for one that is overwritten by the next such
  std::shared_ptr<const std::vector<SqlColumn>> columns;  ///< null until it was run
  std::vector<int> shown;                                 ///< by column, where it is in the results
  int64_t describedMs = 0;                                ///< when `columns` was last seen to be so
  bool showsRowColumn = false;                            ///< its text names kSqlRowColumn
  std::shared_ptr<const PostgresTable> table;  ///< null when its rows are for reading only; else
                                               ///< the identity is at the end of its columns
};

class PostgresStatements {
 public:
  /// What becomes of a statement's text.
  enum class Use {
    kRows,     ///< translated; rows of one table get their identity as further columns
    kCommand,  ///< translated
    kOwn,      ///< the driver's own: in the engine's dialect already
  };

  /// The connection outlives the cache.
  PostgresStatements(PostgresConnection& connection, std::vector<std::string> exactColumns)
      : connection_(connection), exactColumns_(std::move(exactColumns)) {}

  /// The statement when it is prepared already; null otherwise. Sends nothing.
  PostgresStatement* Find(std::string_view written, std::span<const SqlValue> parameters, Use use);

  /// The columns that the indexes of a table are on; its first where it has no index. Read at each
  /// call.
  PostgresReply ReadIndexedColumns(unsigned table, const PostgresDeadline& deadline,
                                   std::vector<std::string>& columns);

  /// Gives the statement, prepared if it was not. Owned by the cache and good until the next call.
  /// anew: prepares it even if it was, for the server does not take the old one any more.
  PostgresReply Prepare(std::string_view written, std::span<const SqlValue> parameters, Use use,
                        bool anew, const PostgresDeadline& deadline, PostgresStatement*& statement);

  static constexpr size_t kCapacity = 512;
  static constexpr size_t kLongestKept =
      4096;  ///< bytes; a longer text is prepared anew at each use

 private:
  PostgresReply Make(const TranslatedSql& text, Use use, const PostgresDeadline& deadline,
                     PostgresStatement& made);
  PostgresReply MakeIdentified(const TranslatedSql& text, const PostgresDeadline& deadline,
                               PostgresStatement& made);
  PostgresReply TryIdentified(const TranslatedSql& text, const PostgresTable& table,
                              const PostgresDeadline& deadline, const std::string& name);
  PostgresReply ReadTable(unsigned number, const PostgresDeadline& deadline,
                          std::shared_ptr<const PostgresTable>& table);
  PostgresReply DropUnused(const PostgresDeadline& deadline);
  void NoteUnused(const PostgresStatement& statement);

  PostgresConnection& connection_;
  std::vector<std::string> exactColumns_;
  RecentCache<PostgresStatement> recent_{kCapacity};
  PostgresStatement unkept_;
  std::vector<std::string> unused_;  // names to be dropped on the server
  uint64_t lastName_ = 0;
  bool tableReaderPrepared_ = false;
};

}  // namespace vnq
