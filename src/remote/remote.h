// The room of meetings and remote assistance: signalling between two people's devices. Sound,
// pictures and screens go elsewhere.
//
// A meeting's state is its row of Tab_Chat, which another program inserts; the devices are told
// what the row says. Remote assistance is a dialogue of three relayed commands, of which the
// recorded request leaves a row of remote_chat. Calls may come in any order; nothing checks it.
#pragma once

#include <string>

#include "host/host.h"
#include "host/values/fields.h"

namespace vnq {

/// .+meeting_message|other party|sender|IsVideo|LoginType1|LoginType2|state|CloseRole|ChatId|#
///
/// state  "0"  rings at the other party
///        "1"  is the answer, and the only one that changes the row
///        "2"  is the end
/// An answer and an end go to the sender's other device, too, so that it stops ringing.
/// An empty login type or CloseRole keeps the row's value.
/// Yields: no. Database: Tab_Chat, Users_ID.
void MeetMesseng(Host& host, Fields& fields, SlotIndex slot);

/// .+meeting_message as the command table calls it.
void HandleMeetingMessage(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// .+meeting_force|relayed|target's tag|relayed|relayed|relayed   Yields: yes.
void RelayMeetingForce(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// .+request_remote|other party|sender|mode|#
///
/// Goes to the other party's desktop; without one the sender is told so. Mode "2" also leaves a row
/// and reaches the mobile. Yields: yes. Database: remote_chat, Users_ID, ServerLog.
void RequestRemote(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// .+reply_request_remote|other party|sender|answer|#
///
/// Goes to both devices of the other party, and to the sender's other device, which stops offering
/// the dialogue. Yields: yes. Database: ServerLog.
void ReplyRequestRemote(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// .+remote_control|other party|sender|order|#   Only the desktop is controlled. Yields: yes.
/// Database: ServerLog.
void RemoteControl(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

}  // namespace vnq
