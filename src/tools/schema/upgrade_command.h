// vnqctl upgrade: a database that an earlier version made gets what this one needs.
#pragma once

#include <ostream>
#include <string>

namespace CLI {
class App;
}

namespace vnq {

struct UpgradeOptions {
  std::string appPath;
  bool isDryRun = false;  ///< only say what would be done
  bool json = false;      ///< a JSON array, an object a statement
};

/// Makes the tables, columns, indexes and rows that the folder's database lacks, all or none, and
/// says the statements, a line each. Texts of other programs, and columns of another type, stay as
/// they are. Returns the exit code: 0, or 1 with the reason on `err`, also for a database that is
/// newer than this program.
int RunUpgrade(const UpgradeOptions& options, std::ostream& out, std::ostream& err);

void AddUpgradeCommand(CLI::App& app, int& exitCode);

}  // namespace vnq
