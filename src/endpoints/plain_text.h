// What the two plain-text ports share: how they find slots and send. Private to the room.
#pragma once

#include "host/host.h"

namespace vnq {

/// Sends a text as it stands, in the code page. A failed text and a slot that is not connected:
/// skipped. Yields: no.
void SendPlainText(Host& host, SlotArray& slots, SlotIndex slot, const Expr& text);

/// Takes a name away from every slot that holds it, in whatever state, and closes them.
/// Kept: the slot being served is no exception. Yields: yes, at each holder.
void DropHolders(Host& host, SlotArray& slots, const Expr& name);

}  // namespace vnq
