// The accounts room: the sign-up dialog's port, and the one way in which an account comes into
// being.
//
// Port 6007 is stateless. Each read is one record, Base64 like the main port's; it is split on '|'
// only, nothing carries over, and the closing '#' is not looked at.
#pragma once

#include <string>

#include "host/database/database.h"
#include "host/host.h"

namespace vnq {

/// One read of an account-port slot: .+account_application, .+request_data_synchronization or
/// .+exit_application. Any other command is dropped. Yields: yes.
void OnApplicationPortData(Host& host, SlotIndex slot, const std::string& bytes);

// --- Making accounts ---

/// What is known of a new person. A member that has failed leaves its column NULL.
struct NewAccount {
  Expr UppeId;   ///< department, a TypeID of Users_Ro
  Expr UserIco;  ///< picture
  Expr UserName;
  Expr FcName;
  Expr UserPaws;  ///< stored without blanks at both ends
  Expr jod;
  Expr Tel1;
  Expr Constellation;
  Expr UserState;  ///< 0: the person may not log in yet
};

/// How many accounts have a login name; 0 when the query fails. `FcName` becomes the name that the
/// only one shows. Yields: no. Database: Users_ID.
int CountAccountsNamed(Database& database, const Expr& UserName, std::string& FcName);

/// The department itself when it exists, else the first top-level one; without any, as it came.
/// Yields: no. Database: Users_Ro.
Expr KnownDepartment(Database& database, const Expr& TypeID);

/// Adds an account and its default rows, and counts Users_IDVesr up.
///
/// isAccess  the database is the embedded one, for the dialect of the maximum.
/// Returns the new UserID: one above the highest, or 1 when there is none or a UserID is no number.
/// A step that fails is skipped; nothing is rolled back here. Nothing else may add accounts
/// meanwhile, or two may take the same UserID. Yields: no. Database: Users_ID, Users_Pic,
/// PtpFolder, Col_Ro, Role, Users_Role, UpDateForm.
Expr CreateAccount(Database& database, bool isAccess, const NewAccount& account);

}  // namespace vnq
