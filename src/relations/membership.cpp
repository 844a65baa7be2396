#include "relations/membership.h"

#include "host/database/version_counters.h"
#include "host/server_log.h"
#include "host/slots/devices.h"
#include "relations/group_rows.h"
#include "relations/relations.h"
#include "relations/telling.h"

namespace vnq {
namespace {

void LogMembership(Host& host, const Fields& fields, std::string_view key,
                   const std::string& remoteIp) {
  WriteServerLog(host, Join(fields[1], host.ReadLang(key), fields[2]), fields[1], remoteIp,
                 LogIcon::kCommand);
}

}  // namespace

void InsertMember(Host& host, const Expr& group, const Fields& entry, int16_t lastId) {
  host.database.Execute(
      Sql("insert into Clot_Form(UpperID,UserID,IsAdmin,remark,last_ack_typeid1,last_ack_typeid2,"
          "last_ack_typeid3,last_ack_typeid4) values('?','?','?','?',?,?,?,?)",
          group, entry[0], entry[1], entry[2], lastId, lastId, lastId, lastId));
}

Expr TellMemberList(Host& host, const Fields& fields, Cursor& members) {
  Expr record = NewGroupMembershipsRecord(fields[1], fields[2], MemberListOf(members));
  for (; !members.EndOfRows(); members.MoveNext()) {
    TellUser(host, Join(members["UserID"]), record);
  }
  return record;
}

void CloseOut(Host& host, const Fields& fields, const Expr& record, SlotIndex slot) {
  TellTag(host, OtherSessionTag(host.SckServer.Tag(slot)), record);
  BumpOnlyCounter(host.database, "Clot_FormVesr");
  BumpGroupCounter(host, "Users_FormVesr", fields[2]);
}

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
