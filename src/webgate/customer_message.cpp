#include "host/server_log.h"
#include "host/slots/wire_codec.h"
#include "messaging/messaging.h"
#include "support/text_codecs.h"
#include "webgate/customer.h"
#include "webgate/webgate.h"

namespace vnq {
namespace {

// Yields: yes, at each slot of the walk.
void SendToAgent(Host& host, const Expr& agent, const Fields& fields) {
  const SlotIndex slot = FindAgent(host, agent);
  if (slot != kNoSlot) SendRecord(host, slot, VisitorLineRecord(host, fields));
}

// An escaped text as it reads; a missing field stays missing.
Expr Unescaped(Host& host, const Expr& text) {
  return text.ok() ? Expr(UnescapeText(host.page, text.text())) : Expr::Failed();
}

void ToGroup(Host& host, const Fields& fields, SlotIndex slot) {
  Cursor agents(host.database);
  agents.Open(
      Sql("select bb.* from lv_chater_Clot_Form as aa,Users_ID as bb where aa.TypeID =? and "
          "aa.IsAdmin=0 and aa.UserID<>'?' and bb.UserName=aa.UserID",
          fields[1], fields[2]));
  for (; !agents.EndOfRows(); agents.MoveNext()) {
    SendToAgent(host, Join(agents["UserID"]), fields);
  }
  agents.Close();
  QueueMobilePush(host, fields[1], fields[2], fields[1], kLineToGroup, Unescaped(host, fields[4]),
                  host.SckServer.Tag(slot));
}

}  // namespace

void CustomerMessage(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp,
                     int16_t kind) {
  if (kind == kLineToAgent) {
    SendToAgent(host, fields[1], fields);
    QueueMobilePush(host, fields[1], fields[3], fields[2], kLineToAgent, Unescaped(host, fields[4]),
                    host.SckServer.Tag(slot));
  } else if (kind == kLineToGroup) {
    ToGroup(host, fields, slot);
  }
  WriteServerLog(host, Join(fields[2], " To ", fields[1], host.ReadLang("im107")), fields[2],
                 remoteIp, LogIcon::kWebVisitor);
}

void HandleCustomerInformation(Host& host, Fields& fields, SlotIndex slot,
                               const std::string& remoteIp) {
  CustomerMessage(host, fields, slot, remoteIp, kLineToAgent);
}

}  // namespace vnq
