// A trouble that each peer can cause without end, said with its address and without flooding the
// log.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "platform/net/event_loop.h"

namespace vnq {

/// Within a minute the first few of each peer are said, as long as not too many were said of all.
/// The others are counted, and the counts are said at the end of the minute.
class PeerWarnings {
 public:
  static constexpr int64_t kRoundMs = 60'000;
  static constexpr int kSaidOfOne = 10;
  static constexpr int kSaidOfAll = 200;
  static constexpr size_t kCountedPeers = 20;  ///< with a line of their own behind the minute

  /// what   the trouble, in front of every line. The loop outlives the object.
  /// event  its name in the log.
  PeerWarnings(EventLoop& loop, std::string what, const char* event = "trouble")
      : loop_(loop), what_(std::move(what)), event_(event) {}
  ~PeerWarnings() { loop_.StopTimer(round_); }
  PeerWarnings(const PeerWarnings&) = delete;
  PeerWarnings& operator=(const PeerWarnings&) = delete;

  /// A peer has caused it. Yields: no.
  void Note(std::string_view peer, std::string_view detail);

 private:
  struct Count {
    int said = 0;
    uint64_t unsaid = 0;
  };

  Count& CountOf(std::string_view peer);
  void EndRound();

  EventLoop& loop_;
  std::string what_;
  const char* event_;
  std::map<std::string, Count, std::less<>> peers_;  // of this minute
  Count others_;                                     // than those
  int said_ = 0;
  EventLoop::TimerId round_ = 0;  // 0: nothing has happened yet
};

}  // namespace vnq
