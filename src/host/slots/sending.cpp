#include "host/slots/sending.h"

#include "host/host.h"
#include "host/nodes/crossing.h"
#include "host/protection/protection.h"
#include "support/base64_text.h"

namespace vnq {
namespace {

Expr MobileTag(const Expr& userId) {
  return Join(userId, "m");
}

void Trace(Host& host, SlotIndex slot, const Expr& text) {
  if (host.trace.IsOn()) host.trace.NoteOut(host.SckServer.Tag(slot), slot, text.text());
}

void YieldThenTellTag(Host& host, const Expr& tag, const Expr& text) {
  host.loop.Yield();
  const SlotIndex slot = host.SckServer.FirstConnected(tag);
  if (slot == kNoSlot) {
    TellElsewhere(host, tag, text);
  } else {
    SendRecord(host, slot, text);
  }
}

// One that was large once would keep its memory for good.
void Empty(std::string& buffer) {
  constexpr size_t kKeptBytes = 4096;
  if (buffer.capacity() > kKeptBytes) {
    std::string().swap(buffer);
  } else {
    buffer.clear();
  }
}

}  // namespace

void SendRecord(Host& host, SlotIndex slot, const Expr& text) {
  SendRecord(host, host.SckServer, slot, text);
}

void SendRecord(Host& host, SlotArray& slots, SlotIndex slot, const Expr& text) {
  if (Skips("SendRecord", text)) return;
  if (&slots == &host.SckServer) Trace(host, slot, text);
  slots.Send(slot, Base64EncodeText(host.page, text.text()));
}

void SharedRecord::Send(Host& host, SlotIndex slot) {
  if (Skips("SendRecord", text_)) return;
  Trace(host, slot, text_);
  if (!wire_) wire_ = host.SckServer.Share(Base64EncodeText(host.page, text_.text()));
  host.SckServer.Send(slot, wire_);
}

void TellSlot(Host& host, SlotIndex slot, const Expr& text) {
  if (!host.SckServer.IsConnected(slot)) return;
  host.loop.Yield();
  SendRecord(host, slot, text);
}

bool TellTag(Host& host, const Expr& tag, const Expr& text) {
  return TellTagHere(host, tag, text) || TellElsewhere(host, tag, text);
}

bool TellTagHere(Host& host, const Expr& tag, const Expr& text) {
  const SlotIndex slot = host.SckServer.FirstConnected(tag);
  if (slot == kNoSlot) return false;
  TellSlot(host, slot, text);
  return true;
}

void TellUser(Host& host, const Expr& userId, const Expr& text) {
  TellTag(host, userId, text);
  TellTag(host, MobileTag(userId), text);
}

void TellEverybody(Host& host, const Expr& text, SlotIndex except) {
  AskEverywhere(host, order::kEverybody, {text});
  TellEverybodyHere(host, text, except);
}

void TellEverybodyHere(Host& host, const Expr& text, SlotIndex except) {
  SharedRecord record(text);
  for (const SlotIndex slot : host.SckServer.AllConnected()) {
    if (slot == except) continue;
    host.loop.Yield();
    record.Send(host, slot);
  }
}

void YieldThenTellSlot(Host& host, SlotArray& slots, SlotIndex slot, const Expr& text) {
  host.loop.Yield();
  if (slots.IsConnected(slot)) SendRecord(host, slots, slot, text);
}

void YieldThenTellUser(Host& host, const Expr& userId, const Expr& text) {
  YieldThenTellTag(host, userId, text);
  YieldThenTellTag(host, MobileTag(userId), text);
}

void AppendReply(Host& host, SlotIndex slot, const Expr& records) {
  Append(host.ReplyBuffer[slot], records);
}

bool SyncWritten(Host& host) {
  const bool done = host.database.SyncCommitted();
  if (done) {
    host.unsyncedReceipts.Settle();
  } else {
    host.unsyncedReceipts.TakeOut(host.ReplyBuffer);
  }
  return done;
}

void FlushReplies(Host& host) {
  SlotArray& slots = host.SckServer;
  SyncWritten(host);
  if (host.protection) host.protection->WithholdReceipts();
  for (const SlotIndex slot : slots.AllConnected()) {
    if (host.ReplyBuffer[slot].empty()) continue;
    SendRecord(host, slot, host.ReplyBuffer[slot]);
    Empty(host.ReplyBuffer[slot]);
  }
}

void AppendReceipt(Host& host, SlotIndex slot, Receipt stored, const Expr& owner,
                   const Expr& msgId) {
  const Expr record =
      Join(kReceiptWord, "|", static_cast<int>(stored), "|", owner, "|", msgId, "|#");
  const size_t begin = host.ReplyBuffer[slot].size();
  AppendReply(host, slot, record);
  host.unsyncedReceipts.Note(slot, begin, host.ReplyBuffer[slot].size());
  if (host.protection) host.protection->NoteReceipt(slot, stored, owner, msgId, record);
}

}  // namespace vnq
