// Steps that the four commands on the members of a standing group share.
#pragma once

#include <string>
#include <vector>

#include "host/host.h"
#include "host/values/fields.h"

namespace vnq {

/// Adds a member: an entry UserID:IsAdmin:remark, split. The member starts behind message `lastId`.
/// Database: Clot_Form.
void InsertMember(Host& host, const Expr& group, const Fields& entry, int16_t lastId);

/// Tells the users of a cursor on Clot_Form, each on both devices, the member list that its rows
/// make, and gives the record back. fields  of the command: 1 the acting user, 2 the group. Yields:
/// yes.
Expr TellMemberList(Host& host, const Fields& fields, Cursor& members);

/// The end of each of the four: the member record to the acting user's other session, and both
/// counters. record  what the members were told. Yields: yes. Database: UpDateForm, Clot_Ro.
void CloseOut(Host& host, const Fields& fields, const Expr& record, SlotIndex slot);

}  // namespace vnq
