#include "host/slots/wire_codec.h"
#include "host/values/skipped.h"
#include "relations/relations.h"
#include "relations/verification.h"

namespace vnq {
namespace {

void ParkRecord(Host& host, const Fields& fields, const Expr& targetTag, SlotIndex slot) {
  Cursor row(host.database);
  row.Open(Sql("SELECT top 1 *  FROM MessengVerify_Type"));
  row.AddNew();
  row.Set("UserID1", targetTag);
  row.Set("ClotID", fields[1]);
  row.Set("UserID2", fields[2]);
  row.Set("UserText", fields[3]);
  row.Set("TO_IP", host.SckServer.RemoteHostIP(slot));
  row.Set("To_Date", host.clock.Now().DateAndTime());
  row.Set("To_Type1", fields[4]);
  row.Set("To_Type2", fields[5]);
  row.Set("To_Type3", fields[6]);
  row.Set("To_Type4", fields[7]);
  row.Update();
}

}  // namespace

void DeliverOrQueueVerify(Host& host, const Fields& fields, const Expr& targetTag, SlotIndex slot) {
  if (!targetTag.ok()) {
    NoteSkipped("DeliverOrQueueVerify", "failed value");
    return;
  }
  const SlotIndex target = host.SckServer.FirstConnected(targetTag.text());
  if (target != kNoSlot) {
    YieldAndSend(host, target, VerifyRecord(fields));
  } else {
    ParkRecord(host, fields, targetTag, slot);
  }
}

}  // namespace vnq
