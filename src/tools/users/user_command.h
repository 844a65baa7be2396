// vnqctl user: the everyday work on accounts.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "tools/users/user_import.h"

namespace CLI {
class App;
}

namespace vnq {

struct UserOptions {
  std::string appPath;
  NewUser user;                    ///< for add
  std::vector<std::string> names;  ///< login names or UserIDs, for passwd, enable and disable
  std::string password;  ///< empty: from passwordFile, VNQ_PASSWORD, or asked without echo
  std::string passwordFile;
  std::string csvFile;       ///< for add: import this file
  UserImportOptions import;  ///< how
  bool json = false;         ///< for list
};

/// Each returns the exit code: 0, or 1 after a failure that it names on `err`.
int RunUserAdd(UserOptions options, std::ostream& out, std::ostream& err);
int RunUserList(const UserOptions& options, std::ostream& out, std::ostream& err);
int RunUserPasswd(UserOptions options, std::ostream& out, std::ostream& err);
int RunUserEnable(const UserOptions& options, bool isEnabled, std::ostream& out, std::ostream& err);

/// Adds the subcommand; when it runs, `exitCode` is set.
void AddUserCommand(CLI::App& app, int& exitCode);

}  // namespace vnq
