#include "tests/crash/synced_disk.h"

#include <sqlite3.h>

#include <fstream>
#include <iterator>
#include <new>

namespace vnq {
namespace {

constexpr size_t kSector = 512;

SyncedDisk* disk = nullptr;

// What SQLite holds of an open file: the engine's own behind ours.
struct OpenFile {
  sqlite3_file base;
  const char* path;  // SQLite keeps the text as long as the file; null for a temporary one
  sqlite3_file* own() { return reinterpret_cast<sqlite3_file*>(this + 1); }
};

OpenFile& Of(sqlite3_file* file) {
  return *reinterpret_cast<OpenFile*>(file);
}
sqlite3_file* Own(sqlite3_file* file) {
  return Of(file).own();
}

int Close(sqlite3_file* file) {
  return Own(file)->pMethods->xClose(Own(file));
}
int Read(sqlite3_file* file, void* bytes, int count, sqlite3_int64 at) {
  return Own(file)->pMethods->xRead(Own(file), bytes, count, at);
}
int Write(sqlite3_file* file, const void* bytes, int count, sqlite3_int64 at) {
  if (disk->refusal() != 0) return disk->refusal();
  if (Of(file).path != nullptr) {
    disk->BeforeChange();
    disk->Written(Of(file).path, at, bytes, static_cast<size_t>(count));
  }
  return Own(file)->pMethods->xWrite(Own(file), bytes, count, at);
}
int Truncate(sqlite3_file* file, sqlite3_int64 size) {
  if (disk->refusal() != 0) return disk->refusal();
  if (Of(file).path != nullptr) {
    disk->BeforeChange();
    disk->Truncated(Of(file).path, size);
  }
  return Own(file)->pMethods->xTruncate(Own(file), size);
}
int Sync(sqlite3_file* file, int) {
  if (Of(file).path != nullptr) {
    disk->BeforeChange();
    disk->Synced(Of(file).path);
  }
  return SQLITE_OK;  // the machine under the test need not sync
}
int FileSize(sqlite3_file* file, sqlite3_int64* size) {
  return Own(file)->pMethods->xFileSize(Own(file), size);
}
int Lock(sqlite3_file* file, int level) {
  return Own(file)->pMethods->xLock(Own(file), level);
}
int Unlock(sqlite3_file* file, int level) {
  return Own(file)->pMethods->xUnlock(Own(file), level);
}
int CheckReservedLock(sqlite3_file* file, int* result) {
  return Own(file)->pMethods->xCheckReservedLock(Own(file), result);
}
int FileControl(sqlite3_file* file, int operation, void* argument) {
  return Own(file)->pMethods->xFileControl(Own(file), operation, argument);
}
int SectorSize(sqlite3_file*) {
  return kSector;
}
int DeviceCharacteristics(sqlite3_file*) {
  return 0;  // promises nothing
}
int ShmMap(sqlite3_file* file, int page, int size, int extend, void volatile** memory) {
  return Own(file)->pMethods->xShmMap(Own(file), page, size, extend, memory);
}
int ShmLock(sqlite3_file* file, int offset, int count, int flags) {
  return Own(file)->pMethods->xShmLock(Own(file), offset, count, flags);
}
void ShmBarrier(sqlite3_file* file) {
  Own(file)->pMethods->xShmBarrier(Own(file));
}
int ShmUnmap(sqlite3_file* file, int deletes) {
  return Own(file)->pMethods->xShmUnmap(Own(file), deletes);
}

constexpr sqlite3_io_methods kMethods = {2,
                                         Close,
                                         Read,
                                         Write,
                                         Truncate,
                                         Sync,
                                         FileSize,
                                         Lock,
                                         Unlock,
                                         CheckReservedLock,
                                         FileControl,
                                         SectorSize,
                                         DeviceCharacteristics,
                                         ShmMap,
                                         ShmLock,
                                         ShmBarrier,
                                         ShmUnmap,
                                         nullptr,
                                         nullptr};

sqlite3_vfs* Below(sqlite3_vfs* vfs) {
  return static_cast<sqlite3_vfs*>(vfs->pAppData);
}

int Open(sqlite3_vfs* vfs, const char* path, sqlite3_file* file, int flags, int* flagsOut) {
  OpenFile& open = Of(file);
  open.path = path;
  const int code = Below(vfs)->xOpen(Below(vfs), path, open.own(), flags, flagsOut);
  open.base.pMethods = open.own()->pMethods != nullptr ? &kMethods : nullptr;
  if (code == SQLITE_OK && path != nullptr) disk->Opened(path);
  return code;
}
int Delete(sqlite3_vfs* vfs, const char* path, int syncsFolder) {
  disk->Deleted(path);
  return Below(vfs)->xDelete(Below(vfs), path, syncsFolder);
}

}  // namespace

SyncedDisk::SyncedDisk() {
  disk = this;
  sqlite3_vfs* below = sqlite3_vfs_find("unix");
  vfs_ = new sqlite3_vfs(*below);
  vfs_->zName = "synced";
  vfs_->pAppData = below;
  vfs_->szOsFile = static_cast<int>(sizeof(OpenFile)) + below->szOsFile;
  vfs_->xOpen = Open;
  vfs_->xDelete = Delete;
  sqlite3_vfs_register(vfs_, 1);
}

SyncedDisk::~SyncedDisk() {
  sqlite3_vfs_unregister(vfs_);
  sqlite3_vfs_register(sqlite3_vfs_find("unix"), 1);
  delete vfs_;
  disk = nullptr;
}

void SyncedDisk::BeforeChange() {
  if (beforeChange_) beforeChange_(changes_);
  ++changes_;
}

// What was there before the disk was watched has long been written.
void SyncedDisk::Opened(const std::string& path) {
  const auto [entry, isNew] = files_.try_emplace(path);
  if (!isNew) return;
  std::ifstream file(path, std::ios::binary);
  entry->second.synced.assign(std::istreambuf_iterator<char>(file), {});
  entry->second.nameIsSynced = !entry->second.synced.empty();
}

void SyncedDisk::Written(const std::string& path, int64_t at, const void* bytes, size_t count) {
  files_[path].since.push_back({at, std::string(static_cast<const char*>(bytes), count), false});
}

void SyncedDisk::Truncated(const std::string& path, int64_t size) {
  files_[path].since.push_back({size, {}, true});
}

void SyncedDisk::Synced(const std::string& path) {
  File& file = files_[path];
  for (const Change& change : file.since) Apply(change, file.synced);
  file.since.clear();
  file.nameIsSynced = true;
}

void SyncedDisk::Deleted(const std::string& path) {
  files_.erase(path);
}

void SyncedDisk::Apply(const Change& change, std::string& content) {
  const auto at = static_cast<size_t>(change.at);
  if (change.truncates) {
    content.resize(at);
    return;
  }
  if (content.size() < at + change.bytes.size()) content.resize(at + change.bytes.size());
  content.replace(at, change.bytes.size(), change.bytes);
}

SyncedDisk::Files SyncedDisk::AfterPowerCut(std::mt19937_64& random) const {
  Files left;
  const bool losesAll = random() % 3 == 0;
  for (const auto& [path, file] : files_) {
    if (!file.nameIsSynced && (losesAll || random() % 2 == 0)) continue;
    std::string content = file.synced;
    for (const Change& change : file.since) {
      if (losesAll || random() % 2 == 0) continue;
      Change kept = change;
      if (!change.truncates && random() % 4 == 0) {
        kept.bytes.resize(random() % (change.bytes.size() / kSector + 1) * kSector);
      }
      Apply(kept, content);
    }
    left[path] = content;
  }
  return left;
}

}  // namespace vnq
