#include "platform/sql/postgres/postgres_sessions.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "platform/system/event_log.h"

namespace vnq {
namespace {

// How long an attempt to connect may hold the thread, when it is not the first of all: at its
// beginning, and at each statement that it keeps waiting.
constexpr int kFirstLookMs = 400;
constexpr int kLookMs = 2;

std::string NameOf(const ServerDatabaseOptions& options) {
  return fmt::format("database {} on {}{}{}", options.database,
                     options.socketFolder.empty() ? options.host : options.socketFolder,
                     options.port.empty() ? "" : ":", options.port);
}

}  // namespace

PostgresSession::PostgresSession(std::unique_ptr<PostgresConnection> opened,
                                 const ServerDatabaseOptions& options, uint64_t itsNumber)
    : connection(std::move(opened)),
      statements(*connection, options.exactColumns),
      lockWaitMs(std::max<int64_t>(kNoWaitMs, options.busyTimeoutMs)),
      number(itsNumber) {}

PostgresSessions::PostgresSessions(const ServerDatabaseOptions& options)
    : options_(options), availability_(NameOf(options), options.clock) {}

bool PostgresSessions::Ensure() {
  return availability_.MayTry() && (session_ || Connect());
}

bool PostgresSessions::Connect() {
  const PostgresDeadline began{std::chrono::milliseconds(0)};
  const bool isNew = !attempt_;
  if (isNew) attempt_ = std::make_unique<PostgresAttempt>(options_);
  const bool isFirst = !std::exchange(hasTried_, true);
  const int waitMs = isFirst ? options_.connectTimeoutS * 1000 : isNew ? kFirstLookMs : kLookMs;
  const auto state = attempt_->Advance(waitMs);
  if (state == PostgresAttempt::State::kPending) {
    if (isNew) availability_.NoteLost("no answer to the attempt to connect", began.SpentMs());
    return false;
  }
  const auto attempt = std::exchange(attempt_, nullptr);
  if (state == PostgresAttempt::State::kFailed) {
    availability_.NoteLost(attempt->error(), began.SpentMs());
    return false;
  }
  session_ = std::make_unique<PostgresSession>(attempt->Take(), options_, ++count_);
  return true;
}

void PostgresSessions::Drop(const std::string& why, bool pauses, int64_t spentMs) {
  session_.reset();
  if (pauses) return availability_.NoteLost(why, spentMs);
  LogWarning("database_session", "{}: {}; connecting again", availability_.name(), why);
}

}  // namespace vnq
