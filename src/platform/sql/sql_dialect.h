// From the dialect that statements are written in to the dialect of an engine.
//
//   written                     meaning
//   select top N ...            the first N rows
//   #YYYY-MM-DD#                a date, kept as text
//   clng(x), CONVERT(int,x)     x as a 32-bit integer; an error when it is no number
//   a = ?, a <> ?, a in (?,?)   in conditions: texts compared as TextComparison below says
//   order by a                  NULL sorts as the smallest value
//
// Everything else is the common subset and stays byte for byte as it is; so does whatever stands in
// quotes, in brackets or in a comment. The functions are pure, take any text and never fail: what
// is no statement comes out as it went in, and the engine refuses it.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vnq {

/// What a marker stands for. A text takes part in comparisons, and those need care on a server.
enum class SqlMarker { kNumber, kText };

/// How an engine writes what the written dialect leaves open.
struct SqlDialect {
  bool limitAtEnd;  ///< `top N` becomes `limit N` at the end of its select; else it stays
  std::string_view integerOpen;   ///< what stands before x in a conversion to integer
  std::string_view integerClose;  ///< and behind it
  bool numberedMarkers;           ///< markers are $1, $2, ...; else each is a ?
  bool nullsNeedPlacing;  ///< NULL sorts as the greatest value unless told; else as the smallest

  /// How texts come to be compared as everywhere in the system: ASCII letters without regard to
  /// case, everything else exactly, trailing blanks included.
  enum class TextComparison {
    kByColumn,      ///< the columns' own collation does it
    kFolded,        ///< both sides are folded: there is an index on the folded column's beginning
    kSearchFolded,  ///< the comparison as it stands, for the index, and the folded one beside it
  } textComparison;
};

/// `convert_int` is a function that the SQLite driver brings along: the engine's own cast makes 0
/// of anything.
inline constexpr SqlDialect kSqliteDialect{
    true, "convert_int(", ")", false, false, SqlDialect::TextComparison::kByColumn};
inline constexpr SqlDialect kPostgresDialect{true, "cast(", " as integer)",
                                             true, true,    SqlDialect::TextComparison::kFolded};
inline constexpr SqlDialect kTransactSqlDialect{
    false, "CONVERT(int,", ")", false, false, SqlDialect::TextComparison::kSearchFolded};

/// How much of a folded text an index holds, in characters: two such, of four bytes each, go into
/// one of PostgreSQL's.
inline constexpr int kIndexedCharacters = 255;

/// A statement as an engine takes it.
struct TranslatedSql {
  std::string text;

  /// For each `?` in the text, the parameter (from 0) that it takes. A numbered marker names its
  /// own, so this is then 0, 1, 2, ... up to the number of parameters.
  std::vector<size_t> parameters;

  /// The one table that a select reads, as written; empty for a join, a union, distinct rows,
  /// groups and for what is no select.
  std::string table;

  /// Where the list of columns ends, in the text; nothing for what is no select whose rows are rows
  /// of one table.
  std::optional<size_t> columnsEnd;

  /// Where an order could be written into such a select; nothing when it has one of its own.
  std::optional<size_t> orderPlace = std::nullopt;
  bool hasCondition = false;  ///< it has a `where`

  /// The select with `columns`, separated by commas, as further ones. There must be a columnsEnd.
  /// Where it leaves the order open it is by `order`, a column of integers; empty: it stays open.
  std::string WithColumns(std::string_view columns, std::string_view order = {}) const;
};

/// The statement in the engine's dialect. `markers` tells what each `?` is; one that is not told is
/// a number. `exactColumns` are names of columns whose texts are compared exactly, case and all.
TranslatedSql TranslateSql(std::string_view statement, std::span<const SqlMarker> markers,
                           const SqlDialect& dialect,
                           std::span<const std::string> exactColumns = {});

/// An expression as comparisons fold it: PostgreSQL's `lower(cast(x as text) collate "C")`.
std::string FoldedText(std::string_view expression, const SqlDialect& dialect);

/// What an index on a folded column holds: its beginning, for an index takes no text of any length.
/// PostgreSQL's `substr(lower(cast(x as text) collate "C"),1,255)`.
std::string IndexedText(std::string_view expression, const SqlDialect& dialect);

}  // namespace vnq
