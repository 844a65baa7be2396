// A trouble that comes in swarms, said without flooding the log.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/net/event_loop.h"

namespace vnq {

/// Warns at the first occurrence; then, each minute while it lasts, with a count; and says that it
/// is over when a whole minute has passed without it.
class RepeatedWarning {
 public:
  static constexpr int64_t kRoundMs = 60'000;

  /// what   the trouble, in front of every line. The loop outlives the object.
  /// event  its name in the log, see LogEvent.
  RepeatedWarning(EventLoop& loop, std::string what, const char* event = "trouble")
      : loop_(loop), what_(std::move(what)), event_(event) {}
  ~RepeatedWarning() { loop_.StopTimer(round_); }
  RepeatedWarning(const RepeatedWarning&) = delete;
  RepeatedWarning& operator=(const RepeatedWarning&) = delete;

  /// It has happened; only the first detail of a spell is told. Yields: no.
  void Note(std::string_view detail);

 private:
  void EndRound();

  EventLoop& loop_;
  std::string what_;
  const char* event_;
  bool lasts_ = false;
  uint64_t count_ = 0;  // since the last line
  EventLoop::TimerId round_ = 0;
};

}  // namespace vnq
