// vnqctl backup and restore: a folder in one checked file, and back.
#pragma once

#include <ostream>
#include <string>

namespace CLI {
class App;
}

namespace vnq {

struct BackupOptions {
  std::string appPath;
  std::string file;  ///< of a backup that is written, or the folder that it goes to by its date
  int keep = 0;      ///< in such a folder, the newest that stay; 0: all
};

struct RestoreOptions {
  std::string appPath;
  std::string file;
  bool isCheckOnly = false;  ///< read the backup to its end and tell what is in it
  bool replaces = false;     ///< what is in the folder may go
};

/// Writes database, settings, texts and pictures to one file (backup_file.h). The server may run:
/// the database is copied as it is at one moment. A database on a server of its own is left out,
/// which is said. Returns the exit code: 0, or 1 with the reason on `err`; a file of that name is
/// then as it was.
int RunBackup(const BackupOptions& options, std::ostream& out, std::ostream& err);

/// Reads a backup to its end first; only what is whole is put into the folder. A server that runs
/// there goes on with the database that it then finds, and with its old settings. Returns the exit
/// code: 0, or 1 with the reason on `err`.
int RunRestore(const RestoreOptions& options, std::ostream& out, std::ostream& err);

void AddBackupCommands(CLI::App& app, int& exitCode);

}  // namespace vnq
