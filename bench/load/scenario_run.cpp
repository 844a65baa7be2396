#include <arpa/inet.h>
#include <fmt/format.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "bench/load/pacing.h"
#include "bench/load/process_probe.h"
#include "bench/load/scenario.h"

namespace vnq::bench {
namespace {

constexpr int64_t kSilenceNs = 3 * kNsPerSecond;

// What was due and has not come by now.
uint64_t Missing(const Scenario& scenario) {
  RunResult soFar;
  scenario.Report(soFar);
  return soFar.checks.lostDeliveries + soFar.checks.lostReceipts;
}

// Tells late from lost: behind the settling time what still comes is late, as long as it goes on
// coming.
class LateComers {
 public:
  explicit LateComers(int64_t settledByNs) : settledByNs_(settledByNs) {}

  bool MayCome(const Scenario& scenario, int64_t nowNs) {
    if (nowNs < settledByNs_) return true;
    const uint64_t missing = Missing(scenario);
    if (!hasSettled_) due_ = missing;
    hasSettled_ = true;
    if (missing != missing_) lastNs_ = nowNs;
    missing_ = missing;
    return nowNs - lastNs_ < kSilenceNs;
  }

  uint64_t Came(const Scenario& scenario) const {
    return hasSettled_ ? due_ - Missing(scenario) : 0;
  }

 private:
  int64_t settledByNs_;
  int64_t lastNs_ = 0;
  bool hasSettled_ = false;
  uint64_t due_ = 0;  // when the settling time ended
  uint64_t missing_ = 0;
};

class Run {
 public:
  Run(std::string_view name, const LoadOptions& options) : options_(options) {
    result_.scenario = name;
  }

  int Go(ScenarioMaker make) {
    const auto codePage = CodePage::Open(options_.codePage);
    if (codePage == nullptr)
      return Fail(fmt::format("code page {} is not known", options_.codePage));
    const AnsiCodePage ansi(codePage);
    TlsClient tls;
    std::string error;
    if (options_.tls.use && !tls.Load(options_.tls.trust, error)) return Fail(error);
    LoadContext context{options_, poller_, ansi, {}, options_.tls.use ? &tls : nullptr};
    const std::vector<std::string> alone{options_.server};
    for (const std::string& server : options_.servers.empty() ? alone : options_.servers) {
      if (inet_pton(AF_INET, server.c_str(), &context.servers.emplace_back()) != 1) {
        return Fail(server + " is no IPv4 address");
      }
    }
    RaiseDescriptorLimit();
    const auto scenario = make(context);
    return Drive(*scenario) ? Print() : 1;
  }

 private:
  bool Drive(Scenario& scenario) {
    if (!Look(before_)) return false;
    std::string error;
    if (!scenario.SetUp(error)) return Fail(error) == 0;
    Phase(scenario, options_.warmupSeconds, false);
    ProcessUse begin, end;
    if (!Look(begin)) return false;
    const auto others = LookAtOthers();
    const double ownBegin = OwnCpuUs();
    Phase(scenario, options_.seconds, true);
    if (!Look(end)) return false;
    result_.ownCpuUs = OwnCpuUs() - ownBegin;
    result_.unit = scenario.unit();
    result_.operations = scenario.Operations();
    result_.connections = scenario.Connections();
    if (!options_.pids.empty()) {
      result_.server =
          ServerUseInRun{end.cpuUs - begin.cpuUs, before_.rssKb, end.rssKb, end.descriptors};
    }
    result_.usedBy = LookAtOthers();
    for (size_t i = 0; i < others.size(); ++i) result_.usedBy[i].second -= others[i].second;
    scenario.Report(result_);
    if (!options_.note.empty()) result_.settings.emplace_back(options_.note, "");
    return true;
  }

  bool Look(ProcessUse& use) {
    use = {};
    for (const int64_t pid : options_.pids) {
      const auto seen = LookAtProcess(static_cast<pid_t>(pid));
      if (!seen) return Fail(fmt::format("no process {}", pid)) == 0;
      use.cpuUs += seen->cpuUs;
      use.rssKb += seen->rssKb;
      use.descriptors += seen->descriptors;
    }
    return true;
  }

