#include "tools/users/user_accounts.h"

#include <algorithm>
#include <functional>
#include <tuple>
#include <utility>

#include "accounts/accounts.h"
#include "host/slots/presence_values.h"
#include "host/values/skipped.h"
#include "support/numbers.h"
#include "tools/client/chat_text.h"
#include "tools/folder/in_transaction.h"
#include "tools/folder/program_database.h"

namespace vnq {
namespace {

constexpr std::string_view kColumns =
    "UserID,UserName,FcName,UppeId,Jod,Tel1,UserState,IsManager,UserIcoLine,LoginTime";

bool Fail(std::string& error, std::string why) {
  error = std::move(why);
  return false;
}

UserRow ReadUser(const Cursor& row) {
  auto text = [&](std::string_view column) { return OrEmpty(row[column]); };
  return {text("UserID"),      text("UserName"), text("FcName"),    text("UppeId"),
          text("Jod"),         text("Tel1"),     text("UserState"), text("IsManager"),
          text("UserIcoLine"), text("LoginTime")};
}

// Numbers in their order in front of everything else.
auto OrderOf(const UserRow& user) {
  const auto number = ParseInt32(user.UserID);
  return std::tuple(!number, number.value_or(0), user.UserID);
}

// A quote breaks the queries that look for the text: nobody could ever log in with it.
bool HasNoQuote(std::string_view what, const std::string& text, std::string& error) {
  return text.find('\'') == std::string::npos ||
         Fail(error, std::string(what) + ": no ' can stand in it");
}

std::string Ids(Cursor& users) {
  std::string ids;
  for (; !users.EndOfRows(); users.MoveNext()) {
    ids += (ids.empty() ? "" : ", ") + OrEmpty(users["UserID"]);
  }
  return ids;
}

}  // namespace

std::string_view PresenceWord(int16_t presence) {
  switch (presence) {
    case kPresenceOffline:
      return "offline";
    case kPresenceOnline:
      return "online";
    case kPresenceAway:
      return "away";
    case kPresenceOnPhone:
      return "phone";
    default:
      return "unknown";
  }
}

UserAccounts::UserAccounts(ProgramDatabase opened)
    : folder_(std::move(opened.folder)), database_(std::move(opened.driver)) {
  if (folder_.platform.nodes.AreGiven()) database_.ShareWithNodes("vnqctl");
}

std::unique_ptr<UserAccounts> UserAccounts::Open(const std::string& folder, std::string& error) {
  auto opened = OpenProgramDatabase(folder, error);
  if (!opened) return nullptr;
  return std::unique_ptr<UserAccounts>(new UserAccounts(std::move(*opened)));
}

// --- Adding ---

// What clients send and receive goes through records in the code page.
bool UserAccounts::CanTravel(std::string_view what, const std::string& text,
                             std::string& error) const {
  if (!FitsAField(text)) {
    return Fail(error, std::string(what) + ": no \"|\", \".+\" or line break can stand in it");
  }
  if (!folder_.codePage->Holds(text)) {
    return Fail(error, std::string(what) + ": code page " +
                           std::to_string(folder_.codePage->number()) +
                           " does not hold all of its characters");
  }
  return true;
}

bool UserAccounts::IsUsablePassword(const std::string& password, std::string& error) const {
  if (Trim(password).text().empty()) return Fail(error, "the password is empty");
  return HasNoQuote("the password", password, error) && CanTravel("the password", password, error);
}

bool UserAccounts::IsUsable(const NewUser& user, std::string& error) const {
  if (user.name.empty()) return Fail(error, "the login name is empty");
  const std::pair<std::string_view, const std::string&> texts[] = {
      {"the login name", user.name},       {"the display name", user.displayName},
      {"the department", user.department}, {"the job", user.job},
      {"the telephone", user.telephone},   {"the constellation", user.constellation},
      {"the picture", user.picture},
  };
  for (const auto& [what, text] : texts) {
    if (!CanTravel(what, text, error)) return false;
  }
  return HasNoQuote("the login name", user.name, error) &&
         HasNoQuote("the department", user.department, error) &&
         IsUsablePassword(user.password, error);
}

bool UserAccounts::Add(const NewUser& user, std::string& newId, std::string& note,
                       std::string& error) {
  if (!IsUsable(user, error)) return false;
  const SharedLock alone(database_, SharedLock::Kind::kAccounts);
  if (!alone.IsHeld()) return Fail(error, database_.driver().LastError());
  return AllOrNone([&] { return AddSteps(user, newId, note, error); }, error);
}

bool UserAccounts::Try(const NewUser& user, std::string& note, std::string& error) {
  std::string newId;
  return IsUsable(user, error) &&
         AllOrNone([&] { return AddSteps(user, newId, note, error); }, error, false);
}

bool UserAccounts::AddSteps(const NewUser& user, std::string& newId, std::string& note,
                            std::string& error) {
  std::string owner;
  if (CountAccountsNamed(database_, user.name, owner) > 0) {
    return Fail(
        error, "the login name " + user.name + " is taken" + (owner.empty() ? "" : " by " + owner));
  }
  const Expr department = KnownDepartment(database_, user.department);
  const Expr id = CreateAccount(database_, folder_.settings.IsAccess(),
                                {.UppeId = department,
                                 .UserIco = user.picture,
                                 .UserName = user.name,
                                 .FcName = user.displayName.empty() ? user.name : user.displayName,
                                 .UserPaws = user.password,
                                 .jod = user.job,
                                 .Tel1 = user.telephone,
                                 .Constellation = user.constellation,
                                 .UserState = user.isEnabled ? 1 : 0});
  newId = OrEmpty(id);
  if (!user.department.empty() && !Is(department, user.department)) {
    note = "there is no department " + user.department + "; " + user.name + " belongs to " +
           OrEmpty(department);
  }
  return true;
}

// The steps of an account are skipped one by one where they fail; here a skip undoes them all.
bool UserAccounts::AllOrNone(const std::function<bool()>& work, std::string& error, bool isKept) {
  error.clear();
  SqlDriver& driver = database_.driver();
  bool worked = false;
  auto checked = [&] {
    const uint64_t skippedBefore = SkippedStatements();
    worked = work();
    if (worked && SkippedStatements() != skippedBefore) {
      worked = Fail(error, "a step failed, nothing was changed: " + driver.LastError());
    }
    return worked && isKept;
  };
  const bool done = InTransaction(driver, folder_.engine, checked) || (worked && !isKept);
  if (!done && error.empty()) error = driver.LastError();
  return done;
}

bool UserAccounts::Sync(std::string& error) {
  SqlDriver& driver = database_.driver();
  return driver.SyncCommitted() || Fail(error, driver.LastError());
}

// --- Looking ---

bool UserAccounts::List(std::vector<UserRow>& users, std::string& error) {
  Cursor rows(database_);
  if (!rows.Open(Sql("Select " + std::string(kColumns) + " from Users_ID"))) {
    return Fail(error, database_.driver().LastError());
  }
  for (; !rows.EndOfRows(); rows.MoveNext()) users.push_back(ReadUser(rows));
  std::stable_sort(users.begin(), users.end(),
                   [](const UserRow& a, const UserRow& b) { return OrderOf(a) < OrderOf(b); });
  return true;
}

bool UserAccounts::Find(const std::string& nameOrId, UserRow& user, std::string& error) {
  const std::string select = "Select " + std::string(kColumns) + " from Users_ID where ";
  Cursor rows(database_);
  rows.Open(Sql(select + "UserName='?'", nameOrId));
  if (rows.RecordCount() > 1) {
    return Fail(error, "several users are called " + nameOrId + ": " + Ids(rows));
  }
  if (rows.RecordCount() == 0) rows.Open(Sql(select + "UserID='?'", nameOrId));
  if (rows.RecordCount() == 0) return Fail(error, "there is no user " + nameOrId);
  user = ReadUser(rows);
  return true;
}

// --- Changing ---

bool UserAccounts::SetPassword(const std::string& UserID, const std::string& password,
                               std::string& error) {
  return IsUsablePassword(password, error) && SetColumn(UserID, "UserPaws", Trim(password), error);
}

bool UserAccounts::SetEnabled(const std::string& UserID, bool isEnabled, std::string& error) {
  return SetColumn(UserID, "UserState", isEnabled ? 1 : 0, error);
}

bool UserAccounts::SetColumn(const std::string& UserID, std::string_view column, const Expr& value,
                             std::string& error) {
  return AllOrNone(
      [&] {
        Cursor rows(database_);
        rows.Open(Sql("Select * from Users_ID where UserID='?'", UserID));
        if (rows.RecordCount() == 0) return Fail(error, "there is no user " + UserID);
        for (; !rows.EndOfRows(); rows.MoveNext()) {
          rows.Set(column, value);
          rows.Update();
        }
        return true;
      },
      error);
}

}  // namespace vnq
