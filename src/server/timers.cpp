#include "server/timers.h"

#include "host/host.h"
#include "host/server_log.h"
#include "host/slots/devices.h"
#include "host/slots/presence_values.h"
#include "host/slots/sending.h"

namespace vnq {
namespace {

constexpr int32_t kPingAgeSeconds = 5;
constexpr int32_t kRestartAgeSeconds = 35;
constexpr int32_t kRestartCode = 201;

// The siblings that are restarted, by the name that they give themselves, with their number for the
// restart request. Any other name is pinged without end.
struct Sibling {
  std::string_view tag;
  int32_t number;
};
constexpr Sibling kSiblings[] = {
    {"VNQUpload", 2}, {"VNQDownload", 3}, {"VNQSetverPic", 1}, {"VNQTelnet", 5}};

const Sibling* FindSibling(std::string_view tag) {
  for (const Sibling& sibling : kSiblings) {
    if (sibling.tag == tag) return &sibling;
  }
  return nullptr;
}

void AgeSibling(Host& host, SlotIndex slot) {
  SlotArray& slots = host.SckServer6003;
  const int32_t age = ++host.HeartbeatAge[slot];
  if (age > kPingAgeSeconds) slots.Send(slot, ".+x|#");
  if (age <= kRestartAgeSeconds) return;
  const Sibling* sibling = FindSibling(slots.Tag(slot));
  if (sibling == nullptr) return;
  slots.Close(slot);
  slots.SetTag(slot, "");
  host.outgoing.SameTime(kRestartCode, sibling->number);
}

void FlushReplies(Host& host) {
  SlotArray& slots = host.SckServer;
  host.database.SyncCommitted();
  const int highest = slots.Highest();
  for (int i = 1; i <= highest; ++i) {
    const auto slot = static_cast<SlotIndex>(i);
    if (!slots.IsConnected(slot) || host.ReplyBuffer[slot].empty()) continue;
    SendRecord(host, slot, host.ReplyBuffer[slot]);
    host.ReplyBuffer[slot].clear();
  }
}

bool IsGone(const SlotArray& slots, SlotIndex slot) {
  return slots.State(slot) != SocketState::kConnected && slots.State(slot) != SocketState::kClosed;
}

void SweepEndpoint(Host& host, SlotIndex slot) {
  SlotArray& slots = host.SckServer6008;
  Cursor row(host.database);
  row.Open(Sql("Select * from Users_WinInfo where WindowsInfo='?'", slots.Tag(slot)));
  if (row.RecordCount() >= 1) {
    row.Set("UserIcoLine", 0);
    row.Update();
  }
  row.Close();
  slots.Close(slot);
  slots.SetTag(slot, "");
}

// Kept: a lost mobile session changes no presence, and nobody is told of either.
void SweepClient(Host& host, SlotIndex slot) {
  SlotArray& slots = host.SckServer;
  const std::string ip = slots.RemoteHostIP(slot);
  const std::string tag = slots.Tag(slot);
  slots.Close(slot);
  slots.SetTag(slot, "");
  if (tag.empty()) return;
  if (!IsMobileTag(tag)) ResetPresence(host, tag);
  WriteServerLog(host, tag + host.ReadLang("im14"), tag, ip, LogIcon::kConnectionLost);
}

}  // namespace

void ResetPresence(Host& host, const std::string& tag) {
  Cursor row(host.database);
  row.Open(Sql("Select UserID,UserIcoLine,Registration_Id from Users_ID where UserID='?'", tag));
  if (row.RecordCount() < 1) return;
  row.Set("UserIcoLine", IsNot(row["Registration_Id"], "") ? kPresenceOnPhone : kPresenceOffline);
  row.Update();
}

void Timer1Tick(Host& host) {
  const int highest = host.SckServer6003.Highest();
  for (int i = 1; i <= highest; ++i) {
    const auto slot = static_cast<SlotIndex>(i);
    if (!host.SckServer6003.Tag(slot).empty()) AgeSibling(host, slot);
  }
  FlushReplies(host);
}

void ErrTimerTick(Host& host) {
  const int endpoints = host.SckServer6008.Highest();
  for (int i = 1; i <= endpoints; ++i) {
    const auto slot = static_cast<SlotIndex>(i);
    if (IsGone(host.SckServer6008, slot)) SweepEndpoint(host, slot);
  }
  const int clients = host.SckServer.Highest();
  for (int i = 1; i <= clients; ++i) {
    const auto slot = static_cast<SlotIndex>(i);
    if (IsGone(host.SckServer, slot)) SweepClient(host, slot);
  }
}

void WeatherTimeTick(Host& host) {
  std::string text;
  for (const std::string& line : host.PushQueue.lines()) {
    if (!line.empty()) text += "p|" + line;
  }
  if (text.empty()) return;
  host.outgoing.SendPush(host.PushUrl, text);
  host.PushQueue.Clear();
}

}  // namespace vnq
