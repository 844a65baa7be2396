// Bulletins: the list of them, and the list of who shares them.
#include "host/database/version_counters.h"
#include "host/server_log.h"
#include "messaging/messaging.h"

namespace vnq {
namespace {

void DeleteFirstBulletin(Host& host, const Expr& userId, const Expr& motif) {
  Cursor Adodc1(host.database);
  Adodc1.Open(Sql("Select * from News_Form where UserID='?' and Motif= '?'", userId, motif));
  if (Adodc1.RecordCount() > 0) Adodc1.Delete();
}

void ReplaceSharers(Host& host, const Expr& myId, const std::vector<std::string>& list) {
  host.database.Execute(Sql("Delete from News_Ro where MyID='?'", myId));
  Cursor Adodc1(host.database);
  Adodc1.Open(Sql("Select top 1 * from News_Ro"));
  for (const std::string& userId : list) {
    Adodc1.AddNew();
    Adodc1.Set("MyID", myId);
    Adodc1.Set("UserID", userId);
    Adodc1.Update();
  }
}

}  // namespace

void HandleDeleteBulletin(Host& host, Fields& fields, SlotIndex, const std::string& remoteIp) {
  DeleteFirstBulletin(host, fields[1], fields[2]);
  BumpOnlyCounter(host.database, "NewGo_Vesr");
  WriteServerLog(host, Join(fields[1], host.ReadLang("im99"), fields[2]), fields[1], remoteIp,
                 LogIcon::kCommand);
}

void HandleSharedNotice(Host& host, Fields& fields, SlotIndex, const std::string& remoteIp) {
  const std::vector<std::string> list = SplitText(fields[2].text(), "\\");
  if (list.empty()) return;
  ReplaceSharers(host, fields[1], list);
  BumpOnlyCounter(host.database, "NewRo_Vesr");
  // Kept: the number logged is the last index, one less than there are rows.
  WriteServerLog(host,
                 Join(fields[1], host.ReadLang("im100"), host.ReadLang("im68"), list.size() - 1),
                 fields[1], remoteIp, LogIcon::kCommand);
}

}  // namespace vnq
