// A group message: stored once, then carried to each member's devices.
#include "host/outgoing/mobile_push.h"
#include "host/server_log.h"
#include "host/slots/devices.h"
#include "messaging/messaging.h"
#include "support/text_codecs.h"

namespace vnq {
namespace {

// A Msg_ID that this group has had is not stored again; its deliveries run all the same.
void StoreOnce(Host& host, const Fields& fields, const Expr& fcName, const std::string& text) {
  Cursor Adodc1(host.database);
  Adodc1.Open(Sql("Select top 1 * from MessengClot_Text where Msg_ID='?' and ClotID='?'", fields[5],
                  fields[1]));
  if (Adodc1.RecordCount() > 0) return;
  Adodc1.AddNew();
  Adodc1.Set("Msg_ID", fields[5]);
  Adodc1.Set("ClotID", fields[1]);
  Adodc1.Set("MyID", fields[2]);
  Adodc1.Set("FcName", fcName);
  Adodc1.Set("UserText", text);
  Adodc1.Set("FontInfo", fields[4]);
  int32_t type = 0;
  Assign(type, ToInt32(fields[6]));
  Adodc1.Set("To_Type", type);
  Adodc1.UpdateOnce({"Msg_ID", "ClotID"});
}

// The filtered text; empty, with nothing stored, when the sender has no row.
std::string FilterAndStore(Host& host, const Fields& fields) {
  Cursor sender(host.database);
  sender.Open(Sql("Select UserID,FcName,UserIcoLine from Users_ID where UserID='?'", fields[2]));
  if (sender.EndOfRows()) return "";
  std::string text;
  Assign(text,
         Map(fields[3], [&](const std::string& raw) { return FilterMessageText(host, raw); }));
  StoreOnce(host, fields, Join(sender["FcName"]), text);
  return text;
}

// The sender's other device gets the copy, and the mark of the device that sent rises.
void LeaveToSender(Host& host, Cursor& memberRow, const Fields& fields, const std::string& tag) {
  const bool fromMobile = IsMobileTag(tag);
  LeaveMesseng(host, OtherSessionTag(tag), {StoredKind::kGroupMessage, OtherCopyOfSender(tag)},
               fields[5]);
  memberRow.Set(fromMobile ? "last_ack_typeid2" : "last_ack_typeid1",
                LastGroupMessageId(host, fields[1]));
  memberRow.Update();
}

// The copies of all members.
struct MemberCopies {
  MemberCopies(Host& host, const Expr& id)
      : desktop(host, {StoredKind::kGroupMessage, DeviceCopy::kTargetDesktop}, id),
        mobile(host, {StoredKind::kGroupMessage, DeviceCopy::kTargetMobile}, id) {}

  StoredCopy desktop, mobile;
};

void LeaveToMember(Host& host, const Expr& member, const Fields& fields, MemberCopies& copies) {
  Cursor Adodc2(host.database);
  Adodc2.Open(
      Sql("Select top 1 * from Msg_Acks where Msg_ID='?' and YouID='?'", fields[5], member));
  if (Adodc2.RecordCount() == 0) {
    Adodc2.AddNew();
    Adodc2.Set("Msg_ID", fields[5]);
    Adodc2.Set("ClotID", fields[1]);
    Adodc2.Set("MyID", fields[2]);
    Adodc2.Set("YouID", member);
    Adodc2.UpdateOnce({"Msg_ID", "YouID"});
  }
  Adodc2.Close();
  copies.desktop.LeaveTo(member);
  copies.mobile.LeaveTo(Join(member, "m"));
}

}  // namespace

int16_t LastGroupMessageId(Host& host, const Expr& clotId) {
  int16_t last = 0;
  Cursor row(host.database);
  row.Open(Sql("Select max(TypeID) as c from MessengClot_Text where ClotID='?'", clotId));
  if (!row.EndOfRows()) Assign(last, ToInt16(row["c"]));
  return last;
}

void ClotMesseng(Host& host, Fields& fields, SlotIndex slot) {
  const std::string text = FilterAndStore(host, fields);
  MemberCopies copies(host, fields[5]);
  Cursor Adodc1(host.database);
  Adodc1.Open(Sql("select * from Clot_Form where UpperID='?'", fields[1]));
  for (; !Adodc1.EndOfRows(); Adodc1.MoveNext()) {
    const Expr member = Join(Adodc1["UserID"]);
    if (Same(member, fields[2])) {
      LeaveToSender(host, Adodc1, fields, host.SckServer.Tag(slot));
    } else {
      LeaveToMember(host, member, fields, copies);
    }
  }
  Adodc1.Close();
  QueueMobilePush(host, fields[1], fields[2], fields[1], PushKind::kGroup,
                  UnescapeText(host.page, text), host.SckServer.Tag(slot));
}

void HandleClotMesseng(Host& host, Fields& fields, SlotIndex slot, const std::string&) {
  ClotMesseng(host, fields, slot);
}

void LogClotMesseng(Host& host, Fields& fields, SlotIndex, const std::string& remoteIp) {
  WriteServerLog(host, Join(fields[2], " To ", fields[1], host.ReadLang("im84")), fields[2],
                 remoteIp, LogIcon::kGroupMessage);
}

}  // namespace vnq
