// What users change of their own: the profile, the password, who may become a friend unasked, and
// which groups are muted.
#include "host/database/version_counters.h"
#include "host/protection/protection.h"
#include "host/server_log.h"
#include "host/slots/sending.h"
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

// The password as it is stored. Yields: yes, where that is a hash.
Expr PasswordToStore(Host& host, const Expr& password) {
  StoredPasswords* const passwords = host.protection ? host.protection->passwords() : nullptr;
  return passwords == nullptr ? password : passwords->Hashed(password);
}

// What the log shows of it.
Expr PasswordForLog(Host& host, const Expr& password) {
  const bool hidden = host.protection && host.protection->settings().hidePasswordsInLog;
  return hidden ? Map(password, [](const std::string&) { return ""; }) : password;
}

}  // namespace

// The row, the counters, and the record that lets every other client follow.
void HandleModifyData(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp) {
  WriteProfile(host, fields, remoteIp);
  // Kept: counted and told even for a user who does not exist.
  BumpGlobalCounter(host.database, "Users_IDVesr");
  const Expr record = ModifyAccountRecord(fields);
  TellEverybody(host, record, slot);
}

void HandleChangePassword(Host& host, Fields& fields, SlotIndex, const std::string& remoteIp) {
  const Expr password = PasswordToStore(host, Trim(fields[2]));
  Cursor Adodc2(host.database);
  Adodc2.Open(Sql("Select UserID,UserPaws from Users_ID where UserID='?'", fields[1]));
  if (Adodc2.RecordCount() != 1) return;
  Adodc2.Set("UserPaws", password);
  Adodc2.Update();
  // Kept: the log shows the new password in clear, as it came, blanks included.
  WriteServerLog(host, Join(fields[1], host.ReadLang("im59"), PasswordForLog(host, fields[2])),
                 fields[1], remoteIp, LogIcon::kCommand);
}

void HandleModifyIsVerify(Host& host, Fields& fields, SlotIndex, const std::string& remoteIp) {
  Cursor Adodc2(host.database);
  Adodc2.Open(Sql("Select *  from Users_ID where UserID='?'", fields[1]));
  if (Adodc2.RecordCount() < 1) return;
  Adodc2.Set("IsVerify", fields[2]);
  Adodc2.Update();
  WriteServerLog(host, Join(fields[1], host.ReadLang("im263")), fields[1], remoteIp,
                 LogIcon::kCommand);
}

void HandleModifyIsSilence(Host& host, Fields& fields, SlotIndex, const std::string&) {
  Cursor Adodc2(host.database);
  Adodc2.Open(
      Sql("Select *  from Clot_Silence where MyID='?' and  YouID='?'", fields[1], fields[2]));
  if (Adodc2.RecordCount() >= 1) {
    if (Is(fields[3], "0")) Adodc2.Delete();  // Kept: of several rows only the first goes
  } else if (Is(fields[3], "1")) {
    Adodc2.AddNew();
    Adodc2.Set("MyID", fields[1]);
    Adodc2.Set("YouID", fields[2]);
    Adodc2.UpdateOnce({"MyID", "YouID"});
  }
}

}  // namespace vnq
