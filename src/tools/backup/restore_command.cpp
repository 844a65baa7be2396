#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iostream>
#include <optional>

#include "platform/sql/sqlite_copy.h"
#include "platform/system/file_access.h"
#include "platform/system/instance.h"
#include "tools/backup/backup_command.h"
#include "tools/backup/backup_file.h"
#include "tools/backup/backup_places.h"
#include "tools/folder/program_database.h"
#include "tools/terminal/command_line.h"

namespace vnq {
namespace {

namespace fs = std::filesystem;

bool Fail(const std::string& path, std::string& error) {
  error = path + ": " + std::strerror(errno);
  return false;
}

/// A new file beside the one whose place it takes.
class NewFile {
 public:
  explicit NewFile(std::string path) : path_(std::move(path)), growing_(path_ + ".XXXXXX") {}
  ~NewFile() {
    if (descriptor_ >= 0) close(descriptor_);
    if (isOpen_) unlink(growing_.c_str());
  }
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;

  bool Fill(TarReader& tar, std::string& error) {
    descriptor_ = mkostemp(growing_.data(), O_CLOEXEC);
    if (descriptor_ < 0) return Fail(growing_, error);
    isOpen_ = true;
    for (std::string piece;;) {
      if (!tar.Read(piece, error)) return false;
      if (piece.empty()) return fsync(descriptor_) == 0 || Fail(growing_, error);
      if (write(descriptor_, piece.data(), piece.size()) != static_cast<ssize_t>(piece.size()))
        return Fail(growing_, error);
    }
  }

  bool TakePlace(std::string& error) {
    if (fchmod(descriptor_, 0640) != 0 || rename(growing_.c_str(), path_.c_str()) != 0)
      return Fail(path_, error);
    isOpen_ = false;
    GiveToFolderOwner(path_);
    return true;
  }

  const std::string& growing() const { return growing_; }

 private:
  std::string path_, growing_;
  int descriptor_ = -1;
  bool isOpen_ = false;
};

bool MakeFolders(const fs::path& folder, std::string& error) {
  if (folder.empty() || fs::is_directory(folder)) return true;
  if (!MakeFolders(folder.parent_path(), error)) return false;
  std::error_code failure;
  fs::create_directory(folder, failure);
  if (failure) error = folder.string() + ": " + failure.message();
  if (!failure) GiveToFolderOwner(folder.string());
  return !failure;
}

/// One run of the command. The file is walked twice once it is known to be whole: settings and
/// texts come first, since they say where the rest belongs.
class Restore {
 public:
  Restore(const RestoreOptions& options, std::ostream& out)
      : options_(options), out_(out), appPath_(AbsoluteAppPath(options.appPath)) {}

  bool Run(std::string& error) {
    BackupContents contents;
    if (!CheckBackup(options_.file, contents, error)) return false;
    out_ << options_.file << ": whole, " << contents.entries.size() << " files\n" << contents.head;
    if (options_.isCheckOnly) return true;
    if (!MayReplace(error) || !MakeFolders(appPath_, error)) return false;
    return SeeWhetherAServerRuns(error) &&
           EachEntry(
               [&](auto& name, auto& tar, auto& why) { return PutFolderFile(name, tar, why); },
               error) &&
           PutDatabase(error) && PutPictures(error);
  }

 private:
  using Put = std::function<bool(const std::string& name, TarReader& tar, std::string& error)>;

  bool MayReplace(std::string& error) const {
    std::error_code ignored;
    if (options_.replaces || !fs::exists(PlatformIniPath(appPath_), ignored)) return true;
    error =
        "there is a program in " + appPath_ + " already; --replace puts the backup in its place";
    return false;
  }

  bool SeeWhetherAServerRuns(std::string& error) {
    const InstanceLock::Result result = lock_.Acquire(appPath_ + "/.vnq_main_service.lock", error);
    if (result == InstanceLock::Result::kOtherInstance) {
      out_ << "note: a server runs here; restart it, so that it reads the settings again\n";
    }
    return result != InstanceLock::Result::kError;
  }

  bool EachEntry(const Put& put, std::string& error) {
    TarReader tar;
    if (!tar.Open(options_.file, error)) return false;
    for (std::string name;;) {
      const TarReader::Step step = tar.Next(name, error);
      if (step != TarReader::Step::kEntry) return step == TarReader::Step::kEnd;
      if (!put(name, tar, error)) return false;
    }
  }

  bool PutFile(const std::string& path, TarReader& tar, std::string& error) {
    NewFile file(path);
    return MakeFolders(fs::path(path).parent_path(), error) && file.Fill(tar, error) &&
           file.TakePlace(error);
  }

  bool PutFolderFile(const std::string& name, TarReader& tar, std::string& error) {
    if (!name.starts_with(kBackupFolder)) return true;
    return PutFile(appPath_ + "/" + name.substr(kBackupFolder.size()), tar, error);
  }

  // Through the engine, so that a server that has the database open finds the new one whole.
  bool PutDatabase(std::string& error) {
    auto folder = OpenProgramFolder(appPath_, {}, SystemLocaleName(), error);
    if (!folder) return false;
    if (folder->engine != DatabaseEngine::kSqlite) {
      out_ << "note: the database lies on a server of its own: restore it there\n";
      return true;
    }
    const std::string path = DatabasePath(*folder);
    return EachEntry(
        [&](const std::string& name, TarReader& tar, std::string& why) {
          if (name != kBackupDatabase) return true;
          NewFile file(path);
          const bool done =
              MakeFolders(fs::path(path).parent_path(), why) && file.Fill(tar, why) &&
              CheckSqliteDatabase(file.growing(), why) &&
              CopySqliteDatabase(file.growing(), path, folder->platform.busyTimeoutMs, why);
          for (const char* end : {"-wal", "-shm"}) unlink((file.growing() + end).c_str());
          for (const char* end : {"", "-wal", "-shm"}) GiveToFolderOwner(path + end);
          return done;
        },
        error);
  }

  bool PutPictures(std::string& error) {
    auto opened = OpenProgramDatabase(appPath_, error);
    if (!opened) return false;
    const std::string pictures = PictureFolder(*opened->driver, opened->folder);
    size_t leftOut = 0;
    const bool done = EachEntry(
        [&](const std::string& name, TarReader& tar, std::string& why) {
          if (!name.starts_with(kBackupPictures)) return true;
          if (pictures.empty()) ++leftOut;
          return pictures.empty() ||
                 PutFile(pictures + "/" + name.substr(kBackupPictures.size()), tar, why);
        },
        error);
    if (leftOut > 0) {
      out_ << "note: " << leftOut << " pictures left out: the table Tab_Config names no folder for "
           << "them on this machine\n";
    }
    return done;
  }

  const RestoreOptions& options_;
  std::ostream& out_;
  std::string appPath_;
  InstanceLock lock_;
};

}  // namespace

int RunRestore(const RestoreOptions& options, std::ostream& out, std::ostream& err) {
  std::string error;
  return Restore(options, out).Run(error) ? kExitDone : Fail(err, "restore", error);
}

}  // namespace vnq
