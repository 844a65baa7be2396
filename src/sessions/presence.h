// Presence: one small integer per user, Users_ID.UserIcoLine, and the records that tell others of a
// change.
#pragma once

#include "host/slots/presence_values.h"
#include "host/values/expr.h"

namespace vnq {

/// .+new_is_offline|UserID|#
Expr NewIsOfflineRecord(const Expr& userId);
/// .+new_online|UserID|NetworkIP|LocalIP|#
Expr NewOnlineRecord(const Expr& userId, const Expr& networkIp, const Expr& localIp);
/// .+new_leaving|UserID|NetworkIP|LocalIP|#
Expr NewLeavingRecord(const Expr& userId, const Expr& networkIp, const Expr& localIp);
/// .+phone_line|UserID|#
Expr PhoneLineRecord(const Expr& userId);

/// .+busy_force|reason|#   What a session hears that another one takes the place of: the address of
/// the new one, or a text.
Expr BusyForceRecord(const Expr& reason);

}  // namespace vnq
