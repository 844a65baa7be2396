// Values from elsewhere, made to fit a column.
//
//   source             into an integer column             into a text column
//   NULL               NULL                               NULL
//   integer            itself, within the column's range  its decimal digits
//   blank text         NULL                               itself
//   whole number       the number, within the range       itself
//   "true", "false"    1, 0; in any letter case           itself
//   any other text     does not fit                       itself, if the column is wide enough
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/database/database_engine.h"
#include "platform/sql/sql_driver.h"

namespace vnq {

struct TargetColumn {
  std::string name;
  SqlColumnType type = SqlColumnType::kText;
  int64_t least = INT64_MIN, greatest = INT64_MAX;  ///< of an integer column
  size_t maxLength = 0;      ///< of a text column, in 16-bit units; 0 is without bound
  bool isSecret = false;     ///< its values are not for messages
  bool isGrowingId = false;  ///< the database gives a number where there is none
};

/// Changes the value as the table says. False when it does not fit, and `why` says what is wrong;
/// the value is as it was then.
bool FitValue(const TargetColumn& column, SqlValue& value, std::string& why);

/// True for a text with characters that the engine's text columns have no place for: in PostgreSQL
/// NUL and lone surrogates, on both servers bytes that are no UTF-8. SQLite keeps any.
bool HasUnstorableCharacters(std::string_view text, DatabaseEngine engine);

/// The value for a message: in quotes when it is a text, control characters as escapes, cut when
/// long.
std::string ShownValue(const TargetColumn& column, const SqlValue& value);

}  // namespace vnq
