// The engine: four type fields in, one named action out; and what its actions share.
#include "relations/verification.h"

#include "host/nodes/crossing.h"
#include "host/server_log.h"
#include "host/slots/sending.h"
#include "relations/relations.h"

namespace vnq {
namespace {

constexpr size_t kType1 = 4, kType2 = 5, kType3 = 6, kType4 = 7;  // elements of the record

struct VerificationCase {
  const char* type1;
  const char* type2;
  const char* type3;  // null: not looked at
  const char* type4;  // null: not looked at
  void (*action)(const Verification& run);
  bool namesWhoActs = false;
};

constexpr const char* kAny = nullptr;
constexpr bool kActs = true;

// The first row that fits decides.
constexpr VerificationCase kCases[] = {
    {"1", "1", "1", kAny, FriendRequest, kActs},
    {"1", "1", "2", "1", FriendAccepted, kActs},
    {"1", "1", "2", "2", FriendRefused, kActs},
    {"1", "1", "2", "3", FriendRefusedAndBlocked, kActs},
    {"1", "2", kAny, kAny, FriendDeleted, kActs},
    {"2", "3", kAny, kAny, RelayToUser},
    {"2", "4", kAny, kAny, RelayToUser},
    {"2", "1", "1", kAny, JoinRequest, kActs},
    {"2", "1", "2", "0", RelayToUser},
    {"2", "1", "2", "1", ApplicationAccepted},
    {"2", "1", "2", "2", ApplicationRefused},
    {"2", "1", "2", "3", ApplicationRefusedAndBlocked},
    {"2", "2", "1", kAny, MemberLeaves, kActs},
    {"2", "2", "2", "0", RelayToUser},
    {"2", "2", "2", "1", GroupDisbanded, kActs},
};

bool Fits(const Expr& field, const char* wanted) {
  return wanted == kAny || Is(field, wanted);
}

// Null for a combination that means nothing.
const VerificationCase* FindCase(const Fields& fields) {
  for (const VerificationCase& each : kCases) {
    if (Fits(fields[kType1], each.type1) && Fits(fields[kType2], each.type2) &&
        Fits(fields[kType3], each.type3) && Fits(fields[kType4], each.type4)) {
      return &each;
    }
  }
  return nullptr;
}

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

// --- The engine ---

void ProcessVerification(Host& host, Fields& fields, SlotIndex slot) {
  const VerificationCase* found = FindCase(fields);
  if (found != nullptr) found->action(Verification(host, fields, slot));
}

bool NamesWhoActs(const Fields& fields) {
  const VerificationCase* found = FindCase(fields);
  return found != nullptr && found->namesWhoActs;
}

void DeliverOrQueueVerify(Host& host, const Fields& fields, const Expr& targetTag, SlotIndex slot) {
  if (Skips("DeliverOrQueueVerify", targetTag)) return;
  if (TellTagHere(host, targetTag, VerifyRecord::Of(fields).Text())) return;
  ParkRecord(host, fields, targetTag, slot);
  AskElsewhere(host, NodeArray::kClients, targetTag, order::kVerifications, {targetTag});
}

void HandleMessengverify(Host& host, Fields& fields, SlotIndex slot, const std::string&) {
  ProcessVerification(host, fields, slot);
}

void LogMessengverify(Host& host, Fields& fields, SlotIndex, const std::string& remoteIp) {
  WriteServerLog(host, Join(fields[2], " To ", fields[1], host.ReadLang("im264")), fields[2],
                 remoteIp, LogIcon::kVerification);
}

// --- What its actions share ---

VerifyRecord VerifyRecord::Of(const Fields& fields) {
  return {fields[0], fields[1], fields[2], fields[3], fields[4], fields[5], fields[6], fields[7]};
}

VerifyRecord VerifyRecord::Swapped() const {
  VerifyRecord swapped = *this;
  std::swap(swapped.clotId, swapped.userId2);
  return swapped;
}

Expr VerifyRecord::Text() const {
  return Join(word, "|", clotId, "|", userId2, "|", userText, "|", type1, "|", type2, "|", type3,
              "|", type4, "|#");
}

void Verification::Park(const Expr& targetTag) const {
  DeliverOrQueueVerify(host, fields, targetTag, slot);
}

void Verification::ParkUser(const Expr& userId) const {
  Park(userId);
  Park(Join(userId, "m"));
}

void Verification::AnswerSender(const VerifyRecord& record) const {
  TellSlot(host, slot, record.Text());
  TellTag(host, otherSessionTag, record.Text());
}

void NotifyMember(Host& host, const Expr& group, const Expr& userId, const Expr& type2,
                  SlotIndex slot) {
  const VerifyRecord record{.word = ".+messengverify",
                            .clotId = group,
                            .userId2 = userId,
                            .userText = "",
                            .type1 = "2",
                            .type2 = type2,
                            .type3 = "2",
                            .type4 = "0"};
  Fields fields = Fields::Of(record.Text());
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
  block.UpdateOnce({"MyID", "YouID", "To_Type"});
}

}  // namespace vnq
