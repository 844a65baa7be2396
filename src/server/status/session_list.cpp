#include "server/status/session_list.h"

#include <fmt/format.h>

#include <algorithm>
#include <ctime>

#include "host/host.h"
#include "host/nodes/cluster.h"
#include "host/slots/devices.h"
#include "support/json/json_value.h"
#include "support/json/json_writer.h"

namespace vnq {
namespace {

constexpr size_t kBetweenYields = 50;

std::string TimeAgo(int64_t seconds) {
  const std::time_t then = std::time(nullptr) - seconds;
  std::tm local{};
  localtime_r(&then, &local);
  char text[sizeof "2000-01-01 00:00:00"] = "";
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
  return text;
}

void TellDeviceApart(SessionEntry& entry) {
  if (entry.user.empty()) return;
  const bool isMobile = IsMobileTag(entry.user);
  entry.device = isMobile ? "mobile" : "desktop";
  if (isMobile) entry.user.pop_back();
}

SessionEntry ReadSession(Host& host, const PortRow& row, SlotIndex slot) {
  const SlotArray& slots = host.*row.slots;
  SessionEntry entry;
  entry.port = row.number;
  entry.slot = slot;
  entry.user = slots.Tag(slot);
  entry.address = slots.RemoteHostIP(slot);
  entry.seconds = (host.loop.NowMs() - slots.AcceptedMs(slot)) / 1000;
  entry.since = TimeAgo(entry.seconds);
  if (row.number == kClientPort) TellDeviceApart(entry);
  return entry;
}

uint16_t PortOf(NodeArray array) {
  switch (array) {
    case NodeArray::kClients:
      return kClientPort;
    case NodeArray::kVisitors:
      return 6001;
    case NodeArray::kControl:
      return 6003;
    case NodeArray::kEndpoints:
      return 6008;
  }
  return 0;
}

void AddOtherNodes(const Cluster& cluster, std::vector<SessionEntry>& sessions) {
  for (const auto& [name, node] : cluster.directory().nodes()) {
    std::vector<std::string> keys = cluster.directory().KeysOf(name);
    std::sort(keys.begin(), keys.end());
    for (const std::string& key : keys) {
      SessionEntry& entry = sessions.emplace_back();
      entry.node = name;
      entry.port = PortOf(static_cast<NodeArray>(key.front()));
      entry.user = key.substr(1);
      if (entry.port == kClientPort) TellDeviceApart(entry);
    }
  }
}

void AddName(Host& host, SessionEntry& entry) {
  if (entry.device.empty()) return;
  Cursor row(host.database);
  row.Open(Sql("Select UserName from Users_ID where UserID='?'", entry.user));
  if (row.RecordCount() > 0) entry.name = OrEmpty(row["UserName"]);
}

// What a peer has said may hold anything.
std::string Cell(const std::string& text) {
  std::string cell;
  for (const char c : text) cell += static_cast<unsigned char>(c) < ' ' || c == '\x7f' ? '?' : c;
  return cell.empty() ? "-" : cell;
}

std::string Json(const std::string& text) {
  return WriteJson(JsonValue(text));
}

}  // namespace

std::vector<SessionEntry> ReadSessions(Host& host) {
  std::vector<SessionEntry> sessions;
  for (const PortRow& row : PortTable()) {
    const SlotArray& slots = host.*row.slots;
    for (const SlotIndex slot : slots.AllNow()) {
      if (slots.IsConnected(slot)) sessions.push_back(ReadSession(host, row, slot));
    }
  }
  if (host.cluster) AddOtherNodes(*host.cluster, sessions);
  for (size_t i = 0; i < sessions.size(); ++i) {
    AddName(host, sessions[i]);
    if (i % kBetweenYields == kBetweenYields - 1) host.loop.Yield();
  }
  return sessions;
}

std::string SessionsText(const std::vector<SessionEntry>& sessions) {
  std::string text = fmt::format("{:<4}  {:<10}  {:<7}  {:<15}  {:<19}  {}\n", "port", "user",
                                 "device", "address", "since", "login name");
  for (const SessionEntry& entry : sessions) {
    text +=
        fmt::format("{:<4}  {:<10}  {:<7}  {:<15}  {:<19}  {}\n", entry.port, Cell(entry.user),
                    Cell(entry.device), entry.node.empty() ? entry.address : "node " + entry.node,
                    Cell(entry.since), Cell(entry.name));
  }
  return text;
}

std::string SessionsJson(const std::vector<SessionEntry>& sessions) {
  std::string text = "[";
  for (const SessionEntry& entry : sessions) {
    text += fmt::format(
        "{}\n"
        R"({{"port":{},"slot":{},"user":{},"name":{},"device":{},"address":{},"since":{},"seconds":{}{}}})",
        text.size() > 1 ? "," : "", entry.port, entry.slot, Json(entry.user), Json(entry.name),
        Json(entry.device), Json(entry.address), Json(entry.since), entry.seconds,
        entry.node.empty() ? "" : ",\"node\":" + Json(entry.node));
  }
  return text + (sessions.empty() ? "]\n" : "\n]\n");
}

}  // namespace vnq
