// What the process and those who start and stop it tell each other: signals, and the word that it
// is ready.
#pragma once

#include <functional>
#include <string>

#include "platform/net/event_loop.h"

namespace vnq {

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

/// True when the service manager ends this process once it has not heard "WATCHDOG=1" from it for
/// some time.
bool ServiceManagerWatches();

}  // namespace vnq
