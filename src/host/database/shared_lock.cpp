// What programs that share a database hold against each other.
#include <utility>

#include "host/database/database.h"
#include "support/crc32.h"

namespace vnq {
namespace {

// They tell these locks from those of other programs.
constexpr int kWorkLocks = 6004;
constexpr int kNodeLocks = 6006;

SqlLock LockOfNode(std::string_view node) {
  Crc32 sum;
  sum.Add(node);
  return {kNodeLocks, static_cast<int32_t>(sum.Value())};
}

}  // namespace

void Database::ShareWithNodes(std::string_view node) {
  isShared_ = true;
  driver_->ShareWhileConnected(LockOfNode(node));
}

bool Database::IsNodeGone(std::string_view node) {
  const SqlLock lock = LockOfNode(node);
  return driver_->Lock(lock, false) && driver_->Unlock(lock);
}

SharedLock::SharedLock(Database& database, Kind kind) : database_(database), kind_(kind) {
  // What was read before the lock must not answer a read behind it.
  if (database_.IsShared()) database_.EndTurn();
  isHeld_ = !database_.IsShared() ||
            database_.driver().Lock({kWorkLocks, static_cast<int32_t>(kind_)}, true);
}

SharedLock::~SharedLock() {
  Release();
}

void SharedLock::Release() {
  if (!std::exchange(isHeld_, false) || !database_.IsShared()) return;
  database_.EndTurn();
  database_.driver().Unlock({kWorkLocks, static_cast<int32_t>(kind_)});
}

}  // namespace vnq
