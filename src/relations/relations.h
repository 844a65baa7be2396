// The relations room: everything between users that needs a second party's consent, and the life of
// a group.
//
// A request, its answer and every notice about a membership are one record:
//
//   .+messengverify|ClotID|UserID2|UserText|To_Type1|To_Type2|To_Type3|To_Type4|#
//
//   ClotID    group records: the group's TypeID; friend records: the other party
//   UserID2   group records: the user concerned; friend records: the user who acts
//   UserText  free text of the client, passed on untouched
//   To_Type1  1 friend, 2 group
//   To_Type2  friend: 1 add, 2 delete
//             group: 1 join, 2 leave or disband, 3 administrator's right taken, 4 given
//   To_Type3  1 request, 2 answer or notice
//   To_Type4  0 notice, 1 accepted, 2 refused, 3 refused and blocked; 4, 5 and 6 are those three
//             answers as they are told to the group's other administrators
//
// A group is a header row in Clot_Ro, a picture row in Clot_Pic and one row per member in
// Clot_Form. Lists of members travel as text, each entry UserID, ":", IsAdmin, ":", remark and a
// closing "-".
//
// Nobody's rights are checked here: a record is carried out as it stands, and no request is
// remembered.
#pragma once

#include <set>
#include <string>
#include <string_view>

#include "host/host.h"
#include "host/values/fields.h"

namespace vnq {

// --- Verification records ---

/// Reads what a verification record means from its four type fields, writes the rows and tells who
/// must hear of it. A combination that means nothing: nothing is done and nothing is answered.
///
/// fields  the record's own array. Elements 1, 2, 6 and 7 may hold other values afterwards.
/// slot    where the record arrived, or the slot of the command that made it.
/// Yields: yes. Database: Users_ID, Fav_Form, Clot_Form, Clot_Ro, Clot_Pic, ClotFile,
/// MessengClot_Text, UpDateForm, MessengVerify_Type, MessengVerify_Blacklist, and what UserMesseng
/// writes.
void ProcessVerification(Host& host, Fields& fields, SlotIndex slot);

/// Whether field 2 of a verification record is the user who acts, and not one whom an administrator
/// has decided about.
bool NamesWhoActs(const Fields& fields);

/// Sends elements 0 to 7 of a record to the first connected slot with a tag, or parks them in
/// MessengVerify_Type under that tag. Nobody looks whether the same record is parked already, or
/// whether such a session ever was.
///
/// slot  of the acting client: its address goes into TO_IP.
/// Yields: yes, before a send. Database: MessengVerify_Type.
void DeliverOrQueueVerify(Host& host, const Fields& fields, const Expr& targetTag, SlotIndex slot);

/// All rows of a group as member list text, in the table's order. Empty for a group without
/// members. Yields: no. Database: Clot_Form.
std::string MemberListText(Host& host, const Expr& groupId);

/// Adds 1 to a version counter in a group's header row.
/// counterName  a column of Clot_Ro.
/// Yields: no. Database: Clot_Ro.
void BumpGroupCounter(Host& host, std::string_view counterName, const Expr& groupId);

/// .+messengverify as the command table calls it, and the log line of its every arrival, which
/// names the users as the engine left them.
void HandleMessengverify(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);
void LogMessengverify(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

// --- Groups ---

/// .+new_group_information|creator|TypeName|Remark|Sender|member list|#
/// Makes a group with the next TypeID, tells its members everything, all others its header, and
/// sends its first message. Yields: yes. Database: Clot_Ro, Clot_Pic, Clot_Form, UpDateForm,
/// ServerLog, and those of ProcessVerification and ClotMesseng.
void HandleNewGroupInformation(Host& host, Fields& fields, SlotIndex slot,
                               const std::string& remoteIp);

/// .+modify_group_information|UserID|TypeID|TypeName|Remark|Sender|#
/// Writes a group's header and tells every connected client.
/// Yields: yes. Database: Clot_Ro, UpDateForm, ServerLog.
void HandleModifyGroupInformation(Host& host, Fields& fields, SlotIndex slot,
                                  const std::string& remoteIp);

/// .+modify_group_photos|UserID|ClotID|pic|#   Yields: no. Database: Clot_Pic, ServerLog.
void HandleModifyGroupPhotos(Host& host, Fields& fields, SlotIndex slot,
                             const std::string& remoteIp);

/// .+clear_group_photos|UserID|ClotID|pic|#   The same, and the picture's file goes.
/// Yields: no. Database: Clot_Pic, ServerLog.
void HandleClearGroupPhotos(Host& host, Fields& fields, SlotIndex slot,
                            const std::string& remoteIp);

// --- What another node asks for ---

/// Sends a record to everybody on this node who is no member of a new group. Yields: no.
void TellNonMembersHere(Host& host, const Expr& text, const std::set<std::string>& members);

/// A first message to `to` in the name of `from`, as from the desktop that `from` has on this node.
/// False where there is none. Yields: no. Database: those of UserMesseng.
bool GreetFromDesktopHere(Host& host, const Expr& to, const Expr& from);

// --- Members of a standing group ---
//
// Each changes Clot_Form, tells the remaining members the list, passes a notice to every user
// concerned through ProcessVerification, and raises UpDateForm.Clot_FormVesr and
// Clot_Ro.Users_FormVesr. Yields: yes. Database: Clot_Form, UpDateForm, Clot_Ro,
// MessengVerify_Type.

/// .+modify_group_members|UserID|TypeID|member list|#
/// Makes the list the group's members. The acting user's row is left out of the comparison, so a
/// list that names the acting user adds a second row.
void ModifyGroupMembers(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// .+add_group_members|UserID|TypeID|member list|#
/// A member who is added again has two rows.
void AddGroupMembers(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// .+del_group_members|UserID|TypeID|UserIDs joined by ","|#
void DelGroupMembers(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// .+set_group_administrator|UserID|TypeID|UserID:IsAdmin|#
void SetGroupAdministrator(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// The log line of each arrival of the four commands above.
void LogModifyGroupMembers(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);
void LogAddGroupMembers(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);
void LogDelGroupMembers(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);
void LogSetGroupAdministrator(Host& host, Fields& fields, SlotIndex slot,
                              const std::string& remoteIp);

}  // namespace vnq
