#include "endpoints/plain_text.h"

#include "host/values/skipped.h"

namespace vnq {

void SendPlainText(Host& host, SlotArray& slots, SlotIndex slot, const Expr& text) {
  if (!text.ok()) {
    NoteSkipped("send", "failed value");
    return;
  }
  slots.Send(slot, host.page.ToBytes(text.text()));
}

SlotIndex FindConnected(const SlotArray& slots, const Expr& tag) {
  return tag.ok() ? slots.FirstConnected(tag.text()) : kNoSlot;
}

void DropHolders(Host& host, SlotArray& slots, const Expr& name) {
  const int highest = slots.Highest();
  for (int i = 1; i <= highest; ++i) {
    const auto slot = static_cast<SlotIndex>(i);
    if (!Is(name, slots.Tag(slot))) continue;
    host.loop.Yield();  // the slot may have changed hands; the name goes all the same
    slots.SetTag(slot, "");
    slots.Close(slot);
  }
}

}  // namespace vnq
