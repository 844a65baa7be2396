#include "files/files.h"
#include "host/database/version_counters.h"
#include "host/values/skipped.h"

namespace vnq {

void InsertLeaveFile(Host& host, const Expr& target, const Expr& uploader, const Expr& typePath,
                     const Expr& pcSize, const Expr& filPath, const Expr& msgId) {
  if (!target.ok() || !uploader.ok() || !pcSize.ok() || !msgId.ok()) {
    NoteSkipped("InsertLeaveFile", "failed value");
    return;
  }
  if (target.text() == uploader.text()) return;

  Cursor Adodc1(host.database);
  Adodc1.Open(Sql("SELECT top 1 * FROM LeaveFile where Msg_ID='?'", msgId));
  if (Adodc1.RecordCount() > 0) return;
  Adodc1.AddNew();
  Adodc1.Set("Msg_ID", msgId);
  Adodc1.Set("UserID1", target);
  Adodc1.Set("UserID2", uploader);
  Adodc1.Set("TypePath", typePath);
  Adodc1.Set("PcSize", pcSize);
  Adodc1.Set("ToDate", host.clock.Now().DateAndTime());
  Adodc1.Set("SendTy", 0);
  Adodc1.Set("FilPath", filPath);
  Adodc1.Update();
  Adodc1.Close();

  // Kept: a Msg_ID with a quote adds no row and is counted all the same.
  BumpOnlyCounter(host.database, "LeaveFile_Vesr");
}

}  // namespace vnq
