// Another program, run for what it writes to its standard output.
#pragma once

#include <sys/types.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace vnq {

/// A program and its words; no shell comes between.
struct ChildCommand {
  std::string program;  ///< looked for on PATH when it has no slash
  std::vector<std::string> arguments;
  std::vector<std::pair<std::string, std::string>> environment;  ///< over the process's own
};

/// One that runs. Its standard input is empty; what it says on standard error is kept for Finish.
class ChildProcess {
 public:
  enum class Started { kYes, kNotFound, kError };

  ChildProcess() = default;
  /// Ends it if it still runs.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// Starts it; to be called once. Not kYes: `error` says why.
  Started Start(const ChildCommand& command, std::string& error);

  /// The next line without its line end; the last may have none. False at the end.
  bool ReadLine(std::string& line);

  /// Waits for its end. True when it exited with 0; else `error` has its exit code or signal.
  /// Either way `said` has the beginning of what it wrote to standard error.
  bool Finish(std::string& error, std::string& said);

 private:
  bool Fill();

  pid_t pid_ = -1;
  int output_ = -1, complaints_ = -1;
  std::string buffer_;
  size_t at_ = 0;
};

}  // namespace vnq
