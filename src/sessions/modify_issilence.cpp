#include "sessions/sessions.h"

namespace vnq {

void HandleModifyIsSilence(Host& host, Fields& fields, SlotIndex, const std::string&) {
  Cursor Adodc2(host.database);
  Adodc2.Open(
      Sql("Select *  from Clot_Silence where MyID='?' and  YouID='?'", fields[1], fields[2]));
  if (Adodc2.RecordCount() >= 1) {
    if (Is(fields[3], "0")) Adodc2.Delete();  // Kept: of several rows only the first goes
  } else if (Is(fields[3], "1")) {
    Adodc2.AddNew();
    Adodc2.Set("MyID", fields[1]);
    Adodc2.Set("YouID", fields[2]);
    Adodc2.Update();
  }
}

}  // namespace vnq
