// Locks that the nodes of a cluster share, in PostgreSQL's own words.
#include <fmt/format.h>

#include <utility>

#include "host/database/database.h"

namespace vnq {

SharedLock::SharedLock(Database& database, Kind kind) : database_(database), kind_(kind) {
  // What was read before the lock must not answer a read behind it.
  if (database_.IsShared()) database_.EndTurn();
  isHeld_ = Run("pg_advisory_lock");
}

SharedLock::~SharedLock() {
  Release();
}

void SharedLock::Release() {
  if (!std::exchange(isHeld_, false) || !database_.IsShared()) return;
  database_.EndTurn();
  Run("pg_advisory_unlock");
}

// The first number tells these locks from those of other programs.
bool SharedLock::Run(const char* function) {
  constexpr int kOwner = 6004;
  if (!database_.IsShared()) return true;
  SqlRows rows;
  return database_.driver().Query(
      fmt::format("select {}({},{})", function, kOwner, static_cast<int>(kind_)), {}, rows);
}

}  // namespace vnq
