#include "platform/net/line_quota.h"

#include "platform/system/event_log.h"

namespace vnq {

bool LineQuota::Admits() {
  if (round_ == 0) round_ = loop_.RunAfter(kRoundMs, [this] { EndRound(); });
  if (said_ < most_) {
    ++said_;
    return true;
  }
  ++left_;
  return false;
}

void LineQuota::EndRound() {
  if (left_ > 0) LogInfo("lines_left_out", "{}: {} more within a minute", what_, left_);
  said_ = 0;
  left_ = 0;
  round_ = 0;
}

}  // namespace vnq
