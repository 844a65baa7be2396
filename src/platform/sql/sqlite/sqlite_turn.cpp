#include "platform/sql/sqlite/sqlite_turn.h"

#include <thread>
#include <utility>

namespace vnq {
namespace {

SqliteHandle Prepared(sqlite3* database, const char* text) {
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v3(database, text, -1, SQLITE_PREPARE_PERSISTENT, &statement, nullptr);
  return SqliteHandle(statement);
}

bool Run(const SqliteHandle& statement) {
  if (!statement) return false;
  const bool done = sqlite3_step(statement.get()) == SQLITE_DONE;
  return sqlite3_reset(statement.get()) == SQLITE_OK && done;
}

}  // namespace

SqliteTurn::SqliteTurn(sqlite3* database)
    : database_(database),
      beginReading_(Prepared(database, "begin")),
      beginWriting_(Prepared(database, "begin immediate")),
      commit_(Prepared(database, "commit")),
      rollback_(Prepared(database, "rollback")) {}

bool SqliteTurn::IsOver(int64_t nowMs) const {
  return IsOpen() && (statements_ >= kMostStatements || nowMs - beganMs_ >= kLongestMs);
}

bool SqliteTurn::Join(bool writes, int64_t nowMs) {
  ++statements_;
  if (state_ == State::kWriting) return true;
  if (!writes) return IsOpen() || Begin(State::kReading, nowMs);
  if (IsOpen()) {
    Run(commit_);
    Drop();
  }
  return Begin(State::kWriting, nowMs);
}

void SqliteTurn::LeaveAloneBetweenBursts() {
  const auto now = RealTime::now();
  const auto alone = now - released_;
  if (alone >= kLeftAlone) {
    burst_ = now;
  } else if (now - burst_ >= std::chrono::milliseconds(kLongestMs)) {
    std::this_thread::sleep_for(kLeftAlone - alone);
    burst_ = RealTime::now();
  }
}

bool SqliteTurn::Begin(State state, int64_t nowMs) {
  if (state == State::kWriting) LeaveAloneBetweenBursts();
  if (!Run(state == State::kWriting ? beginWriting_ : beginReading_)) return false;
  state_ = state;
  ++number_;
  beganMs_ = nowMs;
  statements_ = 1;
  return true;
}

bool SqliteTurn::End(int& code, std::string& why) {
  if (!IsOpen()) return true;
  if (Run(commit_)) {
    Drop();
    return true;
  }
  code = sqlite3_extended_errcode(database_);
  why = sqlite3_errmsg(database_);
  if (sqlite3_get_autocommit(database_) == 0) Run(rollback_);
  return false;
}

size_t SqliteTurn::Drop() {
  if (state_ == State::kWriting) released_ = RealTime::now();
  state_ = State::kNone;
  statements_ = 0;
  return std::exchange(writes_, 0);
}

}  // namespace vnq
