#include "server/status/status_text.h"

#include <fmt/format.h>

#include <iterator>

#include "support/json/json_value.h"
#include "support/json/json_writer.h"

namespace vnq {
namespace {

using Out = std::back_insert_iterator<std::string>;

std::string LongestText(const EventLoop::Stretch& longest) {
  const std::string ms = fmt::format("{:.1f} ms", static_cast<double>(longest.microseconds) / 1000);
  return longest.what.empty() ? ms : fmt::format("{} ({})", ms, longest.what);
}

int Connected(const ServerStatus& status) {
  int connected = 0;
  for (const PortStatus& port : status.ports) connected += port.connected;
  return connected;
}

size_t Unsent(const ServerStatus& status) {
  size_t bytes = 0;
  for (const PortStatus& port : status.ports) bytes += port.unsentBytes;
  return bytes;
}

size_t Bound(const ServerStatus& status) {
  size_t bound = 0;
  for (const PortStatus& port : status.ports) bound += port.isBound ? 1 : 0;
  return bound;
}

std::string Json(std::string_view text) {
  return WriteJson(JsonValue(std::string(text)));
}

std::string NodeText(const NodeStatus& node) {
  std::string others;
  for (const OtherNode& other : node.others) {
    others += fmt::format("{}{} ({} tags)", others.empty() ? "" : ", ", other.name, other.tags);
  }
  return fmt::format("node      {} of cluster {}, {}; others: {}\n", node.name, node.cluster,
                     node.hasBus ? "the bus stands" : "NO BUS, ALONE",
                     others.empty() ? "none" : others);
}

// [a,b,...] of what `write` makes of each.
template <typename Items, typename Write>
std::string JsonArray(const Items& items, Write write) {
  std::string array = "[";
  for (const auto& item : items) {
    if (array.size() > 1) array += ',';
    array += write(item);
  }
  return array + ']';
}

std::string PortJson(const PortStatus& port) {
  return fmt::format(
      R"({{"port":{},"purpose":{},"bound":{},"connected":{},"gone":{},"free":{},"unsentBytes":{},"records":{}}})",
      port.number, Json(port.purpose), port.isBound, port.connected, port.gone, port.free,
      port.unsentBytes, port.records);
}

std::string CommandJson(const CommandStatus& command) {
  return fmt::format(R"({{"port":{},"command":{},"records":{},"skipped":{}}})", command.port,
                     Json(command.word), command.records, command.skipped);
}

// Behind the other members; nothing where the server is alone.
std::string NodeJson(const std::optional<NodeStatus>& node) {
  if (!node) return "";
  return fmt::format(R"(,"node":{{"name":{},"cluster":{},"bus":{},"others":{}}})", Json(node->name),
                     Json(node->cluster), node->hasBus,
                     JsonArray(node->others, [](const OtherNode& other) {
                       return fmt::format(R"({{"name":{},"tags":{},"silentS":{}}})",
                                          Json(other.name), other.tags, other.silentS);
                     }));
}

/// A metric's heading, and its samples behind it.
class Metrics {
 public:
  void Begin(std::string_view name, std::string_view type, std::string_view help) {
    name_ = name;
    fmt::format_to(Out(text_), "# HELP vnq_{0} {1}\n# TYPE vnq_{0} {2}\n", name, help, type);
  }
  template <typename Number>
  void Add(std::string_view labels, Number value) {
    const std::string_view open = labels.empty() ? "" : "{", close = labels.empty() ? "" : "}";
    fmt::format_to(Out(text_), "vnq_{}{}{}{} {}\n", name_, open, labels, close, value);
  }
  template <typename Number>
  void One(std::string_view name, std::string_view type, std::string_view help, Number value) {
    Begin(name, type, help);
    Add("", value);
  }
  std::string Take() { return std::move(text_); }

