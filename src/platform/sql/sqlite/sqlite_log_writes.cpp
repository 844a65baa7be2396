#include "platform/sql/sqlite/sqlite_log_writes.h"

#include <sqlite3.h>

#include <new>
#include <string>
#include <string_view>

namespace vnq {
namespace {

constexpr const char* kName = "vnq_log_writes";
constexpr int kHeaderBytes = 24;               // in front of each page of the log
constexpr size_t kMostHeldBytes = 256 * 1024;  // of a transaction that fills more
constexpr size_t kKeptBytes = 64 * 1024;

// What has been appended to the log and not been written yet.
class Held {
 public:
  explicit Held(sqlite3_file* file) : file_(file) {}

  int Write(std::string_view bytes, sqlite3_int64 at) {
    if (at != end_) return WriteThrough(bytes, at);
    const bool isHeader = bytes.size() == kHeaderBytes;
    if (!isHeader && bytes_.empty()) return WriteThrough(bytes, at);
    if (isHeader) endsTransaction_ = bytes.substr(4, 4) != std::string_view("\0\0\0\0", 4);
    bytes_ += bytes;
    end_ = at + static_cast<sqlite3_int64>(bytes.size());
    const bool isWhole = !isHeader && (endsTransaction_ || bytes_.size() >= kMostHeldBytes);
    return isWhole ? Flush() : SQLITE_OK;
  }

  // Where it fails, nothing is held any more: the engine undoes what it was part of.
  int Flush() {
    if (bytes_.empty()) return SQLITE_OK;
    const int size = static_cast<int>(bytes_.size());
    const int code = file_->pMethods->xWrite(file_, bytes_.data(), size, end_ - size);
    bytes_.clear();
    if (bytes_.capacity() > kKeptBytes) std::string().swap(bytes_);
    return code;
  }

 private:
  int WriteThrough(std::string_view bytes, sqlite3_int64 at) {
    const int code = Flush();
    if (code != SQLITE_OK) return code;
    const int size = static_cast<int>(bytes.size());
    end_ = at + size;
    return file_->pMethods->xWrite(file_, bytes.data(), size, at);
  }

  sqlite3_file* file_;
  std::string bytes_;
  sqlite3_int64 end_ = -1;  // of the last write, held or not
  bool endsTransaction_ = false;
};

// As the engine allocates it; behind it lies the engine's own file.
struct LogFile {
  sqlite3_file base;
  Held* held;
  sqlite3_file* own() { return reinterpret_cast<sqlite3_file*>(this + 1); }
};

LogFile& Log(sqlite3_file* file) {
  return *reinterpret_cast<LogFile*>(file);
}

// Calls a method of the engine's own file, behind what is held for it.
template <auto method, typename... Arguments>
int Pass(sqlite3_file* file, Arguments... arguments) {
  const int code = Log(file).held->Flush();
  if (code != SQLITE_OK) return code;
  sqlite3_file* own = Log(file).own();
  return (own->pMethods->*method)(own, arguments...);
}

int Close(sqlite3_file* file) {
  const int flushed = Log(file).held->Flush();
  const int closed = Log(file).own()->pMethods->xClose(Log(file).own());
  delete Log(file).held;
  return flushed != SQLITE_OK ? flushed : closed;
}

int Write(sqlite3_file* file, const void* bytes, int size, sqlite3_int64 at) try {
  return Log(file).held->Write({static_cast<const char*>(bytes), static_cast<size_t>(size)}, at);
} catch (const std::bad_alloc&) {
  return SQLITE_IOERR_NOMEM;
}

int SectorSize(sqlite3_file* file) {
  return Log(file).own()->pMethods->xSectorSize(Log(file).own());
}

int DeviceCharacteristics(sqlite3_file* file) {
  return Log(file).own()->pMethods->xDeviceCharacteristics(Log(file).own());
}

const sqlite3_io_methods* LogMethods() {
  using M = sqlite3_io_methods;
  static const sqlite3_io_methods methods = [] {
    sqlite3_io_methods made{};
    made.iVersion = 1;
    made.xClose = Close;
    made.xRead = Pass<&M::xRead, void*, int, sqlite3_int64>;
    made.xWrite = Write;
    made.xTruncate = Pass<&M::xTruncate, sqlite3_int64>;
    made.xSync = Pass<&M::xSync, int>;
    made.xFileSize = Pass<&M::xFileSize, sqlite3_int64*>;
    made.xLock = Pass<&M::xLock, int>;
    made.xUnlock = Pass<&M::xUnlock, int>;
    made.xCheckReservedLock = Pass<&M::xCheckReservedLock, int*>;
    made.xFileControl = Pass<&M::xFileControl, int, void*>;
    made.xSectorSize = SectorSize;
    made.xDeviceCharacteristics = DeviceCharacteristics;
    return made;
  }();
  return &methods;
}

sqlite3_vfs* Own() {
  return sqlite3_vfs_find(nullptr);
}

int OpenLog(sqlite3_filename name, LogFile& log, int flags, int* openedFlags) {
  log.base.pMethods = nullptr;
  log.held = new (std::nothrow) Held(log.own());
  if (log.held == nullptr) return SQLITE_NOMEM;
  const int code = Own()->xOpen(Own(), name, log.own(), flags, openedFlags);
  if (log.own()->pMethods != nullptr) {
    log.base.pMethods = LogMethods();  // from here on the engine closes it
  } else {
    delete log.held;
  }
  return code;
}

int Open(sqlite3_vfs*, sqlite3_filename name, sqlite3_file* file, int flags, int* openedFlags) {
  if ((flags & SQLITE_OPEN_WAL) == 0) return Own()->xOpen(Own(), name, file, flags, openedFlags);
  return OpenLog(name, Log(file), flags, openedFlags);
}

}  // namespace

const char* SqliteLogWrites() {
  static sqlite3_vfs files{};
  static const bool isThere = [] {
    if (sqlite3_initialize() != SQLITE_OK || Own() == nullptr) return false;
    files = *Own();
    files.pNext = nullptr;
    files.zName = kName;
    files.szOsFile += static_cast<int>(sizeof(LogFile));
    files.xOpen = Open;
    return sqlite3_vfs_register(&files, 0) == SQLITE_OK;
  }();
  return isThere ? kName : nullptr;
}

}  // namespace vnq
