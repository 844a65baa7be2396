// vnqctl history: what was said to and by one user, read from the database.
#pragma once

#include <cstddef>
#include <istream>
#include <ostream>
#include <string>

#include "tools/history/history_entry.h"

namespace CLI {
class App;
}

namespace vnq {

struct HistoryOptions {
  std::string appPath;
  std::string user;         ///< login name or UserID
  std::string with;         ///< only messages with this person; empty: everybody
  std::string group;        ///< only messages of this group, a name or a TypeID
  bool notices = false;     ///< only notices
  std::string since;        ///< "YYYY-MM-DD" or "YYYY-MM-DD hh:mm:ss"
  std::string search;       ///< words that stand in the text
  size_t limit = 0;         ///< the last so many, with onlyUnread the first; 0: all
  bool onlyUnread = false;  ///< what the device has not had
  bool markRead = false;    ///< what is shown counts as had by the device
  Device device = Device::kDesktop;
  bool json = false;
  bool serve = false;  ///< answer a program's requests; takes nothing else but appPath
};

/// Shows the conversations on `out`, in order of time. With markRead they are marked once they are
/// out. Returns the exit code: 0, or 1 after a failure that it names on `err`.
int RunHistory(const HistoryOptions& options, std::ostream& out, std::ostream& err);

/// Answers requests, a line each (history_service.h), until `in` ends. Returns the exit code: 0, or
/// 1 when the folder cannot be opened, which it names on `err`, or `out` takes no more.
int RunHistoryService(const std::string& appPath, std::istream& in, std::ostream& out,
                      std::ostream& err);

/// Adds the subcommand; when it runs, `exitCode` is set.
void AddHistoryCommand(CLI::App& app, int& exitCode);

}  // namespace vnq
