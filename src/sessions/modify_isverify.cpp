#include "host/server_log.h"
#include "sessions/sessions.h"

namespace vnq {

void HandleModifyIsVerify(Host& host, Fields& fields, SlotIndex, const std::string& remoteIp) {
  Cursor Adodc2(host.database);
  Adodc2.Open(Sql("Select *  from Users_ID where UserID='?'", fields[1]));
  if (Adodc2.RecordCount() < 1) return;
  Adodc2.Set("IsVerify", fields[2]);
  Adodc2.Update();
  WriteServerLog(host, Join(fields[1], host.ReadLang("im263")), fields[1], remoteIp,
                 LogIcon::kCommand);
}

}  // namespace vnq
