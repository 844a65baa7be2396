// How often the embedded engine has its files synced.
#pragma once

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <map>

namespace vnq {

/// Counts the syncs of all files that are opened while it stands. One at a time.
class CountedSyncs {
 public:
  CountedSyncs() {
    real_ = sqlite3_vfs_find(nullptr);
    own_ = *real_;
    own_.zName = "counted_syncs";
    own_.xOpen = [](sqlite3_vfs*, sqlite3_filename name, sqlite3_file* file, int flags,
                    int* outFlags) {
      const int code = real_->xOpen(real_, name, file, flags, outFlags);
      if (code == SQLITE_OK && file->pMethods) file->pMethods = Counting(file->pMethods);
      return code;
    };
    EXPECT_EQ(sqlite3_vfs_register(&own_, 1), SQLITE_OK);
    count_ = 0;
  }
  ~CountedSyncs() {
    sqlite3_vfs_unregister(&own_);
    sqlite3_vfs_register(real_, 1);
  }
  CountedSyncs(const CountedSyncs&) = delete;
  CountedSyncs& operator=(const CountedSyncs&) = delete;

  int count() const { return count_; }

 private:
  using Methods = sqlite3_io_methods;

  // The same methods but for the sync; kept for good, for files may outlive this.
  static const Methods* Counting(const Methods* real) {
    static std::map<const Methods*, Methods> copies;
    const auto [copy, isNew] = copies.emplace(real, *real);
    if (isNew) {
      realSync_ = real->xSync;
      copy->second.xSync = [](sqlite3_file* file, int flags) {
        ++count_;
        return realSync_(file, flags);
      };
    }
    return &copy->second;
  }

  inline static sqlite3_vfs* real_ = nullptr;
  inline static int (*realSync_)(sqlite3_file*, int) = nullptr;  // the same for all of its kinds
  inline static int count_ = 0;
  sqlite3_vfs own_{};
};

}  // namespace vnq
