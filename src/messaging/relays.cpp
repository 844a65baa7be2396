// Records that pass from one client to another and leave nothing behind.
#include "host/server_log.h"
#include "host/slots/wire_codec.h"
#include "messaging/messaging.h"

namespace vnq {
namespace {

constexpr int16_t kPersonPush = 1;

// .+jitter_window|sender|date and time|address
// Kept: the sender's address goes out as the last field, and nothing closes the record.
Expr JitterRecord(Host& host, const Fields& fields, const std::string& remoteIp) {
  return Join(fields[0], "|", fields[2], "|", host.clock.Now().DateAndTime(), "|", remoteIp);
}

}  // namespace

// .+reply_transmission|...|target's tag|...|...
// Kept: a "|#" arrives only where the sender's own last field brings it.
void RelayReplyTransmission(Host& host, Fields& fields, SlotIndex, const std::string&) {
  SendToFirstConnected(host, fields[2],
                       Join(fields[0], "|", fields[1], "|", fields[3], "|", fields[4]));
}

void RelayJitterWindow(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp) {
  WriteServerLog(host, Join(fields[2], " To ", fields[1], host.ReadLang("im36")), fields[2],
                 remoteIp, LogIcon::kDelivery);
  const Expr record = JitterRecord(host, fields, remoteIp);
  if (SendToFirstConnected(host, fields[1], record)) return;
  QueueMobilePush(host, fields[1], "", fields[2], kPersonPush, host.ReadLang("im291"),
                  host.SckServer.Tag(slot));
  SendToFirstConnected(host, Join(fields[1], "m"), record);
}

}  // namespace vnq
