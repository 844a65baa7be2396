#include "endpoints/plain_text.h"

namespace vnq {

void SendPlainText(Host& host, SlotArray& slots, SlotIndex slot, const Expr& text) {
  if (Skips("send", text)) return;
  slots.Send(slot, host.page.ToBytes(text.text()));
}

void DropHolders(Host& host, SlotArray& slots, const Expr& name) {
  for (const SlotIndex slot : slots.AllNow()) {
    if (!Is(name, slots.Tag(slot))) continue;
    if (slots.State(slot) == SocketState::kClosed) {
      slots.SetTag(slot, "");
      continue;
    }
    host.loop.Yield();  // the slot may have changed hands; the name goes all the same
    slots.SetTag(slot, "");
    slots.Close(slot);
  }
}

}  // namespace vnq
