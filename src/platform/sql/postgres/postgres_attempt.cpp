#include "platform/sql/postgres/postgres_attempt.h"

#include <libpq-fe.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <climits>

namespace vnq {
namespace {

constexpr const char* kUsualPort = "5432";
constexpr int kSetUpMs = 1000;  // that the set-up may hold up who does not wait for the attempt

pg_conn* StartConnecting(const ServerDatabaseOptions& options) {
  const char* port = options.port.empty() ? kUsualPort : options.port.c_str();
  const std::string& host = options.socketFolder.empty() ? options.host : options.socketFolder;
  constexpr std::array kKeys = {"host",
                                "port",
                                "dbname",
                                "user",
                                "password",
                                "client_encoding",
                                "application_name",
                                "keepalives",
                                "keepalives_idle",
                                "keepalives_interval",
                                "keepalives_count",
                                static_cast<const char*>(nullptr)};
  const std::array<const char*, kKeys.size()> values = {host.c_str(),
                                                        port,
                                                        options.database.c_str(),
                                                        options.user.c_str(),
                                                        options.password.c_str(),
                                                        "UTF8",
                                                        "vnq_main_service",
                                                        "1",
                                                        "30",
                                                        "10",
                                                        "3",
                                                        nullptr};
  return PQconnectStartParams(kKeys.data(), values.data(), 0);
}

// The server gives up a little before this side does: then the session survives.
std::string SetUpStatements(const ServerDatabaseOptions& options) {
  int64_t timeoutMs = std::min<int64_t>(int64_t{options.statementTimeoutS} * 900, INT_MAX);
  bool syncCommits = options.durability == SqlDurability::kCommit;
  return std::string("set synchronous_commit=") + (syncCommits ? "on" : "off") +
         ";set statement_timeout=" + std::to_string(timeoutMs) +
         ";set lock_timeout=" + std::to_string(std::max(1, options.busyTimeoutMs)) +
         // Dates and literals read as everywhere else, however the database is configured.
         ";set datestyle=iso;set standard_conforming_strings=on";
}

}  // namespace

std::unique_ptr<PostgresConnection> PostgresConnection::Connect(
    const ServerDatabaseOptions& options, std::string& error) {
  PostgresAttempt attempt(options);
  while (attempt.Advance(INT_MAX) == PostgresAttempt::State::kPending) {
  }
  error = attempt.error();
  return attempt.Take();
}

bool PostgresConnection::SetUp(const ServerDatabaseOptions& options,
                               const PostgresDeadline& deadline, std::string& error) {
  // Without this the library writes the server's notices to the standard error output.
  auto receive = [](void* self, const PGresult* notice) {
    if (EndsPostgresSession(notice)) static_cast<PostgresConnection*>(self)->farewell_ = true;
  };
  PQsetNoticeReceiver(handle_, receive, this);
  PQsetnonblocking(handle_, 1);
  PostgresReply reply = Run(SetUpStatements(options), deadline);
  if (!reply.done()) error = reply.message;
  return reply.done();
}

PostgresAttempt::PostgresAttempt(const ServerDatabaseOptions& options)
    : options_(options),
      deadline_(std::chrono::seconds(options.connectTimeoutS)),
      connection_(new PostgresConnection(StartConnecting(options))),
      step_(PGRES_POLLING_WRITING) {
  if (PQstatus(connection_->handle_) == CONNECTION_BAD) step_ = PGRES_POLLING_FAILED;
}

PostgresAttempt::State PostgresAttempt::Advance(int waitMs) {
  const PostgresDeadline until(
      std::chrono::milliseconds(std::min(waitMs, deadline_.RemainingMs())));
  while (step_ == PGRES_POLLING_WRITING || step_ == PGRES_POLLING_READING) {
    const short events = step_ == PGRES_POLLING_WRITING ? POLLOUT : POLLIN;
    if (PQsocket(connection_->handle_) < 0) return Fail(connection_->ErrorText());
    if (!connection_->Wait(events, until)) {
      if (deadline_.RemainingMs() > 0) return State::kPending;
      return Fail("no answer to the attempt to connect");
    }
    step_ = PQconnectPoll(connection_->handle_);
  }
  if (!connection_) return State::kFailed;
  if (step_ != PGRES_POLLING_OK) return Fail(connection_->ErrorText());
  std::string why;
  const PostgresDeadline setUp(
      std::chrono::milliseconds(std::min(std::max(waitMs, kSetUpMs), deadline_.RemainingMs())));
  return connection_->SetUp(options_, setUp, why) ? State::kDone : Fail(std::move(why));
}

PostgresAttempt::State PostgresAttempt::Fail(std::string why) {
  error_ = std::move(why);
  connection_.reset();
  step_ = PGRES_POLLING_FAILED;
  return State::kFailed;
}

}  // namespace vnq
