#include "bench/load/poller.h"

#include <errno.h>
#include <sys/epoll.h>
#include <time.h>
#include <unistd.h>

namespace vnq::bench {

int64_t NowNs() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<int64_t>(now.tv_sec) * 1'000'000'000 + now.tv_nsec;
}

Poller::Poller() : epoll_(epoll_create1(EPOLL_CLOEXEC)) {}

Poller::~Poller() {
  close(epoll_);
}

bool Poller::Watch(int descriptor, uint32_t epollEvents, Watcher* watcher) {
  epoll_event event{};
  event.events = epollEvents;
  event.data.ptr = watcher;
  return epoll_ctl(epoll_, EPOLL_CTL_ADD, descriptor, &event) == 0;
}

void Poller::Change(int descriptor, uint32_t epollEvents, Watcher* watcher) {
  epoll_event event{};
  event.events = epollEvents;
  event.data.ptr = watcher;
  epoll_ctl(epoll_, EPOLL_CTL_MOD, descriptor, &event);
}

void Poller::Unwatch(int descriptor) {
  epoll_ctl(epoll_, EPOLL_CTL_DEL, descriptor, nullptr);
}

void Poller::Turn(int64_t waitNs) {
  epoll_event events[256];
  const timespec wait{waitNs / 1'000'000'000, waitNs % 1'000'000'000};
  int count = epoll_pwait2(epoll_, events, 256, &wait, nullptr);
  // Kernels before 5.11 wait by whole milliseconds only.
  if (count < 0 && errno == ENOSYS) {
    count = epoll_wait(epoll_, events, 256, static_cast<int>((waitNs + 999'999) / 1'000'000));
  }
  for (int i = 0; i < count; ++i) {
    static_cast<Watcher*>(events[i].data.ptr)->OnEvents(events[i].events);
  }
}

}  // namespace vnq::bench
