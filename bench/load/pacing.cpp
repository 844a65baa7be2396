#include "bench/load/pacing.h"

namespace vnq::bench {

int64_t Pacer::NextDueNs() const {
  return startNs_ + static_cast<int64_t>(static_cast<double>(taken_) * 1e9 / perSecond_);
}

bool Pacer::Take(int64_t nowNs) {
  if (NextDueNs() > nowNs) return false;
  ++taken_;
  return true;
}

void TickWatch::Arrived(int64_t nowNs) {
  if (!any_ || nowNs - lastNs_ > kSilenceNs || nowNs - beginNs_ > kShortestNs) beginNs_ = nowNs;
  any_ = true;
  lastNs_ = nowNs;
}

int64_t TickWatch::WithoutWait(int64_t dueNs, int64_t arrivedNs) const {
  if (!any_ || dueNs >= beginNs_) return arrivedNs - dueNs;
  const int64_t ticksBetween = (beginNs_ - dueNs) / kPeriodNs;
  return arrivedNs - (beginNs_ - ticksBetween * kPeriodNs);
}

}  // namespace vnq::bench
