// Which tables a database has, as a number: a program that is older than a database must not work
// on it as if it knew it.
//
// The number stands in a table of its own, vnq_schema, with one row: other programs of the suite
// share the database, and read the tables that they know. vnqctl init and upgrade write it, and no
// other program does. A database without it is taken for one that every version knows.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "host/database/database_engine.h"
#include "platform/sql/sql_driver.h"

namespace vnq {

/// Of the tables of schema.h. It grows where a program that does not know a change would do harm.
inline constexpr int kSchemaVersion = 1;

inline constexpr std::string_view kSchemaTable = "vnq_schema";

/// What a database says of itself; nothing where it says nothing, or does not answer.
std::optional<int> ReadSchemaVersion(SqlDriver& driver, DatabaseEngine engine);

/// Why this program must not work on the database, which is newer; empty where it may.
std::string NewerSchemaFault(SqlDriver& driver, DatabaseEngine engine);

}  // namespace vnq
