// How `vnqctl user list` shows accounts.
#pragma once

#include <ostream>
#include <vector>

#include "tools/users/user_accounts.h"

namespace vnq {

/// A table for a terminal, its columns aligned. Passwords are not shown.
void PrintUsers(const std::vector<UserRow>& users, std::ostream& out);

/// A JSON array (RFC 8259, UTF-8), an object an account and a line an object. Keys are the columns'
/// names; UserState, IsManager and UserIcoLine are numbers, or null without a value.
void PrintUsersAsJson(const std::vector<UserRow>& users, std::ostream& out);

}  // namespace vnq
