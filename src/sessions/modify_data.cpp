// A user's own profile: the row, the counters, and the record that lets every other client follow.
#include "host/database/version_counters.h"
#include "host/server_log.h"
#include "host/slots/wire_codec.h"
#include "sessions/sessions.h"

namespace vnq {
namespace {

// Columns of Users_ID by the fields from 2 on.
constexpr std::string_view kProfileColumns[] = {
    "Jod",     "FcName", "age",           "Effigy", "tel1",    "tel2",
    "address", "School", "Constellation", "say",    "UserIco",
};
constexpr size_t kFirstProfileField = 2;
constexpr size_t kLastProfileField = kFirstProfileField + std::size(kProfileColumns) - 1;

// .+modify_account|UserID|Jod|FcName|age|Effigy|tel1|tel2|address|
//   School|Constellation|say|UserIco|#
Expr ModifyAccountRecord(const Fields& fields) {
  Expr record = ".+modify_account|";
  for (size_t field = 1; field <= kLastProfileField; ++field) {
    record = Join(record, fields[field], "|");
  }
  return Join(record, "#");
}

void WriteProfile(Host& host, const Fields& fields, const std::string& remoteIp) {
  Cursor Adodc2(host.database);
  Adodc2.Open(Sql("Select *  from Users_ID where UserID='?'", fields[1]));
  if (Adodc2.RecordCount() < 1) return;
  for (size_t i = 0; i < std::size(kProfileColumns); ++i) {
    Adodc2.Set(kProfileColumns[i], fields[kFirstProfileField + i]);
  }
  BumpCounter(Adodc2, "Users_IDVesr");
  Adodc2.Update();
  WriteServerLog(host, Join(fields[1], host.ReadLang("im60")), fields[1], remoteIp,
                 LogIcon::kCommand);
}

}  // namespace

void HandleModifyData(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp) {
  WriteProfile(host, fields, remoteIp);
  // Kept: counted and told even for a user who does not exist.
  BumpGlobalCounter(host.database, "Users_IDVesr");
  const Expr record = ModifyAccountRecord(fields);
  const int highest = host.SckServer.Highest();
  for (int i = 1; i <= highest; ++i) {
    if (i != slot) YieldAndSend(host, static_cast<SlotIndex>(i), record);
  }
}

}  // namespace vnq
