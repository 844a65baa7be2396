#include "host/database/trouble_log.h"

#include "platform/net/clock.h"
#include "platform/system/event_log.h"

namespace vnq {
namespace {

std::string_view Words(SqlTrouble cause) {
  switch (cause) {
    case SqlTrouble::kLocked:
      return "another program keeps it locked";
    case SqlTrouble::kFull:
      return "the disk is full";
    case SqlTrouble::kReadOnly:
      return "it may only be read";
    case SqlTrouble::kWriteFailed:
      return "the system refuses to write";
    case SqlTrouble::kForbidden:
      return "its user has not the right to";
    case SqlTrouble::kMissing:
      return "a table or a column is missing";
    case SqlTrouble::kNone:
    case SqlTrouble::kUnavailable:
      break;
  }
  return "it cannot be used";
}

}  // namespace

int64_t TroubleLog::NowMs() const {
  return MonotonicMs(clock_);
}

void TroubleLog::NoteFailed(SqlTrouble cause, std::string_view why, size_t statements) {
  if (cause == SqlTrouble::kNone) return;
  lastFailureMs_ = NowMs();
  if (causes_.empty()) beganMs_ = countedMs_ = lastFailureMs_;
  if (causes_.insert(cause).second && cause != SqlTrouble::kUnavailable) {
    LogWarning("statements_skipped",
               "database: {}; statements are skipped, and what they belong to is acknowledged: {}",
               Words(cause), why);
  }
  skipped_ += statements;
  skippedSinceCount_ += statements;
  writtenSince_ = false;
}

void TroubleLog::Tick() {
  if (causes_.empty()) return;
  const int64_t now = NowMs();
  // Who is refused one thing goes on writing others.
  const bool isRefusal =
      causes_.contains(SqlTrouble::kForbidden) || causes_.contains(SqlTrouble::kMissing);
  const int64_t calmMs = isRefusal ? kCountMs : kCalmMs;
  if (writtenSince_ && now - lastFailureMs_ >= calmMs) return SayOver();
  if (now - countedMs_ >= kCountMs) SayCount(now);
}

void TroubleLog::SayCount(int64_t nowMs) {
  countedMs_ = nowMs;
  if (skippedSinceCount_ == 0) return;
  LogWarning("statements_skipped",
             "database: {} statements skipped in the last minute, {} in {} minutes",
             skippedSinceCount_, skipped_, (nowMs - beganMs_) / kCountMs);
  skippedSinceCount_ = 0;
}

void TroubleLog::SayOver() {
  LogInfo("database_back",
          "database: rows are written again; {} statements were skipped in {} seconds", skipped_,
          (lastFailureMs_ - beganMs_) / 1000);
  causes_.clear();
  skipped_ = skippedSinceCount_ = 0;
}

}  // namespace vnq
