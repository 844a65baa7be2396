// What a running server can say of itself, at one moment.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "server/ports.h"
#include "server/status/pulse.h"

namespace vnq {

struct PortStatus {
  uint16_t number = 0;
  std::string_view purpose;
  bool isBound = false;
  int connected = 0;
  int gone = 0;            ///< the peer has left, and no sweep has freed the slot
  int free = 0;            ///< made before, and closed
  size_t unsentBytes = 0;  ///< that the kernel has not taken
  uint64_t records = 0;    ///< that were worked off
};

/// A command that came at least once.
struct CommandStatus {
  uint16_t port = 0;
  std::string_view word;
  uint64_t records = 0;
  uint64_t skipped = 0;  ///< statements that were skipped on its way
};

/// Texts that wait: how many, and their bytes.
struct Waiting {
  size_t texts = 0, bytes = 0;
};

/// What a node knows of another one.
struct OtherNode {
  std::string name;
  size_t tags = 0;  ///< that are connected there, of all arrays
  int silentS = 0;
};

/// Where this server is one of several nodes.
struct NodeStatus {
  std::string name, cluster;
  bool hasBus = false;
  std::vector<OtherNode> others;
};

struct ServerStatus {
  std::string_view version;
  int pid = 0;
  int64_t uptimeS = 0;
  std::string address;  ///< of the listeners
  std::vector<PortStatus> ports;
  std::vector<CommandStatus> commands;  ///< the most frequent first
  std::string_view database;            ///< the engine
  bool isInTrouble = false;             ///< statements fail, and not for what they say
  uint64_t skippedStatements = 0;
  PulseReading pulse;
  size_t handlers = 0;                        ///< that are alive
  Waiting replies;                            ///< receipts for the next tick
  Waiting pendingRecords;                     ///< records whose end has not come
  size_t pushQueue = 0;                       ///< notifications for the next push
  uint64_t pushesSent = 0, pushesFailed = 0;  ///< since the start, by the answer
  std::optional<NodeStatus> node;
};

/// startedMs  by the loop's clock. Yields: no. Database: no.
ServerStatus ReadStatus(Host& host, Ports& ports, const Pulse& pulse, int64_t startedMs);

/// Records that were worked off on all ports.
uint64_t RecordsWorkedOff(Ports& ports);

}  // namespace vnq
