// What the two older offline tables hold for a user, handed over once.
#include "host/server_log.h"
#include "host/slots/wire_codec.h"
#include "messaging/messaging.h"
#include "support/dates.h"

namespace vnq {
namespace {

// The closing of a replayed message by its type; nothing for a type that has none of its own.
const char* TailOfType(const Expr& type) {
  switch (ToInt32(type).value_or(0)) {
    case 1:
      return "#";
    case 2:
      return "@#";
    case 3:
      return "*#";
    default:
      return nullptr;
  }
}

std::string PeerRecords(Host& host, const Expr& userId) {
  std::string out;
  std::string tail;
  Cursor rows(host.database);
  rows.Open(Sql("Select * from Messeng_Type where UserID1='?'", userId));
  for (; !rows.EndOfRows(); rows.MoveNext()) {
    const std::string when = rows["To_Date"].text();
    // Kept: a row of another type closes as the row before it did.
    if (const char* own = TailOfType(rows["To_Type"])) tail = own;
    out += Join(".+message|", rows["UserID2"], "|", FormatAsDate(when), "|", FormatAsTime(when),
                "|", rows["UserText"], "|", rows["FontInfo"], "|", tail)
               .text();
  }
  return out;
}

std::string VisitorRecords(Host& host, const Expr& userId) {
  std::string out;
  Cursor rows(host.database);
  rows.Open(Sql("Select * from MessengKefu_Type where UserID1='?'", userId));
  for (; !rows.EndOfRows(); rows.MoveNext()) {
    const std::string when = rows["To_Date"].text();
    const char* tail = ToInt32(rows["To_Type"]) == 3 ? "*#" : "#";
    out += Join(".+customer_information|", rows["UserID2"], "|", rows["FcName"], "|",
                FormatAsDate(when), "|", FormatAsTime(when), "|", rows["UserText"], "|", tail)
               .text();
  }
  return out;
}

void ReplayOfflineTypes(Host& host, const Fields& fields, SlotIndex slot) {
  std::string out = PeerRecords(host, fields[1]);
  host.database.Execute(Sql("delete from Messeng_Type where UserID1='?'", fields[1]));
  out += VisitorRecords(host, fields[1]);
  host.database.Execute(Sql("Delete from MessengKefu_Type where UserID1='?'", fields[1]));
  YieldAndSend(host, slot, out);
}

}  // namespace

void HandleOfflineRequest(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp) {
  ReplayOfflineTypes(host, fields, slot);
  WriteServerLog(host, Join(fields[1], host.ReadLang("im76")), fields[1], remoteIp,
                 LogIcon::kOfflineRequest);
}

}  // namespace vnq
