// vnqctl meeting open: makes the row that a call needs before its first signal.
//
//   vnqctl meeting open --app-path DIR --from U --to U [--video]
//
// The server tells devices of a call what its row says, and never inserts one.
#pragma once

#include <iosfwd>
#include <string>

namespace CLI {
class App;
}

namespace vnq {

struct MeetingOptions {
  std::string appPath;
  std::string from, to;  ///< the caller and the one called: login names or UserIDs
  bool isVideo = false;
};

/// Inserts the row and writes its ChatId, which no other row has, as one line on `out`. The caller
/// takes part from a desktop, nothing else is settled yet. The server may be running. Gives the
/// exit code: 0, or 1 with a line on `err` for a user that is not known, a caller who calls himself
/// and a database that refuses.
int RunMeetingOpen(const MeetingOptions& options, std::ostream& out, std::ostream& err);

/// Adds "meeting" with its subcommand, which leaves its exit code in `exitCode`.
void AddMeetingCommand(CLI::App& app, int& exitCode);

}  // namespace vnq
