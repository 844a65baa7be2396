// The three timers: how often each ticks, and whose work a tick is.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace vnq {

struct Host;
struct Settings;

/// Each tick runs as a handler of its own and may overlap with the one before, where that one still
/// waits in a yield.
struct TimerRow {
  std::string_view work;                            ///< in a few words
  int64_t (*intervalMs)(const Settings& settings);  ///< 0: the timer does not run
  void (*tick)(Host& host);
};

/// In the order in which load starts them.
std::span<const TimerRow> TimerTable();

/// Every `interval_time` seconds: the push of mobile notifications.
void WeatherTimeTick(Host& host);

/// Every 20 seconds: the sweep of endpoints and clients whose peer has gone.
void ErrTimerTick(Host& host);

/// Every second: the watch over sibling services, then the reply buffers. Yields: yes, while a
/// restart request waits for its answer.
void Timer1Tick(Host& host);

}  // namespace vnq