  // CPU of each by its name.
  std::vector<std::pair<std::string, double>> LookAtOthers() const {
    std::vector<std::pair<std::string, double>> uses;
    uses.reserve(options_.usedBy.size());
    for (const std::string& each : options_.usedBy) {
      const size_t sign = each.find('=');
      const auto pid = static_cast<pid_t>(sign == each.npos ? 0 : atoi(each.c_str() + sign + 1));
      uses.emplace_back(each.substr(0, sign), CpuWithChildrenUs(pid));
    }
    return uses;
  }

  void Phase(Scenario& scenario, double seconds, bool measured) {
    const int64_t begin = NowNs();
    const int64_t end = begin + static_cast<int64_t>(seconds * 1e9);
    const int64_t last = end + static_cast<int64_t>(options_.settleSeconds * 1e9);
    scenario.BeginPhase(begin, measured);
    nextLineNs_ = begin + kNsPerSecond;
    int64_t now = begin;
    LateComers late(last);
    while (now < end || (!scenario.Settled() && late.MayCome(scenario, now))) {
      scenario.Turn(now, now < end);
      poller_.Turn(now < end ? scenario.WaitNs(NowNs()) : kNsPerMs);
      now = NowNs();
      if (now >= nextLineNs_) LiveLine(scenario, now - begin, measured);
    }
    result_.late += late.Came(scenario);
    if (!measured) return;
    result_.seconds = seconds;
    result_.settledSeconds = static_cast<double>(now - begin) / 1e9;
  }

  void LiveLine(const Scenario& scenario, int64_t elapsedNs, bool measured) {
    nextLineNs_ += kNsPerSecond;
    if (options_.quiet) return;
    const double seconds = static_cast<double>(elapsedNs) / 1e9;
    RunResult soFar;
    scenario.Report(soFar);
    const Histogram none;
    const Histogram& latency = soFar.latencies.empty() ? none : soFar.latencies.front().ns;
    const CheckCounts& checks = soFar.checks;
    fmt::print(stderr,
               "{} {:4.0f} s  {} {}  {:.0f}/s  p50 {:.1f} p99 {:.1f} ms  in flight {}  "
               "wrong {}{}",
               measured ? "run    " : "warm-up", seconds, scenario.Operations(), scenario.unit(),
               static_cast<double>(scenario.Operations()) / seconds,
               static_cast<double>(latency.Percentile(50)) / 1e6,
               static_cast<double>(latency.Percentile(99)) / 1e6, scenario.InFlight(),
               checks.altered + checks.doubledDeliveries + checks.doubledReceipts,
               isatty(STDERR_FILENO) != 0 ? "\033[K\r" : "\n");
    std::fflush(stderr);
  }

  int Print() {
    std::string error;
    if (options_.withFloor) {
      // At a fixed rate nearly each message is a turn of its own.
      const size_t turn = options_.rate > 0 ? 1 : options_.window;
      result_.floor =
          MeasureFloor({turn, options_.window, options_.textBytes, options_.rate}, error);
      if (!result_.floor) result_.findings.push_back("floor: " + error);
    }
    if (!options_.plot.empty() && !WritePlot(result_, options_.plot)) {
      result_.findings.push_back("cannot write " + options_.plot);
    }
    if (!options_.quiet && isatty(STDERR_FILENO) != 0) fmt::print(stderr, "\033[K");
    std::fputs(Text().c_str(), stdout);
    return result_.Passed() ? 0 : 1;
  }

  std::string Text() const {
    if (options_.markdown) return MarkdownRow(result_);
    return options_.json ? JsonText(result_) : TableText(result_);
  }

  int Fail(const std::string& why) {
    fmt::print(stderr, "vnq_bench: {}\n", why);
    return 1;
  }

  const LoadOptions& options_;
  Poller poller_;
  RunResult result_;
  ProcessUse before_;
  int64_t nextLineNs_ = 0;
};

}  // namespace

LoadTarget LoadContext::Target(uint16_t port, size_t server) const {
  LoadTarget target;
  target.address.sin_family = AF_INET;
  const size_t which = server % servers.size();
  target.address.sin_addr = servers[which];
  target.address.sin_port = htons(port == kMainPort ? options.port : port);
  if (port == kMainPort) target.tls = tls;
  target.host = options.servers.empty() ? options.server : options.servers[which];
  return target;
}

int RunScenario(std::string_view name, ScenarioMaker make, const LoadOptions& options) {
  return Run(name, options).Go(make);
}

}  // namespace vnq::bench
