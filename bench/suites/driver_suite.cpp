// What an operation costs this process on each kind of database: the same three operations, the
// same table, the same rows. The server's own work is in the real time, not in the CPU time.
//
// PostgreSQL is measured at VNQ_TEST_POSTGRES, SQL Server's protocol at VNQ_TEST_TDS (against the
// test server, whose own time says nothing); see scripts/with_postgres.sh and scripts/with_tds.sh.
#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <spdlog/spdlog.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <sstream>

#include "host/database/database.h"

namespace vnq::bench {
namespace {

constexpr int kRows = 2000;
constexpr const char* kTable = "vnq_bench_rows";

enum Kind { kSqlite, kPostgres, kOdbc };

ServerDatabaseOptions ServerAt(const char* variable) {
  ServerDatabaseOptions options;
  std::istringstream words(getenv(variable));
  std::getline(words, options.host, ':');
  std::getline(words, options.port, ':');
  options.user = options.password = "vnq";
  options.durability = SqlDurability::kReceipt;
  return options;
}

std::unique_ptr<SqlDriver> OpenKind(int kind, const std::string& folder) {
  if (kind == kPostgres) {
    ServerDatabaseOptions options = ServerAt("VNQ_TEST_POSTGRES");
    options.database = "postgres";
    return OpenPostgres(options);
  }
  if (kind == kOdbc) {
    ServerDatabaseOptions options = ServerAt("VNQ_TEST_TDS");
    options.odbcDriver = "FreeTDS";
    options.database = fmt::format("bench_{}", getpid());
    return OpenOdbc(options);
  }
  SqliteOptions options;
  options.path = folder + "/bench.db";
  options.createFile = true;
  return OpenSqlite(options);
}

bool IsThere(int kind) {
  if (kind == kPostgres) return getenv("VNQ_TEST_POSTGRES") != nullptr;
  return kind == kSqlite || getenv("VNQ_TEST_TDS") != nullptr;
}

// The statements that make the table, as `vnqctl init` would on this kind.
std::vector<std::string> TableStatements(int kind) {
  const std::string create = fmt::format("create table {} ", kTable);
  if (kind == kPostgres) {
    return {create + "(UserID text collate \"C\",FcName text collate \"C\",UserIcoLine integer)",
            fmt::format("create index {0}_id on {0} (lower(cast(UserID as text) collate \"C\"))",
                        kTable)};
  }
  const std::string index = fmt::format("create index {0}_id on {0} (UserID)", kTable);
  if (kind == kOdbc) {
    return {create +
                "(UserID nvarchar(255) collate Latin1_General_100_CI_AS null,"
                "FcName nvarchar(255) collate Latin1_General_100_CI_AS null,UserIcoLine int null)",
            index};
  }
  return {
      create + "(UserID TEXT COLLATE NOCASE,FcName TEXT COLLATE NOCASE,UserIcoLine INTEGER) STRICT",
      index};
}

class Bed {
 public:
  explicit Bed(benchmark::State& state) : kind_(static_cast<int>(state.range(0))) {
    static const char* const kNames[] = {"SQLite", "PostgreSQL", "ODBC with FreeTDS"};
    state.SetLabel(kNames[kind_]);
    spdlog::set_level(spdlog::level::err);
    if (!IsThere(kind_)) {
      state.SkipWithError("no server for this run");
      return;
    }
    std::string name = (std::filesystem::temp_directory_path() / "vnq_bench_XXXXXX").string();
    folder_ = mkdtemp(name.data());
    database_ = std::make_unique<Database>(OpenKind(kind_, folder_));
    Fill(state);
  }

  ~Bed() {
    if (!database_) return;
    database_->driver().Execute(fmt::format("drop table {}", kTable), {});
    database_->Close();
    std::filesystem::remove_all(folder_);
  }

  bool ok() const { return ok_; }
  Database& database() { return *database_; }

 private:
  void Fill(benchmark::State& state) {
    SqlDriver& driver = database_->driver();
    ok_ = true;
    for (const std::string& statement : TableStatements(kind_)) {
      ok_ = ok_ && driver.Execute(statement, {});
    }
    driver.Execute("begin", {});
    const std::string insert =
        fmt::format("insert into {}(UserID,FcName,UserIcoLine) values(?,?,?)", kTable);
    for (int i = 1; i <= kRows && ok_; ++i) {
      const std::vector<SqlValue> values = {SqlValue::Text(std::to_string(i)),
                                            SqlValue::Text(fmt::format("Name {}", i)),
                                            SqlValue::Integer(0)};
      ok_ = driver.Execute(insert, values);
    }
    ok_ = driver.Execute("commit", {}) && ok_;
    if (!ok_) state.SkipWithError(driver.LastError().c_str());
  }

  int kind_;
  bool ok_ = false;
  std::string folder_;
  std::unique_ptr<Database> database_;
};

const std::string kByKey = fmt::format("Select * from {} where UserID='?'", kTable);

void OpenByKey(benchmark::State& state) {
  Bed bed(state);
  int number = 0;
  if (!bed.ok()) return;
  for (auto _ : state) {
    Cursor row(bed.database());
    row.Open(Sql(kByKey, ++number % kRows + 1));
    if (row.RecordCount() != 1) return state.SkipWithError("the row is not found");
  }
}

void Insert(benchmark::State& state) {
  Bed bed(state);
  int number = kRows;
  if (!bed.ok()) return;
  Cursor row(bed.database());
  row.Open(Sql(fmt::format("Select top 1 * from {}", kTable)));
  for (auto _ : state) {
    row.AddNew();
    row.Set("UserID", ++number);
    row.Set("FcName", "A new name");
    if (!row.Update()) return state.SkipWithError("the row is not added");
    if (number % 1000 == 0) bed.database().SyncCommitted();
  }
}

void UpdateCurrentRow(benchmark::State& state) {
  Bed bed(state);
  int number = 0;
  if (!bed.ok()) return;
  Cursor row(bed.database());
  row.Open(Sql(kByKey, 7));
  for (auto _ : state) {
    row.Set("UserIcoLine", ++number);
    if (!row.Update()) return state.SkipWithError("the row is not written");
    if (number % 1000 == 0) bed.database().SyncCommitted();
  }
}

BENCHMARK(OpenByKey)->DenseRange(kSqlite, kOdbc)->Unit(benchmark::kMicrosecond);
BENCHMARK(Insert)->DenseRange(kSqlite, kOdbc)->Unit(benchmark::kMicrosecond);
BENCHMARK(UpdateCurrentRow)->DenseRange(kSqlite, kOdbc)->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace vnq::bench
