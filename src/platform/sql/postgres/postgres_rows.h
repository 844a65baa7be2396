// Private to platform: how rows that were read are found again, to be written or deleted.
//
// A table with a key finds them by that, and so whoever has written them meanwhile. One without a
// key finds them by their place and the transaction that wrote there (ctid and xmin), which every
// write changes: this process's own are followed here, and another program's are found by the
// columns that the table's indexes are on, as long as only one row bears their values.
#pragma once

#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "platform/sql/postgres/postgres_statements.h"
#include "platform/sql/postgres/postgres_values.h"
#include "platform/sql/recent_cache.h"
#include "platform/sql/sql_driver.h"

namespace vnq {

using PostgresIdentity = std::vector<SqlValue>;

class PostgresRows {
 public:
  /// Takes what is known of a table; the last reading counts, for its key may have changed.
  void NoteTable(std::shared_ptr<const PostgresTable> table);

  /// The table of that name in SqlRows; null when none of its rows was read as such.
  const PostgresTable* Find(const std::string& name) const;

  /// What finds the row now: another handler may have written it through a row set of its own.
  /// Empty when the row set has no such row, or was read when the table had another key.
  PostgresIdentity Current(const SqlRows& rows, size_t row);

  /// Notes that a row is found by `now` from here on.
  void NoteMoved(const SqlRows& rows, const PostgresIdentity& before, const PostgresIdentity& now);

 private:
  // By the name in SqlRows, for rows outlive the session that read them.
  std::map<std::string, std::shared_ptr<const PostgresTable>, std::less<>> tables_;

  static constexpr size_t kMovedRows = 4096;
  RecentCache<PostgresIdentity> moved_{kMovedRows};
};

/// A statement in the engine's dialect that changes the one row, and gives what finds it then:
/// `statement` with its condition behind it. `values` are those of the markers in it.
void AppendRowCondition(const PostgresTable& table, const PostgresIdentity& identity,
                        std::string& statement, std::vector<SqlValue>& values);

/// A select in the written dialect of what finds the rows that have the row's values in `columns`.
/// Empty when the row set has none of these columns.
std::string SelectByColumns(const PostgresTable& table, std::span<const std::string> columns,
                            const SqlRows& rows, size_t row, std::vector<SqlValue>& values);

/// Of the identities that the result holds the one that no row of the row set has; empty when there
/// is none, or more than one: rows that were there before are not those that were written since.
PostgresIdentity OnlyNewIdentity(const pg_result* result, const SqlRows& rows);

}  // namespace vnq
