// A request for a friendship, decided by how the user asked wants to be asked.
#include "host/database/version_counters.h"
#include "relations/friends.h"
#include "relations/telling.h"

namespace vnq {
namespace {

constexpr int32_t kGrantAtOnce = 0;
constexpr int32_t kAsk = 1;

// The record that tells of the new friend; `party` is the other side, seen from whoever gets it.
Expr Granted(const Fields& fields, const Expr& party, const Expr& self) {
  return VerifyRecord(fields[0], party, self, fields[3], fields[4], fields[5], fields[6], "1");
}

// The one text of this flow whose order of users depends on who reads it; each side finds the other
// in field 1.
void Grant(const Verification& run, Cursor& askedRow) {
  Host& host = run.host;
  const Fields& fields = run.fields;
  const Expr asked = fields[1], asker = fields[2];

  GreetFriend(host, asked, asker, run.slot);
  TellUser(host, asked, Granted(fields, asked, asker));
  AddFriendRow(host, asker, asked);
  // Kept: the counter goes up from what the row held before the sends above gave others a turn.
  BumpCounter(askedRow, "Fav_FormVesr");
  askedRow.Update();
  AddFriendRow(host, asked, asker);
  BumpFriendCounter(host, asker);
  GreetFromDesktop(host, asker, asked);
  run.AnswerSender(Granted(fields, asker, asked));
}

void Ask(const Verification& run) {
  const Fields& fields = run.fields;
  if (IsBlocked(run.host, fields[1], fields[2], BlockScope::kFriend)) {
    // The answer that the user asked gave once and for all.
    run.AnswerSender(VerifyRecord(fields[0], fields[2], fields[1], "", "1", "1", "2", "3"));
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

}  // namespace vnq
