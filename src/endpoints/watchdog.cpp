// Siblings that fall silent, and endpoints that go away.
#include "endpoints/endpoints.h"
#include "host/nodes/crossing.h"

namespace vnq {
namespace {

constexpr int32_t kPingAgeSeconds = 5;
constexpr int32_t kRestartAgeSeconds = 35;

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
  host.outgoing.SameTime(OutgoingCalls::kRestartCode, sibling->number);
}

// select  of the endpoint's row, by its name.
void EndpointGone(Host& host, SlotIndex slot, std::string_view select) {
  if (HoldsElsewhere(host, NodeArray::kEndpoints, host.SckServer6008.Tag(slot))) return;
  Cursor row(host.database);
  row.Open(Sql(select, host.SckServer6008.Tag(slot)));
  if (row.RecordCount() < 1) return;
  row.Set("UserIcoLine", 0);
  row.Update();
}

}  // namespace

void ResetEndpointsOf(Host& host, const std::vector<std::string>& names) {
  for (const std::string& name : names) {
    host.loop.Yield();
    if (host.SckServer6008.FirstConnected(name) != kNoSlot ||
        HoldsElsewhere(host, NodeArray::kEndpoints, name)) {
      continue;
    }
    host.database.Execute(
        Sql("update Users_WinInfo set UserIcoLine=0 where WindowsInfo='?'", name));
  }
}

void AgeSiblings(Host& host) {
  for (const SlotIndex slot : host.SckServer6003.AllNow()) {
    if (!host.SckServer6003.Tag(slot).empty()) AgeSibling(host, slot);
  }
}

void SweepControlChannel(Host& host) {
  SlotArray& slots = host.SckServer6003;
  for (const SlotIndex slot : slots.AllNow()) {
    if (!slots.IsGone(slot) || FindSibling(slots.Tag(slot)) != nullptr) continue;
    slots.Close(slot);
    slots.SetTag(slot, "");
  }
}

void SweepEndpoints(Host& host) {
  SlotArray& slots = host.SckServer6008;
  for (const SlotIndex slot : slots.AllNow()) {
    if (!slots.IsGone(slot)) continue;
    EndpointGone(host, slot, "Select * from Users_WinInfo where WindowsInfo='?'");
    slots.Close(slot);
    slots.SetTag(slot, "");
  }
}

void TakeLeaveOfEndpoint(Host& host, SlotIndex slot) {
  host.loop.Yield();
  EndpointGone(host, slot, "Select UserIcoLine from Users_WinInfo where WindowsInfo='?'");
}

}  // namespace vnq
