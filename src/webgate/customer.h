// Visitors who register, and the record that their agents get. Private to the room.
#pragma once

#include <string>

#include "host/host.h"
#include "host/values/fields.h"

namespace vnq {

/// .+customer on the visitor port: writes the visitor down, drops the visitor's earlier connection,
/// names the slot after the visitor and tells the agents.
///
/// fields    .+customer|agents, comma-separated|visitor|city|passed on|passed on
/// Yields: yes. Database: Kefu, ServerLog.
void RegisterVisitor(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// What an agent sees of a registration or a line, with the present time in it; failed where a
/// field is missing.
Expr VisitorLineRecord(Host& host, const Fields& fields);

/// The lowest connected main-port slot with an agent's tag, kNoSlot when there is none. Yields:
/// yes, at each slot of the walk, so the walk sees what changes on its way.
SlotIndex FindAgent(Host& host, const Expr& agent);

}  // namespace vnq
