#include <fmt/format.h>

#include "bench/load/run_result.h"

namespace vnq::bench {
namespace {

struct Point {
  const char* name;
  const char* key;
  double percent;
};
constexpr Point kPoints[] = {{"p50", "p50_ms", 50},
                             {"p90", "p90_ms", 90},
                             {"p99", "p99_ms", 99},
                             {"p99.9", "p999_ms", 99.9},
                             {"max", "max_ms", 100}};

double Ms(int64_t ns) {
  return static_cast<double>(ns) / 1e6;
}

std::string Row(std::string_view name, std::string_view value) {
  return fmt::format("  {:<30}{}\n", name, value);
}

std::string LatencyRow(const NamedLatency& latency) {
  std::string value;
  for (const Point& point : kPoints) {
    value += fmt::format("{} {:.3f}  ", point.name, Ms(latency.ns.Percentile(point.percent)));
  }
  return Row(latency.name + ", ms", value);
}

std::string ChecksText(const RunResult& result) {
  const std::string late = result.late == 0 ? "" : fmt::format(", late {}", result.late);
  if (result.Passed()) return "passed" + late;
  const CheckCounts& c = result.checks;
  return fmt::format(
      "FAILED: deliveries lost {}, doubled {}; receipts lost {}, doubled {}; altered {}{}",
      c.lostDeliveries, c.doubledDeliveries, c.lostReceipts, c.doubledReceipts, c.altered, late);
}

std::string ServerRows(const RunResult& result) {
  const ServerUseInRun& server = *result.server;
  std::string cpu =
      fmt::format("{:.1f} us an operation, {:.1f} % of a core", result.PerOperation(server.cpuUs),
                  server.cpuUs / result.settledSeconds / 1e4);
  if (result.floor) {
    cpu += fmt::format(", {:.2f} x floor",
                       result.PerOperation(server.cpuUs) / result.floor->TotalUs());
  }
  return Row("server CPU", cpu) +
         Row("server memory",
             fmt::format("{} KB before, {} KB after, {:.1f} KB a connection", server.rssBeforeKb,
                         server.rssAfterKb, server.KbPerConnection(result.connections))) +
         Row("server descriptors", fmt::format("{}", server.descriptors));
}

std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  for (char c : text) {
    if (c == '"' || c == '\\') quoted += '\\';
    if (static_cast<unsigned char>(c) < 0x20) {
      quoted += fmt::format("\\u{:04x}", static_cast<unsigned>(c));
    } else {
      quoted += c;
    }
  }
  return quoted + "\"";
}

std::string LatencyJson(const NamedLatency& latency) {
  std::string json = fmt::format("{{\"name\":{},\"count\":{},\"mean_ms\":{:.4f}",
                                 Quoted(latency.name), latency.ns.count(), latency.ns.Mean() / 1e6);
  for (const Point& point : kPoints) {
    json += fmt::format(",\"{}\":{:.4f}", point.key, Ms(latency.ns.Percentile(point.percent)));
  }
  return json + "}";
}

std::string ServerJson(const RunResult& result) {
  const ServerUseInRun& server = *result.server;
  return fmt::format(
      ",\"server\":{{\"cpu_us\":{:.1f},\"cpu_us_per_operation\":{:.3f},\"rss_before_kb\":{},"
      "\"rss_after_kb\":{},\"kb_per_connection\":{:.3f},\"descriptors\":{}}}",
      server.cpuUs, result.PerOperation(server.cpuUs), server.rssBeforeKb, server.rssAfterKb,
      server.KbPerConnection(result.connections), server.descriptors);
}

std::string ChecksJson(const CheckCounts& c) {
  return fmt::format(
      "{{\"lost_deliveries\":{},\"doubled_deliveries\":{},\"lost_receipts\":{},"
      "\"doubled_receipts\":{},\"altered\":{}}}",
      c.lostDeliveries, c.doubledDeliveries, c.lostReceipts, c.doubledReceipts, c.altered);
}

template <typename Items, typename Write>
std::string List(const Items& items, const Write& write) {
  std::string json;
  for (const auto& item : items) json += (json.empty() ? "" : ",") + write(item);
  return json;
}

}  // namespace

