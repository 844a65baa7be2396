// Visitors who register. Private to the room.
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

}  // namespace vnq
