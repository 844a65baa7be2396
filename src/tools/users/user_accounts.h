// The accounts of one program folder, as `vnqctl user` works on them. The server may be running
// meanwhile: each change is one transaction, and the server sees it at its next statement.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/database/database.h"
#include "tools/folder/program_database.h"

namespace vnq {

/// What an operator tells of a new person. Everything but name and password may be empty.
struct NewUser {
  std::string name;         ///< login name
  std::string password;     ///< as the clients of the deployment send it
  std::string displayName;  ///< empty: the login name
  std::string department;   ///< TypeID; empty or unknown: the first top-level department
  std::string job, telephone, constellation;
  std::string picture = "0";
  bool isEnabled = true;
};

/// One account, as text; NULL is empty.
struct UserRow {
  std::string UserID, UserName, FcName, UppeId, Jod, Tel1, UserState, IsManager, UserIcoLine,
      LoginTime;
};

/// What a UserIcoLine says: "offline", "online", "away" or "phone"; "unknown" for another number.
std::string_view PresenceWord(int16_t presence);

class UserAccounts {
 public:
  /// Opens the database that the folder's settings name. Null, with the reason in `error`, when it
  /// cannot be read.
  static std::unique_ptr<UserAccounts> Open(const std::string& appPath, std::string& error);

  /// Adds an account with the rows that an accepted application gets, all or none.
  ///
  /// note  something that the operator should know although it worked; empty mostly.
  /// False, with the reason in `error`: the name is taken, a text cannot travel in a record, a
  /// statement failed.
  bool Add(const NewUser& user, std::string& newId, std::string& note, std::string& error);

  /// What Add would say; nothing is changed.
  bool Try(const NewUser& user, std::string& note, std::string& error);

  /// All accounts by UserID, numbers first and in their order.
  bool List(std::vector<UserRow>& users, std::string& error);

  /// The account that a login name or, where no login name fits, a UserID names. False, with the
  /// reason in `error`, when there is none or the name has several.
  bool Find(const std::string& nameOrId, UserRow& user, std::string& error);

  /// Sets the password of a UserID.
  bool SetPassword(const std::string& UserID, const std::string& password, std::string& error);

  /// Lets a UserID log in (UserState 1), or not (0). A session that is open goes on.
  bool SetEnabled(const std::string& UserID, bool isEnabled, std::string& error);

  /// Makes the changes so far survive a power cut.
  bool Sync(std::string& error);

 private:
  explicit UserAccounts(ProgramDatabase opened);

  bool CanTravel(std::string_view what, const std::string& text, std::string& error) const;
  bool IsUsablePassword(const std::string& password, std::string& error) const;
  bool IsUsable(const NewUser& user, std::string& error) const;
  bool SetColumn(const std::string& UserID, std::string_view column, const Expr& value,
                 std::string& error);
  bool AddSteps(const NewUser& user, std::string& newId, std::string& note, std::string& error);
  bool AllOrNone(const std::function<bool()>& work, std::string& error, bool isKept = true);

  ProgramFolder folder_;
  Database database_;
};

}  // namespace vnq
