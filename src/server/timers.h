// The three timers' ticks. Each runs as a handler of its own and may overlap with the one before,
// where that one still waits in a yield.
#pragma once

#include <cstdint>
#include <string>

namespace vnq {

struct Host;

inline constexpr int64_t kTimer1Ms = 1'000;
inline constexpr int64_t kErrTimerMs = 20'000;

/// Each second: counts the silence of sibling services, pings, and restarts them; then sends every
/// connected slot's ReplyBuffer as one text. What the receipts in it acknowledge is made durable
/// first. Yields: yes, while a restart request waits for its answer.
void Timer1Tick(Host& host);

/// Every 20 seconds: closes the slots whose peer has gone, and resets what others see of them.
/// Tells nobody. Yields: no. Database: Users_WinInfo, Users_ID, ServerLog.
void ErrTimerTick(Host& host);

/// Every `interval_time` seconds: sends the queued mobile notifications in one HTTP GET. Yields:
/// no.
void WeatherTimeTick(Host& host);

/// Writes what others see of a user whose desktop session is gone: 3 where a phone is registered,
/// else 0. A mobile tag finds no row. Yields: no. Database: Users_ID.
void ResetPresence(Host& host, const std::string& tag);

}  // namespace vnq
