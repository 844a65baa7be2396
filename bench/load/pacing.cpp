#include "bench/load/pacing.h"

#include <algorithm>

namespace vnq::bench {

int64_t Pacer::NextDueNs() const {
  return startNs_ + static_cast<int64_t>(static_cast<double>(taken_) * 1e9 / perSecond_);
}

int64_t Pacer::WaitNs(int64_t nowNs) const {
  return std::clamp<int64_t>(NextDueNs() - nowNs, 0, 20 * kNsPerMs);
}

bool Pacer::Take(int64_t nowNs) {
  if (NextDueNs() > nowNs) return false;
  ++taken_;
  return true;
}

void TickWatch::Arrived(int64_t nowNs) {
  const bool isNew =
      beginsNs_.empty() || nowNs - lastNs_ > kSilenceNs || nowNs - beginsNs_.back() > kShortestNs;
  lastNs_ = nowNs;
  if (!isNew) return;
  beginsNs_.push_back(nowNs);
  if (beginsNs_.size() > kRemembered) beginsNs_.pop_front();
}

int64_t TickWatch::WithoutWait(int64_t dueNs, int64_t arrivedNs) const {
  const auto tick = std::upper_bound(beginsNs_.begin(), beginsNs_.end(), dueNs);
  return arrivedNs - (tick == beginsNs_.end() ? dueNs : *tick);
}

}  // namespace vnq::bench
