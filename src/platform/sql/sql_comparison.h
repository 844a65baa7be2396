// Private to platform: comparisons of texts in a statement's conditions.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/sql/sql_dialect.h"
#include "platform/sql/sql_tokens.h"

namespace vnq {

/// One side of a comparison, or one entry of a list.
struct SqlOperand {
  enum class Kind { kColumn, kLiteral, kParameter };
  Kind kind = Kind::kColumn;
  std::string text;      ///< a column as written, a literal with its quotes
  std::string column;    ///< a column's name without its table
  size_t parameter = 0;  ///< which one, from 0
};

/// `left = right`, `left <> right` or `left in (right, ...)`, where texts are compared: columns
/// with texts, or columns with columns, whose type the statement does not tell.
struct SqlComparison {
  SqlOperand left;
  std::string sign;  ///< "=", "<>" or " in "
  std::vector<SqlOperand> right;
  size_t end = 0;      ///< the token behind it
  size_t markers = 0;  ///< how many stand in it
};

/// The comparison that begins at a token; nothing when there is none. `markers` are those of the
/// statement, `markersBefore` of them stand in front of the token.
std::optional<SqlComparison> ReadComparison(const Tokens& tokens, size_t index,
                                            std::span<const SqlMarker> markers,
                                            size_t markersBefore);

/// The comparison as the dialect has it; nothing when it may stay as it is. Adds to `parameters`
/// what its markers take, unless they are numbered.
std::optional<std::string> WrittenComparison(const SqlComparison& comparison,
                                             const SqlDialect& dialect,
                                             std::span<const std::string> exactColumns,
                                             std::vector<size_t>& parameters);

/// The marker for a parameter; adds it to `parameters` unless markers are numbered.
std::string MarkerText(size_t parameter, const SqlDialect& dialect,
                       std::vector<size_t>& parameters);

}  // namespace vnq
