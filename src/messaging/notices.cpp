// Notices and bulletins: what one user publishes to many.
//
// A notice is one row, one row for each receiver, and a copy for both devices of each. A bulletin
// is a row that another program writes; here it is deleted, and the list of who shares is replaced.
#include "host/database/version_counters.h"
#include "host/outgoing/mobile_push.h"
#include "host/server_log.h"
#include "messaging/messaging.h"
#include "support/ids.h"

namespace vnq {
namespace {

constexpr std::string_view kNoSender = "0000";  // the push of a notice names nobody

// --- Notices ---

void StoreNotice(Host& host, const Fields& fields, SlotIndex slot, const std::string& id) {
  Cursor Adodc1(host.database);
  Adodc1.OpenForNewRows(Sql("Select top 1 * from MessengNotice_Text"));
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
                     const std::string& receiver, StoredCopy& copy) {
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
  copy.LeaveTo(receiver);
  copy.LeaveTo(receiver + "m");
}

// --- Bulletins ---

void DeleteFirstBulletin(Host& host, const Expr& userId, const Expr& motif) {
  Cursor Adodc1(host.database);
  Adodc1.Open(Sql("Select * from News_Form where UserID='?' and Motif= '?'", userId, motif));
  if (Adodc1.RecordCount() > 0) Adodc1.Delete();
}

void ReplaceSharers(Host& host, const Expr& myId, const std::vector<std::string>& list) {
  host.database.Execute(Sql("Delete from News_Ro where MyID='?'", myId));
  Cursor Adodc1(host.database);
  Adodc1.OpenForNewRows(Sql("Select top 1 * from News_Ro"));
  for (const std::string& userId : list) {
    Adodc1.AddNew();
    Adodc1.Set("MyID", myId);
    Adodc1.Set("UserID", userId);
    Adodc1.Update();
  }
}

}  // namespace

void PostNotice(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp) {
  const std::string id = NewGuidString();
  StoreNotice(host, fields, slot, id);
  StoredCopy copy(host, StoredKind::kNotice, id);
  for (const std::string& receiver : SplitField(fields[2], ",")) {
    if (!receiver.empty()) LeaveToReceiver(host, id, fields[1], receiver, copy);
  }
  QueueMobilePush(host, fields[2], kNoSender, fields[3], PushKind::kNotice, host.ReadLang("im270"),
                  host.SckServer.Tag(slot));
  WriteServerLog(host, Join(fields[1], host.ReadLang("im112"), fields[3]), fields[1], remoteIp,
                 LogIcon::kCommand);
}

void HandleDeleteBulletin(Host& host, Fields& fields, SlotIndex, const std::string& remoteIp) {
  DeleteFirstBulletin(host, fields[1], fields[2]);
  BumpOnlyCounter(host.database, "NewGo_Vesr");
  WriteServerLog(host, Join(fields[1], host.ReadLang("im99"), fields[2]), fields[1], remoteIp,
                 LogIcon::kCommand);
}

void HandleSharedNotice(Host& host, Fields& fields, SlotIndex, const std::string& remoteIp) {
  const std::vector<std::string> list = SplitField(fields[2], "\\");
  if (list.empty()) return;
  ReplaceSharers(host, fields[1], list);
  BumpOnlyCounter(host.database, "NewRo_Vesr");
  // Kept: the number logged is the last index, one less than there are rows.
  WriteServerLog(host,
                 Join(fields[1], host.ReadLang("im100"), host.ReadLang("im68"), list.size() - 1),
                 fields[1], remoteIp, LogIcon::kCommand);
}

}  // namespace vnq
