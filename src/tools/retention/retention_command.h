// vnqctl retention run: what the server deletes at each start, at another time.
#pragma once

#include <ostream>
#include <string>

namespace CLI {
class App;
}

namespace vnq {

struct RetentionOptions {
  std::string appPath;
  bool isDryRun = false;  ///< count, and delete nothing
  bool json = false;      ///< a JSON array, an object a table
};

/// Deletes the rows that are older than the settings keep them, beside a running server, too, and
/// says how many of each table. Returns the exit code: 0, or 1 with the reason on `err`.
int RunRetention(const RetentionOptions& options, std::ostream& out, std::ostream& err);

void AddRetentionCommand(CLI::App& app, int& exitCode);

}  // namespace vnq
