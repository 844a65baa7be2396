#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/system/file_access.h"
#include "support/numbers.h"
#include "support/shell_text.h"
#include "tools/doctor/doctor.h"

namespace vnq {

namespace {

namespace fs = std::filesystem;

constexpr int64_t kMegabyte = int64_t{1024} * 1024;
constexpr int64_t kLongLogMb = 128;
constexpr uint64_t kDescriptorsOfItsOwn = 100;

/// The owners of what lies in the folder.
class OwnerCheck {
 public:
  OwnerCheck(const ProgramFolder& folder, Findings& findings)
      : folder_(folder), findings_(findings) {}

  void Check() {
    struct stat status {};
    if (stat(folder_.appPath.c_str(), &status) != 0) return;
    owner_ = status.st_uid;
    std::error_code error;
    fs::recursive_directory_iterator entries(folder_.appPath,
                                             fs::directory_options::skip_permission_denied, error);
    for (; !error && entries != fs::recursive_directory_iterator(); entries.increment(error)) {
      Look(entries->path());
    }
    if (others_ == 0) return;
    findings_.Warning(first_ + " belongs to " + UserName(other_) + ", and its folder to " +
                      UserName(owner_) + More() +
                      ": the server, which runs as one of them, may not write all of them; run:"
                      " chown -R " +
                      UserName(owner_) + " " + ShellWord(folder_.appPath));
  }

 private:
  void Look(const fs::path& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0 || S_ISLNK(status.st_mode)) return;
    if (S_ISREG(status.st_mode) && access(path.c_str(), R_OK) != 0) {
      findings_.Error(ReadFault(path));
    }
    if (status.st_uid == owner_) return;
    if (others_++ > 0) return;
    first_ = path;
    other_ = status.st_uid;
  }

  std::string More() const {
    return others_ == 1 ? "" : ", as do " + std::to_string(others_ - 1) + " more";
  }

  const ProgramFolder& folder_;
  Findings& findings_;
  uid_t owner_ = 0, other_ = 0;
  size_t others_ = 0;
  std::string first_;
};

void CheckFreeDisk(const std::string& path, int64_t leastMb, Findings& findings) {
  struct statvfs status {};
  if (statvfs(path.c_str(), &status) != 0) return;
  const int64_t freeMb = static_cast<int64_t>(status.f_bavail * (status.f_frsize / 1024)) / 1024;
  if (freeMb >= leastMb) return;
  findings.Error("only " + FormatNumber(freeMb) + " MB are free where " + path +
                 " lies, and a full disk loses messages; make room, or move the folder (vnqctl"
                 " backup and restore)");
}

// A log that cannot be taken over grows: somebody reads in a transaction that does not end.
void CheckWriteAheadLog(const ProgramFolder& folder, Findings& findings) {
  const std::string log = folder.Map(folder.appPath + folder.settings.DataBaseName) + "-wal";
  std::error_code error;
  const auto bytes = fs::file_size(log, error);
  if (error || bytes < static_cast<uintmax_t>(kLongLogMb * kMegabyte)) return;
  findings.Warning(log + " has " + std::to_string(bytes / kMegabyte) +
                   " MB: some program keeps a transaction on the database open, so that the log"
                   " cannot be taken over; end it (fuser " +
                   ShellWord(log) + " names who has it open), or restart the server");
}

// "Max open files   1024   524288   files": the last number but one.
uint64_t HardLimitOf(const std::string& process) {
  std::ifstream limits("/proc/" + process + "/limits");
  for (std::string line; std::getline(limits, line);) {
    if (!line.starts_with("Max open files")) continue;
    std::istringstream cells(line.substr(14));
    std::string soft, hard;
    cells >> soft >> hard;
    return static_cast<uint64_t>(ParseInt32(hard).value_or(0));  // 0: without bound
  }
  return 0;
}

}  // namespace

void ExamineFiles(const ProgramFolder& folder, int64_t leastFreeMb, Findings& findings) {
  OwnerCheck(folder, findings).Check();
  CheckFreeDisk(folder.appPath, leastFreeMb, findings);
  if (folder.engine == DatabaseEngine::kSqlite) CheckWriteAheadLog(folder, findings);
}

void ExamineDescriptors(Database& database, const std::string& process, Findings& findings) {
  const uint64_t limit = HardLimitOf(process);
  const auto users = ToInt32(database.ReadValue(Sql("Select count(*) from Users_ID")));
  const uint64_t wanted = static_cast<uint64_t>(users.value_or(0)) * 2 + kDescriptorsOfItsOwn;
  if (limit == 0 || limit >= wanted) return;
  findings.Warning("the system gives " +
                   std::string(process == "self" ? "a process of this user" : "the server") + " " +
                   std::to_string(limit) +
                   " descriptors at most, and the devices of all users need " +
                   std::to_string(wanted) +
                   ": later ones would wait; raise LimitNOFILE of the unit, or ulimit -Hn");
}

}  // namespace vnq
