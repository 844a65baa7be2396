// A person-to-person message, from its record to its row, its deliveries, its log line and its
// push.
#include "host/outgoing/mobile_push.h"
#include "host/server_log.h"
#include "host/slots/devices.h"
#include "messaging/messaging.h"
#include "support/text_codecs.h"

namespace vnq {
namespace {

constexpr int32_t kFileForm = 5;

struct Message {
  Expr target, sender, text, font, id;
  bool isFile = false;
  std::string storedText;  // filtered; empty when the sender has no row
  std::string fcName;
  std::string slotTag;  // tag of the slot that the record came on

  StoredKind kind() const { return isFile ? StoredKind::kFileMessage : StoredKind::kPeerMessage; }
  bool ToOneself() const { return Same(target, sender); }
  bool FromMobile() const { return IsMobileTag(slotTag); }
};

// Kept: without a row of the sender the message goes on with an empty text.
void ReadSender(Host& host, Message& message) {
  Cursor Adodc1(host.database);
  Adodc1.Open(
      Sql("Select UserID,FcName,UserIcoLine from Users_ID where UserID='?'", message.sender));
  if (Adodc1.RecordCount() < 1) return;
  const auto filter = [&](const std::string& raw) { return FilterMessageText(host, raw); };
  Assign(message.storedText, message.isFile ? message.text : Map(message.text, filter));
  Assign(message.fcName, Join(Adodc1["FcName"]));
}

// Each flag says that one device still wants its copy; the device that sent it does not.
void SetFlags(Cursor& row, const Message& message) {
  row.Set(message.FromMobile() ? "IsAck1" : "IsAck2", 1);
  if (message.ToOneself()) {
    row.Set("IsAck1", 0);
    row.Set("IsAck2", 0);
  }
  row.Set("IsAck3", 1);
  row.Set("IsAck4", 1);
}

// A Msg_ID that this target has had is not stored again: it is a resend, and only its deliveries
// are wanted.
void StoreOnce(Host& host, const Message& message) {
  Cursor Adodc1(host.database);
  Adodc1.Open(Sql("Select top 1 * from Messeng_Text where Msg_ID='?' and YouID='?'", message.id,
                  message.target));
  if (Adodc1.RecordCount() > 0) return;
  const LocalTime now = host.clock.Now();
  Adodc1.AddNew();
  Adodc1.Set("Msg_ID", message.id);
  Adodc1.Set("MyID", message.sender);
  Adodc1.Set("YouID", message.target);
  Adodc1.Set("FcName", message.fcName);
  Adodc1.Set("To_Date", now.Date());
  Adodc1.Set("To_Time", now.Time());
  Adodc1.Set("UserText", message.storedText);
  Adodc1.Set("FontInfo", message.font);
  Adodc1.Set("To_Type", static_cast<int>(message.kind()));
  SetFlags(Adodc1, message);
  Adodc1.UpdateOnce({"Msg_ID", "YouID"});
}

void Deliver(Host& host, const Message& message, const std::string& remoteIp) {
  const std::string bare = BareTag(message.slotTag);
  auto leave = [&](const Expr& tag, DeviceCopy copy) {
    LeaveMesseng(host, tag, {message.kind(), copy}, message.id);
  };
  if (message.ToOneself()) {
    message.FromMobile() ? leave(bare, DeviceCopy::kTargetDesktop)
                         : leave(bare + "m", DeviceCopy::kTargetMobile);
    return;
  }
  leave(message.target, DeviceCopy::kTargetDesktop);
  leave(Join(message.target, "m"), DeviceCopy::kTargetMobile);
  message.FromMobile() ? leave(bare, DeviceCopy::kSenderDesktop)
                       : leave(bare + "m", DeviceCopy::kSenderMobile);
  WriteServerLog(host, Join(message.sender, " To ", message.target, host.ReadLang("im103")),
                 message.sender, remoteIp, LogIcon::kWebVisitor);
}

}  // namespace

void UserMesseng(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp) {
  Message message;
  message.target = fields[1];
  message.sender = fields[2];
  message.text = fields[3];
  message.font = fields[4];
  message.id = fields[5];
  message.isFile = ToInt32(fields[6]) == kFileForm;
  message.slotTag = host.SckServer.Tag(slot);

  ReadSender(host, message);
  StoreOnce(host, message);
  Deliver(host, message, remoteIp);
  const std::string label =
      message.isFile ? host.ReadLang("im283") : UnescapeText(host.page, message.storedText);
  QueueMobilePush(host, message.target, "", message.sender, PushKind::kPerson, label,
                  host.SckServer.Tag(slot));
}

}  // namespace vnq
