// vnqctl trace: the records of single users, in the log of the running server.
#pragma once

#include <ostream>
#include <string>

namespace CLI {
class App;
}

namespace vnq {

struct TraceOptions {
  std::string appPath;
  std::string user;    ///< login name or UserID; empty: the list of those who are followed
  std::string change;  ///< "on" or "off"
  bool json = false;
};

/// Has the running server begin or end to write a user's records to its log, and says who is
/// followed then, a UserID a line. Returns the exit code: 0, or 1 with the reason on `err`.
int RunTrace(const TraceOptions& options, std::ostream& out, std::ostream& err);

void AddTraceCommand(CLI::App& app, int& exitCode);

}  // namespace vnq
