// A new group: its id, its rows, who is told, and its first message.
#include <fmt/format.h>

#include <set>

#include "host/server_log.h"
#include "host/slots/devices.h"
#include "host/slots/wire_codec.h"
#include "messaging/messaging.h"
#include "relations/group_rows.h"
#include "relations/relations.h"
#include "relations/telling.h"
#include "relations/verification.h"
#include "support/ids.h"
#include "support/text_codecs.h"

namespace vnq {
namespace {

struct NewGroup {
  std::string typeId;
  Expr creator, name, remark, sender, memberList;
};

// "Clot" and six digits, one above the greatest id there is.
// Kept: only the last three digits are read, so behind Clot000999 comes Clot001000, and Clot000001
// ever after.
std::string NextTypeId(Host& host) {
  const Expr greatest = host.database.ReadValue(Sql("Select max(TypeID) from Clot_Ro"));
  const std::string last = greatest.IsNull() ? "Clot000000" : greatest.text();
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
  TellUser(host, member[0], information);
  if (IsNot(member[0], BareTag(host.SckServer.Tag(slot)))) {
    NotifyMember(host, group.typeId, member[0], "1", slot);
  }
}

// Everybody who is connected and no member learns that the group exists, but not who is in it.
void TellOthers(Host& host, const NewGroup& group, const std::set<std::string>& members) {
  SlotArray& slots = host.SckServer;
  const Expr record = BaseInformationRecord(group);
  const int highest = slots.Highest();
  for (int i = 1; i <= highest; ++i) {
    const auto slot = static_cast<SlotIndex>(i);
    const bool isMember = slots.IsConnected(slot) && members.contains(BareTag(slots.Tag(slot)));
    if (!isMember) SendRecord(host, slot, record);
  }
}

// The group's first message, in the creator's name.
void Welcome(Host& host, const NewGroup& group, SlotIndex slot) {
  const Expr record = Join(".+clot_messeng|", group.typeId, "|", group.creator, "|",
                           EscapeText(host.ReadLang("im63")), "|", host.ServerFontInfo, "|",
                           NewGuidString(), "|3|#");
  if (!record.ok()) return;
  Fields fields = Fields::Split(record.text());
  ClotMesseng(host, fields, slot);
}

}  // namespace

void HandleNewGroupInformation(Host& host, Fields& fields, SlotIndex slot,
                               const std::string& remoteIp) {
  const NewGroup group{NextTypeId(host), fields[1], fields[2], fields[3], fields[4], fields[5]};
  InsertHeader(host, group);
  const Expr information = InformationRecord(group);
  std::set<std::string> members;
  for (const std::string& entry : CountedEntries(group.memberList)) {
    const Fields member = Fields::Split(entry, ":");
    if (member[0].ok()) members.insert(member[0].text());
    AddMember(host, group, member, information, slot);
  }
  // Kept: creator, name and remark stand where this record has actor, group and list elsewhere.
  TellTag(host, OtherSessionTag(host.SckServer.Tag(slot)),
          NewGroupMembershipsRecord(group.creator, group.name, group.remark));
  TellOthers(host, group, members);
  BumpGroupCatalogue(host);
  Welcome(host, group, slot);
  WriteServerLog(host, Join(group.creator, host.ReadLang("im64"), group.name), group.creator,
                 remoteIp, LogIcon::kCommand);
}

}  // namespace vnq
