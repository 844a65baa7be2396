#include "server/status/server_status.h"

#include <unistd.h>

#include <algorithm>

#include "host/host.h"
#include "host/nodes/cluster.h"
#include "host/values/skipped.h"

namespace vnq {
namespace {

PortStatus ReadPort(Host& host, Ports& ports, const PortRow& row) {
  PortStatus port;
  port.number = row.number;
  port.purpose = row.purpose;
  port.isBound = !ports.LocalAddress(row.number).empty();
  const SlotArray& slots = host.*row.slots;
  for (const SlotIndex slot : slots.AllNow()) {
    port.unsentBytes += slots.UnsentBytes(slot);
    ++(slots.IsConnected(slot) ? port.connected : slots.IsGone(slot) ? port.gone : port.free);
  }
  return port;
}

void ReadCommands(Ports& ports, const PortRow& row, PortStatus& port,
                  std::vector<CommandStatus>& commands) {
  for (const CommandRow& command : row.commands()) {
    const CommandCounters& counters = ports.DispatcherOf(row.number).CountersOf(command);
    port.records += counters.calls;
    if (counters.calls == 0) continue;
    commands.push_back({row.number, command.word, counters.calls, counters.skippedStatements});
  }
}

// texts: a table by slot.
template <typename Texts>
Waiting CountWaiting(const SlotArray& slots, Texts& texts) {
  Waiting waiting;
  for (const SlotIndex slot : slots.AllNow()) {
    const size_t bytes = texts[slot].size();
    if (bytes == 0) continue;
    ++waiting.texts;
    waiting.bytes += bytes;
  }
  return waiting;
}

NodeStatus ReadNode(const Cluster& cluster) {
  NodeStatus status{cluster.settings().name, cluster.settings().cluster, cluster.IsConnected(), {}};
  for (const auto& [name, node] : cluster.directory().nodes()) {
    status.others.push_back({name, node.tags, node.silentTicks});
  }
  return status;
}

}  // namespace

ServerStatus ReadStatus(Host& host, Ports& ports, const Pulse& pulse, int64_t startedMs) {
  ServerStatus status;
  status.version = VNQ_VERSION;
  status.pid = getpid();
  status.uptimeS = (host.loop.NowMs() - startedMs) / 1000;
  status.address = host.platform.bindAddress;
  status.database = EngineName(EngineOf(host.settings, host.platform));
  status.isInTrouble = host.database.IsInTrouble();
  status.skippedStatements = SkippedStatements();
  status.pulse = pulse.Read();
  status.handlers = host.loop.LiveHandlers();
  status.replies = CountWaiting(host.SckServer, host.ReplyBuffer);
  status.pushQueue = host.PushQueue.lines().size();
  if (host.cluster) status.node = ReadNode(*host.cluster);
  status.pushesSent = host.PushQueue.sent();
  status.pushesFailed = host.PushQueue.failures();
  for (const PortRow& row : PortTable()) {
    PortStatus& port = status.ports.emplace_back(ReadPort(host, ports, row));
    ReadCommands(ports, row, port, status.commands);
    if (row.pending == nullptr) continue;
    const Waiting pending = CountWaiting(host.*row.slots, host.*row.pending);
    status.pendingRecords.texts += pending.texts;
    status.pendingRecords.bytes += pending.bytes;
  }
  std::stable_sort(
      status.commands.begin(), status.commands.end(),
      [](const CommandStatus& a, const CommandStatus& b) { return a.records > b.records; });
  return status;
}

uint64_t RecordsWorkedOff(Ports& ports) {
  uint64_t records = 0;
  for (const PortRow& row : PortTable()) {
    const Dispatcher& dispatcher = ports.DispatcherOf(row.number);
    for (const CommandRow& command : row.commands())
      records += dispatcher.CountersOf(command).calls;
  }
  return records;
}

}  // namespace vnq
