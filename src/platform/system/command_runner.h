// Shell commands that start and stop services of this machine.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "platform/net/event_loop.h"

namespace vnq {

class CommandRunner {
 public:
  virtual ~CommandRunner() = default;

  /// Starts a shell command without a terminal and without waiting for its end. A command that
  /// cannot be started is skipped; nobody reads an exit code.
  virtual void Start(const std::string& commandLine) = 0;

  /// Stops the whole calling thread for a time: no handler, no timer and no socket is served
  /// meanwhile.
  virtual void BlockFor(int64_t ms) = 0;

  /// Lets the running handler wait, and everything else go on. Only in a handler. Yields: yes.
  virtual void WaitFor(int64_t ms) = 0;
};

/// Runs commands by /bin/sh in a session of their own, their three standard descriptors on
/// /dev/null and no other descriptor of this process open. A command outlives this object.
class ShellCommandRunner : public CommandRunner {
 public:
  explicit ShellCommandRunner(EventLoop& loop);
  ~ShellCommandRunner() override;

  void Start(const std::string& commandLine) override;
  void BlockFor(int64_t ms) override;
  void WaitFor(int64_t ms) override;

 private:
  class Child;

  void Reap();

  EventLoop& loop_;
  std::map<pid_t, std::unique_ptr<Child>> children_;
};

}  // namespace vnq
