// Private to platform: what the rows of a table look like and what finds one of them again.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sql/odbc/odbc_statement.h"

namespace vnq {

struct OdbcTable {
  std::vector<OdbcColumn> columns;
  std::vector<std::string> key;  ///< columns that find a row again; empty: all columns do

  /// The column of that name, without regard to ASCII case; null when there is none.
  const OdbcColumn* Find(std::string_view name) const;
};

/// A name as statements hold it.
std::string BracketedName(std::string_view name);

/// Asks the database for a table's columns and key. A failure that is no loss of the connection
/// means that there is no such table.
bool ReadOdbcTable(SQLHDBC connection, OdbcParameters& parameters, std::string_view name,
                   int timeoutS, OdbcTable& table, OdbcError& error);

/// The condition that finds the row of `rows` again, and its parameters behind those that are
/// there: by its identity, or by all its cells when it has none. Empty when nothing can find it.
std::string OdbcRowCondition(const OdbcTable& table, const SqlRows& rows, size_t row,
                             std::vector<SqlValue>& parameters);

/// Takes over what an update has written to columns of the key.
void RefreshOdbcIdentity(const OdbcTable& table, SqlRows& rows, size_t row,
                         std::span<const SqlAssignment> values);

}  // namespace vnq
