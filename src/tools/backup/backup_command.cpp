#include "tools/backup/backup_command.h"

#include <unistd.h>

#include <algorithm>
#include <ctime>
#include <filesystem>
#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>

#include "platform/sql/sqlite_copy.h"
#include "tools/backup/backup_file.h"
#include "tools/backup/backup_places.h"
#include "tools/folder/program_database.h"
#include "tools/terminal/command_line.h"

namespace vnq {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kNamePrefix = "vnq-", kNameSuffix = ".tar.gz";

std::string TimeText(const char* format) {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  char text[64] = "";
  std::strftime(text, sizeof text, format, &local);
  return text;
}

/// A file that is gone with its scope, with what SQLite makes beside it.
class PassingFile {
 public:
  explicit PassingFile(std::string path) : path_(std::move(path)) { Remove(); }
  ~PassingFile() { Remove(); }
  PassingFile(const PassingFile&) = delete;
  PassingFile& operator=(const PassingFile&) = delete;
  const std::string& path() const { return path_; }

 private:
  void Remove() {
    for (const char* end : {"", "-wal", "-shm", "-journal"}) unlink((path_ + end).c_str());
  }
  std::string path_;
};

/// One run of the command.
class Backup {
 public:
  Backup(const BackupOptions& options, std::ostream& out) : options_(options), out_(out) {}

  bool Run(std::string& error) {
    database_ = OpenProgramDatabase(options_.appPath, error);
    if (!database_) return false;
    std::error_code ignored;
    isFolder_ = fs::is_directory(options_.file, ignored);
    if (options_.keep > 0 && !isFolder_) {
      error = options_.file + " is no folder: --keep goes with one";
      return false;
    }
    path_ = isFolder_
                ? (fs::path(options_.file) / (std::string(kNamePrefix) + TimeText("%Y%m%d-%H%M%S") +
                                              std::string(kNameSuffix)))
                      .string()
                : options_.file;
    if (!writer_.Open(path_, error) || !writer_.AddText(std::string(kBackupHead), Head(), error) ||
        !AddDatabase(error) || !AddFolder(error) || !AddPictures(error) || !writer_.Close(error)) {
      return false;
    }
    BackupContents contents;
    if (!CheckBackup(path_, contents, error)) return false;
    out_ << path_ << ": " << contents.entries.size() << " files, " << contents.bytes
         << " bytes before compression\n";
    if (isFolder_) RemoveOld();
    return true;
  }

 private:
  const ProgramFolder& folder() const { return database_->folder; }

  std::string Head() const {
    return std::string(kBackupFirstLine) + "\nversion " VNQ_VERSION "\nengine " +
           std::string(EngineName(folder().engine)) + "\nmade " + TimeText("%Y-%m-%d %H:%M:%S") +
           "\n";
  }

  bool AddDatabase(std::string& error) {
    if (folder().engine != DatabaseEngine::kSqlite) {
      out_ << "note: the database is not in the backup: it lies on a server of its own, which has "
              "its own means (pg_dump, BACKUP DATABASE)\n";
      return true;
    }
    // In one piece, without a write-ahead log, and as it is at one moment.
    const PassingFile copy(path_ + ".database");
    return CopySqliteDatabase(DatabasePath(folder()), copy.path(), folder().platform.busyTimeoutMs,
                              error) &&
           CheckSqliteDatabase(copy.path(), error) &&
           writer_.AddFile(std::string(kBackupDatabase), copy.path(), error);
  }

  bool AddFolder(std::string& error) {
    for (const std::string& file : SettingsAndTexts(folder())) {
      if (!writer_.AddFile(std::string(kBackupFolder) + file, folder().appPath + "/" + file, error))
        return false;
    }
    return true;
  }

  bool AddPictures(std::string& error) {
    const std::string pictures = PictureFolder(*database_->driver, folder());
    if (pictures.empty()) {
      out_ << "note: no pictures: the table Tab_Config names no folder for them\n";
      return true;
    }
    for (const std::string& file : FilesBelow(pictures)) {
      if (!writer_.AddFile(std::string(kBackupPictures) + file, pictures + "/" + file, error))
        return false;
    }
    return true;
  }

  // Their names sort by their dates.
  void RemoveOld() const {
    std::vector<fs::path> backups;
    for (const fs::directory_entry& entry : fs::directory_iterator(options_.file)) {
      const std::string name = entry.path().filename().string();
      if (name.starts_with(kNamePrefix) && name.ends_with(kNameSuffix) && entry.is_regular_file()) {
        backups.push_back(entry.path());
      }
    }
    std::sort(backups.rbegin(), backups.rend());
    for (size_t i = static_cast<size_t>(options_.keep); options_.keep > 0 && i < backups.size();
         ++i) {
      fs::remove(backups[i]);
      out_ << backups[i].string() << ": removed\n";
    }
  }

  const BackupOptions& options_;
  std::ostream& out_;
  std::optional<ProgramDatabase> database_;
  std::string path_;
  bool isFolder_ = false;
  BackupWriter writer_;
};

}  // namespace

int RunBackup(const BackupOptions& options, std::ostream& out, std::ostream& err) {
  std::string error;
  return Backup(options, out).Run(error) ? kExitDone : Fail(err, "backup", error);
}

void AddBackupCommands(CLI::App& app, int& exitCode) {
  const auto backup = std::make_shared<BackupOptions>();
  CLI::App* save = app.add_subcommand(
      "backup",
      "Database, settings, texts and pictures into one file, beside a running server, too");
  AddAppPath(*save, backup->appPath)->required();
  save->add_option("FILE", backup->file,
                   "The file to write, or a folder, where it gets a name with its date")
      ->required();
  save->add_option("--keep", backup->keep, "In such a folder, keep so many and remove older ones")
      ->check(CLI::NonNegativeNumber);
  save->callback([backup, &exitCode] { exitCode = RunBackup(*backup, std::cout, std::cerr); });

  const auto restore = std::make_shared<RestoreOptions>();
  CLI::App* bring = app.add_subcommand("restore", "Put a backup into a folder");
  AddAppPath(*bring, restore->appPath)->required();
  bring->add_option("FILE", restore->file, "What vnqctl backup has written")->required();
  bring->add_flag("--replace", restore->replaces, "What is in the folder may go");
  bring->add_flag("--check", restore->isCheckOnly,
                  "Only read it to its end, and tell what is in it");
  bring->callback([restore, &exitCode] { exitCode = RunRestore(*restore, std::cout, std::cerr); });
}

}  // namespace vnq
