// A real program as a child process, with what it writes, for the few tests that need the shipped
// binary in real time.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

namespace vnq {

class RealProcess {
 public:
  /// Starts a program; standard error is kept, standard output too, standard input is empty.
  /// Variables are "NAME=value" texts added to the environment.
  explicit RealProcess(std::vector<std::string> commandLine,
                       const std::vector<std::string>& variables = {});
  ~RealProcess();
  RealProcess(const RealProcess&) = delete;
  RealProcess& operator=(const RealProcess&) = delete;

  /// Waits until standard error holds the words. False after 10 seconds.
  bool WaitForWords(const std::string& words);
  void Signal(int number);
  /// Waits for the end; -1 when it has not come after 20 seconds, or came by a signal.
  int ExitCode();

  pid_t pid() const { return pid_; }
  const std::string& standardError();
  const std::string& standardOutput();

 private:
  void Read();

  pid_t pid_ = -1;
  int errorPipe_ = -1, outputPipe_ = -1;
  std::string error_, output_;
};

}  // namespace vnq
