// A grammar check of the Transact-SQL that the statements of this project use.
#pragma once

#include <string>
#include <string_view>

namespace vnq {

/// Why the text is no statement of the subset, with the place; empty when it is one.
///
///   select  = "select" ["distinct"] ["top" (number | "(" number ")")] list ["from" tables
///             ["where" condition] ["order" "by" key {"," key}]]
///   insert  = "insert" "into" name ("(" names ")" "values" "(" terms ")" | "default" "values")
///   update  = "update" ["top" "(" number ")"] name "set" name "=" term {...} ["where" condition]
///   delete  = "delete" ["top" "(" number ")"] "from" name ["where" condition]
///
/// Names that are reserved words in Transact-SQL are refused unless they stand in brackets, and so
/// is what other engines write: `limit`, `||`, `::`, `$1`, names in backquotes.
std::string TransactSqlError(std::string_view statement);

}  // namespace vnq
