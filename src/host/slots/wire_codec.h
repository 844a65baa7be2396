// How records leave and how a read becomes records.
//
//   read   = Base64 of the record text in the machine's legacy code page
//   text   = { ".+" record }
//   record = command { "|" field } "|#"
//
// There is no length, no checksum and no code page on the wire: both sides run under the same page.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "host/slots/slots.h"
#include "host/values/expr.h"

namespace vnq {

struct Host;

/// The separator between the records of one text, which is also what every command word begins
/// with.
inline constexpr std::string_view kRecordPrefix = ".+";

/// Sends one or more records to a main-port slot at once, as one Base64 text.
///
/// Not queued, not retried, not checked. A failed text and a slot that is not connected: skipped.
/// Yields: no.
void SendRecord(Host& host, SlotIndex slot, const Expr& text);

/// The same on another port's array.
void SendRecord(Host& host, SlotArray& array, SlotIndex slot, const Expr& text);

/// Sends when the slot is connected, with a turn of the event loop before the send. Yields: yes.
void YieldAndSend(Host& host, SlotIndex slot, const Expr& text);

/// Sends to the first connected main-port slot with exactly this tag, with a turn of the event loop
/// before the send. False, with nothing done, when there is none. Yields: yes, when there is one.
bool SendToFirstConnected(Host& host, const Expr& tag, const Expr& text);

/// Appends records to a slot's ReplyBuffer, which leaves with the next tick of Timer1. A failed
/// text: skipped.
void AppendReply(Host& host, SlotIndex slot, const Expr& records);

/// Sends every connected slot's ReplyBuffer as one text. What the receipts in it acknowledge is made
/// durable first. Yields: no.
void FlushReplies(Host& host);

/// Calls `onRecord` for each record of a read, in order, the prefix back in front of it.
///
/// Kept: a read that does not begin with the prefix hands on its whole text first, not only the
/// piece in front of the first prefix, and then each later record again by itself. onRecord may
/// yield.
void ForEachRecord(const std::string& text,
                   const std::function<void(const std::string&)>& onRecord);

}  // namespace vnq
