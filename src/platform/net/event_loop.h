// The event thread: one epoll loop, a first-in first-out ready queue, timers, and handlers that can
// yield.
//
// A handler is a plain procedure that runs on a stack of its own (a fiber). It runs to its end
// without a break, but for the places where it calls Yield or Suspend: there the loop polls the
// kernel, everything that is ready by then runs (each to its own end or its own next yield), and
// the handler goes on. Nothing here is thread-safe; everything happens on the one thread that calls
// Run.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/net/clock.h"

namespace vnq {

class EventLoop {
 public:
  using Task = std::function<void()>;
  using TimerId = uint64_t;

  /// What epoll reports on a descriptor goes to its watcher, on the loop's own stack; it must not
  /// yield.
  class Watcher {
   public:
    virtual ~Watcher() = default;
    virtual void OnEvents(uint32_t epollEvents) = 0;
  };

  /// Identifies a suspended handler. Valid until the handler is woken.
  struct Handler;

  /// Handlers that may be alive at one time before arrivals are held back, and before those of
  /// peers that have no other handler are.
  static constexpr size_t kMaxHandlers = 4096;
  static constexpr size_t kMaxFirstHandlers = 3 * kMaxHandlers;

  explicit EventLoop(const Clock& clock);
  ~EventLoop();
  EventLoop(const EventLoop&) = delete;
  EventLoop& operator=(const EventLoop&) = delete;

  // --- Work ---

  /// Puts a handler at the tail of the ready queue. It may yield.
  void StartHandler(Task task);

  /// The same for a handler that begins with much to read: so many bytes. Where this turn of the
  /// loop has begun enough of them it waits for a later turn, so that whatever else is ready runs
  /// in between. False: it waits.
  bool StartHandler(Task task, size_t bytes);

  static constexpr size_t kFewBytes = 4096;            ///< that wait for nobody
  static constexpr size_t kBytesPerTurn = 256 * 1024;  ///< to begin with; one handler may have more

  /// Puts a short step at the tail of the ready queue; it runs on the loop's own stack and must not
  /// yield.
  void Enqueue(Task step);

  /// Goes on behind everything that is ready at the next poll of the kernel, which all handlers
  /// that yield in one turn share. Only in a handler. Yields: yes.
  void Yield();

  /// True inside a handler, where Yield and Suspend may be called.
  bool InHandler() const { return current_ != nullptr; }

  /// The running handler, to be woken after Suspend.
  Handler* CurrentHandler() const { return current_; }

  /// Parks the running handler until Wake. Yields: yes.
  void Suspend();

  /// Puts a suspended handler at the tail of the ready queue.
  void Wake(Handler* handler);

  /// Handlers that were started and have not ended.
  size_t LiveHandlers() const { return liveHandlers_; }

  /// A stretch that nothing else could run in: a step, or a handler up to its end or its next
  /// yield.
  struct Stretch {
    int64_t microseconds = 0;
    std::string_view what;  ///< what the handler was said to do; empty when nobody said
  };

  /// Says what the running handler does, from here on; `what` outlives the loop.
  void NameHandler(std::string_view what);

  /// The longest stretch since the last call, by the machine's clock.
  Stretch TakeLongestStretch() { return std::exchange(longest_, {}); }

  /// The clock that timers go by.
  int64_t NowMs() const { return clock_.MonotonicMs(); }

  /// Runs `step` once, when a handler has ended and fewer than kMaxHandlers are alive, or, for
  /// a first handler, fewer than kMaxFirstHandlers.
  void WhenHandlerEnds(bool isFirst, Task step) {
    (isFirst ? firstsWaiting_ : waitingForRoom_).push_back(std::move(step));
  }

  // --- Short memory ---

  /// Sets the step that is told when the memory for something could not be had: a step, a handler
  /// or a record of one was lost by it, everything else goes on.
  void SetOutOfMemory(Task outOfMemory) { outOfMemory_ = std::move(outOfMemory); }

  /// Tells it.
  void NoteOutOfMemory() noexcept;

  // --- What others see ---

  /// Sets the step that completes what handlers have done before anybody outside can see it or has
  /// to wait for it, and what tells whether it has anything to complete. Neither may yield; empty
  /// ones take them away.
  void SetSettle(Task settle, std::function<bool()> isOwed) {
    settle_ = std::move(settle);
    isOwed_ = std::move(isOwed);
  }

  /// Runs that step, and then what waits for it. The loop does so before each poll, and where a
  /// handler yields that owes nothing or has owed for long; who starts an outgoing call or a
  /// program does so before.
  void Settle();

  /// True while what leaves has to wait for a Settle.
  bool OwesSettle() const { return !leaving_.empty() || (isOwed_ && isOwed_()); }

  /// Has a step that lets something out run behind the next Settle, in the order of these calls. It
  /// must not yield.
  void AfterSettle(Task leave);

