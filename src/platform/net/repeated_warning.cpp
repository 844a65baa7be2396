#include "platform/net/repeated_warning.h"

#include <spdlog/spdlog.h>

namespace vnq {

void RepeatedWarning::Note(std::string_view detail) {
  if (lasts_) {
    ++count_;
    return;
  }
  lasts_ = true;
  spdlog::warn("{}: {}", what_, detail);
  round_ = loop_.RunAfter(kRoundMs, [this] { EndRound(); });
}

void RepeatedWarning::EndRound() {
  lasts_ = count_ > 0;
  if (lasts_) {
    spdlog::warn("{}: {} more within a minute", what_, count_);
    round_ = loop_.RunAfter(kRoundMs, [this] { EndRound(); });
  } else {
    spdlog::info("{}: over, not once in the last minute", what_);
  }
  count_ = 0;
}

}  // namespace vnq
