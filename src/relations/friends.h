// The rows of a friendship and the records that open one.
#pragma once

#include "relations/verification.h"

namespace vnq {

/// Adds the row of one direction of a friendship unless it exists. Database: Fav_Form.
void AddFriendRow(Host& host, const Expr& userId, const Expr& myId);
/// Deletes one row of one direction. Database: Fav_Form.
void DeleteFriendRow(Host& host, const Expr& userId, const Expr& myId);

/// Users_ID.Fav_FormVesr plus 1, for a user who has a row.
void BumpFriendCounter(Host& host, const Expr& userId);

/// Opens the conversation of two new friends: a message to `to` in the name of `from`, as if it had
/// come on `slot`. Yields: no.
void GreetFriend(Host& host, const Expr& to, const Expr& from, SlotIndex slot);

/// The same in the name of a user who is connected on a desktop, as if it had come from there. For
/// one who is not, nothing happens.
void GreetFromDesktop(Host& host, const Expr& to, const Expr& from);

}  // namespace vnq
