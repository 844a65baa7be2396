// The tables of a database, made where they are missing.
#pragma once

#include <string>
#include <vector>

#include "host/database/database_engine.h"
#include "platform/sql/sql_driver.h"

namespace vnq {

/// What MakeSchema found to do.
struct SchemaReport {
  size_t tables = 0;   ///< tables made
  size_t indexes = 0;  ///< indexes made
  size_t rows = 0;     ///< rows made: the counters and the logo's version

  /// One line a difference between a table that was there and what the server expects.
  std::vector<std::string> differences;
};

/// Which indexes are wanted.
enum class IndexSet {
  kServer,       ///< those that the server's statements go through
  kAlsoHistory,  ///< those of TableDef::historyIndexes, too
};

/// Creates the tables, indexes and rows that are missing, all or none. Existing tables keep their
/// columns and rows. False, with the reason in `error`, when the database refuses.
bool MakeSchema(SqlDriver& driver, DatabaseEngine engine, SchemaReport& report, std::string& error,
                IndexSet indexes = IndexSet::kServer);

}  // namespace vnq
