#include "server/timers.h"

#include "endpoints/endpoints.h"
#include "host/outgoing/mobile_push.h"
#include "host/protection/protection.h"
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

// The slots of ports that no rule sweeps.
void SweepGoneSlots(Host& host) {
  for (SlotArray* slots : {&host.SckServer6001, &host.SckServer6002, &host.SckServer6007}) {
    for (const SlotIndex slot : slots->AllNow()) {
      if (!slots->IsGone(slot)) continue;
      slots->Close(slot);
      slots->SetTag(slot, "");
    }
  }
  SweepControlChannel(host);
}

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
  if (host.protection && host.protection->settings().sweepAllPorts) SweepGoneSlots(host);
}

void Timer1Tick(Host& host) {
  AgeSiblings(host);
  FlushReplies(host);
}

}  // namespace vnq
