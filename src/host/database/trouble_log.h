// What the log says of a database that does not take what is written to it.
//
// A statement that fails is skipped, and what it belonged to is acknowledged all the same. So that
// an operator learns of it: one warning with the cause, a count for each minute in which there were
// some, and a line when it is over. A statement that was refused for what it says is no trouble and
// is not counted.
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string_view>

#include "platform/sql/sql_driver.h"

namespace vnq {

class Clock;

class TroubleLog {
 public:
  /// clock: null is the machine's.
  explicit TroubleLog(const Clock* clock) : clock_(clock) {}

  /// Notes statements that failed, or were undone after they had run, and warns of each cause once
  /// as long as the trouble lasts. SqlTrouble::kUnavailable is counted alone: the driver warns.
  void NoteFailed(SqlTrouble cause, std::string_view why, size_t statements = 1);

  /// Notes that a row was written and committed.
  void NoteWritten() { writtenSince_ = true; }

  /// Says the count of the last minute, or that the trouble is over: a row was written since the
  /// last failure, and that was kCalmMs ago; kCountMs where a right, a table or a column was
  /// missing, for that stops only some of the statements. To be called about once a second.
  void Tick();

  /// True from the first failure until the trouble is over.
  bool Lasts() const { return !causes_.empty(); }

  static constexpr int64_t kCountMs = 60'000;
  static constexpr int64_t kCalmMs = 5'000;

 private:
  int64_t NowMs() const;
  void SayCount(int64_t nowMs);
  void SayOver();

  const Clock* clock_;
  std::set<SqlTrouble> causes_;  // that were said; empty: no trouble
  int64_t beganMs_ = 0, lastFailureMs_ = 0, countedMs_ = 0;
  uint64_t skipped_ = 0, skippedSinceCount_ = 0;
  bool writtenSince_ = false;  // the last failure
};

}  // namespace vnq
