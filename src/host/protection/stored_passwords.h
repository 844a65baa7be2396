// Passwords that are stored as hashes beside others that still stand in clear.
#pragma once

#include <string>

#include "host/database/database.h"
#include "platform/net/background_work.h"

namespace vnq {

struct Host;

class StoredPasswords {
 public:
  explicit StoredPasswords(Host& host);

  /// Opens the rows of a login name whose password is this one: in clear, as the database compares,
  /// or by its hash, on which the cursor then stands. No row: neither. Yields: yes, when a hash is
  /// looked at. Database: Users_ID.
  void OpenUser(Cursor& row, const Expr& UserName, const Expr& password);

  /// Puts the hash in the place of what is stored, some time later, where that is in clear.
  /// Database: Users_ID.
  void HashInPlace(const Expr& UserID, const Expr& password);

  /// The password as it is to be stored. NULL and failed values stay as they are; so does one that
  /// cannot be hashed. Only in a handler. Yields: yes.
  Expr Hashed(const Expr& password);

 private:
  bool StandsOnMatch(Cursor& row, const std::string& password);

  Host& host_;
  BackgroundWork work_;
};

}  // namespace vnq
