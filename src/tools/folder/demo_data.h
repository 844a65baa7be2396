// Sample departments, roles, users and a group, for a first try.
#pragma once

#include <ostream>

#include "host/database/database_engine.h"
#include "platform/sql/sql_driver.h"

namespace vnq {

/// Adds the sample data to a database without users, departments, roles and groups; any other is
/// left as it is. Prints the sample accounts that the database holds with their passwords. False
/// when there is none.
bool AddDemoData(SqlDriver& driver, DatabaseEngine engine, std::ostream& out, std::ostream& err);

}  // namespace vnq
