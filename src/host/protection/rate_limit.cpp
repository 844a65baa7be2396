#include "host/protection/rate_limit.h"

#include <algorithm>

namespace vnq {

bool Allowance::Take(const Rate& rate, int64_t nowMs, int64_t wanted) {
  const auto most = static_cast<double>(rate.holds);
  if (fresh_) {
    fresh_ = false;
    left_ = most;
  } else {
    const auto grown =
        static_cast<double>((nowMs - sinceMs_) * rate.count) / static_cast<double>(rate.periodMs);
    left_ = std::min(most, left_ + grown);
  }
  sinceMs_ = nowMs;
  if (left_ < static_cast<double>(wanted)) return false;
  left_ -= static_cast<double>(wanted);
  return true;
}

}  // namespace vnq
