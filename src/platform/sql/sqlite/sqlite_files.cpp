#include "platform/sql/sqlite/sqlite_files.h"

#include <sys/stat.h>
#include <unistd.h>

#include "platform/system/event_log.h"

namespace vnq {
namespace {

FileIdentity FileAt(const char* path) {
  struct stat status {};
  if (!path || stat(path, &status) != 0) return {path ? path : "", 0, 0};
  return {path, status.st_dev, status.st_ino};
}

}  // namespace

SqliteFiles FilesOf(sqlite3* database) {
  const char* path = sqlite3_db_filename(database, "main");
  if (!path) return {};
  return {FileAt(path), FileAt(sqlite3_filename_wal(path))};
}

void RemoveLogOfReplaced(const SqliteFiles& closed) {
  if (!closed.log.exists()) return;
  const FileIdentity database = FileAt(closed.database.path.c_str());
  const FileIdentity log = FileAt(closed.log.path.c_str());
  const bool isReplaced = database.exists() && !database.IsSameAs(closed.database);
  if (!isReplaced || !log.IsSameAs(closed.log)) return;
  LogWarning("database_replaced",
             "database file {}: another file has taken its place; the write-ahead log of the one "
             "before is removed",
             closed.database.path);
  unlink(closed.log.path.c_str());
  unlink((closed.database.path + "-shm").c_str());
}

}  // namespace vnq
