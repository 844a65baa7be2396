// Taking a message back: the clients remove it from their view, no row changes.
#include "host/slots/wire_codec.h"
#include "messaging/messaging.h"

namespace vnq {
namespace {

constexpr std::string_view kPerson = "0";
constexpr std::string_view kGroup = "1";

// .+retract|scope|sender or group|...|...|#   The last two are the clients' reference to the
// message.
Expr RetractRecord(const Fields& fields, const Expr& from) {
  return Join(".+retract|", fields[1], "|", from, "|", fields[4], "|", fields[5], "|#");
}

// Yields: yes.
void SendToBothDevices(Host& host, const Expr& userId, const Expr& record) {
  SendToFirstConnected(host, userId, record);
  SendToFirstConnected(host, Join(userId, "m"), record);
}

}  // namespace

void RetractMessage(Host& host, Fields& fields, SlotIndex, const std::string&) {
  if (Is(fields[1], kPerson)) {
    SendToBothDevices(host, fields[2], RetractRecord(fields, fields[3]));
  } else if (Is(fields[1], kGroup)) {
    Cursor members(host.database);
    members.Open(
        Sql("select * from Clot_Form where UpperID='?' and UserID<>'?'", fields[2], fields[3]));
    for (; !members.EndOfRows(); members.MoveNext()) {
      SendToBothDevices(host, Join(members["UserID"]), RetractRecord(fields, fields[2]));
    }
  }
}

}  // namespace vnq
