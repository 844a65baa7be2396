// The life of a group: it is made, changed, gets a picture, and ends.
#include "relations/group.h"

#include <fmt/format.h>

#include <optional>
#include <set>

#include "host/database/version_counters.h"
#include "host/nodes/crossing.h"
#include "host/nodes/words.h"
#include "host/picture_files.h"
#include "host/server_log.h"
#include "host/slots/devices.h"
#include "host/slots/sending.h"
#include "messaging/messaging.h"
#include "relations/relations.h"
#include "relations/verification.h"

namespace vnq {
namespace {

struct NewGroup {
  std::string typeId;
  Expr creator, name, remark, sender, memberList;
};

// --- A new group ---

// "Clot" and six digits, one above the greatest id there is.
// Kept: only the last three digits are read, so behind Clot000999 comes Clot001000, and Clot000001
// ever after.
std::string NextTypeId(Host& host) {
  const Expr greatest = host.database.ReadValue(Sql("Select max(TypeID) from Clot_Ro"));
  std::string last;
  Assign(last, greatest.IsNull() ? "Clot000000" : greatest);
  int16_t number = 0;
  Assign(number, ToInt16(last.size() > 3 ? last.substr(last.size() - 3) : last));
  return fmt::format("Clot{:06}", number + 1);
}

void InsertHeader(Host& host, const NewGroup& group) {
  host.database.Execute(
      Sql("insert into Clot_Ro(TypeID,TypeName,Remark,To_Date,Sender) values('?','?','?','?','?')",
          group.typeId, group.name, group.remark, host.clock.Now().Date(), group.sender));
  host.database.Execute(Sql("insert into Clot_Pic(ClotID,ClotInfo) values('?',0)", group.typeId));
}

// Nothing where another node keeps its turn for too long.
std::optional<NewGroup> InsertGroup(Host& host, const Fields& fields) {
  const SharedLock alone(host.database, SharedLock::Kind::kGroups);
  if (!alone.IsHeld()) return std::nullopt;
  NewGroup group{NextTypeId(host), fields[1], fields[2], fields[3], fields[4], fields[5]};
  InsertHeader(host, group);
  return group;
}

// .+new_group_information|TypeID|TypeName|Remark|Sender|member list|#
Expr InformationRecord(const NewGroup& group) {
  return Join(".+new_group_information|", group.typeId, "|", group.name, "|", group.remark, "|",
              group.sender, "|", group.memberList, "|#");
}

// .+new_group_base_information|TypeID|TypeName|Remark|Sender|#
Expr BaseInformationRecord(const NewGroup& group) {
  return Join(".+new_group_base_information|", group.typeId, "|", group.name, "|", group.remark,
              "|", group.sender, "|#");
}

// The marks stay at the columns' defaults: the group has no messages yet.
void AddMember(Host& host, const NewGroup& group, const Fields& member, const Expr& information,
               SlotIndex slot) {
  host.database.Execute(
      Sql("insert into Clot_Form(UpperID,UserID,IsAdmin,remark) values('?','?',?,'?')",
          group.typeId, member[0], member[1], member[2]));
  YieldThenTellUser(host, member[0], information);
  if (IsNot(member[0], BareTag(host.SckServer.Tag(slot)))) {
    NotifyMember(host, group.typeId, member[0], "1", slot);
  }
}

// Everybody who is connected and no member learns that the group exists, but not who is in it.
void TellNonMembers(Host& host, const NewGroup& group, const std::set<std::string>& members) {
  const Expr record = BaseInformationRecord(group);
  AskEverywhere(host, order::kNonMembers, record, Words(members.begin(), members.end()));
  TellNonMembersHere(host, record, members);
}

// The group's first message, in the creator's name.
void Welcome(Host& host, const NewGroup& group, SlotIndex slot) {
  const Expr record = GreetingRecord(host, ".+clot_messeng", group.typeId, group.creator, "im63");
  if (Skips("ClotMesseng", record)) return;
  Fields fields = Fields::Of(record);
  ClotMesseng(host, fields, slot);
}

// A group came or went. Nothing when the row is not exactly one.
void BumpGroupCatalogue(Host& host) {
  Cursor counters(host.database);
  counters.Open(Sql("Select id,Clot_RoVesr,Clot_FormVesr from UpDateForm where id=1"));
  if (counters.RecordCount() != 1) return;
  BumpCounter(counters, "Clot_RoVesr");
  BumpCounter(counters, "Clot_FormVesr");
  counters.Update();
}

// --- Its header and its picture ---

void WriteHeader(Host& host, const Fields& fields) {
  Cursor header(host.database);
  header.Open(Sql("Select * from Clot_Ro where TypeID='?'", fields[2]));
  if (header.RecordCount() != 1) return;
  header.Set("TypeID", fields[2]);
  header.Set("TypeName", fields[3]);
  header.Set("Remark", fields[4]);
  header.Set("Sender", fields[5]);
  BumpCounter(header, "Users_IDVesr");
  header.Update();
}

// The picture as clients know it: a value that they state. The file reaches the server on another
// road.
// Kept: only exactly one row counts as found, so two rows lead to a third.
void WritePicture(Host& host, const Fields& fields) {
  Cursor picture(host.database);
  picture.Open(Sql("Select * from Clot_Pic where ClotID='?'", fields[2]));
  if (picture.RecordCount() != 1) {
    picture.AddNew();
    picture.Set("ClotID", fields[2]);
  }
  picture.Set("pic", fields[3]);
  picture.UpdateOnce({"ClotID"});
}

void LogPicture(Host& host, const Fields& fields, std::string_view key,
                const std::string& remoteIp) {
  WriteServerLog(host, Join(fields[1], host.ReadLang(key), fields[2], "/", fields[3]), fields[1],
                 remoteIp, LogIcon::kCommand);
}

// --- Its end ---

void ParkOtherMembers(const Verification& run) {
  Cursor members(run.host.database);
  members.Open(Sql("Select * from Clot_Form where UpperID='?' and UserID<>'?'", run.fields[1],
                   run.fields[2]));
  for (; !members.EndOfRows(); members.MoveNext()) run.ParkUser(Join(members["UserID"]));
}

// The files that members uploaded stay on disk.
void DeleteGroupRows(Host& host, const Expr& group) {
  host.database.Execute(Sql("Delete from Clot_Ro where TypeID='?'", group));
  host.database.Execute(Sql("Delete from Clot_Form where UpperID='?'", group));
  host.database.Execute(Sql("Delete from Clot_Pic where ClotID='?'", group));
  host.database.Execute(Sql("Delete from ClotFile where ClotID='?'", group));
  host.database.Execute(Sql("Delete from MessengClot_Text where ClotID='?'", group));
}

}  // namespace

// Kept: no turn of the event loop stands before the send.
void TellNonMembersHere(Host& host, const Expr& text, const std::set<std::string>& members) {
  SlotArray& slots = host.SckServer;
  SharedRecord record(text);
  for (const SlotIndex slot : slots.AllConnected()) {
    if (!members.contains(BareTag(slots.Tag(slot)))) record.Send(host, slot);
  }
}

// --- Commands ---

void HandleNewGroupInformation(Host& host, Fields& fields, SlotIndex slot,
                               const std::string& remoteIp) {
  const std::optional<NewGroup> made = InsertGroup(host, fields);
  if (!made) return;
  const NewGroup& group = *made;
  const Expr information = InformationRecord(group);
  std::set<std::string> members;
  for (const Fields& member : MembersOfList(group.memberList)) {
    if (!Skips("member", member[0])) members.insert(member[0].text());
    AddMember(host, group, member, information, slot);
  }
  // Kept: creator, name and remark stand where this record has actor, group and list elsewhere.
  TellTag(host, OtherSessionTag(host.SckServer.Tag(slot)),
          NewGroupMembershipsRecord(group.creator, group.name, group.remark));
  TellNonMembers(host, group, members);
  BumpGroupCatalogue(host);
  Welcome(host, group, slot);
  WriteServerLog(host, Join(group.creator, host.ReadLang("im64"), group.name), group.creator,
                 remoteIp, LogIcon::kCommand);
}

void HandleModifyGroupInformation(Host& host, Fields& fields, SlotIndex,
                                  const std::string& remoteIp) {
  WriteHeader(host, fields);
  // Kept: also for a group that does not exist.
  BumpOnlyCounter(host.database, "Clot_RoVesr");
  TellEverybody(host, Join(".+modify_group_information|", fields[2], "|", fields[3], "|", fields[4],
                           "|", fields[5], "|#"));
  WriteServerLog(host, Join(fields[1], host.ReadLang("im66"), fields[2]), fields[1], remoteIp,
                 LogIcon::kCommand);
}

void HandleModifyGroupPhotos(Host& host, Fields& fields, SlotIndex, const std::string& remoteIp) {
  WritePicture(host, fields);
  LogPicture(host, fields, "im69", remoteIp);
}

void HandleClearGroupPhotos(Host& host, Fields& fields, SlotIndex, const std::string& remoteIp) {
  WritePicture(host, fields);
  DeletePictureFile(host, "\\Mypic\\", fields[2]);
  LogPicture(host, fields, "im70", remoteIp);
}

// Field 1 is the group, field 2 the acting user.
void GroupDisbanded(const Verification& run) {
  Host& host = run.host;
  const Fields& fields = run.fields;
  ParkOtherMembers(run);
  run.Park(run.otherSessionTag);
  DeletePictureFile(host, "\\MyPic\\", fields[1]);
  DeleteGroupRows(host, fields[1]);
  BumpGroupCatalogue(host);
  WriteServerLog(host, Join(fields[2], host.ReadLang("im65"), fields[1]), fields[2],
                 host.SckServer.RemoteHostIP(run.slot), LogIcon::kCommand);
}

}  // namespace vnq
