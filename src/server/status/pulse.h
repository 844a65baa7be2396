// How the event thread fares, looked at once a second: what it runs, how late it is, what held it
// up longest.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "platform/net/event_loop.h"
#include "platform/net/repeated_warning.h"

namespace vnq {

/// The last minute, or as much of it as there was.
struct PulseReading {
  double recordsPerSecond = 0;  ///< of the last ten seconds
  int64_t lagMs = 0;            ///< how late the last look came
  int64_t worstLagMs = 0;
  EventLoop::Stretch longest;  ///< that nothing else could run in
};

class Pulse {
 public:
  /// records  how many were worked off so far.
  /// onBeat   run behind each look; may be empty.
  Pulse(EventLoop& loop, std::function<uint64_t()> records, std::function<void()> onBeat);
  ~Pulse();
  Pulse(const Pulse&) = delete;
  Pulse& operator=(const Pulse&) = delete;

  PulseReading Read() const;

  /// A stretch of so many milliseconds that nothing else could run in is told in the log: the
  /// longest of a second, once a spell. 0: none is.
  void SetSlowMs(int slowMs) { slowMs_ = slowMs; }

  static constexpr int64_t kBeatMs = 1000;

 private:
  struct Beat {
    uint64_t records = 0;
    int64_t atMs = 0, lagMs = 0;
    EventLoop::Stretch longest;
  };
  static constexpr size_t kBeats = 60;
  static constexpr size_t kRateBeats = 10;

  void Look();
  void SayWhenSlow(const EventLoop::Stretch& longest);
  const Beat& Ago(size_t beats) const { return beats_[(last_ + kBeats - beats) % kBeats]; }

  EventLoop& loop_;
  std::function<uint64_t()> records_;
  std::function<void()> onBeat_;
  RepeatedWarning slow_;
  int slowMs_ = 0;
  int64_t dueMs_;
  std::array<Beat, kBeats> beats_;
  size_t last_ = 0;
  size_t count_ = 1;  // beats that are filled
  EventLoop::TimerId timer_ = 0;
};

}  // namespace vnq
