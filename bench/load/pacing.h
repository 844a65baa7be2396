// When things are due, and how much of a wait was the server's tick.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>

namespace vnq::bench {

inline constexpr int64_t kNsPerSecond = 1'000'000'000;
inline constexpr int64_t kNsPerMs = 1'000'000;

/// A fixed rate. Nothing is dropped when the sender comes late: what was due is sent at once and
/// keeps the time at which it was due, so that a stalled server shows in the latencies.
class Pacer {
 public:
  /// perSecond: above 0.
  Pacer(double perSecond, int64_t startNs) : perSecond_(perSecond), startNs_(startNs) {}

  /// When the next one is due.
  int64_t NextDueNs() const;

  /// How long it is until then, between 0 and 20 ms: for a wait that other events may end.
  int64_t WaitNs(int64_t nowNs) const;

  /// Takes the next one if it is due by now.
  bool Take(int64_t nowNs);

  uint64_t taken() const { return taken_; }

 private:
  double perSecond_;
  int64_t startNs_;
  uint64_t taken_ = 0;
};

/// Knows the server's one-second tick by what it sends: everything that waits leaves at a tick.
class TickWatch {
 public:
  static constexpr int64_t kSilenceNs = 50'000'000;    ///< sets one tick's records apart
  static constexpr int64_t kShortestNs = 950'000'000;  ///< or the time, when there is no silence

  /// A record that had waited for a tick has arrived.
  void Arrived(int64_t nowNs);

  /// The latency without the wait: from the first tick after `dueNs` (or from `dueNs`, when no tick
  /// came between) to the arrival. What missed that tick has all of the next period counted. A tick
  /// at which nothing arrived is not known.
  int64_t WithoutWait(int64_t dueNs, int64_t arrivedNs) const;

 private:
  static constexpr size_t kRemembered = 64;
  std::deque<int64_t> beginsNs_;  // of the last ticks, oldest first
  int64_t lastNs_ = 0;
};

}  // namespace vnq::bench
