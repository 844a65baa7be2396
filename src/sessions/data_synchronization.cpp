// The department tree for the sign-up dialog, and the nudge to synchronise.
#include "host/server_log.h"
#include "host/slots/sending.h"
#include "sessions/sessions.h"

namespace vnq {
namespace {

// Kept: none of the three pieces ends like other records; clients split at the prefix.
constexpr std::string_view kVersionPrefix = ".+data_synchronization|Users_RoVesr|";
constexpr std::string_view kDepartmentPrefix = ".+data_synchronization|Users_Ro|";
constexpr std::string_view kEndOfSynchronization = ".+data_synchronization|#1";

constexpr size_t kDepartmentColumns = 5;

std::string DepartmentVersion(Host& host) {
  std::string Users_RoVesr;
  Cursor Adodc1(host.database);
  Adodc1.Open(Sql("Select * from UpDateForm where id=1"));
  Assign(Users_RoVesr, Join(Adodc1["Users_RoVesr"]));
  return Users_RoVesr;
}

Expr DepartmentRecord(const Cursor& row) {
  Expr record = kDepartmentPrefix;
  for (size_t column = 0; column < kDepartmentColumns; ++column) {
    record = Join(record, row.Column(column), "|");
  }
  return record;
}

void AppendDepartments(Host& host, std::string& text) {
  Cursor Adodc1(host.database);
  Adodc1.Open(Sql("Select * from Users_Ro"));
  for (; !Adodc1.EndOfRows(); Adodc1.MoveNext()) Append(text, DepartmentRecord(Adodc1));
}

void LogSynchronization(Host& host, const Fields& fields, SlotIndex slot, std::string_view key) {
  WriteServerLog(host, Join(fields[1], host.ReadLang(key)), fields[1],
                 host.SckServer6007.RemoteHostIP(slot), LogIcon::kCommand);
}

}  // namespace

void HandleRequestDataSynchronization(Host& host, Fields& fields, SlotIndex slot,
                                      const std::string&) {
  const std::string Users_RoVesr = DepartmentVersion(host);
  const auto theirs = ToNumber(fields[1]), ours = ToNumber(Users_RoVesr);
  const bool comparable = theirs && ours;
  std::string text;
  if (comparable && *theirs != *ours) {
    Assign(text, Join(kVersionPrefix, Users_RoVesr, "|"));
    host.loop.Yield();
    AppendDepartments(host, text);
    LogSynchronization(host, fields, slot, "im22");
  }
  if (comparable && *theirs == *ours) LogSynchronization(host, fields, slot, "im21");
  text += kEndOfSynchronization;
  YieldThenTellSlot(host, host.SckServer6007, slot, text);
}

void HandleSynchronizationNudge(Host& host, Fields& fields, SlotIndex, const std::string&) {
  if (!IsNot(fields[1], "")) return;
  TellEverybody(host, Join(".+request_data_synchronization_online|", fields[1], "|#"));
}

}  // namespace vnq
