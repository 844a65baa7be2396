// What connections may hold in memory, each and all together.
//
// A peer decides how fast it takes what is sent to it and how much it sends, and the server would
// pay for both. So what waits to be sent is bounded, and who is over the bound counts as gone; and
// what was received is bounded, and who sends more is left unread until handlers have ended.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "platform/net/outgoing_bytes.h"
#include "platform/net/repeated_warning.h"

namespace vnq {

inline constexpr size_t kMegabyte = 1024 * 1024;

struct ConnectionLimits {
  size_t unsentBytes = 128 * kMegabyte;     ///< waiting to be sent to one connection
  size_t allUnsentBytes = 512 * kMegabyte;  ///< the same to all of them; shared ones count once
  size_t allArrivedBytes = 64 * kMegabyte;  ///< received from all, until their handlers have ended
};

/// Held by shared_ptr: a connection that lives on until its bytes have left still counts.
class ConnectionBudget : public std::enable_shared_from_this<ConnectionBudget> {
 public:
  /// A connection, as the budget knows it.
  class Holder {
   public:
    virtual ~Holder() = default;
    virtual size_t UnsentBytes() const = 0;
    /// Drops what waits to be sent, and counts as gone from here on.
    virtual void GiveUp() = 0;
    /// There is room again for what it sends.
    virtual void ReadOn() = 0;
  };

  /// The loop outlives the object.
  ConnectionBudget(EventLoop& loop, ConnectionLimits limits)
      : limits_(limits),
        slow_(loop, "a connection is ended that does not take what is sent", "connection_slow") {}

  const ConnectionLimits& limits() const { return limits_; }

  // --- Waiting to be sent ---

  /// Bytes for several connections, counted as long as one of them holds them.
  SharedBytes Share(std::string bytes);

  /// A holder's own bytes have changed in number. Over the bound those with the most give up.
  void ChangeUnsent(Holder& holder, size_t before, size_t after);

  /// Tells of a holder that gives up.
  void NoteGivenUp(const std::string& peer, size_t unsentBytes);

  size_t AllUnsent() const { return allUnsent_; }

  // --- Received ---

  void AddArrived(size_t bytes) { allArrived_ += bytes; }
  void RemoveArrived(size_t bytes);

  /// True for a connection of which `held` bytes are in memory. Who holds nothing still reads when
  /// the others have filled the bound, up to as much again.
  bool MayRead(size_t held) const {
    return allArrived_ < limits_.allArrivedBytes * (held == 0 ? 2 : 1);
  }

  /// Has the holder told once when there is room, behind those that have waited longer.
  void WaitForRoom(Holder& holder) { waiting_.try_emplace(&holder, ++waits_); }

  size_t AllArrived() const { return allArrived_; }

  /// A holder ends; what it held was taken off before.
  void Forget(Holder& holder);

 private:
  void EndTheLargest();

  ConnectionLimits limits_;
  RepeatedWarning slow_;
  size_t allUnsent_ = 0, allArrived_ = 0;
  bool ending_ = false;
  std::unordered_set<Holder*> behind_;             // with something to send
  std::unordered_map<Holder*, uint64_t> waiting_;  // for room; who waits longer has less
  uint64_t waits_ = 0;
};

}  // namespace vnq
