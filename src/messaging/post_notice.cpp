// A notice: one row, one row for each receiver, and a copy for both devices of each.
#include "host/server_log.h"
#include "messaging/messaging.h"
#include "support/ids.h"

namespace vnq {
namespace {

constexpr int16_t kNoticePush = 4;
constexpr std::string_view kNoSender = "0000";  // the push of a notice names nobody

void StoreNotice(Host& host, const Fields& fields, SlotIndex slot, const std::string& id) {
  Cursor Adodc1(host.database);
  Adodc1.Open(Sql("Select top 1 * from MessengNotice_Text"));
  Adodc1.AddNew();
  Adodc1.Set("Msg_ID", id);
  Adodc1.Set("MyID", fields[1]);
  Adodc1.Set("Ntitle", fields[3]);
  Adodc1.Set("Ncontent", fields[4]);
  Adodc1.Set("Nlink", fields[5]);
  Adodc1.Set("TO_IP", host.SckServer.RemoteHostIP(slot));
  Adodc1.Set("To_Date", host.clock.Now().DateAndTime());
  Adodc1.Update();
}

void LeaveToReceiver(Host& host, const std::string& id, const Expr& sender,
                     const std::string& receiver) {
  Cursor Adodc2(host.database);
  Adodc2.Open(Sql("Select top 1 * from Notice_Acks where Msg_ID='?' and YouID='?'", id, receiver));
  if (Adodc2.RecordCount() == 0) {
    Adodc2.AddNew();
    Adodc2.Set("Msg_ID", id);
    Adodc2.Set("MyID", sender);
    Adodc2.Set("YouID", receiver);
    Adodc2.Set("IsAck1", 1);
    Adodc2.Set("IsAck2", 1);
    Adodc2.Update();
  }
  Adodc2.Close();
  LeaveMesseng(host, receiver, kNotice, id);
  LeaveMesseng(host, receiver + "m", kNotice, id);
}

}  // namespace

void PostNotice(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp) {
  const std::string id = NewGuidString();
  StoreNotice(host, fields, slot, id);
  for (const std::string& receiver : SplitText(fields[2].text(), ",")) {
    if (!receiver.empty()) LeaveToReceiver(host, id, fields[1], receiver);
  }
  QueueMobilePush(host, fields[2], kNoSender, fields[3], kNoticePush, host.ReadLang("im270"),
                  host.SckServer.Tag(slot));
  WriteServerLog(host, Join(fields[1], host.ReadLang("im112"), fields[3]), fields[1], remoteIp,
                 LogIcon::kCommand);
}

}  // namespace vnq
