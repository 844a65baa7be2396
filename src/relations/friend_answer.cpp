// The answers to a request for a friendship. Field 1 is the user who asked, field 2 the one who
// answers; that there was a request is not tested.
#include "relations/friends.h"
#include "relations/telling.h"

namespace vnq {

// Kept: an acceptance is not parked; the rows and the raised counters are what an absent asker
// finds.
void FriendAccepted(const Verification& run) {
  Host& host = run.host;
  const Fields& fields = run.fields;
  const Expr asker = fields[1], answering = fields[2];

  AddFriendRow(host, asker, answering);
  BumpFriendCounter(host, answering);
  GreetFriend(host, asker, answering, run.slot);
  AddFriendRow(host, answering, asker);
  BumpFriendCounter(host, asker);
  TellUser(host, asker, VerifyRecord(fields));
  TellTag(
      host, run.otherSessionTag,
      VerifyRecord(fields[0], answering, asker, fields[3], fields[4], fields[5], "1", fields[7]));
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

}  // namespace vnq
