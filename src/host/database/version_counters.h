// The version counters by which clients learn that their copy of the directory is stale.
//
// The one row of UpDateForm (id 1) counts the changes of a whole table; some rows count their own.
// A bump follows the command, not the data. It is read and then written, and no other command runs
// between; where other nodes write too, the database adds.
#pragma once

#include <string_view>

#include "host/database/database.h"

namespace vnq {

/// Adds 1 to a counter of UpDateForm by reading and writing its row. A counter that is NULL stays
/// NULL; without the row nothing happens. Yields: no. Database: UpDateForm.
void BumpGlobalCounter(Database& database, std::string_view counter);

/// The same for the counters of bulletins and files: nothing happens, either, where two rows have
/// the id 1. Yields: no. Database: UpDateForm.
void BumpOnlyCounter(Database& database, std::string_view counter);

/// Adds 1 to a column of the cursor's current row; the caller updates.
void BumpCounter(Cursor& row, std::string_view counter);

}  // namespace vnq
