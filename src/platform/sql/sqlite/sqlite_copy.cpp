#include "platform/sql/sqlite_copy.h"

#include <sqlite3.h>

#include <memory>

namespace vnq {
namespace {

struct CloseSqlite {
  void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
};
using SqliteFile = std::unique_ptr<sqlite3, CloseSqlite>;

bool Fail(const std::string& path, const char* why, std::string& error) {
  error = "database file " + path + ": " + why;
  return false;
}

// Null, with the reason in `error`.
SqliteFile OpenFile(const std::string& path, int flags, int busyTimeoutMs, std::string& error) {
  sqlite3* handle = nullptr;
  const int code = sqlite3_open_v2(path.c_str(), &handle, flags, nullptr);
  SqliteFile file(handle);
  if (code == SQLITE_OK) {
    sqlite3_busy_timeout(handle, busyTimeoutMs);
    return file;
  }
  Fail(path, sqlite3_errstr(code), error);
  return nullptr;
}

}  // namespace

bool CopySqliteDatabase(const std::string& from, const std::string& to, int busyTimeoutMs,
                        std::string& error) {
  // Read and write: only so can it read what another program has in its write-ahead log.
  const SqliteFile source = OpenFile(from, SQLITE_OPEN_READWRITE, busyTimeoutMs, error);
  if (!source) return false;
  const SqliteFile target =
      OpenFile(to, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, busyTimeoutMs, error);
  if (!target) return false;
  sqlite3_backup* copy = sqlite3_backup_init(target.get(), "main", source.get(), "main");
  if (copy == nullptr) return Fail(to, sqlite3_errmsg(target.get()), error);
  const int code = sqlite3_backup_step(copy, -1);
  sqlite3_backup_finish(copy);
  return code == SQLITE_DONE || Fail(to, sqlite3_errstr(code), error);
}

bool CheckSqliteDatabase(const std::string& path, std::string& error) {
  const SqliteFile file = OpenFile(path, SQLITE_OPEN_READWRITE, 0, error);
  if (!file) return false;
  std::string found;
  const auto note = [](void* text, int count, char** values, char**) {
    if (count > 0 && values[0] != nullptr) *static_cast<std::string*>(text) = values[0];
    return 0;
  };
  if (sqlite3_exec(file.get(), "pragma quick_check(1)", note, &found, nullptr) != SQLITE_OK) {
    return Fail(path, sqlite3_errmsg(file.get()), error);
  }
  return found == "ok" || Fail(path, found.c_str(), error);
}

}  // namespace vnq