std::string TableText(const RunResult& result) {
  std::string title;
  for (const auto& [name, value] : result.settings) {
    title += ", " + name + (value.empty() ? "" : " ") + value;
  }
  std::string text = fmt::format("vnq_bench {}{}\n", result.scenario, title);
  text += Row(result.unit,
              fmt::format("{} in {:.1f} s, {:.0f} a second", result.operations, result.seconds,
                          static_cast<double>(result.operations) / result.seconds));
  text += Row("deliveries, receipts", fmt::format("{}, {}", result.deliveries, result.receipts));
  for (const NamedLatency& latency : result.latencies) text += LatencyRow(latency);
  if (result.server) text += ServerRows(result);
  if (result.floor) {
    text += Row("floor", fmt::format("{:.1f} us a message: database {:.1f}, sockets {:.1f}, "
                                     "waking up {:.1f}",
                                     result.floor->TotalUs(), result.floor->databaseUs,
                                     result.floor->socketUs, result.floor->wakingUs));
  }
  for (const auto& [name, us] : result.usedBy) {
    text +=
        Row(name + " CPU", fmt::format("{:.1f} us an operation, {:.1f} % of a core",
                                       result.PerOperation(us), us / result.settledSeconds / 1e4));
  }
  text += Row("load generator CPU", fmt::format("{:.1f} us an operation, {:.1f} % of a core",
                                                result.PerOperation(result.ownCpuUs),
                                                result.ownCpuUs / result.settledSeconds / 1e4));
  text += Row("checks", ChecksText(result));
  for (const std::string& finding : result.findings) text += "    " + finding + "\n";
  return text;
}

std::string MarkdownRow(const RunResult& result) {
  std::string title = result.scenario;
  for (const auto& [name, value] : result.settings) {
    title += ", " + name + (value.empty() ? "" : " ") + value;
  }
  std::string cpu = "-", timesFloor = "-", memory = "-", latency = "-";
  if (result.server) {
    const double us = result.PerOperation(result.server->cpuUs);
    cpu = fmt::format("{:.1f}", us);
    if (result.floor) timesFloor = fmt::format("{:.2f}", us / result.floor->TotalUs());
    memory = fmt::format("{:.1f}", result.server->KbPerConnection(result.connections));
  }
  if (!result.latencies.empty()) {
    // Without the wait for the tick, where there is one.
    const bool ticked = result.latencies.size() > 1 && result.latencies[1].name.starts_with("  ");
    const Histogram& ns = result.latencies[ticked ? 1 : 0].ns;
    latency = fmt::format("{:.1f} / {:.1f} / {:.1f}", Ms(ns.Percentile(50)), Ms(ns.Percentile(99)),
                          Ms(ns.max()));
  }
  return fmt::format("| {} | {:.0f} {} | {} | {} | {} | {} | {:.1f} | {} |\n", title,
                     static_cast<double>(result.operations) / result.seconds, result.unit, cpu,
                     timesFloor, latency, memory, result.PerOperation(result.ownCpuUs),
                     ChecksText(result));
}

std::string JsonText(const RunResult& result) {
  std::string json = fmt::format(
      "{{\"scenario\":{},\"unit\":{},\"settings\":{{{}}},\"seconds\":{:.3f},"
      "\"settled_seconds\":{:.3f},\"operations\":{},\"deliveries\":{},\"receipts\":{},"
      "\"connections\":{},\"latencies\":[{}],\"own_cpu_us\":{:.1f}",
      Quoted(result.scenario), Quoted(result.unit),
      List(result.settings,
           [](const auto& one) { return Quoted(one.first) + ":" + Quoted(one.second); }),
      result.seconds, result.settledSeconds, result.operations, result.deliveries, result.receipts,
      result.connections, List(result.latencies, LatencyJson), result.ownCpuUs);
  if (result.server) json += ServerJson(result);
  if (!result.usedBy.empty()) {
    json += fmt::format(",\"used_by\":{{{}}}", List(result.usedBy, [](const auto& one) {
                          return fmt::format("{}:{:.1f}", Quoted(one.first), one.second);
                        }));
  }
  if (result.floor) {
    json += fmt::format(
        ",\"floor\":{{\"database_us\":{:.3f},\"socket_us\":{:.3f},\"waking_us\":{:.3f}}}",
        result.floor->databaseUs, result.floor->socketUs, result.floor->wakingUs);
  }
  return json + fmt::format(",\"checks\":{},\"late\":{},\"passed\":{},\"findings\":[{}]}}\n",
                            ChecksJson(result.checks), result.late,
                            result.Passed() ? "true" : "false",
                            List(result.findings, [](const auto& one) { return Quoted(one); }));
}

}  // namespace vnq::bench
