// The bus on NATS: a server of the deployment's own, reached through the client library that
// Debian packages.
//
//   subject                    who listens
//   vnq.CLUSTER.all            every node
//   vnq.CLUSTER.node.NAME      the node NAME
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "platform/bus/bus.h"
#include "platform/net/event_loop.h"

namespace vnq {

struct NatsOptionsOfBus {
  std::vector<std::string> urls;  ///< nats://host:4222 or tls://host:4222, any that answers
  std::string user, password;     ///< empty: as the URL says
  std::string caFile;             ///< what certificates are checked by; empty: the system's
  std::string cluster, node;      ///< letters, digits, '-' and '_'
};

/// Never null: without the library, or without a server, the bus is lost until there is one. A
/// thread of its own connects and sends, so that no call waits for the network.
std::unique_ptr<Bus> OpenNatsBus(EventLoop& loop, NatsOptionsOfBus options);

/// What keeps the bus from being reached now, waiting two seconds at most; empty when nothing does.
/// `version` gets the library's.
std::string NatsFault(const NatsOptionsOfBus& options, std::string& version);

}  // namespace vnq
