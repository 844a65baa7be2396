// This server as a node: what it is joined to, and what it does when another node asks.
#pragma once

#include <memory>

#include "platform/bus/bus.h"

namespace vnq {

struct Host;

/// Makes the server the node that its settings name, before any port is open. Its database is one
/// that the others write, too.
void BecomeNode(Host& host, std::unique_ptr<Bus> bus);

/// Tells the others that it is there. Nothing where the server is alone.
void JoinNodes(Host& host);

/// Tells the others that it goes.
void LeaveNodes(Host& host);

}  // namespace vnq
