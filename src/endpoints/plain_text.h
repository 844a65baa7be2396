// What the two plain-text ports share: their command tables and their way of sending. Private to
// the room.
#pragma once

#include <span>
#include <string>
#include <string_view>

#include "host/host.h"
#include "host/values/fields.h"

namespace vnq {

/// As a command of the main port is given: the record's own array, the slot, and the slot's address
/// as it was when the read arrived.
using PlainTextHandler = void (*)(Host& host, Fields& fields, SlotIndex slot,
                                  const std::string& remoteIp);

struct PlainTextRow {
  std::string_view word;     ///< with its prefix; compared whole, upper and lower case differ
  PlainTextHandler handler;  ///< never null
  std::string_view summary;  ///< one sentence, for documentation and diagnostics
};

/// Runs the row whose word is element 0; without one nothing happens. Yields: as the handler does.
void RunPlainText(Host& host, std::span<const PlainTextRow> rows, Fields& fields, SlotIndex slot,
                  const std::string& remoteIp);

/// Sends a text as it stands, in the code page. A failed text and a slot that is not connected:
/// skipped. Yields: no.
void SendPlainText(Host& host, SlotArray& slots, SlotIndex slot, const Expr& text);

/// Takes a name away from every slot that holds it, in whatever state, and closes them.
/// Kept: the slot being served is no exception. Yields: yes, at each holder.
void DropHolders(Host& host, SlotArray& slots, const Expr& name);

}  // namespace vnq
