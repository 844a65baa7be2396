// A whole table, some rows at a time.
#pragma once

#include <string>
#include <string_view>

#include "host/database/database_engine.h"
#include "platform/sql/sql_driver.h"

namespace vnq {

/// What opens a transaction in which every read sees the database as it was at the first, where the
/// engine has one. SQL Server's sees what others commit meanwhile.
std::string_view BeginSnapshotStatement(DatabaseEngine engine);

/// The rows of one table. SQLite's come in order of their rowids, which is that of insertion; a
/// server's in its own. SQL Server gives all rows as one page, so they must fit into memory.
///
/// Stands inside a transaction; PostgreSQL closes a cursor that was not read to its end with it.
class TablePages {
 public:
  TablePages(SqlDriver& driver, DatabaseEngine engine, std::string_view table)
      : driver_(driver), engine_(engine), table_(table) {}

  /// The next rows; none behind the last. `page` has the columns even when it has no rows. False
  /// when the database refuses, see the driver's LastError().
  bool Next(SqlRows& page);

  static constexpr size_t kPageRows = 500;

 private:
  bool NextByRowid(SqlRows& page);
  bool NextByCursor(SqlRows& page);
  bool NextAtOnce(SqlRows& page);

  SqlDriver& driver_;
  DatabaseEngine engine_;
  std::string table_;
  bool isBegun_ = false, isEnded_ = false;
  SqlValue lastRowid_ = SqlValue::Integer(INT64_MIN);
};

}  // namespace vnq
