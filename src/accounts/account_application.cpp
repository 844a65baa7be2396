// The account port's commands.
#include "accounts/accounts.h"
#include "host/manager_notice.h"
#include "host/protection/protection.h"
#include "host/server_log.h"
#include "host/slots/sending.h"
#include "host/values/fields.h"

namespace vnq {
namespace {

// Values of the setting UserApply. Any other: accepted, and the managers are told.
constexpr int16_t kApplyAtOnce = 1;
constexpr int16_t kApplyRefused = 2;

void Answer(Host& host, SlotIndex slot, const Expr& record) {
  YieldThenTellSlot(host, host.SckServer6007, slot, record);
}

// Whose name it is, is told where exactly one account has it; the place stays empty otherwise.
void RefuseTakenName(Host& host, const Fields& fields, const std::string& FcName, SlotIndex slot,
                     const std::string& remoteIp) {
  Answer(host, slot, Join(".+account_occupancy|", FcName, "|#"));
  WriteServerLog(host, Join(fields[3], host.ReadLang("im113")), fields[3], remoteIp,
                 LogIcon::kApplication);
}

int16_t ReadUserApply(Host& host) {
  int16_t apply = 0;
  Cursor Adodc1(host.database);
  Adodc1.Open(
      Sql("Select * from Tab_Config where Col_Name='UserApply' and Col_Genre='SysConfig' "
          "and Col_Disabled=0"));
  Assign(apply, ToInt16(Adodc1["Col_Data"]));
  return apply;
}

Expr AddApplicant(Host& host, const Fields& fields, int16_t apply) {
  const NewAccount account{.UppeId = fields[1],
                           .UserIco = fields[2],
                           .UserName = fields[3],
                           .FcName = fields[4],
                           .UserPaws = fields[5],
                           .jod = fields[6],
                           .Tel1 = fields[7],
                           .Constellation = fields[8],
                           .UserState = apply};
  return CreateAccount(host.database, host.settings.IsAccess(), account);
}

// Yields: yes, where passwords are stored as hashes.
void HashPasswordField(Host& host, Fields& fields) {
  StoredPasswords* const passwords = host.protection ? host.protection->passwords() : nullptr;
  if (passwords != nullptr) fields.Set(5, passwords->Hashed(Trim(fields[5])));
}

// The password's place stays, and stays empty.
Expr CreateAccountRecord(const Fields& fields, const Expr& newId) {
  return Join(".+create_account|", fields[1], "|", fields[2], "|", fields[3], "|", fields[4], "||",
              fields[6], "|", fields[7], "|", newId, "|#");
}

void Announce(Host& host, const Fields& fields, const Expr& newId, const std::string& remoteIp) {
  host.loop.Yield();
  TellEverybody(host, CreateAccountRecord(fields, newId));
  WriteServerLog(host, Join(fields[3], " ", host.ReadLang("im306")), fields[3], remoteIp,
                 LogIcon::kApplication);
}

}  // namespace

void HandleAccountApplication(Host& host, Fields& fields, SlotIndex slot,
                              const std::string& remoteIp) {
  HashPasswordField(host, fields);
  SharedLock alone(host.database, SharedLock::Kind::kAccounts);
  if (!alone.IsHeld()) return;  // who hears nothing applies again
  std::string FcName;
  if (CountAccountsNamed(host.database, fields[3], FcName) >= 1) {
    alone.Release();
    return RefuseTakenName(host, fields, FcName, slot, remoteIp);
  }
  fields.Set(1, KnownDepartment(host.database, fields[1]));
  const int16_t apply = ReadUserApply(host);
  if (apply == kApplyRefused) {
    alone.Release();
    return Answer(host, slot, ".+not_allowed_to_apply|#");
  }

  // Nothing has yielded since the look-up of the name, and nothing does before the last row is
  // there: applications are served one after the other.
  const Expr newId = AddApplicant(host, fields, apply);
  alone.Release();
  // Who hears nothing applies again; who has heard must find the account.
  if (!SyncWritten(host)) return;
  Answer(host, slot, Join(".+application_success|", newId, "|#"));
  if (apply == kApplyAtOnce) {
    Announce(host, fields, newId, remoteIp);
  } else {
    PushToManagers(host, fields[3], fields[4], kApplicationNotice);
  }
}

void HandleExitApplication(Host& host, Fields&, SlotIndex slot, const std::string&) {
  host.loop.Yield();
  host.SckServer6007.Close(slot);
}

}  // namespace vnq
