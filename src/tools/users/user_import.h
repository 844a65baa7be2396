// Many accounts from one file.
#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>

#include "tools/users/user_accounts.h"

namespace vnq {

/// What the columns of an import are called, in the order that they have in a file without a
/// heading.
std::string ImportColumns();

/// How an import went.
struct ImportResult {
  size_t added = 0;
  size_t bad = 0;  ///< lines that made no account
};

struct UserImportOptions {
  bool isDryRun = false;       ///< say what would be added, and change nothing
  bool mayHaveHeading = true;  ///< false: the first line is an account, whatever it holds
  bool isWatched = false;      ///< `err` is a terminal, and shows a progress bar
  bool json = false;           ///< the lines as one JSON array on `out`, the bad ones too
};

/// Adds an account for each record of a CSV text (UTF-8).
///
/// The first record is a heading when one of its cells is the name of a column, here or in the
/// table, or a word that only headings have, such as "login". It tells which column is which; a
/// column that there is not refuses the whole text, and `name` and `password` must be among them.
/// Cells are separated by commas, or by semicolons or tabs, which the first line tells.
///
/// Each account is one line on `out`: UserID, a tab, the login name; in a dry run "would add", a
/// tab, the login name. Each bad line is one line on `err`, with its number, and the import goes on
/// behind it.
ImportResult ImportUsers(UserAccounts& accounts, std::string_view text,
                         const UserImportOptions& options, std::ostream& out, std::ostream& err);

}  // namespace vnq