  /// Says that something leaves, so that somebody may answer it at once.
  void NoteLetOut() { letOut_ = true; }

  /// Sets for how long Turn sleeps before it waits, behind a second turn in twice that time that
  /// owed a settling and let nothing out: nobody waits for an answer then, and what comes meanwhile
  /// is one turn. 0: not at all, which is what holds until this call.
  void SetGathering(int ms) { gatherMs_ = ms; }

  static constexpr size_t kMostLeaving = 256;        ///< steps that wait; with more it is settled
  static constexpr int kMostUnsettledYields = 64;    ///< in a row
  static constexpr int64_t kLongestUnsettledMs = 1;  ///< over yields

  // --- Descriptors ---

  /// Watches a descriptor, level-triggered. The watcher must outlive the watch. False: errno tells.
  bool Watch(int descriptor, uint32_t epollEvents, Watcher* watcher);
  void ChangeWatch(int descriptor, uint32_t epollEvents);
  void Unwatch(int descriptor);

  // --- Timers ---

  /// Starts a handler every `intervalMs`. A tick that comes late runs once, missed ticks are not
  /// made up, and the period does not shift. A tick does not wait for the end of the one before.
  TimerId StartTimer(int64_t intervalMs, Task tick);

  /// Enqueues a step once, `delayMs` from now.
  TimerId RunAfter(int64_t delayMs, Task step);
  void StopTimer(TimerId timer);

  // --- Running ---

  /// Runs until Stop.
  void Run();
  void Stop() { stopped_ = true; }

  /// One turn: polls, waiting up to `waitMs` when nothing is ready, then runs what is ready.
  /// True when anything ran.
  bool Turn(int waitMs);

  /// One turn of descriptors, timers and plain steps only: no handler starts or goes on, and none
  /// is to come. For the end of the process, while what was sent still leaves.
  void TurnWithoutHandlers(int waitMs);

  /// Ends every suspended or waiting handler by unwinding its stack. Only for tests that tear a
  /// server down inside a process that lives on; handlers see no difference to an exception.
  void UnwindHandlers();

 private:
  struct ReadyItem {
    Handler* handler = nullptr;  // to resume; null for a task
    Task task;
    bool yields = false;  // the task wants a stack of its own
  };
  struct LargeStart {
    Task task;
    size_t bytes = 0;
  };
  struct WatchEntry {
    Watcher* watcher = nullptr;
    uint32_t generation = 0;
  };
  struct Timer {
    TimerId id;
    int64_t dueMs;
    int64_t intervalMs;  // 0: once
    Task task;
  };

  void SettleAtYield();
  bool HasReady() const { return !ready_.empty() || !yielded_.empty() || late_ != nullptr; }
  bool MayGather(int waitMs);
  bool Gather();
  void Poll(int waitMs);
  int WaitUntilTimer(int waitMs) const;
  void FireTimers();
  void RunReady();
  void RunItem(ReadyItem& item);
  void StartLargeOnes();
  void RunTask(const Task& step);
  bool StartOnStack(ReadyItem& item);
  void GoOnLater(Handler* handler) noexcept;
  void GoOnBehindPoll(Handler* handler) noexcept;
  void TakeUpYielded();
  void TakeUpLate();
  void Resume(Handler* handler);
  void SwitchToLoop();
  Handler* TakeHandler();
  void Retire(Handler* handler);
  void DestroyHandler(Handler* handler);

  const Clock& clock_;
  int epoll_ = -1;
  bool stopped_ = false;
  Handler* current_ = nullptr;
  std::string_view running_;  // what the present item was said to do
  Stretch longest_;
  size_t liveHandlers_ = 0;
  Task settle_;
  Task outOfMemory_;
  std::function<bool()> isOwed_;
  std::vector<Task> leaving_;  // behind the next Settle
  bool letOut_ = false;        // in this turn
  int64_t gatherMs_ = 0, storedMs_ = 0;
  int unsettledYields_ = 0;
  int64_t polledMs_ = 0, settledMs_ = 0;
  std::deque<ReadyItem> ready_;
  std::vector<Handler*> yielded_;       // to go on behind what the next poll finds
  std::deque<LargeStart> largeStarts_;  // for later turns
  size_t bytesLeft_ = kBytesPerTurn;    // of this turn
  std::deque<Task> waitingForRoom_, firstsWaiting_;
  Handler* late_ = nullptr;          // ready ones that there was no memory to queue
  bool starved_ = false;             // a handler found no memory for its stack in this turn
  std::vector<WatchEntry> watches_;  // by descriptor
  std::vector<Timer> timers_;        // a handful: searched in order
  TimerId lastTimer_ = 0;
  std::vector<Handler*> handlers_;  // all that exist
  std::vector<Handler*> idle_;      // those without a task, their stacks kept for reuse
};

}  // namespace vnq
