// What the load generator waits on: one epoll instance, one thread.
#pragma once

#include <cstdint>

namespace vnq::bench {

/// The monotonic clock in nanoseconds.
int64_t NowNs();

class Poller {
 public:
  class Watcher {
   public:
    virtual ~Watcher() = default;
    virtual void OnEvents(uint32_t epollEvents) = 0;
  };

  Poller();
  ~Poller();
  Poller(const Poller&) = delete;
  Poller& operator=(const Poller&) = delete;

  bool Watch(int descriptor, uint32_t epollEvents, Watcher* watcher);
  void Change(int descriptor, uint32_t epollEvents, Watcher* watcher);
  void Unwatch(int descriptor);

  /// Hands out what is ready, waiting for it at most `waitNs`. A watcher may end itself, but no
  /// other, in its OnEvents.
  void Turn(int64_t waitNs);

 private:
  int epoll_;
};

}  // namespace vnq::bench
