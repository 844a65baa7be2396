#include "platform/sql/lock_patience.h"

#include <algorithm>

#include "platform/net/clock.h"

namespace vnq {

int64_t LockPatience::NowMs() const {
  return MonotonicMs(clock_);
}

void LockPatience::NoteVain() {
  if (IsPausing()) return;
  const int64_t least = std::max(kShortestPauseMs, 2 * waitMs_);
  pauseMs_ = std::clamp(pauseMs_ * 2, least, std::max(kLongestPauseMs, least));
  patientAgainMs_ = NowMs() + pauseMs_;
}

void LockPatience::NoteHad() {
  pauseMs_ = 0;
}

}  // namespace vnq
