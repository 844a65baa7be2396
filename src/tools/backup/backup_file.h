// The file that `vnqctl backup` writes: a compressed tar file.
//
//   entry                          what it is
//   vnqbackup                      first: "vnqbackup 1", then "key value": version, engine, made
//   database.db                    the embedded database, an SQLite file in one piece
//   folder/<path>                  settings and texts, by their paths below the program's folder
//   pictures/<path>                pictures, by their paths below the picture folder
//   checksums                      last: "<CRC-32, 8 digits> <bytes> <entry>", a line an entry
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/system/tar_file.h"

namespace vnq {

inline constexpr std::string_view kBackupHead = "vnqbackup", kBackupDatabase = "database.db",
                                  kBackupFolder = "folder/", kBackupPictures = "pictures/",
                                  kBackupChecksums = "checksums";
inline constexpr std::string_view kBackupFirstLine = "vnqbackup 1";

class BackupWriter {
 public:
  bool Open(const std::string& path, std::string& error) { return tar_.Open(path, error); }
  bool AddText(const std::string& entry, std::string_view bytes, std::string& error);
  bool AddFile(const std::string& entry, const std::string& path, std::string& error);
  /// Adds the checksums and closes.
  bool Close(std::string& error);

  size_t entries() const { return entries_; }

 private:
  TarWriter tar_;
  std::string checksums_;
  size_t entries_ = 0;
};

struct BackupContents {
  std::string head;                  ///< of the first entry, its first line excluded
  std::vector<std::string> entries;  ///< names, without head and checksums
  uint64_t bytes = 0;
};

/// Reads a backup from end to end: what it is made of, and that each entry is as it was written.
/// False, with what is wrong in `error`.
bool CheckBackup(const std::string& path, BackupContents& contents, std::string& error);

/// True for names that stay below where they are put.
bool IsBackupEntry(std::string_view name);

}  // namespace vnq
