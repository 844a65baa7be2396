// The output of the mdbtools programs, read.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/moving/table_source.h"

namespace vnq {

/// How the values of an Access column come to be values of a database.
enum class AccessType {
  kText,      ///< Text, Memo
  kWhole,     ///< Byte, Integer, Long Integer
  kExact,     ///< Currency, Numeric: blanks of a fraction dropped
  kFloat,     ///< Single, Double: the shortest text that reads back as the same number
  kBoolean,   ///< 1 or 0
  kDateTime,  ///< see DateForm
  kGuid,
  kUnusable,  ///< binary data, and what is not known
};

/// What the dates of a column hold. Access has one type for all three, and its day 1899-12-30
/// stands for no date.
struct DateForm {
  bool hasDate = false;  ///< one of them has another day than that
  bool hasTime = false;  ///< one of them has another time than midnight
};

struct AccessColumn {
  std::string name;
  std::string typeName;  ///< as mdb-schema calls it
  AccessType type = AccessType::kText;
  DateForm dates;
};

struct AccessTable {
  std::string name;
  std::vector<AccessColumn> columns;
};

/// Reads what `mdb-schema FILE access` writes, line by line.
class AccessSchemaReader {
 public:
  void Add(std::string_view line);
  std::vector<AccessTable>& tables() { return tables_; }

 private:
  std::vector<AccessTable> tables_;
};

/// Reads one line of `mdb-json`, with dates written as kAccessDateFormat, into one cell a column; a
/// column that the line does not have is NULL. False, with what is wrong in `error`, for anything
/// else. A date is left as it stands; see FormAccessDate.
bool ParseAccessRow(std::string_view line, const std::vector<AccessColumn>& columns,
                    std::vector<SqlValue>& cells, std::string& error);

inline constexpr std::string_view kAccessDateFormat = "%Y-%m-%d %H:%M:%S";

/// Learns from one date of a column.
void NoteAccessDate(std::string_view date, DateForm& form);

/// A date as the column has them all: "YYYY-MM-DD" when none of them has a time, "hh:mm:ss" when
/// none has a day, else both.
std::string FormAccessDate(std::string_view date, const DateForm& form);

}  // namespace vnq
