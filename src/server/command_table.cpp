#include "server/command_table.h"

#include <unordered_map>
#include <vector>

#include "files/files.h"
#include "messaging/messaging.h"
#include "relations/relations.h"
#include "remote/remote.h"
#include "sessions/commands.h"
#include "webgate/webgate.h"

namespace vnq {
namespace {

constexpr Receipt kNoReceipt = Receipt::kNone;

// clang-format off
constexpr CommandRow kCommands[] = {
  // word                                handler                   fields  '#'    receipt                 onWord
  {".+landing",                          HandleLanding,                6, false, kNoReceipt,             nullptr,
   "Logs a person in on a desktop, or on a mobile with a one-letter platform."},
  {".+phone_log",                        HandlePhoneLog,               1, false, kNoReceipt,             nullptr,
   "Takes a known user over on a phone."},
  {".+request_data_synchronization_online", HandleSynchronizationNudge, 1, false, kNoReceipt,          nullptr,
   "Tells every client to synchronise its directory."},
  {".+successful_online",                HandleSuccessfulOnline,       2, false, kNoReceipt,             nullptr,
   "Makes a login visible to the others."},
  {".+change_password",                  HandleChangePassword,         2, false, kNoReceipt,             nullptr,
   "Sets a user's password."},
  {".+modify_data",                      HandleModifyData,            12, false, kNoReceipt,             nullptr,
   "Writes a user's profile and tells the others."},
  {".+modify_isverify",                  HandleModifyIsVerify,         2, false, kNoReceipt,             nullptr,
   "Sets who may add a user as a friend."},
  {".+modify_isSilence",                 HandleModifyIsSilence,        3, false, kNoReceipt,             nullptr,
   "Mutes or unmutes a group for a user."},
  {".+modify_personal_pictures",         HandleModifyPersonalPictures, 2, false, kNoReceipt,             nullptr,
   "Notes a new version of a user's picture."},
  {".+clear_personal_pictures",          HandleClearPersonalPictures,  2, false, kNoReceipt,             nullptr,
   "Removes a user's picture file and notes the new version."},
  {".+new_group_information",            HandleNewGroupInformation,    5, false, kNoReceipt,             nullptr,
   "Creates a group."},
  {".+modify_group_information",         HandleModifyGroupInformation, 5, false, kNoReceipt,             nullptr,
   "Changes a group's name, remark and sender."},
  {".+modify_group_members",             ModifyGroupMembers,           3, false, kNoReceipt,             LogModifyGroupMembers,
   "Replaces the list of a group's members."},
  {".+add_group_members",                AddGroupMembers,              3, false, kNoReceipt,             LogAddGroupMembers,
   "Adds members to a group."},
  {".+del_group_members",                DelGroupMembers,              3, false, kNoReceipt,             LogDelGroupMembers,
   "Removes members from a group."},
  {".+set_group_administrator",          SetGroupAdministrator,        3, false, kNoReceipt,             LogSetGroupAdministrator,
   "Gives or takes a member's right of an administrator."},
  {".+modify_group_photos",              HandleModifyGroupPhotos,      3, false, kNoReceipt,             nullptr,
   "Sets a group's picture."},
  {".+clear_group_photos",               HandleClearGroupPhotos,       3, false, kNoReceipt,             nullptr,
   "Clears a group's picture and deletes its file."},
  {".+request_synchronous_LOGO",         HandleRequestSynchronousLogo, 2, false, kNoReceipt,             nullptr,
   "Tells the version of the company logo where the client's is another one."},
  {".+request_personalized_photos",      HandleRequestPersonalizedPhotos, 4, false, kNoReceipt,          nullptr,
   "Tells the version of a user's or group's picture where the client's is another one."},
  {".+offline_request_web_information",  HandleOfflineRequest,         1, false, kNoReceipt,             nullptr,
   "Hands over what waited in the older offline tables."},
  {".+offline",                          HandleOffline,                1, false, kNoReceipt,             nullptr,
   "Ends a session and tells the others."},
  {".+stealth",                          HandleStealth,                1, false, kNoReceipt,             nullptr,
   "Makes a user invisible."},
  {".+go_away",                          HandleGoAway,                 1, false, kNoReceipt,             nullptr,
   "Marks a user as away."},
  {".+on_line",                          HandleOnLine,                 1, false, kNoReceipt,             nullptr,
   "Marks a user as back."},
  {".+message",                          UserMesseng,                  7, true,  Receipt::kPeerMessage,  nullptr,
   "Stores and delivers a message to one person."},
  {".+clot_messeng",                     HandleClotMesseng,            7, true,  Receipt::kGroupMessage, LogClotMesseng,
   "Stores and delivers a message to a group."},
  {".+retract",                          RetractMessage,               5, false, kNoReceipt,             nullptr,
   "Tells the other side that a message is taken back."},
  {".+mass_information",                 HandleMassInformation,        4, false, kNoReceipt,             nullptr,
   "Sends one text to many persons or groups."},
  {".+messengverify",                    HandleMessengverify,          7, false, kNoReceipt,             LogMessengverify,
   "Carries a request, an answer or a notice about a friendship or a membership."},
  {".+reply_transmission",               RelayReplyTransmission,       4, false, kNoReceipt,             nullptr,
   "Passes a record on to one connection."},
  {".+jitter_window",                    RelayJitterWindow,            2, false, kNoReceipt,             nullptr,
   "Nudges a person."},
  {".+meeting_message",                  HandleMeetingMessage,         8, false, kNoReceipt,             nullptr,
   "Tells the devices of both parties of a call's state."},
  {".+meeting_force",                    RelayMeetingForce,            5, false, kNoReceipt,             nullptr,
   "Passes the forced end of a call on to one connection."},
  {".+request_remote",                   RequestRemote,                3, false, kNoReceipt,             nullptr,
   "Asks a person for remote assistance."},
  {".+reply_request_remote",             ReplyRequestRemote,           3, false, kNoReceipt,             nullptr,
   "Answers a request for remote assistance."},
  {".+remote_control",                   RemoteControl,                3, false, kNoReceipt,             nullptr,
   "Passes an order of a remote session on."},
  {".+upload_files",                     HandleUploadFiles,            7, false, kNoReceipt,             nullptr,
   "Notes a file that was left for a user or shared with a group."},
  {".+notification",                     PostNotice,                   5, false, kNoReceipt,             nullptr,
   "Posts a notice to several persons."},
  {".+interface_information",            HandleInterfaceInformation,   6, false, kNoReceipt,             nullptr,
   "Takes a message, a notice or a visitor's line from an outside application."},
  {".+delete_bulletin",                  HandleDeleteBulletin,         2, false, kNoReceipt,             nullptr,
   "Removes a bulletin."},
  {".+shared_notice",                    HandleSharedNotice,           2, false, kNoReceipt,             nullptr,
   "Sets who shares a person's bulletins."},
  {".+customer",                         HandleCustomer,               5, false, kNoReceipt,             nullptr,
   "Announces a web visitor to the agents named."},
  {".+customer_information",             HandleCustomerInformation,    5, true,  kNoReceipt,             nullptr,
   "Hands a visitor's line to an agent."},
  {".+y",                                HandleKeepAlive,              0, false, kNoReceipt,             nullptr,
   "Echoes the keep-alive."},
};
// clang-format on

}  // namespace

std::span<const CommandRow> CommandTable() {
  return kCommands;
}

const CommandRow* FindCommand(std::string_view word) {
  static const auto* const rows = [] {
    auto* byWord = new std::unordered_map<std::string_view, const CommandRow*>;
    for (const CommandRow& row : kCommands) byWord->emplace(row.word, &row);
    return byWord;
  }();
  const auto found = rows->find(word);
  return found == rows->end() ? nullptr : found->second;
}

CommandCounters& CountersOf(const CommandRow& row) {
  static std::vector<CommandCounters> counters(std::size(kCommands));
  return counters[static_cast<size_t>(&row - kCommands)];
}

}  // namespace vnq
