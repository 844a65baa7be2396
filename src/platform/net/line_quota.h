// How many lines of one kind the log takes: what peers do must not fill a disk.
#pragma once

#include <cstdint>
#include <string>

#include "platform/net/event_loop.h"

namespace vnq {

/// Lets so many lines a minute through. The others are counted, and the count is a line when the
/// minute is over.
class LineQuota {
 public:
  static constexpr int64_t kRoundMs = 60'000;

  /// what  the kind, as "log-ins": stands in front of the count. The loop outlives the object.
  LineQuota(EventLoop& loop, std::string what, int mostAMinute)
      : loop_(loop), what_(std::move(what)), most_(mostAMinute) {}
  ~LineQuota() { loop_.StopTimer(round_); }
  LineQuota(const LineQuota&) = delete;
  LineQuota& operator=(const LineQuota&) = delete;

  /// True where the line may be written. Yields: no.
  bool Admits();

 private:
  void EndRound();

  EventLoop& loop_;
  std::string what_;
  int most_;
  int said_ = 0;
  uint64_t left_ = 0;             // out, in this minute
  EventLoop::TimerId round_ = 0;  // 0: none was written for a minute
};

}  // namespace vnq
