// The endpoints room: the screen relay, the control channel and the managed endpoints.
//
//   console, sibling services ── control channel ──> server ── plain text ──> managed endpoints
//                                                    server ── records ──> clients on the main port
//
// Both ports below speak plain text in the code page, in both directions, without Base64.
#pragma once

#include <string>

#include "host/host.h"

namespace vnq {

/// One read of a screen-relay slot: decoded and split like a main-port read, and then nothing. No
/// command has an effect here; the port only stays open. Yields: no.
void OnScreenPortData(Host& host, SlotIndex slot, const std::string& bytes);

/// One read of a control-channel slot: any number of records, each run in its turn; nothing is
/// carried over. Clears the slot's HeartbeatAge. Yields: yes. Database: ToInfo.
void OnControlPortData(Host& host, SlotIndex slot, const std::string& bytes);

/// One read of a managed endpoint's slot, which is one record whatever it holds. Yields: yes.
/// Database: Users_WinInfo, ServerLog.
void OnEndpointPortData(Host& host, SlotIndex slot, const std::string& bytes);

}  // namespace vnq
