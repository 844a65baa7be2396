// Connection slots: the arrays that tell who is connected.
//
// A slot is a socket plus a text tag. Slots are numbered from 1; slot 1 exists from the start,
// further slots are made on demand and none is ever destroyed. A slot whose peer has gone keeps its
// state (8), its tag and its address until a sweep closes it, and is not reused before that.
// Handlers address slots, not connections: after a yield a slot may hold another peer, and what is
// sent goes there.
#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/values/expr.h"
#include "platform/net/repeated_warning.h"
#include "platform/net/tcp.h"

namespace vnq {

using SlotIndex = int16_t;

/// No slot: what a look-up gives that found none.
inline constexpr SlotIndex kNoSlot = 0;

/// Socket states, by the numbers that the rules use.
enum class SocketState : int { kClosed = 0, kConnected = 7, kClosing = 8 };

/// The slot numbers of one walk, from 1 to the highest there was when the walk began: slots that
/// are made on its way are not visited.
class SlotWalk {
 public:
  class Iterator {
   public:
    explicit Iterator(int slot) : slot_(slot) {}
    SlotIndex operator*() const { return static_cast<SlotIndex>(slot_); }
    Iterator& operator++() {
      ++slot_;
      return *this;
    }
    bool operator==(const Iterator&) const = default;

   private:
    int slot_;  // one more than the last slot number does not fit a SlotIndex
  };

  explicit SlotWalk(SlotIndex highest) : highest_(highest) {}
  Iterator begin() const { return Iterator(1); }
  Iterator end() const { return Iterator(highest_ + 1); }

 private:
  int highest_;
};

class SlotArray {
 public:
  /// Run as a handler for each arrival, with all bytes that one read gave. Yields: may.
  using OnArrival = std::function<void(SlotIndex slot, std::string bytes)>;

  /// name: for diagnostics. clearsTag: a reused slot loses the tag of its previous peer at
  /// acceptance.
  SlotArray(EventLoop& loop, std::string name, bool clearsTag = false);

  void SetOnArrival(OnArrival onArrival) { onArrival_ = std::move(onArrival); }

  /// Gives the request to the lowest closed slot, or to a new one behind the highest. kNoSlot, and
  /// the connection is dropped, only when all 32,767 slots are in use.
  SlotIndex Accept(AcceptedSocket request);

  /// The highest index there is.
  SlotIndex Highest() const { return static_cast<SlotIndex>(slots_.size() - 1); }

  /// All slots that there are now, in order: `for (SlotIndex slot : slots.AllNow())`. A body may
  /// yield; what it looks at may then have changed, the walk itself has not.
  SlotWalk AllNow() const { return SlotWalk(Highest()); }

  SocketState State(SlotIndex slot) const;
  bool IsConnected(SlotIndex slot) const { return State(slot) == SocketState::kConnected; }
  /// True where the peer has gone and no sweep has closed the slot yet.
  bool IsGone(SlotIndex slot) const { return State(slot) == SocketState::kClosing; }

  /// Empty for a slot that nobody has named. Reading a slot that does not exist gives the empty
  /// text.
  const std::string& Tag(SlotIndex slot) const;
  /// A failed tag: skipped. NULL is the empty text, here and below.
  void SetTag(SlotIndex slot, const Expr& tag);
  const std::string& RemoteHostIP(SlotIndex slot) const;

  /// When the slot's connection was accepted, by the loop's clock. Of a slot that never had one: 0.
  int64_t AcceptedMs(SlotIndex slot) const;
  /// What was sent and the kernel has not taken yet; of a slot that is not connected: 0.
  size_t UnsentBytes(SlotIndex slot) const;

  /// Sends bytes as they are. A slot that is not connected: skipped.
  bool Send(SlotIndex slot, std::string_view bytes);

  /// Makes the slot closed at once; its tag stays. What was sent before still leaves.
  void Close(SlotIndex slot);

  /// The lowest connected slot with exactly this tag, as the walk from 1 upward finds it; `except`
  /// is passed over. kNoSlot without one; a failed tag is skipped, and finds none.
  SlotIndex FirstConnected(const Expr& tag, SlotIndex except = kNoSlot) const;

  /// The lowest slot with exactly this tag in any state; otherwise the same.
  SlotIndex FirstWithTag(const Expr& tag) const;

 private:
  struct Slot {
    SocketState state = SocketState::kClosed;
    std::string tag;
    std::string remoteHostIp;
    int64_t acceptedMs = 0;
    std::shared_ptr<TcpConnection> connection;
  };
  // In rising order. Most tags have one slot, and ten thousand slots without a name are moved along
  // in no time.
  using SlotList = std::vector<SlotIndex>;
  struct TagHash : std::hash<std::string_view> {
    using is_transparent = void;
  };

  bool Exists(SlotIndex slot) const { return slot >= 1 && slot <= Highest(); }
  void EnterTag(SlotIndex slot, const std::string& tag);
  void LeaveTag(SlotIndex slot, const std::string& tag);
  SlotIndex TakeClosedSlot();
  void AddSlot();
  void PeerClosed(SlotIndex slot, const TcpConnection* connection);

  EventLoop& loop_;
  RepeatedWarning full_;
  bool clearsTag_;
  OnArrival onArrival_;
  std::deque<Slot> slots_;      // element 0 is never used
  std::set<SlotIndex> closed_;  // the slots in state 0
  std::unordered_map<std::string, SlotList, TagHash, std::equal_to<>> byTag_;
};

/// A value per slot, kept apart from the slot: it outlives the connection, and the next peer
/// inherits it.
template <typename T>
class SlotTable {
 public:
  T& operator[](SlotIndex slot) {
    const size_t index = static_cast<size_t>(slot < 0 ? 0 : slot);
    if (values_.size() <= index) values_.resize(index + 1);
    return values_[index];
  }

 private:
  std::deque<T> values_;
};
using SlotTexts = SlotTable<std::string>;

}  // namespace vnq
