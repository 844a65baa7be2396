#include "platform/net/repeated_warning.h"

#include "platform/system/event_log.h"

namespace vnq {

void RepeatedWarning::Note(std::string_view detail) {
  if (lasts_) {
    ++count_;
    return;
  }
  lasts_ = true;
  LogWarning(event_, "{}: {}", what_, detail);
  round_ = loop_.RunAfter(kRoundMs, [this] { EndRound(); });
}

void RepeatedWarning::EndRound() {
  lasts_ = count_ > 0;
  if (lasts_) {
    LogWarning(event_, "{}: {} more within a minute", what_, count_);
    round_ = loop_.RunAfter(kRoundMs, [this] { EndRound(); });
  } else {
    LogInfo(event_, "{}: over, not once in the last minute", what_);
  }
  count_ = 0;
}

}  // namespace vnq
