// The embedded database, made where it is missing.
#pragma once

#include <string>

#include "platform/sql_driver.h"

namespace vnq {

/// What MakeSchema found to do.
struct SchemaReport {
  size_t tables = 0;   ///< tables made
  size_t indexes = 0;  ///< indexes made
  size_t rows = 0;     ///< rows made: the counters and the logo's version
};

/// Creates the tables, indexes and rows that are missing, all or none. Existing tables keep their
/// columns and rows. False, with the reason in `error`, when the database refuses.
bool MakeSchema(SqlDriver& driver, SchemaReport& report, std::string& error);

/// Runs `work` in one transaction: committed when it returns true, else rolled back.
template <typename Work>
bool InTransaction(SqlDriver& driver, const Work& work) {
  if (!driver.Execute("begin immediate", {})) return false;
  if (work() && driver.Execute("commit", {})) return true;
  driver.Execute("rollback", {});
  return false;
}

/// The number of rows of a query; 0 when it fails.
size_t CountRows(SqlDriver& driver, std::string_view statement);

}  // namespace vnq
