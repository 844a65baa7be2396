// The end of a friendship. Nothing of it is parked, and the client that sent it is not answered.
#include "relations/friends.h"
#include "relations/telling.h"

namespace vnq {

void FriendDeleted(const Verification& run) {
  Host& host = run.host;
  const Fields& fields = run.fields;
  const Expr formerFriend = fields[1], deleting = fields[2];

  DeleteFriendRow(host, formerFriend, deleting);
  BumpFriendCounter(host, deleting);
  DeleteFriendRow(host, deleting, formerFriend);
  BumpFriendCounter(host, formerFriend);
  TellUser(host, formerFriend, VerifyRecord(fields));
  TellTag(host, run.otherSessionTag,
          VerifyRecord(fields[0], deleting, formerFriend, fields[3], fields[4], fields[5],
                       fields[6], fields[7]));
}

}  // namespace vnq
