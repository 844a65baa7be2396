// Who is behind the ids of a database.
#pragma once

#include <map>
#include <string>

#include "host/database/database.h"

namespace vnq {

/// Looks names up, each once until Forget.
class NameBook {
 public:
  explicit NameBook(Database& database) : database_(&database) {}

  /// The UserID behind a login name or, where no login name fits, a UserID. False, with the reason
  /// in `error`, when there is none or the name has several.
  bool FindUser(const std::string& nameOrId, std::string& UserID, std::string& error);

  /// The same for a group by its name or its TypeID.
  bool FindGroup(const std::string& nameOrId, std::string& ClotID, std::string& error);

  /// True for the UserID of an account.
  bool HasUser(const std::string& UserID);

  /// FcName of a user, TypeName of a group; empty for one that is gone.
  const std::string& UserName(const std::string& UserID);
  const std::string& GroupName(const std::string& ClotID);

  /// Names may have changed since.
  void Forget() {
    users_.clear();
    groups_.clear();
  }

 private:
  Database* database_;
  std::map<std::string, std::string> users_, groups_;  // names by id
};

}  // namespace vnq
