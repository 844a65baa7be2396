#include "host/slots/wire_codec.h"

#include "host/host.h"
#include "host/values/fields.h"
#include "host/values/skipped.h"
#include "support/base64_text.h"

namespace vnq {

void SendRecord(Host& host, SlotIndex slot, const Expr& text) {
  SendRecord(host, host.SckServer, slot, text);
}

void SendRecord(Host& host, SlotArray& array, SlotIndex slot, const Expr& text) {
  if (!text.ok()) {
    NoteSkipped("SendRecord", "failed value");
    return;
  }
  array.Send(slot, Base64EncodeText(host.page, text.text()));
}

void YieldAndSend(Host& host, SlotIndex slot, const Expr& text) {
  if (!host.SckServer.IsConnected(slot)) return;
  host.loop.Yield();
  SendRecord(host, slot, text);
}

bool SendToFirstConnected(Host& host, const Expr& tag, const Expr& text) {
  if (!tag.ok()) return false;
  const SlotIndex slot = host.SckServer.FirstConnected(tag.text());
  if (slot == kNoSlot) return false;
  YieldAndSend(host, slot, text);
  return true;
}

void AppendReply(Host& host, SlotIndex slot, const Expr& records) {
  if (!records.ok()) {
    NoteSkipped("append to ReplyBuffer", "failed value");
    return;
  }
  host.ReplyBuffer[slot] += records.text();
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

void ForEachRecord(const std::string& text,
                   const std::function<void(const std::string&)>& onRecord) {
  const std::vector<std::string> pieces = SplitText(text, kRecordPrefix);
  for (size_t i = 0; i < pieces.size(); ++i) {
    if (pieces[i].empty()) continue;
    onRecord(i == 0 ? text : std::string(kRecordPrefix) + pieces[i]);
  }
}

}  // namespace vnq
