// The sessions room: login, presence, the user's own data, and what clients fetch to stay current.
//
// It keeps no state of its own: who is on a connection is the slot's tag, what others see is
// Users_ID.UserIcoLine.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/host.h"
#include "host/values/fields.h"

namespace vnq {

/// Tells everybody on this node of a presence that has changed on another one; not where
/// `unlessCrowded`, and this node is. Yields: yes, twice a connected slot.
void TellAllHere(Host& host, const Expr& text, bool unlessCrowded);

// --- Commands of the main port ---

/// .+landing|UserName|password|NetworkIP or platform|Mac or push identifier|manufacturer|version|#
/// Yields: yes. Database: Users_ID, Clot_Silence, Users_Role, Role, ServerLog.
void HandleLanding(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// .+phone_log|UserID|#   Yields: yes. Database: Users_ID.
void HandlePhoneLog(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// .+successful_online|UserID|state|#   Yields: yes. Database: Users_ID, ServerLog.
void HandleSuccessfulOnline(Host& host, Fields& fields, SlotIndex slot,
                            const std::string& remoteIp);

/// .+on_line|UserID|#, .+go_away|UserID|#, .+stealth|UserID|#   Yields: yes. Database: Users_ID,
/// ServerLog.
void HandleOnLine(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);
void HandleGoAway(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);
void HandleStealth(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// .+offline|UserID|#   Ends with the connection closed. Yields: yes. Database: Users_ID,
/// ServerLog.
void HandleOffline(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// .+change_password|UserID|new password|#   Unanswered. Yields: no. Database: Users_ID, ServerLog.
void HandleChangePassword(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// .+modify_data|UserID|Jod|FcName|age|Effigy|tel1|tel2|address|School|Constellation|say|UserIco|#
/// Yields: yes. Database: Users_ID, UpDateForm, ServerLog.
void HandleModifyData(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// .+modify_isverify|UserID|IsVerify|#   Unanswered. Yields: no. Database: Users_ID, ServerLog.
void HandleModifyIsVerify(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// .+modify_isSilence|UserID|group|1 to mute, 0 to unmute|#   Unanswered. Yields: no. Database:
/// Clot_Silence.
void HandleModifyIsSilence(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// .+request_data_synchronization_online|text|#   Goes to every connected slot, the sender's too.
/// Yields: yes.
void HandleSynchronizationNudge(Host& host, Fields& fields, SlotIndex slot,
                                const std::string& remoteIp);

/// .+modify_personal_pictures|UserID|version|#   Unanswered. Yields: no. Database: Users_Pic,
/// ServerLog.
void HandleModifyPersonalPictures(Host& host, Fields& fields, SlotIndex slot,
                                  const std::string& remoteIp);

/// .+clear_personal_pictures|UserID|version|#   Deletes the file, too. Yields: no. Database:
/// Users_Pic, ServerLog.
void HandleClearPersonalPictures(Host& host, Fields& fields, SlotIndex slot,
                                 const std::string& remoteIp);

/// .+request_synchronous_LOGO|UserID|the client's version|#   Answered when it is another one than
/// the server's. Yields: yes. Database: OtherForm, ServerLog.
void HandleRequestSynchronousLogo(Host& host, Fields& fields, SlotIndex slot,
                                  const std::string& remoteIp);

/// .+request_personalized_photos|UserID|1 user, 2 group|id asked for|the client's version|#
/// Answered when the version is another one than the server's. Yields: yes. Database: Users_Pic,
/// Clot_Pic, ServerLog.
void HandleRequestPersonalizedPhotos(Host& host, Fields& fields, SlotIndex slot,
                                     const std::string& remoteIp);

/// .+y|#   Answered by the same record. Yields: yes.
void HandleKeepAlive(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

// --- A command of the account port ---

/// .+request_data_synchronization|version|#   The department tree where the version is another one
/// than Users_RoVesr, and the closing record, all as one text:
///
///   .+data_synchronization|Users_RoVesr|<version>|
///   .+data_synchronization|Users_Ro|<column 0>|...|<column 4>|      for each department
///   .+data_synchronization|#1
///
/// A version that is no number gets the closing record alone, without a log line.
/// slot  index into SckServer6007. Yields: yes. Database: UpDateForm, Users_Ro, ServerLog.
void HandleRequestDataSynchronization(Host& host, Fields& fields, SlotIndex slot,
                                      const std::string& remoteIp);

// --- The ends of sessions that no command asks for ---

/// Closes the main-port slots whose peer has gone and resets what others see of their users, whom
/// nobody is told of. Yields: no. Database: Users_ID, ServerLog.
void SweepLostClients(Host& host);

/// What others see of somebody without a session, set right.
struct RepairedPresence {
  std::string userId, userName;
  int16_t was = 0, now = 0;  ///< Users_ID.UserIcoLine
};

/// Resets the presence of users who have no session, as the end of their session would have, had
/// the server come to it: to "on a phone" where one is registered, else to "offline". Nobody is
/// told. `hasSession` says whether a user has one; `isDryRun` leaves the rows as they are. Nothing
/// comes back where the database does not answer. Yields: no. Database: Users_ID.
std::optional<std::vector<RepairedPresence>> RepairPresence(
    Database& database, const std::function<bool(const std::string& userId)>& hasSession,
    bool isDryRun);

/// The same for the users of a node that has died, as far as they are shown as they were then and
/// are connected nowhere; how many were. Yields: yes. Database: Users_ID.
int ResetPresenceOf(Host& host, const std::vector<std::string>& userIds);

/// Ends a session as an operator wants it: the client is told why, its presence is reset, and the
/// connection is closed. Yields: no. Database: Users_ID.
void EndSession(Host& host, SlotIndex slot, const std::string& why);

/// The same with all sessions of a user on this node, on both devices; how many there were. Yields:
/// no. Database: Users_ID.
int EndSessionsOf(Host& host, const std::string& userId, const std::string& why);

/// What a connected client is owed when the server stops: a last record, and its presence reset.
/// Yields: yes, before the record. Database: Users_ID.
void TakeLeaveOfClient(Host& host, SlotIndex slot);

}  // namespace vnq
