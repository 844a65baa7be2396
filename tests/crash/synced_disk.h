// A disk below SQLite of which one knows what a power cut would leave.
//
// Everything is read and written as ever; beside that it is noted which bytes a sync has covered.
// What was written behind the last sync of its file may be on the disk, or a part of it, or
// nothing.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <random>
#include <string>
#include <vector>

struct sqlite3_vfs;

namespace vnq {

class SyncedDisk {
 public:
  /// All connections that SQLite opens in this process from here on are on it. One at a time.
  SyncedDisk();
  ~SyncedDisk();
  SyncedDisk(const SyncedDisk&) = delete;
  SyncedDisk& operator=(const SyncedDisk&) = delete;

  using Files = std::map<std::string, std::string>;  ///< bytes by full path

  /// What is left after a power cut now. Each write that no sync has covered is kept, lost or torn
  /// at a sector, as chance has it.
  Files AfterPowerCut(std::mt19937_64& random) const;

  /// Run before each write, sync and truncation, with the number of those that went before.
  void SetBeforeChange(std::function<void(uint64_t)> beforeChange) {
    beforeChange_ = std::move(beforeChange);
  }
  uint64_t changes() const { return changes_; }

  /// From here on each write and truncation is refused with this code of SQLite; 0: with none.
  void RefuseWrites(int code) { refusal_ = code; }
  int refusal() const { return refusal_; }

  // --- For the functions that SQLite calls ---

  void Opened(const std::string& path);
  void Written(const std::string& path, int64_t at, const void* bytes, size_t count);
  void Truncated(const std::string& path, int64_t size);
  void Synced(const std::string& path);
  void Deleted(const std::string& path);
  void BeforeChange();

 private:
  struct Change {
    int64_t at = 0;
    std::string bytes;
    bool truncates = false;  // to `at`
  };
  struct File {
    std::string synced;
    bool nameIsSynced = false;
    std::vector<Change> since;
  };
  static void Apply(const Change& change, std::string& content);

  std::map<std::string, File> files_;
  std::function<void(uint64_t)> beforeChange_;
  uint64_t changes_ = 0;
  int refusal_ = 0;
  sqlite3_vfs* vfs_ = nullptr;
};

}  // namespace vnq
