#include "host/server_log.h"
#include "sessions/sessions.h"

namespace vnq {

void HandleChangePassword(Host& host, Fields& fields, SlotIndex, const std::string& remoteIp) {
  Cursor Adodc2(host.database);
  Adodc2.Open(Sql("Select UserID,UserPaws from Users_ID where UserID='?'", fields[1]));
  if (Adodc2.RecordCount() != 1) return;
  Adodc2.Set("UserPaws", Trim(fields[2]));
  Adodc2.Update();
  // Kept: the log shows the new password in clear, as it came, blanks included.
  WriteServerLog(host, Join(fields[1], host.ReadLang("im59"), fields[2]), fields[1], remoteIp,
                 LogIcon::kCommand);
}

}  // namespace vnq
