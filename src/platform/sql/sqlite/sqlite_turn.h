// Private to platform: the transaction that the statements of one turn share on an SQLite file.
//
//   none --read--> reading --write--> (ended) --> writing --End--> none
//
// One for writing is begun as such: one that grew out of reading could be refused because another
// program has written since. While it is open no other program can write, so it is bounded in time
// and in statements. And who waits for the lock asks for it now and then: one that is free for
// moments only would never be found free, so behind so long it is left alone for a while.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

#include "platform/sql/sqlite/sqlite_connection.h"

namespace vnq {

class SqliteTurn {
 public:
  explicit SqliteTurn(sqlite3* database);

  bool IsOpen() const { return state_ != State::kNone; }
  bool IsWriting() const { return state_ == State::kWriting; }

  /// The number of its transaction, another one for each that was begun.
  uint64_t number() const { return number_; }

  /// True when it must end before the next statement may join.
  bool IsOver(int64_t nowMs) const;

  /// Begins or changes the transaction for the next statement. False: refused, nothing is open, and
  /// the engine's error is the connection's.
  bool Join(bool writes, int64_t nowMs);

  /// Has its number be another one: what was read in it may not be so any more.
  void Renumber() { ++number_; }

  /// Counts a statement of this turn that has written.
  void NoteWrite() { ++writes_; }

  /// Commits. False: refused; everything of the turn is undone, and the engine's error is in
  /// `code` and `why`.
  bool End(int& code, std::string& why);

  /// True when the engine has undone the whole turn by itself, as it may where the disk is full.
  bool WasUndone() const { return IsOpen() && sqlite3_get_autocommit(database_) != 0; }

  /// Forgets the turn and tells how many of its statements had written.
  size_t Drop();

  static constexpr int64_t kLongestMs = 3;
  static constexpr size_t kMostStatements = 300;
  static constexpr std::chrono::microseconds kLeftAlone{1000};

 private:
  enum class State { kNone, kReading, kWriting };

  using RealTime = std::chrono::steady_clock;

  bool Begin(State state, int64_t nowMs);
  void LeaveAloneBetweenBursts();

  sqlite3* database_;
  SqliteHandle beginReading_, beginWriting_, commit_, rollback_;
  State state_ = State::kNone;
  uint64_t number_ = 0;
  int64_t beganMs_ = 0;
  size_t statements_ = 0, writes_ = 0;
  RealTime::time_point burst_, released_;  // when the lock was taken behind a pause, and given back
};

}  // namespace vnq