 private:
  std::string name_, text_;
};

void AddPorts(const ServerStatus& status, Metrics& metrics) {
  metrics.Begin("port_bound", "gauge", "1 where the server listens on the port.");
  for (const PortStatus& port : status.ports) {
    metrics.Add(fmt::format("port=\"{}\"", port.number), port.isBound ? 1 : 0);
  }
  metrics.Begin("slots", "gauge", "Connection slots by port and state.");
  for (const PortStatus& port : status.ports) {
    for (const auto& [state, count] :
         {std::pair("connected", port.connected), std::pair("gone", port.gone),
          std::pair("free", port.free)}) {
      metrics.Add(fmt::format("port=\"{}\",state=\"{}\"", port.number, state), count);
    }
  }
  metrics.Begin("unsent_bytes", "gauge", "Bytes that peers have not taken.");
  for (const PortStatus& port : status.ports) {
    metrics.Add(fmt::format("port=\"{}\"", port.number), port.unsentBytes);
  }
}

// The words are constants of the program: nothing in them needs an escape.
void AddCommands(const ServerStatus& status, Metrics& metrics) {
  const auto labels = [](const CommandStatus& command) {
    return fmt::format("port=\"{}\",command=\"{}\"", command.port, command.word);
  };
  metrics.Begin("records_total", "counter", "Records worked off, by command.");
  for (const CommandStatus& command : status.commands)
    metrics.Add(labels(command), command.records);
  metrics.Begin("command_skips_total", "counter", "Statements skipped, by command.");
  for (const CommandStatus& command : status.commands)
    metrics.Add(labels(command), command.skipped);
}

}  // namespace

std::string DurationText(int64_t seconds) {
  const std::string ofDay =
      fmt::format("{:02}:{:02}:{:02}", seconds / 3600 % 24, seconds / 60 % 60, seconds % 60);
  return seconds < 86400 ? ofDay : fmt::format("{} d {}", seconds / 86400, ofDay);
}

std::string StatusText(const ServerStatus& status) {
  std::string text;
  const PulseReading& pulse = status.pulse;
  fmt::format_to(Out(text), "vnq_main_service {}, process {}, up {}, on {}\n", status.version,
                 status.pid, DurationText(status.uptimeS), status.address);
  fmt::format_to(Out(text), "database  {}, {}; {} statements skipped since the start\n",
                 status.database, status.isInTrouble ? "IN TROUBLE" : "no trouble",
                 status.skippedStatements);
  fmt::format_to(Out(text),
                 "load      {:.1f} records a second, {} handlers; in the last minute at most {} ms"
                 " late, longest without a break {}\n",
                 pulse.recordsPerSecond, status.handlers, pulse.worstLagMs,
                 LongestText(pulse.longest));
  if (status.node) text += NodeText(*status.node);
  fmt::format_to(Out(text),
                 "waiting   {} bytes of receipts for {} clients, {} unfinished records ({} bytes),"
                 " {} bytes unsent, {} notifications to push\n\n",
                 status.replies.bytes, status.replies.texts, status.pendingRecords.texts,
                 status.pendingRecords.bytes, Unsent(status), status.pushQueue);
  text += "port  connected   gone   free     records  purpose\n";
  for (const PortStatus& port : status.ports) {
    fmt::format_to(Out(text), "{:<4}  {:>9}  {:>5}  {:>5}  {:>10}  {}{}\n", port.number,
                   port.connected, port.gone, port.free, port.records, port.purpose,
                   port.isBound ? "" : " (NOT BOUND)");
  }
  if (!status.commands.empty()) text += "\nport     records    skipped  command\n";
  for (const CommandStatus& command : status.commands) {
    fmt::format_to(Out(text), "{:<4}  {:>10} {:>10}  {}\n", command.port, command.records,
                   command.skipped, command.word);
  }
  return text;
}

std::string StatusLine(const ServerStatus& status) {
  return fmt::format("{} of {} ports, {} connections, {:.1f} records a second{}", Bound(status),
                     status.ports.size(), Connected(status), status.pulse.recordsPerSecond,
                     status.isInTrouble ? ", database in trouble" : "");
}

std::string StatusJson(const ServerStatus& status) {
  const PulseReading& pulse = status.pulse;
  return fmt::format(
      R"({{"version":{},"pid":{},"uptimeS":{},"address":{},)"
      R"("database":{{"engine":{},"trouble":{},"skippedStatements":{}}},)"
      R"("load":{{"recordsPerSecond":{:.1f},"handlers":{},"lagMs":{},"worstLagMs":{},)"
      R"("longestUs":{},"longest":{}}},)"
      R"("waiting":{{"replies":{},"replyBytes":{},"pendingRecords":{},"pendingBytes":{},)"
      R"("unsentBytes":{},"pushQueue":{}}},"pushes":{{"sent":{},"failed":{}}},"ports":{},"commands":{}{}}})"
      "\n",
      Json(status.version), status.pid, status.uptimeS, Json(status.address), Json(status.database),
      status.isInTrouble, status.skippedStatements, pulse.recordsPerSecond, status.handlers,
      pulse.lagMs, pulse.worstLagMs, pulse.longest.microseconds, Json(pulse.longest.what),
      status.replies.texts, status.replies.bytes, status.pendingRecords.texts,
      status.pendingRecords.bytes, Unsent(status), status.pushQueue, status.pushesSent,
      status.pushesFailed, JsonArray(status.ports, PortJson),
      JsonArray(status.commands, CommandJson), NodeJson(status.node));
}

std::string StatusMetrics(const ServerStatus& status) {
  Metrics metrics;
  metrics.Begin("info", "gauge", "The server's version and database engine.");
  metrics.Add(fmt::format("version=\"{}\",database=\"{}\"", status.version, status.database), 1);
  metrics.One("uptime_seconds", "gauge", "Seconds since the start.", status.uptimeS);
  metrics.One("database_trouble", "gauge", "1 while the database keeps statements from running.",
              status.isInTrouble ? 1 : 0);
  metrics.One("skipped_statements_total", "counter", "Statements skipped, for whatever reason.",
              status.skippedStatements);
  metrics.One("handlers", "gauge", "Handlers that were started and have not ended.",
              status.handlers);
  metrics.One("loop_lag_seconds", "gauge", "How late the event thread was, worst of a minute.",
              static_cast<double>(status.pulse.worstLagMs) / 1000);
  metrics.One("longest_stretch_seconds", "gauge",
              "Longest time that nothing else could run in, of a minute.",
              static_cast<double>(status.pulse.longest.microseconds) / 1e6);
  metrics.One("reply_bytes", "gauge", "Receipts for the next tick.", status.replies.bytes);
  metrics.One("pending_record_bytes", "gauge", "Records whose end has not come.",
              status.pendingRecords.bytes);
  metrics.One("push_queue", "gauge", "Notifications for the next push.", status.pushQueue);
  metrics.Begin("pushes_total", "counter", "Pushes of notifications, by what came of them.");
  metrics.Add("result=\"sent\"", status.pushesSent);
  metrics.Add("result=\"failed\"", status.pushesFailed);
  if (status.node) {
    metrics.One("bus_connected", "gauge", "1 while the bus to the other nodes stands.",
                status.node->hasBus ? 1 : 0);
    metrics.One("nodes", "gauge", "Nodes of the cluster that are heard of, this one among them.",
                status.node->others.size() + 1);
  }
  AddPorts(status, metrics);
  AddCommands(status, metrics);
  return metrics.Take();
}

}  // namespace vnq
