// How records leave.
//
//   verb                to                                 looks for the slot   yields
//   SendRecord          a slot                             -                    no
//   TellSlot            a slot                             before the yield     when connected
//   TellTag             first connected slot of a tag      before the yield     when there is one
//   TellUser            both devices of a user             before each yield    for each there is
//   TellEverybody       every connected slot               before each yield    for each there is
//   YieldThenTellSlot   a slot                             behind the yield     always
//   YieldThenTellUser   both devices of a user             behind each yield    always, twice
//   AppendReply         a slot's ReplyBuffer               -                    no
//
// What is sent is not queued, not retried and not checked; only what is appended waits, for the
// next tick of Timer1. Who is not connected hears nothing, which is no skip; a failed tag, a failed
// text and a send on a slot that was lost in the yield are skipped.
//
// A tag that is nowhere here is looked for on the other nodes of a cluster, and what everybody
// hears is said there, too (host/nodes/crossing.h), but by those that end in Here.
#pragma once

#include "host/slots/slots.h"
#include "host/values/expr.h"

namespace vnq {

struct Host;

/// Sends one or more records to a main-port slot at once, as one Base64 text.
void SendRecord(Host& host, SlotIndex slot, const Expr& text);

/// The same on another port's array.
void SendRecord(Host& host, SlotArray& slots, SlotIndex slot, const Expr& text);

/// A record that goes to many main-port slots: made into bytes once, which all of them wait on.
class SharedRecord {
 public:
  explicit SharedRecord(const Expr& text) : text_(text) {}

  /// As SendRecord.
  void Send(Host& host, SlotIndex slot);

 private:
  const Expr text_;
  SharedBytes wire_;  // null before the first slot
};

/// Sends to a main-port slot that is connected, with a turn of the event loop before the send.
void TellSlot(Host& host, SlotIndex slot, const Expr& text);

/// The same to the first connected slot with exactly this tag. False, with nothing done, when there
/// is none.
bool TellTag(Host& host, const Expr& tag, const Expr& text);
bool TellTagHere(Host& host, const Expr& tag, const Expr& text);

/// The same to a user's desktop, then to the mobile.
void TellUser(Host& host, const Expr& userId, const Expr& text);

/// The same to every slot in its order, whoever is logged in there; `except` is passed over.
void TellEverybody(Host& host, const Expr& text, SlotIndex except = kNoSlot);
void TellEverybodyHere(Host& host, const Expr& text, SlotIndex except = kNoSlot);

/// Gives the event loop a turn, and sends when the slot is connected then.
void YieldThenTellSlot(Host& host, SlotArray& slots, SlotIndex slot, const Expr& text);

/// The same to a user's desktop, whichever slot it has then, and to the mobile. A long list of
/// users who are away holds nobody up.
void YieldThenTellUser(Host& host, const Expr& userId, const Expr& text);

/// Appends records to a slot's ReplyBuffer, which leaves with the next tick of Timer1.
void AppendReply(Host& host, SlotIndex slot, const Expr& records);

/// Makes everything written so far survive a power cut, as what is told as done has to. False: some
/// of it may be lost, and the receipts that wait for it have been taken out of the reply buffers:
/// who gets none sends again, and what is there already is not stored twice. Yields: no.
bool SyncWritten(Host& host);

/// Sends every connected slot's ReplyBuffer as one text. What the receipts in it acknowledge is
/// made durable first. Yields: no.
void FlushReplies(Host& host);

/// What a receipt says was stored, by the number in its first field.
enum class Receipt : int {
  kNone = 0,
  kPeerMessage = 1,
  kGroupMessage = 2,
  kLeaveFile = 3,
  kClotFile = 4,
};

/// Appends .+reply|stored|target or group|Msg_ID|#
void AppendReceipt(Host& host, SlotIndex slot, Receipt stored, const Expr& owner,
                   const Expr& msgId);

}  // namespace vnq
