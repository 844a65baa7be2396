// Sends to sessions that are found by their tag. None of them is queued: an absent session hears
// nothing.
#pragma once

#include "host/host.h"

namespace vnq {

/// To the first connected slot with a tag, with a turn of the event loop before the send. Yields:
/// yes.
void TellTag(Host& host, const Expr& tag, const Expr& record);

/// The same to a user's desktop, then to the mobile. Yields: yes.
void TellUser(Host& host, const Expr& userId, const Expr& record);

/// .+new_group_memberships|actor|group|list|#
/// The engine leaves the actor empty.
Expr NewGroupMembershipsRecord(const Expr& actor, const Expr& group, const Expr& list);

}  // namespace vnq
