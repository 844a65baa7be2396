// The event thread: handlers, yields, slots, dispatch and broadcasts.
#include <benchmark/benchmark.h>

#include "bench/suites/bench_server.h"
#include "host/slots/sending.h"
#include "support/base64_text.h"

namespace vnq::bench {
namespace {

// Decoding, splitting and look-up, without a command behind them.
void DispatchUnknownRecord(benchmark::State& state) {
  BenchServer server(1);
  const std::string wire =
      Base64EncodeText(server.host().page, ".+no_such_command|17|4|" + kAsciiText + "|#");
  for (auto _ : state) server.ports().OnRead(kClientPort, 1, wire);
}
BENCHMARK(DispatchUnknownRecord);

void FirstSlotOfTag(benchmark::State& state) {
  BenchServer server(1);
  server.AddSilentSlots(static_cast<int>(state.range(0)));
  const std::string tag = std::to_string(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(server.host().SckServer.FirstConnected(tag));
}
BENCHMARK(FirstSlotOfTag)->Arg(100)->Arg(1000)->Arg(19000);

void HandlerStart(benchmark::State& state) {
  constexpr int kAtOnce = 100;
  SystemClock clock;
  EventLoop loop(clock);
  for (auto _ : state) {
    for (int i = 0; i < kAtOnce; ++i) loop.StartHandler([] {});
    loop.Turn(0);
  }
  state.SetItemsProcessed(state.iterations() * kAtOnce);
}
BENCHMARK(HandlerStart)->Name("HandlerStart/times:100");

void YieldWithNothingReady(benchmark::State& state) {
  BenchServer server(1);
  server.InHandler([&] {
    for (auto _ : state) server.loop().Yield();
  });
}
BENCHMARK(YieldWithNothingReady);

// A change of presence, all of it: the walk with its two yields a slot, the sends, row and log
// line.
void Broadcast(benchmark::State& state) {
  BenchServer server;
  server.Connect(static_cast<int>(state.range(0)));
  server.Drain();
  const std::string wire = Base64EncodeText(server.host().page, ".+go_away|1|#");
  int round = 0;
  server.InHandler([&] {
    for (auto _ : state) {
      server.ports().OnRead(kClientPort, 1, wire);
      if (++round % 100 != 0) continue;
      state.PauseTiming();
      server.Drain();
      state.ResumeTiming();
    }
  });
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(Broadcast)->Arg(1000)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace vnq::bench
