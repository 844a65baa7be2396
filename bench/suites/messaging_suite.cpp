// The message paths: the filter, the delivery of each kind, a whole message of each sort.
#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include "bench/suites/bench_server.h"
#include "messaging/messaging.h"
#include "support/text_codecs.h"

namespace vnq::bench {
namespace {

// Kept small, so that the file's write-ahead log does not grow into the figures.
constexpr int kMessagesPerTick = 1000;

void Filter(benchmark::State& state) {
  BenchServer server(1);
  for (int i = 0; i < state.range(0); ++i) {
    server.host().MaskKeywords.push_back(fmt::format("word{}", i));
  }
  const std::string text = EscapeText(kAsciiText);
  for (auto _ : state) benchmark::DoNotOptimize(FilterMessageText(server.host(), text));
  state.SetLabel(fmt::format("{} words", state.range(0)));
}
BENCHMARK(Filter)->Arg(0)->Arg(100);

void AddStoredThings(BenchServer& server) {
  const std::string text = EscapeText(kAsciiText);
  server.Run(
      fmt::format("insert into Messeng_Text(Msg_ID,MyID,YouID,To_Date,To_Time,UserText,FontInfo,"
                  "To_Type,IsAck1,IsAck2,IsAck3,IsAck4)"
                  " values('x','2','1','2026-01-02','12:00:00','{}','font',10,1,1,1,1)",
                  text));
  server.Run(
      fmt::format("insert into MessengClot_Text(Msg_ID,ClotID,MyID,UserText,FontInfo,To_Type)"
                  " values('x','Clot000001','2','{}','font',20)",
                  text));
  server.Run(
      "insert into MessengNotice_Text(Msg_ID,MyID,Ntitle,Ncontent,Nlink,To_Date)"
      " values('x','2','title','content','link','2026-01-02')");
  server.Run(
      "insert into LeaveFile(Msg_ID,UserID1,UserID2,TypePath,PcSize,ToDate,SendTy,FilPath)"
      " values('x','2','1','a.txt','12','2026-01-02',1,'path')");
  server.Run(
      "insert into Tab_Chat(ChatId,MyID,YouID,IsVideo,LoginType1,LoginType2,InTime)"
      " values(5,'2','1',1,1,1,'2026-01-02')");
  server.Run("insert into remote_chat(ChatId,MyID,YouID,ip) values(5,'2','1','127.0.0.1')");
}

void Deliver(benchmark::State& state) {
  BenchServer server;
  AddStoredThings(server);
  server.AddSilentSlots(1);
  Host& host = server.host();
  const DeliveryKind kind(static_cast<int16_t>(state.range(0)));
  const Expr id = kind.number > 70 ? "5" : "x";
  LeaveMesseng(host, "1", kind, id);
  if (host.ReplyBuffer[1].empty()) state.SkipWithError("nothing was delivered");
  for (auto _ : state) {
    host.ReplyBuffer[1].clear();
    LeaveMesseng(host, "1", kind, id);
  }
}
BENCHMARK(Deliver)
    ->ArgName("kind")
    ->Arg(4)
    ->DenseRange(11, 14)
    ->DenseRange(21, 24)
    ->DenseRange(61, 64)
    ->DenseRange(71, 74)
    ->Arg(84);

// This kind deletes what it delivers, so each delivery needs a new row.
void DeliverVerification(benchmark::State& state) {
  BenchServer server;
  server.AddSilentSlots(1);
  Host& host = server.host();
  int number = 0;
  for (auto _ : state) {
    state.PauseTiming();
    server.Run("insert into MessengVerify_Type(UserID1,ClotID,UserID2) values('1','','2')");
    if (++number % kMessagesPerTick == 0) host.database.SyncCommitted();
    host.ReplyBuffer[1].clear();
    state.ResumeTiming();
    LeaveMesseng(host, "1", StoredKind::kPendingVerifications, "");
  }
}
BENCHMARK(DeliverVerification);

void WholeUserMesseng(benchmark::State& state) {
  BenchServer server;
  server.AddSilentSlots(2);
  Host& host = server.host();
  const std::string text = EscapeText(state.range(0) == 0 ? kAsciiText : kChineseText);
  int number = 0;
  for (auto _ : state) {
    Fields fields = Fields::Split(fmt::format(".+message|2|1|{}|font|m-{}|1|#", text, ++number));
    UserMesseng(host, fields, 1, "127.0.0.1");
    host.ReplyBuffer[2].clear();
    if (number % kMessagesPerTick == 0) host.database.SyncCommitted();
  }
  state.SetLabel(state.range(0) == 0 ? "ASCII" : "Chinese");
}
BENCHMARK(WholeUserMesseng)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

void WholeClotMesseng(benchmark::State& state) {
  BenchServer server;
  const auto members = static_cast<int>(state.range(0));
  server.AddSilentSlots(members);
  for (int i = 1; i <= members; ++i) {
    server.Run(fmt::format(
        "insert into Clot_Form(UpperID,UserID,IsAdmin) values('Clot000001','{}',0)", i));
  }
  Host& host = server.host();
  const std::string text = EscapeText(kAsciiText);
  int number = 0;
  for (auto _ : state) {
    Fields fields =
        Fields::Split(fmt::format(".+clot_messeng|Clot000001|1|{}|font|g-{}|20|#", text, ++number));
    ClotMesseng(host, fields, 1);
    state.PauseTiming();
    server.ClearReplies();
    host.database.SyncCommitted();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * members);
}
BENCHMARK(WholeClotMesseng)->Arg(100)->Arg(1000)->Unit(benchmark::kMicrosecond);

std::string NumbersUpTo(int count, std::string_view separator) {
  std::string list;
  for (int i = 1; i <= count; ++i) list += fmt::format("{}{}", i, separator);
  return list;
}

// A notice does not yield: its time is what every other client waits.
void WholeNotice(benchmark::State& state) {
  const auto receivers = static_cast<int>(state.range(0));
  BenchServer server(receivers);
  const std::string list = NumbersUpTo(receivers, ",");
  for (auto _ : state) {
    Fields fields = Fields::Split(fmt::format(".+notification|1|{}|title|content|link|#", list));
    PostNotice(server.host(), fields, 1, "127.0.0.1");
    state.PauseTiming();
    server.Run("delete from Notice_Acks");
    server.host().database.SyncCommitted();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * receivers);
}
BENCHMARK(WholeNotice)->Arg(100)->Arg(10000)->Unit(benchmark::kMillisecond);

// How long a keep-alive of another client takes while a mass message is under way.
void KeepAliveDuringMassMessage(benchmark::State& state) {
  const auto receivers = static_cast<int>(state.range(0));
  BenchServer server(receivers);
  const std::string list = NumbersUpTo(receivers, "*");
  EventLoop& loop = server.loop();
  bool busy = false;
  for (auto _ : state) {
    if (!busy) {
      state.PauseTiming();
      busy = true;
      loop.StartHandler([&] {
        Fields fields = Fields::Split(fmt::format(".+mass_information|{}|1|text|1|#", list));
        HandleMassInformation(server.host(), fields, 1, "127.0.0.1");
        busy = false;
      });
      loop.Turn(0);
      state.ResumeTiming();
    }
    bool answered = false;
    loop.StartHandler([&] {
      loop.Yield();
      answered = true;
    });
    while (!answered) loop.Turn(0);
  }
  while (busy) loop.Turn(0);
}
BENCHMARK(KeepAliveDuringMassMessage)->Arg(1000)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace vnq::bench
