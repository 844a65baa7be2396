// Records that pass from one client to another and leave nothing behind.
#include "host/outgoing/mobile_push.h"
#include "host/server_log.h"
#include "host/slots/sending.h"
#include "messaging/messaging.h"

namespace vnq {
namespace {

// What a message is taken back from.
constexpr std::string_view kPerson = "0";
constexpr std::string_view kGroup = "1";

// .+retract|scope|sender or group|...|...|#   The last two are the clients' reference to the
// message.
Expr RetractRecord(const Fields& fields, const Expr& from) {
  return Join(".+retract|", fields[1], "|", from, "|", fields[4], "|", fields[5], "|#");
}

// .+jitter_window|sender|date and time|address
// Kept: the sender's address goes out as the last field, and nothing closes the record.
Expr JitterRecord(Host& host, const Fields& fields, const std::string& remoteIp) {
  return Join(fields[0], "|", fields[2], "|", host.clock.Now().DateAndTime(), "|", remoteIp);
}

}  // namespace

// The clients remove the message from their view; no row changes.
void RetractMessage(Host& host, Fields& fields, SlotIndex, const std::string&) {
  if (Is(fields[1], kPerson)) {
    TellUser(host, fields[2], RetractRecord(fields, fields[3]));
  } else if (Is(fields[1], kGroup)) {
    Cursor members(host.database);
    members.Open(
        Sql("select * from Clot_Form where UpperID='?' and UserID<>'?'", fields[2], fields[3]));
    for (; !members.EndOfRows(); members.MoveNext()) {
      TellUser(host, Join(members["UserID"]), RetractRecord(fields, fields[2]));
    }
  }
}

// .+reply_transmission|...|target's tag|...|...
// Kept: a "|#" arrives only where the sender's own last field brings it.
void RelayReplyTransmission(Host& host, Fields& fields, SlotIndex, const std::string&) {
  TellTag(host, fields[2], Join(fields[0], "|", fields[1], "|", fields[3], "|", fields[4]));
}

void RelayJitterWindow(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp) {
  WriteServerLog(host, Join(fields[2], " To ", fields[1], host.ReadLang("im36")), fields[2],
                 remoteIp, LogIcon::kDelivery);
  const Expr record = JitterRecord(host, fields, remoteIp);
  if (TellTag(host, fields[1], record)) return;
  QueueMobilePush(host, fields[1], "", fields[2], PushKind::kPerson, host.ReadLang("im291"),
                  host.SckServer.Tag(slot));
  TellTag(host, Join(fields[1], "m"), record);
}

}  // namespace vnq
