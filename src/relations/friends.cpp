// Friendships: the request, its answers, the end. Field 1 of a record is the other party, field 2
// the user who acts.
//
// A friendship is two rows of Fav_Form, one a direction. Only a request and a refusal wait for who
// is away.
#include "host/database/version_counters.h"
#include "host/nodes/crossing.h"
#include "host/slots/sending.h"
#include "messaging/messaging.h"
#include "relations/relations.h"
#include "relations/verification.h"

namespace vnq {
namespace {

// --- The rows of a friendship ---

Statement SelectFriendRow(const Expr& userId, const Expr& myId) {
  return Sql("Select * from Fav_Form where UserID='?' and MyID='?'", userId, myId);
}

void AddFriendRow(Host& host, const Expr& userId, const Expr& myId) {
  Cursor row(host.database);
  row.Open(SelectFriendRow(userId, myId));
  if (row.RecordCount() > 0) return;
  row.AddNew();
  row.Set("UserID", userId);
  row.Set("MyID", myId);
  row.UpdateOnce({"UserID", "MyID"});
}

void DeleteFriendRow(Host& host, const Expr& userId, const Expr& myId) {
  Cursor row(host.database);
  row.Open(SelectFriendRow(userId, myId));
  if (row.RecordCount() > 0) row.Delete();
}

void BumpFriendCounter(Host& host, const Expr& userId) {
  Cursor user(host.database);
  user.Open(Sql("Select * from Users_ID where UserID='?'", userId));
  if (user.RecordCount() < 1) return;
  BumpCounter(user, "Fav_FormVesr");
  user.Update();
}

// --- The first message between new friends ---

// A message to `to` in the name of `from`, as if it had come on `slot`.
void GreetFriend(Host& host, const Expr& to, const Expr& from, SlotIndex slot) {
  const Expr record = GreetingRecord(host, ".+message", to, from, "im268");
  if (Skips("UserMesseng", record)) return;
  Fields fields = Fields::Of(record);
  UserMesseng(host, fields, slot, host.SckServer.RemoteHostIP(slot));
}

// The same in the name of a user who is connected on a desktop, as if it had come from there. For
// one who is not, nothing happens.
void GreetFromDesktop(Host& host, const Expr& to, const Expr& from) {
  if (GreetFromDesktopHere(host, to, from)) return;
  AskElsewhere(host, NodeArray::kClients, from, order::kGreet, {to, from});
}

// --- The request, decided by how the user asked wants to be asked ---

constexpr int32_t kGrantAtOnce = 0;
constexpr int32_t kAsk = 1;

// The one text of this flow whose order of users depends on who reads it; each side finds the other
// in field 1.
void Grant(const Verification& run, Cursor& askedRow) {
  Host& host = run.host;
  const Expr asked = run.fields[1], asker = run.fields[2];
  VerifyRecord granted = VerifyRecord::Of(run.fields);
  granted.type4 = "1";

  GreetFriend(host, asked, asker, run.slot);
  TellUser(host, asked, granted.Text());
  AddFriendRow(host, asker, asked);
  // Kept: the counter goes up from what the row held before the sends above gave others a turn.
  BumpCounter(askedRow, "Fav_FormVesr");
  askedRow.Update();
  AddFriendRow(host, asked, asker);
  BumpFriendCounter(host, asker);
  GreetFromDesktop(host, asker, asked);
  run.AnswerSender(granted.Swapped());
}

// The answer that the user asked gave once and for all.
VerifyRecord RefusedAndBlocked(const Fields& request) {
  return {.word = request[0],
          .clotId = request[2],
          .userId2 = request[1],
          .userText = "",
          .type1 = "1",
          .type2 = "1",
          .type3 = "2",
          .type4 = "3"};
}

void Ask(const Verification& run) {
  const Fields& fields = run.fields;
  if (IsBlocked(run.host, fields[1], fields[2], BlockScope::kFriend)) {
    run.AnswerSender(RefusedAndBlocked(fields));
  } else {
    run.ParkUser(fields[1]);
  }
}

}  // namespace

void FriendRequest(const Verification& run) {
  Cursor asked(run.host.database);
  asked.Open(Sql("Select * from Users_ID where UserID='?'", run.fields[1]));
  if (asked.RecordCount() < 1) return;
  const std::optional<int32_t> isVerify = ToInt32(asked["IsVerify"]);
  if (isVerify == kGrantAtOnce) Grant(run, asked);
  if (isVerify == kAsk) Ask(run);
}

bool GreetFromDesktopHere(Host& host, const Expr& to, const Expr& from) {
  const SlotIndex desktop = host.SckServer.FirstConnected(from);
  if (desktop == kNoSlot) return false;
  GreetFriend(host, to, from, desktop);
  return true;
}

// --- The answers; that there was a request is not tested ---

// Kept: an acceptance is not parked; the rows and the raised counters are what an absent asker
// finds.
void FriendAccepted(const Verification& run) {
  Host& host = run.host;
  const Expr asker = run.fields[1], answering = run.fields[2];
  const VerifyRecord accepted = VerifyRecord::Of(run.fields);
  VerifyRecord toOtherSession = accepted.Swapped();
  toOtherSession.type3 = "1";

  AddFriendRow(host, asker, answering);
  BumpFriendCounter(host, answering);
  GreetFriend(host, asker, answering, run.slot);
  AddFriendRow(host, answering, asker);
  BumpFriendCounter(host, asker);
  TellUser(host, asker, accepted.Text());
  TellTag(host, run.otherSessionTag, toOtherSession.Text());
  GreetFromDesktop(host, answering, asker);
}

// Kept: the users stay swapped in the record's array, so the log line names them in that order.
void FriendRefused(const Verification& run) {
  Fields& fields = run.fields;
  run.ParkUser(fields[1]);
  const Expr asker = fields[1];
  fields.Set(1, fields[2]);
  fields.Set(2, asker);
  fields.Set(6, "1");
  run.Park(run.otherSessionTag);
}

void FriendRefusedAndBlocked(const Verification& run) {
  const Expr asker = run.fields[1], answering = run.fields[2];
  BlockOnce(run,
            Sql("Select * from MessengVerify_Blacklist where MyID='?' and YouID='?' and To_Type=1",
                answering, asker),
            answering, asker, BlockScope::kFriend);
  FriendRefused(run);
}

// --- The end: nothing of it is parked, and the client that sent it is not answered ---

void FriendDeleted(const Verification& run) {
  Host& host = run.host;
  const Expr formerFriend = run.fields[1], deleting = run.fields[2];
  const VerifyRecord deleted = VerifyRecord::Of(run.fields);

  DeleteFriendRow(host, formerFriend, deleting);
  BumpFriendCounter(host, deleting);
  DeleteFriendRow(host, deleting, formerFriend);
  BumpFriendCounter(host, formerFriend);
  TellUser(host, formerFriend, deleted.Text());
  TellTag(host, run.otherSessionTag, deleted.Swapped().Text());
}

}  // namespace vnq
