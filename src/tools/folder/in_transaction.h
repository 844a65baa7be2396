// Work on the database that happens all or not at all.
#pragma once

#include <string_view>

#include "host/database/database_engine.h"
#include "platform/sql/sql_driver.h"

namespace vnq {

/// What opens a transaction. SQLite's takes the file's lock at once instead of failing half way.
constexpr std::string_view BeginStatement(DatabaseEngine engine) {
  switch (engine) {
    case DatabaseEngine::kSqlite:
      return "begin immediate";
    case DatabaseEngine::kPostgres:
      return "begin";
    case DatabaseEngine::kSqlServer:
      break;
  }
  return "begin transaction";
}

/// Runs `work` in one transaction: committed when it returns true, else rolled back.
template <typename Work>
bool InTransaction(SqlDriver& driver, DatabaseEngine engine, const Work& work) {
  if (!driver.Execute(BeginStatement(engine), {})) return false;
  if (work() && driver.Execute("commit", {})) return true;
  driver.Execute("rollback", {});
  return false;
}

/// The number of rows of a query; 0 when it fails.
inline size_t CountRows(SqlDriver& driver, std::string_view statement) {
  SqlRows rows;
  return driver.Query(statement, {}, rows) ? rows.rowCount() : 0;
}

}  // namespace vnq
