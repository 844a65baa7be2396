// This server as one of several nodes on one database: it tells the others who is connected here,
// knows who is connected there, and sends them orders.
//
//   word    fields             from                     answer
//   hello                      a node that connects     all, to that node
//   here    sequence|tags      each node, each second   ask, where something was missed
//   tags    sequence|change... a node whose tags change
//   all     sequence|1 first, 0 further|key...
//   ask                        a node that lacks tags   all, to that node
//   bye                        a node that stops
//   order   words...           see host/nodes/crossing.h
//
// In front of each stand the sender's name and a number of its start. A change is '+' or '-' and
// the key of host/nodes/directory.h. A node that is silent for five seconds is forgotten with its
// tags; without the bus a node goes on alone, and knows nobody.
#pragma once

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "host/nodes/directory.h"
#include "host/nodes/node_settings.h"
#include "host/nodes/words.h"
#include "host/slots/slots.h"
#include "platform/bus/bus.h"
#include "platform/net/event_loop.h"

namespace vnq {

/// A node that has fallen silent, or has begun anew, without a word.
struct GoneNode {
  std::string name, start;        ///< which start of it
  std::vector<std::string> keys;  ///< what it had connected, as host/nodes/directory.h has them
};

class Cluster {
 public:
  /// As a step of the event loop. Yields: must not.
  using OnGone = std::function<void(GoneNode node)>;

  /// Runs in a handler of its own. from: the node that gave it. Yields: may.
  using OnOrder = std::function<void(const std::string& from, const Words& order)>;

  static constexpr int kSilentTicks = 5;  ///< of a second, until a node is forgotten

  Cluster(EventLoop& loop, NodeSettings settings, std::unique_ptr<Bus> bus);
  ~Cluster();
  Cluster(const Cluster&) = delete;
  Cluster& operator=(const Cluster&) = delete;

  /// Has the others know the tags of an array, which nobody is connected to yet. It outlives the
  /// cluster.
  void Watch(NodeArray array, SlotArray& slots);

  void Open(OnOrder onOrder, OnGone onGone = nullptr);

  /// Tells the others that this node stops, and ends the connection to the bus.
  void Leave();

  // --- Who is where ---

  /// Whether another node has a connected slot with the tag.
  bool Holds(NodeArray array, std::string_view tag) const {
    return directory_.FirstWith(DirectoryKey(array, tag)) != nullptr;
  }
  const NodeDirectory& directory() const { return directory_; }
  const NodeSettings& settings() const { return settings_; }
  bool IsConnected() const { return isConnected_; }

  // --- Orders; they leave behind the commit of what was written before ---

  /// To the first node that has a connected slot with the tag. False when there is none.
  bool Send(NodeArray array, std::string_view tag, const Words& order);
  void SendTo(const std::string& node, const Words& order);
  void SendToAll(const Words& order);

  // --- Two log-ins of one person ---

  /// Has the other nodes end what they have under the tag, since a log-in has come here. `order`
  /// gets the nodes behind it that are known to have the tag.
  void Displace(NodeArray array, std::string_view tag, Words order);

  /// Whether a log-in on `from`, which knew of the nodes `known`, ends what is here. The later one
  /// stays, and of two at the same moment, none of which knew of the other, the one on the node
  /// whose name comes first.
  bool IsDisplaced(NodeArray array, std::string_view tag, const std::string& from,
                   std::span<const std::string> known) const;

 private:
  struct Displacement {
    std::vector<std::string> known;  // nodes that were known to have the tag
    int ticks = 0;                   // since then
  };
  struct Watched {
    NodeArray array;
    SlotArray* slots;
  };

  void NoteTag(NodeArray array, const std::string& tag, bool isThere);
  void FlushChanges();
  std::vector<Words> Snapshot() const;
  void Publish(std::string node, Words words);  // an empty name: to all
  void SendNow(const std::string& node, Words words);
  void Tick();
  void OnConnected();
  void OnLost(const std::string& why);
  void OnWord(const std::string& bytes);
  void NoteGone(const std::string& name);
  void OnWordOf(const std::string& name, NodeDirectory::Node& node, const Words& words);
  void TakeChanges(NodeDirectory::Node& node, const Words& words);
  void TakeAll(NodeDirectory::Node& node, const Words& words);
  void SayTwin();

  EventLoop& loop_;
  const NodeSettings settings_;
  const std::string start_;
  std::unique_ptr<Bus> bus_;
  OnOrder onOrder_;
  OnGone onGone_;
  std::vector<Watched> watched_;
  NodeDirectory directory_;
  Words changes_;  // that the others have not been told of
  uint64_t sequence_ = 0;
  size_t ownTags_ = 0;
  std::unordered_map<std::string, Displacement> displaced_;  // of late, by key
  EventLoop::TimerId timer_ = 0;
  bool isConnected_ = false, saidLost_ = false, saidTwin_ = false, saidFull_ = false;
};

}  // namespace vnq
