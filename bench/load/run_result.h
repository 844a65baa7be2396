// What a run found.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "bench/load/delivery_checker.h"
#include "bench/load/floor.h"
#include "bench/load/statistics.h"

namespace vnq::bench {

struct NamedLatency {
  std::string name;
  Histogram ns;
};

struct ServerUseInRun {
  double cpuUs = 0;  ///< from the begin of the measured time until everything had arrived
  int64_t rssBeforeKb = 0, rssAfterKb = 0;  ///< before the first connection, and at the end
  int64_t descriptors = 0;                  ///< at the end
  double KbPerConnection(size_t connections) const {
    return connections == 0
               ? 0
               : static_cast<double>(rssAfterKb - rssBeforeKb) / static_cast<double>(connections);
  }
};

struct RunResult {
  std::string scenario, unit;
  std::vector<std::pair<std::string, std::string>> settings;
  double seconds = 0;         ///< the measured time, without the settling behind it
  double settledSeconds = 0;  ///< with it
  uint64_t operations = 0;    ///< in `unit`, all of the measured time
  uint64_t deliveries = 0, receipts = 0;
  size_t connections = 0;
  std::vector<NamedLatency> latencies;  ///< the first is the one that is plotted first
  CheckCounts checks;                   ///< of the whole run, the warm-up too
  uint64_t late = 0;  ///< deliveries and receipts that came, but only behind the settling time
  std::vector<std::string> findings;  ///< what went wrong, in words
  std::optional<ServerUseInRun> server;
  std::optional<Floor> floor;
  std::vector<std::pair<std::string, double>> usedBy;  ///< CPU of further processes, in µs
  double ownCpuUs = 0;

  bool Passed() const { return checks.Total() == 0 && findings.empty(); }
  double PerOperation(double us) const {
    return operations == 0 ? 0 : us / static_cast<double>(operations);
  }
};

std::string TableText(const RunResult& result);
std::string JsonText(const RunResult& result);

/// One row of a Markdown table under kMarkdownHead.
std::string MarkdownRow(const RunResult& result);
inline constexpr std::string_view kMarkdownHead =
    "| scenario | a second | server CPU, us each | x floor | latency: p50 / p99 / max, ms |"
    " KB a connection | own CPU, us each | checks |\n|---|--:|--:|--:|--:|--:|--:|---|\n";

/// Writes the distributions as a picture: the latency over the share of all that took at most so
/// long. False when the file cannot be written.
bool WritePlot(const RunResult& result, const std::string& path);

}  // namespace vnq::bench
