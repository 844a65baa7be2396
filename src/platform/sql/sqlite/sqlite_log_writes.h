// Private to platform: the engine's own files, but that a transaction goes into the write-ahead log
// by one call of the system and not by two for each of its pages.
//
// The engine writes the header of a page and then the page, page by page, and the last header of a
// transaction is marked. What it appends is held back up to the end of the page with that mark,
// whose write then tells whether all of it has been written; nobody reads the log that far before.
// What is no part of such an append is written at once.
#pragma once

namespace vnq {

/// The name under which the engine knows these files, to be given to sqlite3_open_v2. Null where
/// they could not be set up; the engine's own are meant then.
///
/// Not for commits that the engine is to sync by itself, which fill the log in another way.
const char* SqliteLogWrites();

}  // namespace vnq
