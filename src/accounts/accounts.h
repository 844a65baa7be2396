// The accounts room: the sign-up dialog's commands, and the one way in which an account comes into
// being.
#pragma once

#include <string>

#include "host/database/database.h"
#include "host/host.h"
#include "host/values/fields.h"

namespace vnq {

// --- Commands of the account port ---

/// .+account_application|department|picture|login name|name|password|job|telephone|constellation|#
///
/// Makes an account, unless the login name is taken or applications are refused (UserApply 2), and
/// tells everybody (1) or the managers. Yields: yes, but not between the look-up of the name and
/// the last row. Database: Users_ID, Users_Ro, Tab_Config, ServerLog, and those of CreateAccount.
void HandleAccountApplication(Host& host, Fields& fields, SlotIndex slot,
                              const std::string& remoteIp);

/// .+exit_application|#   Ends with the connection closed. Yields: yes.
void HandleExitApplication(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

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
