// Private to platform: the statements that drivers make by themselves to add and change rows.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sql/sql_dialect.h"
#include "platform/sql/sql_driver.h"

namespace vnq {

/// How an engine writes names and markers.
struct RowWriting {
  std::string (*quoted)(std::string_view name);
  bool numbered;  ///< markers are $1, $2, ...; else each is a ?

  /// Whose indexes hold texts in another form; null: as they are.
  const SqlDialect* indexes = nullptr;

  /// Stands behind a table that a condition looks at; empty: a lock keeps others out.
  std::string_view keepsOthersOut = {};
};

/// A text and the values for its markers, in their order.
struct RowStatement {
  std::string text;
  std::vector<SqlValue> parameters;
};

/// `insert into TABLE(...) values(...)`, or `default values` without any. `table` is quoted
/// already.
RowStatement InsertStatement(std::string_view table, std::span<const SqlAssignment> values,
                             const RowWriting& writing);

/// The same as a statement that adds nothing where a row has the same values in the columns `key`.
RowStatement InsertOnceStatement(std::string_view table, std::span<const SqlAssignment> values,
                                 std::span<const SqlAssignment> key, const RowWriting& writing);

/// What stands for the values in these columns of a table, the same in every program: a number for
/// a lock. Of different values it may be the same, too.
int32_t LockNumberOf(std::string_view table, std::span<const SqlAssignment> key);

/// ` set A=?,B=B+?`
RowStatement SetClause(std::span<const SqlAssignment> values, const RowWriting& writing);

/// What the markers stand for that take these values.
std::vector<SqlMarker> MarkersOf(std::span<const SqlValue> values);

/// A name in double quotes, as standard SQL has it.
std::string DoubleQuoted(std::string_view name);

/// What LastError() says of a statement: its beginning, as far as a line of a log bears it, and the
/// reason.
std::string StatementFailure(std::string_view statement, std::string_view why);

}  // namespace vnq
