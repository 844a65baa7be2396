#include "platform/sql/server_availability.h"

#include <algorithm>

#include "platform/net/clock.h"
#include "platform/system/event_log.h"

namespace vnq {

int64_t ServerAvailability::NowMs() const {
  return MonotonicMs(clock_);
}

void ServerAvailability::NoteLost(std::string why, int64_t spentMs) {
  nextAttemptMs_ = NowMs() + std::max(kBackOffMs, spentMs);
  if (why_.empty())
    LogError("database_unavailable", "{}: {}; statements fail until it can be used", name_, why);
  why_ = why.empty() ? "lost" : std::move(why);
}

void ServerAvailability::NoteWorking() {
  if (why_.empty()) return;
  why_.clear();
  LogInfo("database_back", "{}: statements run again", name_);
}

}  // namespace vnq
