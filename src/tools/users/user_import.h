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

/// Adds an account for each record of a CSV text (UTF-8). The first record is a heading when it
/// holds the column "name" or "UserName", and then tells which column is which; `name` and
/// `password` must be among them.
///
/// Each account is one line on `out`: UserID, a tab, the login name. Each bad line is one line on
/// `err`, with its number, and the import goes on behind it. isWatched: `err` is a terminal, and
/// shows a progress bar.
ImportResult ImportUsers(UserAccounts& accounts, std::string_view text, std::ostream& out,
                         std::ostream& err, bool isWatched);

}  // namespace vnq
