// Private to platform: which files an SQLite database is made of, by what they are and not by name.
//
// The write-ahead log and its index stay behind when another file takes the database's place while
// it is open: the engine touches nothing then. Who opened that other file beside them would have
// the log read onto it, which destroys it.
#pragma once

#include <sqlite3.h>
#include <sys/types.h>

#include <string>

namespace vnq {

struct FileIdentity {
  std::string path;
  dev_t device = 0;
  ino_t number = 0;  ///< 0: there is none

  bool exists() const { return number != 0; }
  bool IsSameAs(const FileIdentity& other) const {
    return device == other.device && number == other.number;
  }
};

struct SqliteFiles {
  FileIdentity database, log;
};

/// The files of an open database.
SqliteFiles FilesOf(sqlite3* database);

/// Removes the write-ahead log of a database that was closed, and its index, where another file
/// stands in the database's place by now. Where none stands there it may come back, and the log is
/// kept for it.
void RemoveLogOfReplaced(const SqliteFiles& closed);

}  // namespace vnq
