// The counter behind a table's growing id, which must never give a number twice.
#pragma once

#include <cstdint>
#include <string>

#include "host/database/database_engine.h"
#include "host/database/schema.h"
#include "platform/sql/sql_driver.h"

namespace vnq {

/// The table's column of that kind; null when it has none.
const ColumnDef* GrowingIdOf(const TableDef& table);

/// The last number that the database gave; 0 when it gave none or does not tell. Stands inside a
/// transaction.
int64_t ReadGrowingId(SqlDriver& driver, DatabaseEngine engine, const TableDef& table);

/// Has the database go on behind `atLeast` and behind every number in the table. Never goes back.
/// False when the database refuses, see the driver's LastError().
bool RaiseGrowingId(SqlDriver& driver, DatabaseEngine engine, const TableDef& table,
                    int64_t atLeast);

}  // namespace vnq
