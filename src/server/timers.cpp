#include "server/timers.h"

#include "endpoints/endpoints.h"
#include "host/outgoing/mobile_push.h"
#include "host/slots/sending.h"
#include "sessions/sessions.h"

namespace vnq {
namespace {

constexpr TimerRow kTimers[] = {
    {"push", [](const Settings& settings) -> int64_t { return settings.pushIntervalMs; },
     WeatherTimeTick},
    {"sweep of lost clients", [](const Settings&) -> int64_t { return 20'000; }, ErrTimerTick},
    {"receipts", [](const Settings&) -> int64_t { return 1'000; }, Timer1Tick},
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
