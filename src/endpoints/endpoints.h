// The endpoints room: the control channel and the managed endpoints.
//
//   console, sibling services ── control channel ──> server ── plain text ──> managed endpoints
//                                                    server ── records ──> clients on the main port
//
// Both ports speak plain text in the code page, in both directions, without Base64. A peer has the
// name that its .+landing gave.
#pragma once

#include <optional>
#include <string>

#include "host/host.h"
#include "host/values/fields.h"

namespace vnq {

// --- The control channel: siblings and the console ---

/// The text of a read. It clears the slot's HeartbeatAge: a peer that says anything is alive.
std::optional<std::string> ReadControlText(Host& host, SlotIndex slot, const std::string& bytes);

/// .+landing|peer name|#   Whoever held the name loses it and the connection. Yields: yes.
void HandleControlLanding(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// .+x|#   The answer to a ping. Yields: no.
void HandleAlive(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// .+y|#   Answered by the same record. Yields: yes.
void HandleControlKeepAlive(Host& host, Fields& fields, SlotIndex slot,
                            const std::string& remoteIp);

/// .+failed|user|passed on|passed on|#   Yields: yes.
void HandleFailed(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// .+disconnect|reason|user|...|#   Ends the first session of each user named. Yields: yes.
void HandleDisconnect(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// .+control_computer|endpoint+user+code|...|#   Yields: yes.
void HandleControlComputer(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// .+control_usb|endpoint+user+code|...|#   Yields: no.
void HandleControlUsb(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// .+remote_desktop|endpoint|#, .+close_remote_desktop|endpoint|#,
/// .+computer_information|endpoint|#   The word goes on to the endpoint, whose answer comes on its
/// own port. Yields: no.
void HandleRemoteDesktop(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);
void HandleCloseRemoteDesktop(Host& host, Fields& fields, SlotIndex slot,
                              const std::string& remoteIp);
void HandleComputerInformation(Host& host, Fields& fields, SlotIndex slot,
                               const std::string& remoteIp);

/// .+broadcast|passed on|text|font|#   Yields: yes. Database: ToInfo.
void HandleBroadcast(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// A second of every named peer's silence: a ping from the 6th on; at the 36th a sibling service
/// loses its connection and is restarted. Yields: yes, while a restart request has no answer yet.
void AgeSiblings(Host& host);

/// Closes the slots whose peer has gone, but for those of siblings that are still to be restarted.
/// No rule asks for it, only a deployment that wants its slots back. Yields: no.
void SweepControlChannel(Host& host);

/// Has the computers of a node that has died shown as away, unless they are connected again.
/// Yields: yes. Database: Users_WinInfo.
void ResetEndpointsOf(Host& host, const std::vector<std::string>& names);

/// Sends a text as it stands to the first connected slot of this node with a tag, of an array whose
/// wire is plain text. Yields: no.
void TellPlainTextHere(Host& host, SlotArray& slots, const Expr& tag, const Expr& text);

// --- The managed endpoints ---

/// .+landing|endpoint|user|Upan|#   Registers a computer, by its address when it gives no name.
/// Yields: yes. Database: Users_WinInfo.
void HandleEndpointLanding(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// .+submit_information|15 fields|#   Goes on to the console. Yields: yes.
void HandleSubmitInformation(Host& host, Fields& fields, SlotIndex slot,
                             const std::string& remoteIp);

/// .+insert_U_disk|text|user|1 or 2|inserted|#   Yields: no. Database: ServerLog.
void HandleInsertUDisk(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// Closes the slots of endpoints whose peer has gone, and shows them as offline. Yields: no.
/// Database: Users_WinInfo.
void SweepEndpoints(Host& host);

/// Shows a connected endpoint as offline because the server stops. Yields: yes, before that.
/// Database: Users_WinInfo.
void TakeLeaveOfEndpoint(Host& host, SlotIndex slot);

}  // namespace vnq
