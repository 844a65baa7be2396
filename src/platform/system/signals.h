// What the process and those who start and stop it tell each other: signals, and the word that it is
// ready.
#pragma once

#include <functional>
#include <string>

#include "platform/net/event_loop.h"

namespace vnq {

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
