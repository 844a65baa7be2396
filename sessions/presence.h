// Presence: one small integer per user, Users_ID.UserIcoLine, and the records that tell others of a change.
#pragma once

#include <cstdint>

#include "host/expr.h"

namespace vnq {

/// Values of UserIcoLine. An invisible user has kOffline and stays tagged.
inline constexpr int16_t kOffline = 0;
inline constexpr int16_t kOnline = 1;
inline constexpr int16_t kAway = 2;
inline constexpr int16_t kOnPhone = 3;

/// .+new_is_offline|UserID|#
Expr NewIsOfflineRecord(const Expr& userId);
/// .+new_online|UserID|NetworkIP|LocalIP|#
Expr NewOnlineRecord(const Expr& userId, const Expr& networkIp, const Expr& localIp);
/// .+new_leaving|UserID|NetworkIP|LocalIP|#
Expr NewLeavingRecord(const Expr& userId, const Expr& networkIp, const Expr& localIp);
/// .+phone_line|UserID|#
Expr PhoneLineRecord(const Expr& userId);

}  // namespace vnq
