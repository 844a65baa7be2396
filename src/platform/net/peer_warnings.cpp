#include "platform/net/peer_warnings.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "platform/system/event_log.h"

namespace vnq {
namespace {

// Peers with many addresses must not fill the memory.
constexpr size_t kMostPeers = 10'000;

}  // namespace

PeerWarnings::Count& PeerWarnings::CountOf(std::string_view peer) {
  const auto found = peers_.find(peer);
  if (found != peers_.end()) return found->second;
  return peers_.size() < kMostPeers ? peers_[std::string(peer)] : others_;
}

void PeerWarnings::Note(std::string_view peer, std::string_view detail) {
  if (round_ == 0) round_ = loop_.RunAfter(kRoundMs, [this] { EndRound(); });
  Count& count = CountOf(peer);
  if (count.said == kSaidOfOne || said_ == kSaidOfAll) {
    ++count.unsaid;
    return;
  }
  ++count.said;
  ++said_;
  LogWarning(event_, "{} from {}: {}", what_, peer, detail);
}

void PeerWarnings::EndRound() {
  round_ = 0;
  said_ = 0;
  uint64_t left = std::exchange(others_, {}).unsaid;
  std::vector<std::pair<uint64_t, std::string>> mostFirst;
  for (const auto& [peer, count] : std::exchange(peers_, {})) {
    if (count.unsaid > 0) mostFirst.emplace_back(count.unsaid, peer);
  }
  std::sort(mostFirst.rbegin(), mostFirst.rend());
  for (size_t i = 0; i < mostFirst.size(); ++i) {
    const auto& [unsaid, peer] = mostFirst[i];
    if (i < kCountedPeers) {
      LogWarning(event_, "{} from {}: {} more within a minute", what_, peer, unsaid);
    } else {
      left += unsaid;
    }
  }
  if (left > 0) LogWarning(event_, "{} from other addresses: {} more within a minute", what_, left);
}

}  // namespace vnq
