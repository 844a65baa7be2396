// Lists and records of a group, shared by the flows that change one. Private to the room.
#pragma once

#include <string>
#include <vector>

#include "host/host.h"
#include "host/values/fields.h"

namespace vnq {

/// The rows of a cursor on Clot_Form as member list text. The cursor stands on its first row
/// afterwards.
std::string MemberListOf(Cursor& rows);

/// The entries of a member list text, each split into UserID, IsAdmin and remark. What stands
/// behind the last "-" is no entry, so one that is not closed is passed over. A failed text:
/// skipped, and has none.
std::vector<Fields> MembersOfList(const Expr& list);

/// .+new_group_memberships|actor|group|list|#
/// The engine leaves the actor empty.
Expr NewGroupMembershipsRecord(const Expr& actor, const Expr& group, const Expr& list);

}  // namespace vnq
