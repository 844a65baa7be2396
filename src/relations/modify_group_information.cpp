#include "host/database/version_counters.h"
#include "host/server_log.h"
#include "host/slots/wire_codec.h"
#include "relations/relations.h"

namespace vnq {
namespace {

void WriteHeader(Host& host, const Fields& fields) {
  Cursor header(host.database);
  header.Open(Sql("Select * from Clot_Ro where TypeID='?'", fields[2]));
  if (header.RecordCount() != 1) return;
  header.Set("TypeID", fields[2]);
  header.Set("TypeName", fields[3]);
  header.Set("Remark", fields[4]);
  header.Set("Sender", fields[5]);
  BumpCounter(header, "Users_IDVesr");
  header.Update();
}

// To all connected clients, members or not, and to the sender among them.
void TellEverybody(Host& host, const Expr& record) {
  const int highest = host.SckServer.Highest();
  for (int i = 1; i <= highest; ++i) YieldAndSend(host, static_cast<SlotIndex>(i), record);
}

}  // namespace

void HandleModifyGroupInformation(Host& host, Fields& fields, SlotIndex,
                                  const std::string& remoteIp) {
  WriteHeader(host, fields);
  // Kept: also for a group that does not exist.
  BumpOnlyCounter(host.database, "Clot_RoVesr");
  TellEverybody(host, Join(".+modify_group_information|", fields[2], "|", fields[3], "|", fields[4],
                           "|", fields[5], "|#"));
  WriteServerLog(host, Join(fields[1], host.ReadLang("im66"), fields[2]), fields[1], remoteIp,
                 LogIcon::kCommand);
}

}  // namespace vnq
