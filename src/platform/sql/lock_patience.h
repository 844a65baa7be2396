// Private to platform: how long statements wait for the locks of other programs.
//
// A wait that was in vain would be followed by the next statement's, and so the thread would stand
// still for as long as the lock is held. So a pause follows it in which nothing waits: what wants
// the lock then fails at once, and everything else runs. While wait after wait is in vain the
// pauses grow, so that a lock held for half a minute costs a fifth of that and not two thirds.
#pragma once

#include <cstdint>

namespace vnq {

class Clock;

class LockPatience {
 public:
  /// waitMs: the longest wait outside of a pause. clock: null is the machine's.
  LockPatience(int64_t waitMs, const Clock* clock) : waitMs_(waitMs), clock_(clock) {}

  /// How long the next statement may wait; 0 in a pause.
  int64_t WaitMs() const { return IsPausing() ? 0 : waitMs_; }

  /// Notes that a lock was wanted and not had.
  void NoteVain();

  /// Notes that a lock was had.
  void NoteHad();

  static constexpr int64_t kShortestPauseMs = 1000;
  static constexpr int64_t kLongestPauseMs = 30'000;

 private:
  bool IsPausing() const { return pauseMs_ > 0 && NowMs() < patientAgainMs_; }
  int64_t NowMs() const;

  int64_t waitMs_;
  const Clock* clock_;
  int64_t pauseMs_ = 0;  // the last pause; 0: the last wait was not in vain
  int64_t patientAgainMs_ = 0;
};

}  // namespace vnq
