#include "server/timers.h"

#include "endpoints/endpoints.h"
#include "host/slots/wire_codec.h"
#include "messaging/messaging.h"
#include "sessions/sessions.h"

namespace vnq {
namespace {

constexpr TimerRow kTimers[] = {
    {[](const Settings& settings) -> int64_t { return settings.pushIntervalMs; }, WeatherTimeTick},
    {[](const Settings&) -> int64_t { return 20'000; }, ErrTimerTick},
    {[](const Settings&) -> int64_t { return 1'000; }, Timer1Tick},
};

}  // namespace

std::span<const TimerRow> TimerTable() {
  return kTimers;
}

void WeatherTimeTick(Host& host) {
  SendQueuedPush(host);
}

void ErrTimerTick(Host& host) {
  SweepEndpoints(host);
  SweepLostClients(host);
}

void Timer1Tick(Host& host) {
  AgeSiblings(host);
  FlushReplies(host);
}

}  // namespace vnq
