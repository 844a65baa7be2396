// vnqctl status, who, top: what a running server says of itself.
#pragma once

#include <ostream>
#include <string>

namespace CLI {
class App;
}

namespace vnq {

struct StatusOptions {
  std::string appPath;
  bool json = false;
  double intervalS = 2;  ///< for top
  int count = 0;         ///< for top: how many looks; 0 is without end
};

/// Asks the server that runs on a folder. False, with the reason in `error`: none does, this user
/// may not ask it, or it refuses the question.
bool AskServer(const std::string& appPath, const std::string& question, std::string& answer,
               std::string& error);

/// Each returns the exit code: 0, or 1 with the reason on `err`.
int RunStatus(const StatusOptions& options, std::ostream& out, std::ostream& err);
int RunWho(const StatusOptions& options, std::ostream& out, std::ostream& err);

/// The status again and again, until the server is gone or a signal comes. On a terminal each look
/// takes the place of the one before, as many lines as there is room for.
int RunTop(const StatusOptions& options, std::ostream& out, std::ostream& err);

void AddStatusCommands(CLI::App& app, int& exitCode);

}  // namespace vnq
