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
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "host/slots/slot_bits.h"
#include "host/values/expr.h"
#include "platform/net/line_quota.h"
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

class SlotArray;

/// The connected slots of one walk, in order. Each is looked for when the walk gets there: one that
/// was lost meanwhile is passed over, one that has come ahead of it is visited, up to the highest
/// slot there was at the start.
class ConnectedWalk {
 public:
  class Iterator {
   public:
    Iterator(const SlotArray* slots, int slot, int highest)
        : slots_(slots), slot_(slot), highest_(highest) {}
    SlotIndex operator*() const { return static_cast<SlotIndex>(slot_); }
    Iterator& operator++();
    bool operator==(const Iterator& other) const { return slot_ == other.slot_; }

   private:
    const SlotArray* slots_;
    int slot_, highest_;
  };

  ConnectedWalk(const SlotArray& slots, SlotIndex highest) : slots_(slots), highest_(highest) {}
  Iterator begin() const { return ++Iterator(&slots_, 0, highest_); }
  Iterator end() const { return {&slots_, highest_ + 1, highest_}; }

 private:
  const SlotArray& slots_;
  int highest_;
};

class SlotArray {
 public:
  /// Run as a handler for each arrival, with all bytes that one read gave. Yields: may.
  using OnArrival = std::function<void(SlotIndex slot, std::string bytes)>;

  static constexpr int kEndsSaidAMinute = 600;

  /// name: for diagnostics. clearsTag: a reused slot loses the tag of its previous peer at
  /// acceptance.
  /// budget: what the connections may hold in memory; null: whatever they do.
  SlotArray(EventLoop& loop, std::string name, bool clearsTag = false,
            std::shared_ptr<ConnectionBudget> budget = nullptr);

  void SetOnArrival(OnArrival onArrival) { onArrival_ = std::move(onArrival); }

  /// Told when the first connected slot takes on a tag, and when the last lays it off; of slots
  /// without a tag nothing. Yields: must not.
  using OnNamed = std::function<void(const std::string& tag, bool isThere)>;
  void SetOnNamed(OnNamed onNamed) { onNamed_ = std::move(onNamed); }

  /// Gives the request to the lowest closed slot, or to a new one behind the highest. kNoSlot, and
  /// the connection is dropped, only when all 32,767 slots are in use.
  SlotIndex Accept(AcceptedSocket request);

  /// The highest index there is.
  SlotIndex Highest() const { return static_cast<SlotIndex>(slots_.size() - 1); }

  /// All slots that there are now, in order: `for (SlotIndex slot : slots.AllNow())`. A body may
  /// yield; what it looks at may then have changed, the walk itself has not.
  SlotWalk AllNow() const { return SlotWalk(Highest()); }

  /// Those of them that are connected when the walk gets to them. After a storm of connections most
  /// slots are closed, and a walk over all of them would cost what it did in the storm.
  ConnectedWalk AllConnected() const { return {*this, Highest()}; }

  /// The lowest connected slot from `slot` on, kNoSlot when there is none.
  SlotIndex NextConnected(int slot) const { return static_cast<SlotIndex>(connected_.Next(slot)); }

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

  /// Bytes for several slots, of which those that wait are held once.
  SharedBytes Share(std::string bytes);
  bool Send(SlotIndex slot, const SharedBytes& bytes);

  /// Gives the event loop a turn in the middle of a read: what others have sent is run, what the
  /// same connection has sent since waits. Yields: yes.
  void LetOthersRun(SlotIndex slot);

  /// Makes the slot closed at once; its tag stays. What was sent before still leaves.
  void Close(SlotIndex slot);

  /// Ends the connection as if its peer had gone: the slot keeps its tag and waits for a sweep.
  void Lose(SlotIndex slot);

  /// A number that no other connection of this array has had; that of the slot's last one where it
  /// has none now.
  uint64_t ConnectionNumber(SlotIndex slot) const;

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
    uint64_t connectionNumber = 0;
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
  void SetState(SlotIndex slot, SocketState state);
  void AddSlot();
  void TellNamed(SlotIndex slot, bool isThere);
  SlotIndex FirstUnnamed(SlotIndex except) const;
  void PeerClosed(SlotIndex slot, const TcpConnection* connection);
  void SayEnded(const Slot& slot, std::string_view how);

  EventLoop& loop_;
  std::string name_;
  RepeatedWarning full_;
  LineQuota ends_;
  bool clearsTag_;
  std::shared_ptr<ConnectionBudget> budget_;
  OnArrival onArrival_;
  OnNamed onNamed_;
  uint64_t connections_ = 0;     // that there have been
  std::deque<Slot> slots_;       // element 0 is never used
  SlotBits closed_, connected_;  // the slots in these states
  std::unordered_map<std::string, SlotList, TagHash, std::equal_to<>> byTag_;
};

inline ConnectedWalk::Iterator& ConnectedWalk::Iterator::operator++() {
  slot_ = slots_->NextConnected(slot_ + 1);
  if (slot_ == kNoSlot || slot_ > highest_) slot_ = highest_ + 1;
  return *this;
}

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

  /// One more than the highest slot that has been looked at.
  int size() const { return static_cast<int>(values_.size()); }

 private:
  std::deque<T> values_;
};
using SlotTexts = SlotTable<std::string>;

}  // namespace vnq
