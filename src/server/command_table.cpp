#include "server/command_table.h"

#include "accounts/accounts.h"
#include "endpoints/endpoints.h"
#include "files/files.h"
#include "messaging/messaging.h"
#include "relations/relations.h"
#include "remote/remote.h"
#include "sessions/sessions.h"
#include "webgate/webgate.h"

namespace vnq {
namespace {

constexpr bool kNeedsHash = true;
constexpr bool kRunsAnyway = false;

// word, fields, handler,
//  summary,
//  who hears of it, and in which record,
//  tables it writes [, '#', receipt, onWord]
// clang-format off
constexpr CommandRow kClientCommands[] = {
  {".+landing",
   "UserName|password|NetworkIP or platform|Mac or push identifier|manufacturer|version",
   HandleLanding,
   "Logs a person in on a desktop, or on a mobile with a one-letter platform.",
   "sender: .+landing_successful, or .+UpgradedVersion, .+LoginFailed, .+ProhibitLanding, "
   ".+landing_restrictions; the user's earlier session: .+busy_force",
   "Users_ID, ServerLog"},
  {".+phone_log", "UserID", HandlePhoneLog,
   "Takes a known user over on a phone.",
   "the user's sessions: .+busy_force; all others: .+phone_line",
   "Users_ID"},
  {".+request_data_synchronization_online", "text", HandleSynchronizationNudge,
   "Tells every client to synchronise its directory.",
   "everybody: .+request_data_synchronization_online",
   ""},
  {".+successful_online", "UserID|state", HandleSuccessfulOnline,
   "Makes a login visible to the others.",
   "sender: .+SynchronousSuccessfully; the user's earlier session: .+busy_force; all others, "
   "while there are fewer than 40 slots: .+new_online, .+new_leaving, .+new_is_offline or "
   ".+phone_line",
   "Users_ID, ServerLog"},
  {".+change_password", "UserID|new password", HandleChangePassword,
   "Sets a user's password.",
   "",
   "Users_ID, ServerLog"},
  {".+modify_data",
   "UserID|Jod|FcName|age|Effigy|tel1|tel2|address|School|Constellation|say|UserIco",
   HandleModifyData,
   "Writes a user's profile and tells the others.",
   "all others: .+modify_account",
   "Users_ID, UpDateForm, ServerLog"},
  {".+modify_isverify", "UserID|IsVerify", HandleModifyIsVerify,
   "Sets who may add a user as a friend.",
   "",
   "Users_ID, ServerLog"},
  {".+modify_isSilence", "UserID|group|1 to mute, 0 to unmute", HandleModifyIsSilence,
   "Mutes or unmutes a group for a user.",
   "",
   "Clot_Silence"},
  {".+modify_personal_pictures", "UserID|version", HandleModifyPersonalPictures,
   "Notes a new version of a user's picture.",
   "",
   "Users_Pic, ServerLog"},
  {".+clear_personal_pictures", "UserID|version", HandleClearPersonalPictures,
   "Removes a user's picture file and notes the new version.",
   "",
   "Users_Pic, ServerLog"},
  {".+new_group_information",
   "creator|TypeName|Remark|Sender|member list",
   HandleNewGroupInformation,
   "Creates a group.",
   "the members' devices: .+new_group_information, .+messengverify, .+clot_messeng; the "
   "sender's other device: .+new_group_memberships; all others: .+new_group_base_information",
   "Clot_Ro, Clot_Pic, Clot_Form, UpDateForm, MessengVerify_Type, MessengClot_Text, Msg_Acks, "
   "ServerLog"},
  {".+modify_group_information",
   "UserID|TypeID|TypeName|Remark|Sender",
   HandleModifyGroupInformation,
   "Changes a group's name, remark and sender.",
   "everybody: .+modify_group_information",
   "Clot_Ro, UpDateForm, ServerLog"},
  {".+modify_group_members", "UserID|TypeID|member list", ModifyGroupMembers,
   "Replaces the list of a group's members.",
   "the members' devices and the sender's other one: .+new_group_memberships; who came or "
   "went: .+messengverify",
   "Clot_Form, Clot_Ro, UpDateForm, MessengVerify_Type, ServerLog",
   kRunsAnyway, Receipt::kNone, LogModifyGroupMembers},
  {".+add_group_members", "UserID|TypeID|member list", AddGroupMembers,
   "Adds members to a group.",
   "the members' devices and the sender's other one: .+new_group_memberships; who came: "
   ".+messengverify",
   "Clot_Form, Clot_Ro, UpDateForm, MessengVerify_Type, ServerLog",
   kRunsAnyway, Receipt::kNone, LogAddGroupMembers},
  {".+del_group_members", "UserID|TypeID|UserIDs joined by \",\"", DelGroupMembers,
   "Removes members from a group.",
   "the members' devices and the sender's other one: .+new_group_memberships; who went: "
   ".+messengverify",
   "Clot_Form, Clot_Ro, UpDateForm, MessengVerify_Type, ServerLog",
   kRunsAnyway, Receipt::kNone, LogDelGroupMembers},
  {".+set_group_administrator", "UserID|TypeID|UserID:IsAdmin", SetGroupAdministrator,
   "Gives or takes a member's right of an administrator.",
   "the members' devices and the sender's other one: .+new_group_memberships; the member: "
   ".+messengverify",
   "Clot_Form, Clot_Ro, UpDateForm, MessengVerify_Type, ServerLog",
   kRunsAnyway, Receipt::kNone, LogSetGroupAdministrator},
  {".+modify_group_photos", "UserID|ClotID|pic", HandleModifyGroupPhotos,
   "Sets a group's picture.",
   "",
   "Clot_Pic, ServerLog"},
  {".+clear_group_photos", "UserID|ClotID|pic", HandleClearGroupPhotos,
   "Clears a group's picture and deletes its file.",
   "",
   "Clot_Pic, ServerLog"},
  {".+request_synchronous_LOGO", "UserID|the client's version", HandleRequestSynchronousLogo,
   "Tells the version of the company logo where the client's is another one.",
   "sender: .+synchronization_LOGO",
   "ServerLog"},
  {".+request_personalized_photos",
   "UserID|1 user, 2 group|id asked for|the client's version",
   HandleRequestPersonalizedPhotos,
   "Tells the version of a user's or group's picture where the client's is another one.",
   "sender: .+synchronization_personality_picture",
   "ServerLog"},
  {".+offline_request_web_information", "UserID", HandleOfflineRequest,
   "Hands over what waited in the older offline tables.",
   "sender: .+message, .+customer_information",
   "Messeng_Type, MessengKefu_Type, ServerLog"},
  {".+offline", "UserID", HandleOffline,
   "Ends a session and tells the others.",
   "all others: .+new_is_offline or .+phone_line",
   "Users_ID, ServerLog"},
  {".+stealth", "UserID", HandleStealth,
   "Makes a user invisible.",
   "all others: .+new_is_offline",
   "Users_ID, ServerLog"},
  {".+go_away", "UserID", HandleGoAway,
   "Marks a user as away.",
   "all others: .+new_leaving",
   "Users_ID, ServerLog"},
  {".+on_line", "UserID", HandleOnLine,
   "Marks a user as back.",
   "all others: .+new_online",
   "Users_ID, ServerLog"},
  {".+message", "target|sender|text|FontInfo|Msg_ID|type", UserMesseng,
   "Stores and delivers a message to one person.",
   "sender: .+reply with 1 in front; the target's devices and the sender's other one: "
   ".+message or .+offline_file; all with the next tick",
   "Messeng_Text, ServerLog",
   kNeedsHash, Receipt::kPeerMessage},
  {".+clot_messeng", "group|sender|text|FontInfo|Msg_ID|type", HandleClotMesseng,
   "Stores and delivers a message to a group.",
   "sender: .+reply with 2 in front; the members' devices and the sender's other one: "
   ".+clot_messeng; all with the next tick",
   "MessengClot_Text, Clot_Form, Msg_Acks, ServerLog",
   kNeedsHash, Receipt::kGroupMessage, LogClotMesseng},
  {".+retract", "0 person, 1 group|target or group|sender|passed on|passed on", RetractMessage,
   "Tells the other side that a message is taken back.",
   "the target's devices, or those of each other member: .+retract",
   ""},
  {".+mass_information",
   "receiver*receiver*...|sender|text|1 persons, else groups",
   HandleMassInformation,
   "Sends one text to many persons or groups.",
   "as for .+message and .+clot_messeng, without a receipt",
   "Messeng_Text, MessengClot_Text, Clot_Form, Msg_Acks, ServerLog"},
  {".+messengverify",
   "ClotID|UserID2|UserText|To_Type1|To_Type2|To_Type3|To_Type4",
   HandleMessengverify,
   "Carries a request, an answer or a notice about a friendship or a membership.",
   "sender, the other party, a group's administrators or members: .+messengverify, "
   ".+new_group_memberships, .+message",
   "Users_ID, Fav_Form, Clot_Form, Clot_Ro, Clot_Pic, ClotFile, MessengClot_Text, UpDateForm, "
   "MessengVerify_Type, MessengVerify_Blacklist, Messeng_Text, ServerLog",
   kRunsAnyway, Receipt::kNone, LogMessengverify},
  {".+reply_transmission", "passed on|target's tag|passed on|passed on", RelayReplyTransmission,
   "Passes a record on to one connection.",
   "the target: .+reply_transmission",
   ""},
  {".+jitter_window", "target|sender", RelayJitterWindow,
   "Nudges a person.",
   "the target's desktop, or else mobile: .+jitter_window",
   "ServerLog"},
  {".+meeting_message",
   "other party|sender|IsVideo|LoginType1|LoginType2|state|CloseRole|ChatId",
   HandleMeetingMessage,
   "Tells the devices of both parties of a call's state.",
   "the other party's devices and the sender's other one: .+meeting_message, with the next tick",
   "Tab_Chat"},
  {".+meeting_force", "passed on|target's tag|passed on|passed on|passed on", RelayMeetingForce,
   "Passes the forced end of a call on to one connection.",
   "the target: .+meeting_force",
   ""},
  {".+request_remote", "other party|sender|mode", RequestRemote,
   "Asks a person for remote assistance.",
   "the other party's desktop, and in mode 2 the mobile: .+request_remote; sender, when there "
   "is none: .+no_request_remote",
   "remote_chat, ServerLog"},
  {".+reply_request_remote", "other party|sender|answer", ReplyRequestRemote,
   "Answers a request for remote assistance.",
   "the other party's devices: .+reply_request_remote; the sender's other device: "
   ".+reply_request_my_remote",
   "ServerLog"},
  {".+remote_control", "other party|sender|order", RemoteControl,
   "Passes an order of a remote session on.",
   "the other party's desktop: .+remote_control",
   "ServerLog"},
  {".+upload_files",
   "TypePath|PcSize|uploader|target or group|1 offline file, 2 group file|FilPath|Msg_ID",
   HandleUploadFiles,
   "Notes a file that was left for a user or shared with a group.",
   "sender: .+reply with 3 or 4 in front, with the next tick",
   "LeaveFile, ClotFile, UpDateForm"},
  {".+notification", "sender|receivers joined by \",\"|title|content|link", PostNotice,
   "Posts a notice to several persons.",
   "the receivers' devices: .+notification, with the next tick",
   "MessengNotice_Text, Notice_Acks, ServerLog"},
  {".+interface_information",
   "sender's UserName|receivers by name, joined by \",\", or \"*\"|title|text|link|mode",
   HandleInterfaceInformation,
   "Takes a message, a notice or a visitor's line from an outside application.",
   "as for .+message, .+clot_messeng, .+notification or .+customer_information",
   "Messeng_Text, MessengClot_Text, Clot_Form, Msg_Acks, MessengNotice_Text, Notice_Acks, "
   "ServerLog"},
  {".+delete_bulletin", "UserID|Motif", HandleDeleteBulletin,
   "Removes a bulletin.",
   "",
   "News_Form, UpDateForm, ServerLog"},
  {".+shared_notice", "MyID|UserIDs joined by \"\\\"", HandleSharedNotice,
   "Sets who shares a person's bulletins.",
   "",
   "News_Ro, UpDateForm, ServerLog"},
  {".+customer", "agents joined by \",\"|visitor|city|passed on|passed on", HandleCustomer,
   "Announces a web visitor to the agents named.",
   "the agents: .+customer_information",
   "Kefu, ServerLog"},
  {".+customer_information", "agent|visitor|city|text|passed on", HandleCustomerInformation,
   "Hands a visitor's line to an agent.",
   "the agent: .+customer_information",
   "ServerLog",
   kNeedsHash},
  {".+y", "", HandleKeepAlive,
   "Echoes the keep-alive.",
   "sender: .+y",
   ""},
};

constexpr CommandRow kVisitorCommands[] = {
  {".+customer", "agents joined by \",\"|visitor|city|passed on|passed on", HandleVisitorCustomer,
   "Announces a web visitor to the agents named.",
   "the agents: .+customer_information",
   "Kefu, ServerLog"},
  {".+customer_information", "agent|visitor|city|text|passed on", HandleCustomerInformation,
   "Hands a visitor's line to an agent.",
   "the agent: .+customer_information",
   "ServerLog",
   kNeedsHash},
};

constexpr CommandRow kControlCommands[] = {
  {".+landing", "peer name", HandleControlLanding,
   "Names the peer, and drops whoever held the name.",
   "",
   ""},
  {".+x", "", HandleAlive,
   "Answers a ping.",
   "",
   ""},
  {".+y", "", HandleControlKeepAlive,
   "Echoes the keep-alive.",
   "sender: .+y",
   ""},
  {".+failed", "user|passed on|passed on", HandleFailed,
   "Tells a user of a failed download.",
   "the user: .+download_myfailed",
   ""},
  {".+disconnect", "reason|user|...", HandleDisconnect,
   "Ends sessions of users.",
   "the users: .+disconnect; all clients: .+new_is_offline",
   ""},
  {".+control_computer", "endpoint+user+code|...", HandleControlComputer,
   "Orders computers down, and shows their users as offline.",
   "the computers: .+control_computer; all clients: .+new_is_offline",
   ""},
  {".+control_usb", "endpoint+user+code|...", HandleControlUsb,
   "Switches the USB disks of computers.",
   "the computers: .+control_usb",
   ""},
  {".+remote_desktop", "endpoint", HandleRemoteDesktop,
   "Opens the remote desktop of a computer.",
   "the computer: .+remote_desktop",
   ""},
  {".+close_remote_desktop", "endpoint", HandleCloseRemoteDesktop,
   "Closes the remote desktop of a computer.",
   "the computer: .+close_remote_desktop",
   ""},
  {".+computer_information", "endpoint", HandleComputerInformation,
   "Asks a computer about itself.",
   "the computer: .+computer_information",
   ""},
  {".+broadcast", "passed on|text|font", HandleBroadcast,
   "Shows a notice to every client.",
   "all clients: .+broadcast",
   "ToInfo"},
};

constexpr CommandRow kApplicationCommands[] = {
  {".+exit_application", "", HandleExitApplication,
   "Ends the connection.",
   "",
   ""},
  {".+request_data_synchronization", "version", HandleRequestDataSynchronization,
   "Hands out the departments where the client's version is another one.",
   "sender: .+data_synchronization",
   "ServerLog"},
  {".+account_application",
   "department|picture|login name|name|password|job|telephone|constellation",
   HandleAccountApplication,
   "Makes an account where applications are taken.",
   "sender: .+application_success, or .+account_occupancy, .+not_allowed_to_apply; all "
   "clients, where accounts count at once: .+create_account",
   "Users_ID, Users_Pic, PtpFolder, Col_Ro, Users_Role, UpDateForm, ServerLog"},
};

constexpr CommandRow kEndpointCommands[] = {
  {".+landing", "endpoint|user|Upan", HandleEndpointLanding,
   "Registers a computer, and drops whoever held its name.",
   "",
   "Users_WinInfo"},
  {".+submit_information",
   "value 1|value 2|value 3|value 4|value 5|value 6|value 7|value 8|value 9|value 10|value "
   "11|value 12|value 13|value 14|value 15",
   HandleSubmitInformation,
   "Hands what a computer tells about itself to the console.",
   "the console: .+submit_information",
   ""},
  {".+insert_U_disk", "text|user|1 or 2|inserted", HandleInsertUDisk,
   "Logs that a USB disk came or went.",
   "",
   "ServerLog"},
};
// clang-format on

}  // namespace

std::span<const CommandRow> ClientCommands() {
  return kClientCommands;
}
std::span<const CommandRow> VisitorCommands() {
  return kVisitorCommands;
}
std::span<const CommandRow> ScreenCommands() {
  return {};
}
std::span<const CommandRow> ControlCommands() {
  return kControlCommands;
}
std::span<const CommandRow> ApplicationCommands() {
  return kApplicationCommands;
}
std::span<const CommandRow> EndpointCommands() {
  return kEndpointCommands;
}

}  // namespace vnq
