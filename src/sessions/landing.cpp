// Login: from a bare connection to a tagged slot. By name and password, or of a phone that is
// already known.
#include <fmt/format.h>
#include <spdlog/spdlog.h>

#include "host/nodes/crossing.h"
#include "host/protection/protection.h"
#include "host/server_log.h"
#include "host/slots/devices.h"
#include "host/slots/sending.h"
#include "platform/system/event_log.h"
#include "sessions/presence.h"
#include "sessions/sessions.h"
#include "support/ids.h"
#include "support/printable.h"
#include "support/utf16.h"

namespace vnq {
namespace {

constexpr std::string_view kSelectUser =
    "Select * from Users_ID where UserName='?' and UserPaws='?'";

// Permission numbers that restrict where and from what a person may log in.
constexpr std::string_view kRestrictAddress = "19";
constexpr std::string_view kRestrictMachine = "20";

constexpr std::string_view kWebDesk = "kefu";  // the Mac of a customer-service web client

// What the login reads of the user's row, to work on while the row set is closed.
struct Person {
  std::string UserID;
  int16_t IsVerify = 0;
  std::string Mac, LocalIP, LocalIPList, MacList;
};

void CloseSlot(Host& host, SlotIndex slot) {
  host.loop.Yield();
  host.SckServer.Close(slot);
  host.SckServer.SetTag(slot, "");
}

// A name as a peer gave it.
std::string Printable(const Expr& name) {
  return vnq::Printable(OrEmpty(name), 64);
}

// The words up to the address stay as they are: programs look for them.
void SayRefused(Host& host, SlotIndex slot, const Fields& fields, std::string_view why) {
  host.refusedLogins.Note(host.SckServer.RemoteHostIP(slot),
                          fmt::format("{}: {}", why, Printable(fields[1])));
}

void Refuse(Host& host, SlotIndex slot, std::string_view record) {
  TellSlot(host, slot, record);
  CloseSlot(host, slot);
}

StoredPasswords* HashedPasswords(Host& host) {
  return host.protection ? host.protection->passwords() : nullptr;
}

// False when the slot has lost the connection meanwhile. Yields: yes, where passwords are stored as
// hashes.
bool OpenUser(Host& host, Cursor& row, const Fields& fields, SlotIndex slot) {
  StoredPasswords* const passwords = HashedPasswords(host);
  if (passwords == nullptr) {
    row.Open(Sql(kSelectUser, fields[1], Trim(fields[2])));
    return true;
  }
  const uint64_t connection = host.SckServer.ConnectionNumber(slot);
  passwords->OpenUser(row, fields[1], Trim(fields[2]));
  return host.SckServer.ConnectionNumber(slot) == connection;
}

Person ReadPerson(const Cursor& row, const Fields& fields) {
  Person person;
  Assign(person.UserID, Join(row["UserID"]));
  Assign(person.IsVerify, ToInt16(row["IsVerify"]));
  Assign(person.Mac, Join(row["Mac"]));
  Assign(person.LocalIP, Join(row["LocalIP"]));
  Assign(person.LocalIPList, Join(row["LocalIPList"]));
  Assign(person.MacList, Join(row["MacList"]));
  if (person.LocalIPList.empty()) person.LocalIPList = person.LocalIP;
  if (person.MacList.empty()) Assign(person.MacList, fields[4]);
  return person;
}

// Ends the user's earlier session under this tag. False: the new connection loses against it.
bool EndOtherSession(Host& host, const Fields& fields, const Person& person, const std::string& tag,
                     SlotIndex slot) {
  SlotArray& slots = host.SckServer;
  const SlotIndex old = slots.FirstWithTag(tag);
  const bool isOnline = slots.IsConnected(old) || HoldsElsewhere(host, NodeArray::kClients, tag);
  if (isOnline && Is(fields[4], kWebDesk) && person.Mac != kWebDesk) {
    CloseSlot(host, slot);
    return false;
  }
  DisplaceElsewhere(host, NodeArray::kClients, tag, BusyForceRecord(slots.RemoteHostIP(slot)));
  if (old == kNoSlot) return true;
  if (slots.IsConnected(old)) {
    host.loop.Yield();
    SendRecord(host, old, BusyForceRecord(slots.RemoteHostIP(slot)));
  }
  host.loop.Yield();
  slots.SetTag(old, "");
  slots.Close(old);
  return true;
}

// Kept: muted groups and permissions share one list, and of several roles only the last one's
// limits survive.
std::string PermissionList(Host& host, const std::string& userId) {
  std::string list;
  Cursor muted(host.database);
  muted.Open(Sql("Select *  from Clot_Silence where MyID='?'", userId));
  for (; !muted.EndOfRows(); muted.MoveNext()) Append(list, Join(muted["YouID"], ","));

  Cursor role(host.database);
  role.Open(Sql("Select b.* from Users_Role as a,Role as b where a.UserID='?' and a.RoleID=b.ID",
                userId));
  std::string ptp = "/", clot = "\\", users = "~", pub = "@", department = "+";
  for (; !role.EndOfRows(); role.MoveNext()) {
    Append(list, Join(role["Permissions"], role["Plug"]));
    Assign(ptp, Join(role["PtpSize"], "/", role["PtpType"]));
    Assign(clot, Join(role["ClotSize"], "\\", role["ClotType"]));
    Assign(users, Join(role["UsersSize"], "~", role["UsersType"]));
    Assign(pub, Join(role["PubSize"], "@", role["PubType"]));
    Assign(department, Join(role["DepartmentPermission"], "+", role["Department"]));
  }
  for (const std::string& limit : {ptp, clot, users, pub, department}) list += "," + limit;
  return list;
}

bool AddressMatches(const std::string& entry, const std::string& ip) {
  const std::vector<std::string> ends = SplitText(entry, "-");
  if (ends.size() == 1) return entry == ip;
  if (ends.size() != 2) return false;
  return IsBetween(IpToNumber(ip), IpToNumber(ends[0]), IpToNumber(ends[1]));
}

bool AddressAdmitted(const std::string& list, const std::string& ip) {
  for (const std::string& entry : SplitText(list, ",")) {
    if (AddressMatches(entry, ip)) return true;
  }
  return false;
}

bool MachineAdmitted(const std::string& list, const Expr& machine) {
  for (const std::string& entry : SplitText(list, ",")) {
    if (Is(machine, entry)) return true;
  }
  return false;
}

bool Admitted(const std::string& permissions, const Person& person, const Expr& machine,
              const std::string& ip) {
  for (const std::string& token : SplitText(permissions, ",")) {
    if (token == kRestrictAddress && !AddressAdmitted(person.LocalIPList, ip)) return false;
    if (token == kRestrictMachine && !MachineAdmitted(person.MacList, machine)) return false;
  }
  return true;
}

// A mobile names its platform with exactly one character where a desktop has its address.
bool IsMobileForm(const Fields& fields) {
  return ToInt32(Map(fields[3], Utf16Length)) == 1;
}
bool IsDesktopForm(const Fields& fields) {
  return ToInt32(Map(fields[3], Utf16Length)) > 1;
}

void RecordLogin(Host& host, const Fields& fields, const Person& person, const std::string& ip) {
  Cursor Adodc1(host.database);
  if (HashedPasswords(host) != nullptr) {
    Adodc1.Open(Sql("Select * from Users_ID where UserID='?'", person.UserID));
  } else {
    Adodc1.Open(Sql(kSelectUser, fields[1], Trim(fields[2])));
  }
  if (Adodc1.RecordCount() < 1) return;
  Adodc1.Set("LoginTime", host.clock.Now().DateAndTime());
  if (IsMobileForm(fields)) {
    Adodc1.Set("PlatForm", fields[3]);
    Adodc1.Set("Registration_Id", fields[4]);
    Adodc1.Set("ManuFacturer", fields[5]);
  } else {
    Adodc1.Set("NetworkIP", fields[3]);
    Adodc1.Set("Mac", fields[4]);
  }
  Adodc1.Set("LocalIP", ip);
  if (person.LocalIPList.empty()) Adodc1.Set("LocalIPList", ip);
  // Kept: MacList was filled from field 4 when it was empty, so this binds a machine never.
  if (person.MacList.empty() && IsDesktopForm(fields) && IsNot(fields[4], kWebDesk)) {
    Adodc1.Set("MacList", fields[4]);
  }
  Adodc1.Update();
}

// A wrong name or password, which the walls may have answered late.
void RefusePassword(Host& host, const Fields& fields, const std::string& ip, SlotIndex slot) {
  if (host.protection && !host.protection->WaitsAsFailed(fields[1], ip, slot)) return;
  Refuse(host, slot, ".+LoginFailed|#");
}

void NoteRightPassword(Host& host, const Fields& fields, const Expr& storedPassword,
                       const std::string& userId, const std::string& ip) {
  if (!host.protection) return;
  host.protection->LoginSucceeded(fields[1], ip);
  StoredPasswords* const passwords = host.protection->passwords();
  if (passwords != nullptr) passwords->HashInPlace(userId, storedPassword);
}

void EndOnOtherNodes(Host& host, const std::string& userId, int16_t oldState) {
  const bool isTold = oldState != kPresenceOnPhone;
  DisplaceElsewhere(host, NodeArray::kClients, userId,
                    isTold ? BusyForceRecord(host.ReadLang("im54")) : Expr(""));
  if (isTold) AskEverywhere(host, order::kEverybody, {PhoneLineRecord(userId)});
}

}  // namespace

void HandleLanding(Host& host, Fields& fields, SlotIndex slot, const std::string&) {
  SlotArray& slots = host.SckServer;
  const std::string ip = slots.RemoteHostIP(slot);
  if (!Is(fields[6], "#")) {
    const auto version = ToInt32(fields[6]);
    if (version && *version < host.MinClientVersion) {
      SayRefused(host, slot, fields, "the client is too old");
      return Refuse(host, slot, ".+UpgradedVersion|#");
    }
  }

  if (host.protection && !host.protection->BeginsLogin(fields[1], ip)) {
    return Refuse(host, slot, ".+LoginFailed|#");
  }
  Cursor Adodc1(host.database);
  if (!OpenUser(host, Adodc1, fields, slot)) return;
  if (Adodc1.RecordCount() < 1) {
    SayRefused(host, slot, fields, "no such name and password");
    return RefusePassword(host, fields, ip, slot);
  }
  const auto userState = ToInt16(Adodc1["UserState"]);
  if (userState && *userState == 0) {
    SayRefused(host, slot, fields, "the account is disabled");
    return Refuse(host, slot, ".+ProhibitLanding|#");
  }
  const Person person = ReadPerson(Adodc1, fields);
  NoteRightPassword(host, fields, Adodc1["UserPaws"], person.UserID, ip);
  const std::string tag = IsMobileForm(fields) ? person.UserID + "m" : person.UserID;
  Adodc1.Close();

  WriteServerLog(host, Join(fields[1], host.ReadLang("im53")), person.UserID, ip,
                 LogIcon::kCommand);
  if (!EndOtherSession(host, fields, person, tag, slot)) return;
  const std::string permissions = PermissionList(host, person.UserID);
  if (!Admitted(permissions, person, fields[4], ip)) {
    SayRefused(host, slot, fields, "the roles admit neither this address nor this machine");
    // Kept: this one record has no closing "|#".
    return Refuse(host, slot, ".+landing_restrictions");
  }
  RecordLogin(host, fields, person, ip);

  if (!slots.IsConnected(slot)) return;
  TellSlot(host, slot,
           Join(".+landing_successful|", person.UserID, "|", person.IsVerify, "|", permissions, "|",
                host.settings.control_computer, "|", host.ClientDownloadVersion, "|#"));
  slots.SetTag(slot, tag);
  if (!host.logIns.Admits()) return;
  LogInfo("login", "log-in of user {} from {}: {}", person.UserID, ip, Printable(fields[1]));
}

void HandlePhoneLog(Host& host, Fields& fields, SlotIndex slot, const std::string&) {
  std::string userId;
  int16_t oldState = kPresenceOffline;
  Cursor Adodc1(host.database);
  Adodc1.Open(Sql("Select * from Users_ID where UserID='?'", fields[1]));
  if (Adodc1.RecordCount() >= 1) {
    Assign(oldState, ToInt16(Adodc1["UserIcoLine"]));
    Assign(userId, Adodc1["UserID"]);
    Adodc1.Set("UserIcoLine", kPresenceOnPhone);
    Adodc1.Set("LoginTime", host.clock.Now().DateAndTime());
    Adodc1.Update();
    host.loop.Yield();
  }
  Adodc1.Close();

  if (host.cluster) EndOnOtherNodes(host, userId, oldState);

  // Kept: for an unknown user `userId` is empty, and every slot without a name loses its connection
  // here.
  SlotArray& slots = host.SckServer;
  for (const SlotIndex each : slots.AllNow()) {
    if (slots.State(each) == SocketState::kClosed) {  // after a storm of connections most are
      if (slots.Tag(each) == userId) slots.SetTag(each, "");
      continue;
    }
    if (slots.Tag(each) == userId) {
      host.loop.Yield();
      if (oldState != kPresenceOnPhone && slots.IsConnected(each)) {
        SendRecord(host, each, BusyForceRecord(host.ReadLang("im54")));
      }
      slots.SetTag(each, "");
      slots.Close(each);
    }
    host.loop.Yield();
    if (oldState != kPresenceOnPhone && each != slot && slots.IsConnected(each)) {
      SendRecord(host, each, PhoneLineRecord(userId));
    }
  }
  slots.SetTag(slot, userId);
}

}  // namespace vnq
