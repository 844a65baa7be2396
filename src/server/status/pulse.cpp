#include "server/status/pulse.h"

#include <fmt/format.h>

#include <algorithm>

namespace vnq {

Pulse::Pulse(EventLoop& loop, std::function<uint64_t()> records, std::function<void()> onBeat)
    : loop_(loop),
      records_(std::move(records)),
      onBeat_(std::move(onBeat)),
      slow_(loop, "everybody had to wait", "slow"),
      dueMs_(loop.NowMs() + kBeatMs) {
  beats_[0] = {records_(), loop.NowMs(), 0, {}};
  loop_.TakeLongestStretch();  // the start's own
  timer_ = loop_.StartTimer(kBeatMs, [this] { Look(); });
}

Pulse::~Pulse() {
  loop_.StopTimer(timer_);
}

void Pulse::Look() {
  const int64_t now = loop_.NowMs();
  const int64_t lagMs = std::max<int64_t>(now - dueMs_, 0);
  dueMs_ += (lagMs / kBeatMs + 1) * kBeatMs;  // as the loop passes over missed ticks
  last_ = (last_ + 1) % kBeats;
  count_ = std::min(count_ + 1, kBeats);
  beats_[last_] = {records_(), now, lagMs, loop_.TakeLongestStretch()};
  SayWhenSlow(beats_[last_].longest);
  if (onBeat_) onBeat_();
}

void Pulse::SayWhenSlow(const EventLoop::Stretch& longest) {
  if (slowMs_ == 0 || longest.microseconds < int64_t{slowMs_} * 1000) return;
  slow_.Note(fmt::format("{} ms for {}", longest.microseconds / 1000,
                         longest.what.empty() ? "a step without a name" : longest.what));
}

PulseReading Pulse::Read() const {
  PulseReading reading;
  reading.lagMs = Ago(0).lagMs;
  for (size_t beat = 0; beat < count_; ++beat) {
    reading.worstLagMs = std::max(reading.worstLagMs, Ago(beat).lagMs);
    const EventLoop::Stretch& longest = Ago(beat).longest;
    if (longest.microseconds > reading.longest.microseconds) reading.longest = longest;
  }
  const Beat& from = Ago(std::min(kRateBeats, count_ - 1));
  const int64_t ms = Ago(0).atMs - from.atMs;
  if (ms > 0) {
    reading.recordsPerSecond =
        1000.0 * static_cast<double>(Ago(0).records - from.records) / static_cast<double>(ms);
  }
  return reading;
}

}  // namespace vnq
