// What the engine's actions share.
#include "relations/verification.h"

#include "host/slots/wire_codec.h"
#include "relations/relations.h"
#include "relations/telling.h"

namespace vnq {

void Verification::Park(const Expr& targetTag) const {
  DeliverOrQueueVerify(host, fields, targetTag, slot);
}

void Verification::ParkUser(const Expr& userId) const {
  Park(userId);
  Park(Join(userId, "m"));
}

void Verification::AnswerSender(const Expr& record) const {
  YieldAndSend(host, slot, record);
  TellTag(host, otherSessionTag, record);
}

Expr VerifyRecord(const Expr& word, const Expr& clotId, const Expr& userId2, const Expr& userText,
                  const Expr& type1, const Expr& type2, const Expr& type3, const Expr& type4) {
  return Join(word, "|", clotId, "|", userId2, "|", userText, "|", type1, "|", type2, "|", type3,
              "|", type4, "|#");
}

Expr VerifyRecord(const Fields& fields) {
  return VerifyRecord(fields[0], fields[1], fields[2], fields[3], fields[4], fields[5], fields[6],
                      fields[7]);
}

void NotifyMember(Host& host, const Expr& group, const Expr& userId, const Expr& type2,
                  SlotIndex slot) {
  const Expr record = VerifyRecord(".+messengverify", group, userId, "", "2", type2, "2", "0");
  if (!record.ok()) return;
  Fields fields = Fields::Split(record.text());
  ProcessVerification(host, fields, slot);
}

bool IsBlocked(Host& host, const Expr& myId, const Expr& youId, BlockScope scope) {
  Cursor block(host.database);
  block.Open(Sql("Select * from MessengVerify_Blacklist where MyID='?' and YouID='?' and To_Type=?",
                 myId, youId, static_cast<int>(scope)));
  return block.RecordCount() > 0;
}

void BlockOnce(const Verification& run, const Statement& existing, const Expr& myId,
               const Expr& youId, BlockScope scope) {
  Cursor block(run.host.database);
  block.Open(existing);
  if (block.RecordCount() > 0) return;
  block.AddNew();
  block.Set("MyID", myId);
  block.Set("YouID", youId);
  block.Set("TO_IP", run.host.SckServer.RemoteHostIP(run.slot));
  block.Set("To_Date", run.host.clock.Now().DateAndTime());
  block.Set("To_Type", static_cast<int>(scope));
  block.Update();
}

}  // namespace vnq
