// Each operation of the database layer, on each driver that is built.
#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include "bench/suites/bench_server.h"
#include "host/server_log.h"

namespace vnq::bench {
namespace {

constexpr const char* kDriver = "SQLite";

void SelectOneRow(benchmark::State& state) {
  BenchServer server;
  int user = 0;
  for (auto _ : state) {
    Cursor row(server.host().database);
    row.Open(Sql("Select * from Users_ID where UserID='?'", ++user % 2000 + 1));
    benchmark::DoNotOptimize(row["FcName"]);
  }
  state.SetLabel(kDriver);
}
BENCHMARK(SelectOneRow);

void SelectWithoutRow(benchmark::State& state) {
  BenchServer server;
  for (auto _ : state) {
    Cursor row(server.host().database);
    row.Open(Sql("Select top 1 * from Messeng_Text where Msg_ID='?' and YouID='?'", "none", "1"));
    benchmark::DoNotOptimize(row.RecordCount());
  }
  state.SetLabel(kDriver);
}
BENCHMARK(SelectWithoutRow);

void Count2000Rows(benchmark::State& state) {
  BenchServer server;
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        server.host().database.ReadValue(Sql("select count(*) from Users_ID")));
  }
  state.SetLabel(kDriver);
}
BENCHMARK(Count2000Rows);

void InsertRow(benchmark::State& state) {
  BenchServer server;
  Database& database = server.host().database;
  int number = 0;
  for (auto _ : state) {
    Cursor row(database);
    row.Open(Sql("Select top 1 * from Messeng_Text where Msg_ID='?'", "none"));
    row.AddNew();
    row.Set("Msg_ID", fmt::format("m-{}", ++number));
    row.Set("MyID", "1");
    row.Set("YouID", "2");
    row.Set("UserText", kAsciiText);
    row.Set("To_Type", 10);
    row.Update();
    if (number % 1000 == 0) database.SyncCommitted();
  }
  state.SetLabel(kDriver);
}
BENCHMARK(InsertRow);

void UpdateRow(benchmark::State& state) {
  BenchServer server;
  Database& database = server.host().database;
  int number = 0;
  Cursor row(database);
  row.Open(Sql("Select * from Users_ID where UserID='?'", "7"));
  for (auto _ : state) {
    row.Set("UserIcoLine", ++number % 3);
    row.Update();
    if (number % 1000 == 0) database.SyncCommitted();
  }
  state.SetLabel(kDriver);
}
BENCHMARK(UpdateRow);

void InsertAndDeleteRow(benchmark::State& state) {
  BenchServer server;
  Database& database = server.host().database;
  int number = 0;
  for (auto _ : state) {
    database.Execute(Sql("insert into Kefu(IP,City) values('?','?')", "v", "c"));
    database.Execute(Sql("Delete from Kefu"));
    if (++number % 1000 == 0) database.SyncCommitted();
  }
  state.SetLabel(kDriver);
}
BENCHMARK(InsertAndDeleteRow);

// One commit and the sync that a tick makes of it: what a tick with messages pays once.
void CommitAndSync(benchmark::State& state) {
  BenchServer server;
  Database& database = server.host().database;
  for (auto _ : state) {
    database.Execute(Sql("insert into Kefu(IP,City) values('?','?')", "v", "c"));
    database.SyncCommitted();
  }
  state.SetLabel(kDriver);
}
BENCHMARK(CommitAndSync)->Unit(benchmark::kMicrosecond)->UseRealTime();

// The count, the look at the log and the insert behind them.
void LogLine(benchmark::State& state) {
  BenchServer server;
  int number = 0;
  for (auto _ : state) {
    WriteServerLog(server.host(), "1 To 2 sent a message", "1", "127.0.0.1",
                   LogIcon::kGroupMessage);
    if (++number % 1000 == 0) server.host().database.SyncCommitted();
  }
  state.SetLabel(kDriver);
}
BENCHMARK(LogLine);

}  // namespace
}  // namespace vnq::bench
