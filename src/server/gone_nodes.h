// What is left of nodes that ended without a word: users and computers that the tables still show
// as connected.
//
// Each living node notes whom a node had when it falls silent, and sets them right when the node is
// known to be dead: its connection to the database is gone, or it has been started anew. One that
// only hangs, or has lost the bus, keeps its users. The nodes do so one after the other, by name,
// so that mostly the first does the work.
#pragma once

#include <list>
#include <string>

#include "host/nodes/cluster.h"
#include "platform/net/event_loop.h"

namespace vnq {

struct Host;

class GoneNodes {
 public:
  /// Seconds from a node's silence, and between the tries of two nodes.
  static constexpr int kWaitTicks = 5;

  explicit GoneNodes(Host& host);
  ~GoneNodes();
  GoneNodes(const GoneNodes&) = delete;
  GoneNodes& operator=(const GoneNodes&) = delete;

  void Note(GoneNode node);

 private:
  struct Waiting {
    GoneNode node;
    int ticks;  // until it is looked at
  };

  int TurnOfThisNode() const;
  void Tick();
  bool IsOver(const GoneNode& node);

  Host& host_;
  EventLoop::TimerId timer_;
  std::list<Waiting> waiting_;
  int ticks_ = 0;
};

}  // namespace vnq
