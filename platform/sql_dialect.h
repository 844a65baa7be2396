// From the dialect that statements are written in to the dialect of an engine.
//
//   written                     meaning
//   select top N ...            the first N rows
//   #YYYY-MM-DD#                a date, kept as text
//   clng(x), CONVERT(int,x)     x as a 32-bit integer; an error when it is no number
//
// Everything else is the common subset and stays byte for byte as it is; so does whatever stands in
// quotes, in brackets or in a comment. Both functions are pure, take any text and never fail: what
// is no statement comes out as it went in, and the engine refuses it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace vnq {

/// What an engine writes for the forms above.
struct SqlDialect {
  bool limitAtEnd;  ///< `top N` becomes `limit N` at the end of its select; else it stays
  std::string_view integerOpen;   ///< what stands before x in a conversion to integer
  std::string_view integerClose;  ///< and behind it
};

/// `convert_int` is a function that the SQLite driver brings along: the engine's own cast makes 0
/// of anything.
inline constexpr SqlDialect kSqliteDialect{true, "convert_int(", ")"};
inline constexpr SqlDialect kPostgresDialect{true, "cast(", " as integer)"};
inline constexpr SqlDialect kTransactSqlDialect{false, "CONVERT(int,", ")"};

/// The statement in the engine's dialect.
std::string TranslateSql(std::string_view statement, const SqlDialect& dialect);

/// The select with `column` as one more column at the end of its list. Nothing for what is no
/// select whose rows are rows of one table: a join, a union, distinct rows, groups. Whether each
/// column is one of the table's
/// (`count(*)` is none) is left to the engine to tell.
std::optional<std::string> SelectWithColumn(std::string_view select, std::string_view column);

}  // namespace vnq
