// Work that takes long and touches nothing but its own data, done beside the event thread.
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "platform/net/event_loop.h"

namespace vnq {

/// One thread, which begins with the first work; what is asked for meanwhile waits its turn.
class BackgroundWork : private EventLoop::Watcher {
 public:
  using Work = std::function<std::string()>;  ///< owns what it works on, and does not throw

  explicit BackgroundWork(EventLoop& loop) : loop_(loop) {}
  ~BackgroundWork() override;
  BackgroundWork(const BackgroundWork&) = delete;
  BackgroundWork& operator=(const BackgroundWork&) = delete;

  /// The result of the work. Only in a handler. Yields: yes.
  std::string Do(Work work);

 private:
  struct Job {
    Work work;
    std::string result;
    EventLoop::Handler* handler = nullptr;  // null once nobody waits for it; the loop's alone
  };

  void Start();
  void RunThread();
  void OnEvents(uint32_t epollEvents) override;

  EventLoop& loop_;
  std::thread thread_;
  int done_ = -1;  // readable when a job is done
  std::mutex mutex_;
  std::condition_variable wanted_;
  std::deque<std::shared_ptr<Job>> waiting_, finished_;  // under the mutex, as is:
  bool stopping_ = false;
};

}  // namespace vnq
