// The agents of a visitor, and the record that they get. Private to the room.
#pragma once

#include "host/host.h"
#include "host/values/fields.h"

namespace vnq {

/// What an agent sees of a registration or a line, with the present time in it; failed where a
/// field is missing.
Expr VisitorLineRecord(Host& host, const Fields& fields);

/// The lowest connected main-port slot with an agent's tag, kNoSlot when there is none. Yields:
/// yes, at each slot of the walk, so the walk sees what changes on its way.
SlotIndex FindAgent(Host& host, const Expr& agent);

}  // namespace vnq
