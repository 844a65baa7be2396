// vnqctl doctor: checks what an operator gets wrong.
#pragma once

#include <ostream>
#include <string>

namespace CLI {
class App;
}

namespace vnq {

struct DoctorOptions {
  std::string appPath;
  std::string localeName;            ///< of the machine, such as "zh_CN.UTF-8"
  bool json = false;                 ///< an array with an object a finding, instead of the lines
  int leastFreeMb = 512;             ///< with less room beside the folder a full disk is near
  std::ostream* progress = nullptr;  ///< where to show how far the check of a large file has come
  int largeFileMb = 64;              ///< a smaller one has been checked before anybody wonders
};

/// Looks at the folder, its database and its ports, and says what it found on `out`, one line a
/// finding: "error: ...", "warning: ..." or "ok: ...". Changes nothing. Returns the exit code: 0,
/// or 1 with an error among the findings.
int RunDoctor(const DoctorOptions& options, std::ostream& out);

/// Adds the subcommand; when it runs, `exitCode` is set.
void AddDoctorCommand(CLI::App& app, int& exitCode);

}  // namespace vnq
