#include "bench/load/other_writer.h"

#include <fmt/format.h>

#include <chrono>
#include <thread>

#include "bench/load/poller.h"
#include "bench/load/prepare.h"
#include "bench/load/statistics.h"
#include "platform/sql/sql_driver.h"

namespace vnq::bench {
namespace {

constexpr int kPatienceMs = 60'000;
constexpr auto kEagerPause = std::chrono::microseconds(200);
constexpr int64_t kLongNs = 5'000'000;
constexpr std::string_view kWrite = "update UpDateForm set id=id where id=1";

// Writes once, however long that takes. False: it failed for another reason than the lock.
bool Write(SqlDriver& driver, bool eager) {
  while (!driver.Execute(kWrite, {})) {
    if (!eager || driver.LastTrouble() != SqlTrouble::kLocked) return false;
    std::this_thread::sleep_for(kEagerPause);
  }
  return true;
}

}  // namespace

int RunOtherWriter(const OtherWriterOptions& options, std::ostream& out, std::ostream& err) {
  std::string error;
  const auto driver = OpenDatabase(options.appPath, options.eager ? 0 : kPatienceMs, error);
  if (driver == nullptr) {
    err << "vnq_bench: " << error << '\n';
    return 1;
  }
  Histogram waits;
  int longOnes = 0;
  const int64_t end = NowNs() + static_cast<int64_t>(options.seconds * 1e9);
  for (int64_t begin = NowNs(); begin < end; begin = NowNs()) {
    if (!Write(*driver, options.eager)) {
      err << "vnq_bench: " << driver->LastError() << '\n';
      return 1;
    }
    const int64_t wait = NowNs() - begin;
    waits.Add(wait);
    if (wait > kLongNs) ++longOnes;
    std::this_thread::sleep_for(std::chrono::milliseconds(options.everyMs));
  }
  auto ms = [&](double percent) { return static_cast<double>(waits.Percentile(percent)) / 1e6; };
  out << fmt::format(
      "{} writes of another program{}: p50 {:.2f}, p99 {:.2f}, max {:.2f} ms, above 5 ms: {}\n",
      waits.count(), options.eager ? ", eager" : "", ms(50), ms(99), ms(100), longOnes);
  return 0;
}

}  // namespace vnq::bench
