// The members of a standing group: the list is replaced, added to, taken from, and one member gets
// or loses the administrator's right. Nobody is asked. Field 1 is the acting user, field 2 the
// group.
#include <unordered_set>

#include "host/database/version_counters.h"
#include "host/server_log.h"
#include "host/slots/devices.h"
#include "host/slots/sending.h"
#include "messaging/messaging.h"
#include "relations/group.h"
#include "relations/relations.h"
#include "relations/verification.h"

namespace vnq {
namespace {

// --- Steps that the four commands share ---

// The new member starts behind message `lastId`.
void InsertMember(Host& host, const Expr& group, const Fields& entry, int16_t lastId) {
  host.database.Execute(
      Sql("insert into Clot_Form(UpperID,UserID,IsAdmin,remark,last_ack_typeid1,last_ack_typeid2,"
          "last_ack_typeid3,last_ack_typeid4) values('?','?','?','?',?,?,?,?)",
          group, entry[0], entry[1], entry[2], lastId, lastId, lastId, lastId));
}

// Tells the users of a cursor on Clot_Form the member list that its rows make, and gives the record
// back.
Expr TellMemberList(Host& host, const Fields& fields, Cursor& members) {
  Expr record = NewGroupMembershipsRecord(fields[1], fields[2], MemberListOf(members));
  for (; !members.EndOfRows(); members.MoveNext()) {
    YieldThenTellUser(host, Join(members["UserID"]), record);
  }
  return record;
}

// The end of each of the four; `record` is what the members were told.
void CloseOut(Host& host, const Fields& fields, const Expr& record, SlotIndex slot) {
  TellTag(host, OtherSessionTag(host.SckServer.Tag(slot)), record);
  BumpOnlyCounter(host.database, "Clot_FormVesr");
  BumpGroupCounter(host, "Users_FormVesr", fields[2]);
}

void LogMembership(Host& host, const Fields& fields, std::string_view key,
                   const std::string& remoteIp) {
  WriteServerLog(host, Join(fields[1], host.ReadLang(key), fields[2]), fields[1], remoteIp,
                 LogIcon::kCommand);
}

// --- The rows against a wanted list ---

using UserIds = std::unordered_set<std::string>;

struct Comparison {
  UserIds kept;
  std::vector<std::string> removed;
};

UserIds NamedBy(const std::vector<Fields>& entries) {
  UserIds users;
  for (const Fields& entry : entries) {
    if (entry[0].ok()) users.insert(entry[0].text());
  }
  return users;
}

bool Holds(const UserIds& users, const Expr& userId) {
  return userId.ok() && users.contains(userId.text());
}

// The group's rows, the acting user's left out, against the wanted list.
Comparison Compare(Host& host, const Fields& fields, const std::vector<Fields>& wanted) {
  Comparison found;
  const UserIds named = NamedBy(wanted);
  Cursor members(host.database);
  members.Open(
      Sql("select * from Clot_Form where UpperID='?' and UserID<>'?'", fields[2], fields[1]));
  for (; !members.EndOfRows(); members.MoveNext()) {
    const Expr userId = Join(members["UserID"]);
    if (Skips("compare a member", userId)) continue;
    if (Holds(named, userId)) {
      found.kept.insert(userId.text());
    } else {
      found.removed.push_back(userId.text());
    }
  }
  std::erase(found.removed, "");
  return found;
}

// --- Taking members away ---

// An empty list names the empty user, as one that ends in a comma does.
void DeleteMembers(Host& host, const Fields& fields, std::vector<std::string> users) {
  if (Skips("remove members", fields[3])) return;
  if (users.empty()) users.emplace_back();
  host.database.Execute(
      SqlList("Delete from Clot_Form where UpperID='?' and UserID in (?)", users, fields[2]));
}

}  // namespace

// --- The four commands ---

void ModifyGroupMembers(Host& host, Fields& fields, SlotIndex slot, const std::string&) {
  const std::vector<Fields> wanted = MembersOfList(fields[3]);
  const int16_t lastId = LastGroupMessageId(host, fields[2]);
  const Expr record = NewGroupMembershipsRecord(fields[1], fields[2], fields[3]);

  const Comparison rows = Compare(host, fields, wanted);
  for (const std::string& userId : rows.removed) {
    host.database.Execute(
        Sql("Delete from Clot_Form where UpperID='?' and UserID='?'", fields[2], userId));
  }
  for (const Fields& entry : wanted) {
    YieldThenTellUser(host, entry[0], record);
    if (Holds(rows.kept, entry[0])) continue;
    InsertMember(host, fields[2], entry, lastId);
    NotifyMember(host, fields[2], entry[0], "1", slot);
  }
  for (const std::string& userId : rows.removed) NotifyMember(host, fields[2], userId, "2", slot);
  CloseOut(host, fields, record, slot);
}

// Each entry that holds something counts, closed by a "-" or not.
void AddGroupMembers(Host& host, Fields& fields, SlotIndex slot, const std::string&) {
  std::vector<std::string> entries = SplitField(fields[3], "-");
  std::erase(entries, "");
  const int16_t lastId = LastGroupMessageId(host, fields[2]);
  for (const std::string& entry : entries) {
    InsertMember(host, fields[2], Fields::Split(entry, ":"), lastId);
  }

  Cursor members(host.database);
  members.Open(Sql("select * from Clot_Form where UpperID='?'", fields[2]));
  const Expr record = TellMemberList(host, fields, members);
  for (const std::string& entry : entries) {
    NotifyMember(host, fields[2], Fields::Split(entry, ":")[0], "1", slot);
  }
  CloseOut(host, fields, record, slot);
}

// Kept: the list that the members are told lacks the acting user, who stays a member.
void DelGroupMembers(Host& host, Fields& fields, SlotIndex slot, const std::string&) {
  const std::vector<std::string> users = SplitField(fields[3], ",");
  DeleteMembers(host, fields, users);

  Cursor members(host.database);
  members.Open(
      Sql("select * from Clot_Form where UpperID='?' and UserID<>'?'", fields[2], fields[1]));
  const Expr record = TellMemberList(host, fields, members);
  for (const std::string& userId : users) {
    if (!userId.empty()) NotifyMember(host, fields[2], userId, "2", slot);
  }
  CloseOut(host, fields, record, slot);
}

// Kept: the list that the members are told lacks the acting user. A right that is neither 0 nor 1
// is written, and its notice means nothing to the engine.
void SetGroupAdministrator(Host& host, Fields& fields, SlotIndex slot, const std::string&) {
  const Fields entry = Fields::Of(fields[3], ":");
  host.database.Execute(Sql("update Clot_Form set IsAdmin=? where UpperID='?' and UserID='?'",
                            entry[1], fields[2], entry[0]));

  Cursor members(host.database);
  members.Open(
      Sql("select * from Clot_Form where UpperID='?' and UserID<>'?'", fields[2], fields[1]));
  const Expr record = TellMemberList(host, fields, members);
  constexpr int32_t kRightTaken = 3;  // and one more for a right given
  NotifyMember(host, fields[2], entry[0], Plus(entry[1], kRightTaken), slot);
  CloseOut(host, fields, record, slot);
}

// --- Lists and counters of a group ---

std::string MemberListOf(Cursor& rows) {
  std::string list;
  for (; !rows.EndOfRows(); rows.MoveNext()) {
    Append(list, Join(rows["UserID"], ":", rows["IsAdmin"], ":", rows["remark"], "-"));
  }
  rows.MoveFirst();
  return list;
}

std::string MemberListText(Host& host, const Expr& groupId) {
  Cursor rows(host.database);
  rows.Open(Sql("select * from Clot_Form where UpperID='?'", groupId));
  return MemberListOf(rows);
}

std::vector<Fields> MembersOfList(const Expr& list) {
  std::vector<std::string> entries = SplitField(list, "-");
  if (!entries.empty()) entries.pop_back();
  std::vector<Fields> members;
  for (const std::string& entry : entries) members.push_back(Fields::Split(entry, ":"));
  return members;
}

Expr NewGroupMembershipsRecord(const Expr& actor, const Expr& group, const Expr& list) {
  return Join(".+new_group_memberships|", actor, "|", group, "|", list, "|#");
}

void BumpGroupCounter(Host& host, std::string_view counterName, const Expr& groupId) {
  const std::string counter(counterName);
  host.database.Execute(
      Sql("update Clot_Ro set " + counter + "=" + counter + "+1 where TypeID='?'", groupId));
}

// --- Their log lines ---

void LogModifyGroupMembers(Host& host, Fields& fields, SlotIndex, const std::string& remoteIp) {
  LogMembership(host, fields, "im67", remoteIp);
}
void LogAddGroupMembers(Host& host, Fields& fields, SlotIndex, const std::string& remoteIp) {
  LogMembership(host, fields, "im295", remoteIp);
}
void LogDelGroupMembers(Host& host, Fields& fields, SlotIndex, const std::string& remoteIp) {
  LogMembership(host, fields, "im296", remoteIp);
}
void LogSetGroupAdministrator(Host& host, Fields& fields, SlotIndex, const std::string& remoteIp) {
  LogMembership(host, fields, "im297", remoteIp);
}

}  // namespace vnq
