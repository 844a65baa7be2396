// The tables of the database, as data.
//
// Names and their order are fixed: clients' companion programs read the same tables, some of them
// by column position. The mixed spelling is part of the schema. In an SQLite file every table keeps
// its rowid, so rows without an order of their own come back in order of insertion; no column is
// unique, and every column may be NULL.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vnq {

enum class ColumnKind {
  kText,       ///< compared without regard to ASCII case
  kExactText,  ///< compared byte by byte
  kInteger,
  kGrowingId,  ///< an integer that the database assigns; it grows and never repeats
};

enum class ColumnDefault {
  kNull,
  kZero,
  kToday,  ///< the local date at the moment of the insert, YYYY-MM-DD
  kNow,    ///< the local time at the moment of the insert, hh:mm:ss
};

/// How much of a text an engine that bounds its columns must hold. Others hold any text anywhere.
enum class TextLength {
  kName,       ///< ids, names, dates: kNameLength characters; such a column can have an index
  kUnbounded,  ///< messages, lists, paths, remarks: whatever clients send
};

/// In 16-bit units.
inline constexpr int kNameLength = 255;

struct ColumnDef {
  std::string_view name;
  ColumnKind kind = ColumnKind::kText;
  ColumnDefault initial = ColumnDefault::kNull;
  TextLength length = TextLength::kName;
};

struct TableDef {
  std::string_view name;
  std::vector<ColumnDef> columns;

  /// One index an entry: a column, or several separated by commas.
  ///
  /// A look-up through an index gives the rows in the order of the index's further columns. So an
  /// index has further columns only where statements always name all of them; elsewhere one column
  /// keeps the order of insertion, which member lists rely on.
  std::vector<std::string_view> indexes;

  /// Further ones, made on request, for those who read what somebody has said. No statement of the
  /// server looks rows up through them.
  std::vector<std::string_view> historyIndexes{};
};

/// Every table of the system, in the order of the documentation.
const std::vector<TableDef>& SchemaTables();

/// Names of the columns whose texts are compared exactly, case and all.
std::vector<std::string> ExactTextColumns();

}  // namespace vnq
