// Values of Users_ID.UserIcoLine, which is all that others see of a user.
#pragma once

#include <cstdint>

namespace vnq {

inline constexpr int16_t kPresenceOffline = 0;  ///< or invisible
inline constexpr int16_t kPresenceOnline = 1;
inline constexpr int16_t kPresenceAway = 2;
inline constexpr int16_t kPresenceOnPhone = 3;  ///< reachable on a phone

}  // namespace vnq
