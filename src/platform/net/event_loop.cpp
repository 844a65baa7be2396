#include "platform/net/event_loop.h"

#include <errno.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <cassert>
#include <chrono>
#include <new>
#include <thread>
#include <utility>

#include <boost/context/fiber.hpp>

#include "platform/net/handler_stack.h"

namespace vnq {
namespace {

constexpr size_t kMaxIdleHandlers = 32;  // each keeps the pages that it has touched
constexpr int kEventsPerPoll = 256;
constexpr int kStarvedMs = 10;  // between two tries to get a stack

// Thrown in a suspended handler that is to end without going on.
struct HandlerUnwound {};

}  // namespace

struct EventLoop::Handler {
  boost::context::fiber self;  // where the handler goes on
  boost::context::fiber loop;  // where the loop goes on; valid while the handler runs
  Task task;
  ExceptionState exceptions;
  bool hasTask = false;
  bool quit = false;
  bool yielded = false;  // wants its place at the tail of the ready queue
  bool ranOutOfMemory = false;
  Handler* nextLate = nullptr;
  std::string_view what;  // see NameHandler
  StackRange stack;       // the handler's own
  StackRange loopStack;   // the loop's, learnt on arrival
  void* fakeStack = nullptr;

  void SwitchToLoop() {
    LeaveStack(&fakeStack, loopStack);
    loop = std::move(loop).resume();
    ArriveOnStack(fakeStack, &loopStack);
  }

