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

/// Calls `onSignal` on the loop for each SIGTERM and SIGINT, which are blocked from then on.
/// SIGPIPE is ignored.
class TerminationSignals : private EventLoop::Watcher {
 public:
  TerminationSignals(EventLoop& loop, std::function<void()> onSignal);
  ~TerminationSignals() override;

 private:
  void OnEvents(uint32_t epollEvents) override;

  EventLoop& loop_;
  std::function<void()> onSignal_;
  int descriptor_ = -1;
};

/// Sends a state such as "READY=1" to the service manager that NOTIFY_SOCKET names; nothing without
/// one.
void NotifyServiceManager(const std::string& state);

}  // namespace vnq
