// Private to platform: the statements prepared on one PostgreSQL connection.
#pragma once

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/postgres_connection.h"
#include "platform/recent_cache.h"

namespace vnq {

struct PostgresStatement {
  std::string name;  ///< on the server; empty for one that is not kept
  size_t parameters = 0;
  bool reads = false;                                     ///< gives rows
  std::shared_ptr<const std::vector<SqlColumn>> columns;  ///< of its rows; without the identity's
  std::string table;                    ///< the one table of its rows, quoted; else empty
  std::vector<std::string> keyColumns;  ///< what identifies a row; without any, its ctid does
  size_t identityWidth = 0;             ///< cells at the end of each row
};

class PostgresStatements {
 public:
  PostgresStatements(PostgresConnection& connection, std::vector<std::string> exactColumns)
      : connection_(connection), exactColumns_(std::move(exactColumns)) {}

  /// The statement, prepared if it was not. Good until the next call. Null on failure, with the
  /// reason in `error`.
  PostgresStatement* Prepare(std::string_view written, std::span<const SqlValue> parameters,
                             std::string& error);

  /// Forgets all that was prepared, after a change of the tables.
  void Clear();

  static constexpr size_t kCapacity = 512;
  static constexpr size_t kLongestKept = 4096;  ///< bytes; a longer text is prepared at each use

 private:
  // What is known of a table that rows come from.
  struct Table {
    std::string name;  // quoted; empty when its rows cannot be written back
    std::vector<std::string> keyColumns;
  };

  bool Make(const std::string& text, PostgresStatement& statement, std::string& error);
  bool PrepareAs(const std::string& name, const std::string& text, std::string& error);
  bool Describe(PostgresStatement& statement, Oid& table, std::string& error);
  void AddIdentity(const std::string& text, Oid oid, PostgresStatement& statement);
  const Table& TableOf(Oid oid);
  Table ReadTable(Oid oid);
  void Deallocate(const std::string& name);

  PostgresConnection& connection_;
  std::vector<std::string> exactColumns_;
  RecentCache<PostgresStatement> recent_{kCapacity};
  std::unordered_map<Oid, Table> tables_;
  PostgresStatement unkept_;
  uint64_t made_ = 0;
};

/// The server's words for an error: its message and its state.
std::string PostgresError(const PGresult* result);

}  // namespace vnq
