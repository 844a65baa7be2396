#include "tools/client/record_words.h"

#include "host/values/fields.h"
#include "support/numbers.h"
#include "tools/client/chat_text.h"

namespace vnq {
namespace {

using Kind = KnownNames::Kind;

std::string Quoted(std::string_view escaped) {
  return escaped.empty() ? "" : ": " + ReadEscapedText(escaped);
}

// .+notification|title|content|link|date|Msg_ID|#
std::string Notification(const RecordFields& f, KnownNames&) {
  std::string line = "notice of " + f[4] + ": " + ReadEscapedText(f[1]);
  if (!f[2].empty()) line += " - " + ReadEscapedText(f[2]);
  if (!f[3].empty()) line += " <" + ReadEscapedText(f[3]) + ">";
  return line;
}

// .+offline_file|target|sender|type path|size|date|Msg_ID|path|#
std::string OfflineFile(const RecordFields& f, KnownNames& names) {
  names.Learn(Kind::kUser, f[2], "");
  return names.Label(Kind::kUser, f[2]) + " left you a file: " + ReadEscapedText(f[7]) + " (" +
         f[4] + ", " + f[5] + ")";
}

// .+retract|0|sender|...|#   .+retract|1|group|...|#
std::string Retract(const RecordFields& f, KnownNames& names) {
  if (f[1] == "1")
    return "a message in group " + names.Label(Kind::kGroup, f[2]) + " was taken back";
  return names.Label(Kind::kUser, f[2]) + " has taken back a message";
}

// .+messengverify with type 1: field 1 and field 2 are the two users; field 2 acts.
std::string FriendVerify(const RecordFields& f, KnownNames& names) {
  names.Learn(Kind::kUser, f[2], "");
  const std::string both =
      names.Label(Kind::kUser, f[2]) + " and " + names.Label(Kind::kUser, f[1]);
  if (f[5] == "2") return both + " are no longer friends";
  if (f[7] == "1") return both + " are friends now";
  if (f[7] == "2") return "the friend request between " + both + " was refused";
  if (f[7] == "3") return "the friend request between " + both + " was refused and blocked";
  return names.Label(Kind::kUser, f[2]) + " asks to be your friend" + Quoted(f[3]);
}

std::string JoinVerify(const RecordFields& f, const std::string& user, const std::string& group) {
  if (f[6] == "1") return user + " asks to join group " + group + Quoted(f[3]);
  if (f[7] == "0") return user + " is now a member of group " + group;
  const std::string application = "the application of " + user + " to join group " + group;
  if (f[7] == "1" || f[7] == "4") return application + " was accepted";
  if (f[7] == "2" || f[7] == "5") return application + " was refused";
  return application + " was refused and blocked";
}

// .+messengverify with type 2: field 1 is the group, field 2 the user concerned.
std::string GroupVerify(const RecordFields& f, KnownNames& names) {
  names.Learn(Kind::kGroup, f[1], "");
  const std::string user = names.Label(Kind::kUser, f[2]);
  const std::string group = names.Label(Kind::kGroup, f[1]);
  if (f[5] == "1") return JoinVerify(f, user, group);
  if (f[5] == "3") return user + " is no longer an administrator of group " + group;
  if (f[5] == "4") return user + " is now an administrator of group " + group;
  if (f[6] == "1") return user + " has left group " + group;
  if (f[7] == "1") return "group " + group + " was disbanded";
  return user + " was removed from group " + group;
}

// .+messengverify|group or user|user|text|type 1|type 2|type 3|type 4|#
std::string Verify(const RecordFields& f, KnownNames& names) {
  return f[4] == "2" ? GroupVerify(f, names) : FriendVerify(f, names);
}

// Entries UserID:IsAdmin:name, each closed by "-".
void LearnMembers(std::string_view list, KnownNames& names) {
  for (const std::string& entry : SplitText(list, "-")) {
    const std::vector<std::string> parts = SplitText(entry, ":");
    if (parts.size() >= 3) names.Learn(Kind::kUser, parts[0], ReadEscapedText(parts[2]));
  }
}

// .+new_group_information|group|name|remark|sender|members|#
// .+new_group_base_information|group|name|remark|sender|#
std::string NewGroup(const RecordFields& f, KnownNames& names) {
  LearnMembers(f[5], names);
  names.Learn(Kind::kGroup, f[1], ReadEscapedText(f[2]));
  return "new group " + names.Label(Kind::kGroup, f[1]);
}

std::string ChangedGroup(const RecordFields& f, KnownNames& names) {
  names.Learn(Kind::kGroup, f[1], ReadEscapedText(f[2]));
  return "group " + names.Label(Kind::kGroup, f[1]) + " has new details";
}

// .+new_group_memberships|acting user|group|members|#; at a creation the second field is a name,
// not an id
std::string Memberships(const RecordFields& f, KnownNames& names) {
  if (!names.All(Kind::kGroup).contains(f[2])) return "a group has new members";
  LearnMembers(f[3], names);
  return "group " + names.Label(Kind::kGroup, f[2]) + " has new members";
}

// .+modify_account|user|job|display name|...
std::string ChangedAccount(const RecordFields& f, KnownNames& names) {
  names.Learn(Kind::kUser, f[1], ReadEscapedText(f[3]));
  return names.Label(Kind::kUser, f[1]) + " has a new profile";
}

// .+jitter_window|sender|date and time|address
std::string Jitter(const RecordFields& f, KnownNames& names) {
  return names.Label(Kind::kUser, f[1]) + " nudges you";
}

// .+customer_information|visitor|city|date|time|text|...; a visitor who has just come may bring no
// text
std::string Visitor(const RecordFields& f, KnownNames&) {
  std::string line = "visitor " + ReadEscapedText(f[1]);
  if (!f[2].empty()) line += " (" + ReadEscapedText(f[2]) + ")";
  line += " at " + f[4];
  return line + (f[5].empty() ? " is here" : ": " + ReadMessageText(f[5]));
}

// .+broadcast|title|text|font|#
std::string Broadcast(const RecordFields& f, KnownNames&) {
  return "notice to all" + Quoted(f[1]) + Quoted(f[2]);
}

// .+download_myfailed|file|reason|#
std::string FailedDownload(const RecordFields& f, KnownNames&) {
  return "a download has failed" + Quoted(f[1]) + Quoted(f[2]);
}

// .+meeting_message|one party|other party|video|login 1|login 2|state|...
std::string Meeting(const RecordFields& f, KnownNames& names) {
  const std::string what = f[3] == "0" ? "audio call" : "video call";
  const std::string state = f[6] == "0" ? "rings" : f[6] == "1" ? "was answered" : "has ended";
  return what + " between " + names.Label(Kind::kUser, f[2]) + " and " +
         names.Label(Kind::kUser, f[1]) + " " + state;
}

// .+meeting_force|...
std::string ForcedEnd(const RecordFields&, KnownNames&) {
  return "a call was ended by force";
}

// .+request_remote|sender|date and time|mode|#, at a mobile
// .+request_remote|target|sender|state|close role|id|#
std::string RemoteRequest(const RecordFields& f, KnownNames& names) {
  const std::string& sender = f.size() > 5 ? f[2] : f[1];
  return names.Label(Kind::kUser, sender) + " asks for remote assistance";
}

// .+reply_request_my_remote|other party|date and time|address|answer|#
std::string AnsweredElsewhere(const RecordFields& f, KnownNames& names) {
  return "you have answered " + names.Label(Kind::kUser, f[1]) +
         " about remote assistance on your other device";
}

// .+remote_control|sender|date and time|address|order|#
std::string RemoteOrder(const RecordFields& f, KnownNames& names) {
  return names.Label(Kind::kUser, f[1]) + " gives an order of remote assistance" + Quoted(f[4]);
}

std::string RemoteAnswer(const RecordFields& f, KnownNames& names) {
  return names.Label(Kind::kUser, f[1]) + " has answered about remote assistance";
}

std::string RemoteRefused(const RecordFields& f, KnownNames& names) {
  return names.Label(Kind::kUser, f[1]) + " cannot be reached for remote assistance";
}

struct WordsRow {
  std::string_view word;
  std::string (*words)(const RecordFields&, KnownNames&);
};

constexpr WordsRow kWords[] = {
    {".+notification", Notification},
    {".+offline_file", OfflineFile},
    {".+retract", Retract},
    {".+messengverify", Verify},
    {".+new_group_information", NewGroup},
    {".+new_group_base_information", NewGroup},
    {".+modify_group_information", ChangedGroup},
    {".+new_group_memberships", Memberships},
    {".+modify_account", ChangedAccount},
    {".+jitter_window", Jitter},
    {".+customer_information", Visitor},
    {".+broadcast", Broadcast},
    {".+download_myfailed", FailedDownload},
    {".+meeting_message", Meeting},
    {".+meeting_force", ForcedEnd},
    {".+request_remote", RemoteRequest},
    {".+reply_request_my_remote", AnsweredElsewhere},
    {".+remote_control", RemoteOrder},
    {".+reply_request_remote", RemoteAnswer},
    {".+no_request_remote", RemoteRefused},
};

}  // namespace

RecordFields::RecordFields(std::string_view record) : elements_(SplitText(record, "|")) {}

const std::string& RecordFields::operator[](size_t field) const {
  static const std::string kMissing;
  return field < elements_.size() ? elements_[field] : kMissing;
}

std::string RecordWords(const RecordFields& fields, KnownNames& names) {
  for (const WordsRow& row : kWords) {
    if (row.word == fields.word()) return TerminalLine(row.words(fields, names));
  }
  return "";
}

std::string_view PresenceWord(std::string_view word) {
  if (word == ".+new_online") return "online";
  if (word == ".+new_leaving") return "away";
  if (word == ".+new_is_offline") return "offline";
  return word == ".+phone_line" ? "on the phone" : "";
}

bool IsOwnCopy(std::string_view messageType) {
  const int type = ParseInt32(messageType).value_or(0);
  return type == 1 || (type >= 10 && type % 2 == 0);
}

std::string DeliveryKey(const RecordFields& f, std::string_view record) {
  const std::string& word = f.word();
  const auto key = [&](std::string_view kind, const std::string& party, const std::string& id) {
    const bool isNamed = !id.empty() && id != "0";
    return isNamed ? std::string(kind) + "|" + party + "|" + id : std::string(record);
  };
  if (word == ".+message" && f.size() <= 7) return std::string(record);
  if (word == ".+message") return key(IsOwnCopy(f[7]) ? "to" : "from", f[1], f[6]);
  if (word == ".+offline_file") return key("from", f[2], f[6]);
  if (word == ".+clot_messeng") return key("group", f[1], f[7]);
  return word == ".+notification" ? key("notice", "", f[5]) : "";
}

}  // namespace vnq
