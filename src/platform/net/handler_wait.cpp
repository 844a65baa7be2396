#include "platform/net/handler_wait.h"

namespace vnq {

void WaitInHandler(EventLoop& loop, int64_t ms) {
  // Taken back where the wait ends by the handler's unwinding.
  struct Alarm {
    EventLoop& loop;
    EventLoop::TimerId timer;
    ~Alarm() { loop.StopTimer(timer); }
  };
  EventLoop::Handler* handler = loop.CurrentHandler();
  const Alarm alarm{loop, loop.RunAfter(ms, [&loop, handler] { loop.Wake(handler); })};
  loop.Suspend();
}

}  // namespace vnq