  // The body of every fiber: one task after the other, so that a stack is set up once.
  boost::context::fiber Run(boost::context::fiber&& caller) {
    loop = std::move(caller);
    ArriveOnStack(nullptr, &loopStack);
    while (!quit) {
      try {
        task();
      } catch (const HandlerUnwound&) {
      } catch (const std::bad_alloc&) {
        ranOutOfMemory = true;
      }
      task = nullptr;
      hasTask = false;
      SwitchToLoop();
    }
    LeaveStack(nullptr, loopStack);
    return std::move(loop);
  }
};

EventLoop::EventLoop(const Clock& clock) : clock_(clock), epoll_(epoll_create1(EPOLL_CLOEXEC)) {}

EventLoop::~EventLoop() {
  UnwindHandlers();
  for (Handler* handler : std::vector<Handler*>(handlers_)) DestroyHandler(handler);
  // What tasks own may call back into the loop as it goes, so they go while the loop is whole.
  std::exchange(timers_, {});
  std::exchange(leaving_, {});
  std::exchange(waitingForRoom_, {});
  std::exchange(firstsWaiting_, {});
  std::exchange(largeStarts_, {});
  std::exchange(ready_, {});
  close(epoll_);
}

// --- Work ---

void EventLoop::StartHandler(Task task) {
  ++liveHandlers_;
  ready_.push_back({nullptr, std::move(task), true});
}

bool EventLoop::StartHandler(Task task, size_t bytes) {
  if (bytes > kFewBytes && (bytesLeft_ == 0 || !largeStarts_.empty())) {
    largeStarts_.push_back({std::move(task), bytes});
    ++liveHandlers_;
    return false;
  }
  StartHandler(std::move(task));
  if (bytes > kFewBytes) bytesLeft_ -= std::min(bytesLeft_, bytes);
  return true;
}

// Of those that wait, as many as a turn begins.
void EventLoop::StartLargeOnes() {
  while (!largeStarts_.empty() && bytesLeft_ > 0) {
    LargeStart& first = largeStarts_.front();
    ready_.emplace_back();  // without memory for it the first one stays the first
    ready_.back().task = std::move(first.task);
    ready_.back().yields = true;
    bytesLeft_ -= std::min(bytesLeft_, first.bytes);
    largeStarts_.pop_front();
  }
}

void EventLoop::Enqueue(Task step) {
  ready_.push_back({nullptr, std::move(step), false});
}

void EventLoop::Yield() {
  assert(current_ != nullptr);
  current_->yielded = true;
  SwitchToLoop();
}

void EventLoop::Suspend() {
  assert(current_ != nullptr);
  SwitchToLoop();
}

void EventLoop::NameHandler(std::string_view what) {
  running_ = what;
  if (current_ != nullptr) current_->what = what;
}

void EventLoop::Wake(Handler* handler) {
  GoOnLater(handler);
}

// A handler that could not be queued would never go on.
void EventLoop::GoOnLater(Handler* handler) noexcept {
  try {
    ready_.emplace_back();
    ready_.back().handler = handler;
  } catch (const std::bad_alloc&) {
    handler->nextLate = std::exchange(late_, handler);
  }
}

void EventLoop::GoOnBehindPoll(Handler* handler) noexcept {
  try {
    yielded_.push_back(handler);
  } catch (const std::bad_alloc&) {
    handler->nextLate = std::exchange(late_, handler);
  }
}

void EventLoop::TakeUpYielded() {
  for (Handler* handler : yielded_) GoOnLater(handler);
  yielded_.clear();
}

void EventLoop::TakeUpLate() {
  for (Handler* handler = std::exchange(late_, nullptr); handler != nullptr;) {
    GoOnLater(std::exchange(handler, handler->nextLate));
  }
}

void EventLoop::NoteOutOfMemory() noexcept {
  try {
    if (outOfMemory_) outOfMemory_();
  } catch (const std::bad_alloc&) {  // not even to say so; it will be said the next time
  }
}

EventLoop::Handler* EventLoop::TakeHandler() {
  if (!idle_.empty()) {
    Handler* handler = idle_.back();
    idle_.pop_back();
    return handler;
  }
  auto made = std::make_unique<Handler>();
  Handler* handler = made.get();
  handlers_.reserve(handlers_.size() + 1);
  handler->self = boost::context::fiber(
      std::allocator_arg, GuardedStack(handler->stack),
      [handler](boost::context::fiber&& loop) { return handler->Run(std::move(loop)); });
  handlers_.push_back(made.release());
  return handler;
}

void EventLoop::Resume(Handler* handler) {
  current_ = handler;
  const ExceptionState ours = ExceptionState::Exchange(handler->exceptions);
  void* fakeStack = nullptr;
  LeaveStack(&fakeStack, handler->stack);
  handler->self = std::move(handler->self).resume();
  ArriveOnStack(fakeStack, nullptr);
  handler->exceptions = ExceptionState::Exchange(ours);
  current_ = nullptr;
}

void EventLoop::SwitchToLoop() {
  Handler* handler = current_;
  handler->SwitchToLoop();
  if (handler->quit) throw HandlerUnwound();
}

void EventLoop::RunTask(const Task& step) {
  try {
    step();
  } catch (const std::bad_alloc&) {
    NoteOutOfMemory();
  }
}

// False: it is tried again, when other handlers may have given their stacks back.
bool EventLoop::StartOnStack(ReadyItem& item) {
  try {
    Handler* handler = TakeHandler();
    handler->task = std::move(item.task);
    handler->hasTask = true;
    handler->what = {};
    item.handler = handler;
    return true;
  } catch (const std::bad_alloc&) {
    NoteOutOfMemory();
  }
  starved_ = true;
  try {
    ready_.push_back(std::move(item));
  } catch (const std::bad_alloc&) {
    --liveHandlers_;
  }
  return false;
}

void EventLoop::RunItem(ReadyItem& item) {
  if (item.handler == nullptr && !item.yields) return RunTask(item.task);
  if (item.handler == nullptr && !StartOnStack(item)) return;
  Handler* handler = item.handler;
  Resume(handler);
  if (std::exchange(handler->ranOutOfMemory, false)) NoteOutOfMemory();
  if (!handler->hasTask) {
    Retire(handler);
  } else if (handler->yielded) {
    // What the kernel has by then comes first: it is what the handler yields to.
    handler->yielded = false;
    SettleAtYield();
    GoOnBehindPoll(handler);
  }
}

void EventLoop::Retire(Handler* handler) {
  --liveHandlers_;
  if (idle_.size() < kMaxIdleHandlers) {
    idle_.push_back(handler);
  } else {
    DestroyHandler(handler);
  }
  std::deque<Task>& next = firstsWaiting_.empty() ? waitingForRoom_ : firstsWaiting_;
  const size_t most = firstsWaiting_.empty() ? kMaxHandlers : kMaxFirstHandlers;
  if (next.empty() || liveHandlers_ >= most) return;
  const Task step = std::move(next.front());
  next.pop_front();
  RunTask(step);
}

void EventLoop::DestroyHandler(Handler* handler) {
  std::erase(idle_, handler);
  std::erase(handlers_, handler);
  if (handler->self && !handler->hasTask) {
    handler->quit = true;
    Resume(handler);
  }
  delete handler;
}

void EventLoop::UnwindHandlers() {
  ready_.clear();
  yielded_.clear();
  largeStarts_.clear();
  waitingForRoom_.clear();
  firstsWaiting_.clear();
  late_ = nullptr;
  for (Handler* handler : std::vector<Handler*>(handlers_)) {
    if (!handler->hasTask) continue;
    handler->quit = true;
    Resume(handler);  // the task unwinds, and the fiber comes back from its last switch
    Resume(handler);  // the fiber ends
    std::erase(handlers_, handler);
    delete handler;
  }
  liveHandlers_ = 0;
}

// --- What others see ---

void EventLoop::Settle() {
  if (settle_) RunTask(settle_);
  unsettledYields_ = 0;
  if (leaving_.empty()) return;
  std::vector<Task> leaving;
  leaving.swap(leaving_);
  for (const Task& leave : leaving) RunTask(leave);
  leaving.clear();
  if (leaving_.empty()) leaving_.swap(leaving);  // for its memory
}

void EventLoop::AfterSettle(Task leave) {
  leaving_.push_back(std::move(leave));
  if (leaving_.size() >= kMostLeaving) Settle();
}

// Handlers that write and yield side by side are settled together, by the next turn. But what was
// only read is not to get old while others write.
void EventLoop::SettleAtYield() {
  const bool mayWait = OwesSettle() && ++unsettledYields_ <= kMostUnsettledYields &&
                       clock_.MonotonicMs() - settledMs_ < kLongestUnsettledMs;
  if (mayWait) return;
  Settle();
  settledMs_ = polledMs_;
}

// --- Descriptors ---

bool EventLoop::Watch(int descriptor, uint32_t epollEvents, Watcher* watcher) {
  const size_t index = static_cast<size_t>(descriptor);
  if (watches_.size() <= index) watches_.resize(index + 1);
  WatchEntry& entry = watches_[index];
  epoll_event event{};
  event.events = epollEvents;
  event.data.u64 = (uint64_t{entry.generation + 1} << 32) | static_cast<uint32_t>(descriptor);
  if (epoll_ctl(epoll_, EPOLL_CTL_ADD, descriptor, &event) != 0) return false;
  entry.watcher = watcher;
  ++entry.generation;
  return true;
}

void EventLoop::ChangeWatch(int descriptor, uint32_t epollEvents) {
  epoll_event event{};
  event.events = epollEvents;
  event.data.u64 = (uint64_t{watches_[static_cast<size_t>(descriptor)].generation} << 32) |
                   static_cast<uint32_t>(descriptor);
  epoll_ctl(epoll_, EPOLL_CTL_MOD, descriptor, &event);
}

void EventLoop::Unwatch(int descriptor) {
  epoll_ctl(epoll_, EPOLL_CTL_DEL, descriptor, nullptr);
  watches_[static_cast<size_t>(descriptor)].watcher = nullptr;
}

// --- Timers ---

EventLoop::TimerId EventLoop::StartTimer(int64_t intervalMs, Task tick) {
  timers_.push_back({++lastTimer_, clock_.MonotonicMs() + intervalMs, intervalMs, std::move(tick)});
  return lastTimer_;
}

EventLoop::TimerId EventLoop::RunAfter(int64_t delayMs, Task step) {
  timers_.push_back({++lastTimer_, clock_.MonotonicMs() + delayMs, 0, std::move(step)});
  return lastTimer_;
}

void EventLoop::StopTimer(TimerId timer) {
  std::erase_if(timers_, [timer](const Timer& candidate) { return candidate.id == timer; });
}

void EventLoop::FireTimers() try {
  const int64_t now = polledMs_ = clock_.MonotonicMs();
  for (size_t i = 0; i < timers_.size();) {
    Timer& timer = timers_[i];
    if (timer.dueMs > now) {
      ++i;
    } else if (timer.intervalMs > 0) {
      StartHandler(timer.task);
      timer.dueMs += (now - timer.dueMs) / timer.intervalMs * timer.intervalMs + timer.intervalMs;
      ++i;
    } else {
      ready_.emplace_back();  // without memory for it the timer stays due
      ready_.back().task = std::move(timer.task);
      timers_.erase(timers_.begin() + static_cast<std::ptrdiff_t>(i));
    }
  }
} catch (const std::bad_alloc&) {
  NoteOutOfMemory();
}

int EventLoop::WaitUntilTimer(int waitMs) const {
  int64_t wait = waitMs;
  const int64_t now = clock_.MonotonicMs();
  for (const Timer& timer : timers_) {
    const int64_t left = std::max<int64_t>(timer.dueMs - now, 0);
    if (wait < 0 || left < wait) wait = left;
  }
  return static_cast<int>(std::min<int64_t>(wait, 60'000));
}

// --- Running ---

void EventLoop::Poll(int waitMs) {
  epoll_event events[kEventsPerPoll];
  const int count = epoll_wait(epoll_, events, kEventsPerPoll, waitMs);
  for (int i = 0; i < count; ++i) {
    const size_t descriptor = static_cast<uint32_t>(events[i].data.u64);
    const uint32_t generation = static_cast<uint32_t>(events[i].data.u64 >> 32);
    // An earlier event of this batch may have ended this watch, or put another on its descriptor.
    const WatchEntry entry = watches_[descriptor];
    if (entry.watcher != nullptr && entry.generation == generation) {
      try {
        entry.watcher->OnEvents(events[i].events);
      } catch (const std::bad_alloc&) {
        NoteOutOfMemory();
      }
    }
  }
  FireTimers();
}

// A turn that has only stored is followed by others where much comes; one by itself is not.
bool EventLoop::MayGather(int waitMs) {
  if (gatherMs_ == 0 || waitMs == 0 || HasReady()) return false;
  if (letOut_ || !leaving_.empty() || !isOwed_ || !isOwed_()) return false;
  return polledMs_ - std::exchange(storedMs_, polledMs_) <= gatherMs_ * 2;
}

// False: nothing was there, nor came while it slept; it is to be waited for.
bool EventLoop::Gather() {
  Poll(0);
  if (HasReady()) return true;
  const int ms = WaitUntilTimer(static_cast<int>(gatherMs_));
  std::this_thread::sleep_for(std::chrono::milliseconds(ms));
  return false;
}

bool EventLoop::Turn(int waitMs) {
  const bool gathers = MayGather(waitMs);
  Settle();
  letOut_ = false;
  bytesLeft_ = kBytesPerTurn;
  if (!largeStarts_.empty()) RunTask([this] { StartLargeOnes(); });
  const int busyWaitMs = std::exchange(starved_, false) ? kStarvedMs : 0;
  if (!gathers || !Gather()) Poll(HasReady() ? busyWaitMs : WaitUntilTimer(waitMs));
  settledMs_ = polledMs_;
  TakeUpYielded();
  TakeUpLate();
  if (ready_.empty()) return false;
  RunReady();
  return true;
}

// What is ready now; where one stretch ends the next begins, so that each costs one look at the
// clock.
void EventLoop::RunReady() {
  auto began = std::chrono::steady_clock::now();
  for (size_t left = ready_.size(); left > 0 && !ready_.empty(); --left) {
    ReadyItem item = std::move(ready_.front());
    ready_.pop_front();
    running_ = item.handler != nullptr ? item.handler->what : std::string_view();
    RunItem(item);
    const auto ended = std::chrono::steady_clock::now();
    const auto took = std::chrono::duration_cast<std::chrono::microseconds>(ended - began).count();
    if (took > longest_.microseconds) longest_ = {took, running_};
    began = ended;
  }
}

void EventLoop::TurnWithoutHandlers(int waitMs) {
  Settle();
  Poll(waitMs);
  for (size_t left = ready_.size(); left > 0; --left) {
    ReadyItem item = std::move(ready_.front());
    ready_.pop_front();
    if (item.handler == nullptr && !item.yields) RunTask(item.task);
  }
}

void EventLoop::Run() {
  stopped_ = false;
  while (!stopped_) Turn(-1);
}

}  // namespace vnq
