// Private to platform: whether a database server may be tried now, and what is said of it.
//
// A server that went away holds the thread up once, not at each statement: after a failed attempt
// statements fail at once until the back-off has passed, then one is tried. The log has a line when
// it goes and one when it is back, and nothing between.
#pragma once

#include <cstdint>
#include <string>

namespace vnq {

class Clock;

class ServerAvailability {
 public:
  /// name: what the log calls the database, without its password. clock: null is the machine's.
  ServerAvailability(std::string name, const Clock* clock)
      : name_(std::move(name)), clock_(clock) {}

  const std::string& name() const { return name_; }

  /// False during the back-off; why() then tells what the failed attempt said.
  bool MayTry() const { return NowMs() >= nextAttemptMs_; }

  /// Notes that the database cannot be used. spentMs: how long the attempt held the thread; the
  /// back-off is at least as long, so that a server which keeps silent costs half of the time at
  /// the most.
  void NoteLost(std::string why, int64_t spentMs);

  /// Notes that a statement was answered.
  void NoteWorking();

  /// What the last failed attempt said; empty while the database works.
  const std::string& why() const { return why_; }

  static constexpr int64_t kBackOffMs = 1000;

 private:
  int64_t NowMs() const;

  std::string name_;
  const Clock* clock_;
  std::string why_;
  int64_t nextAttemptMs_ = INT64_MIN;
};

}  // namespace vnq
