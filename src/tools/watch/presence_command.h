// vnqctl presence repair: users who still seem to be online after a server that crashed.
#pragma once

#include <ostream>
#include <string>

namespace CLI {
class App;
}

namespace vnq {

struct PresenceOptions {
  std::string appPath;
  bool isDryRun = false;
  bool json = false;
};

/// Sets right what others see of users without a session: by the server where one runs, which
/// spares those that are connected, else directly, with the folder's lock held. Says whom, a line
/// each. Returns the exit code: 0, or 1 with the reason on `err`.
int RunPresenceRepair(const PresenceOptions& options, std::ostream& out, std::ostream& err);

void AddPresenceCommand(CLI::App& app, int& exitCode);

}  // namespace vnq
