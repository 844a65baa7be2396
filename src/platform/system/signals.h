// What the process owes the system around it: one instance per folder, signals, and the word that
// it is ready.
#pragma once

#include <functional>
#include <string>

#include "platform/net/event_loop.h"

namespace vnq {

/// A lock file held for as long as the object lives; the kernel drops it with the process, however
/// that ends.
class InstanceLock {
 public:
  InstanceLock() = default;
  ~InstanceLock();
  InstanceLock(const InstanceLock&) = delete;
  InstanceLock& operator=(const InstanceLock&) = delete;

  enum class Result { kHeld, kOtherInstance, kError };

  /// Takes the lock without waiting. kError: the file cannot be made, and `error` says why.
  Result Acquire(const std::string& path, std::string& error);

 private:
  int descriptor_ = -1;
};

/// Hands the signals that people and programs send to the loop: SIGTERM and SIGINT, and SIGHUP,
/// SIGUSR1, SIGUSR2 and SIGALRM, which would end the process out of hand.
class ProcessSignals : private EventLoop::Watcher {
 public:
  /// From here on these signals wait for a ProcessSignals, and SIGPIPE is ignored.
  static void Hold();

  /// Holds them, and calls `onSignal` on the loop with the number of each.
  ProcessSignals(EventLoop& loop, std::function<void(int signal)> onSignal);
  ~ProcessSignals() override;

 private:
  void OnEvents(uint32_t epollEvents) override;

  EventLoop& loop_;
  std::function<void(int)> onSignal_;
  int descriptor_ = -1;
};

/// Sends a state such as "READY=1" to the service manager that NOTIFY_SOCKET names; nothing without
/// one.
void NotifyServiceManager(const std::string& state);

}  // namespace vnq
