#include "platform/sql/postgres/postgres_connection.h"

#include <libpq-fe.h>
#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>

namespace vnq {
namespace {

using Outcome = PostgresReply::Outcome;

constexpr const char* kUsualPort = "5432";

// The client library's messages are lines; a log entry is one.
std::string OneLine(const char* text) {
  std::string line = text ? text : "";
  while (!line.empty() && (line.back() == '\n' || line.back() == ' ')) line.pop_back();
  std::replace_if(
      line.begin(), line.end(), [](char c) { return c == '\n' || c == '\t'; }, ' ');
  return line;
}

std::string ErrorField(const pg_result* result, int field) {
  return OneLine(PQresultErrorField(result, field));
}

bool EndsSession(const pg_result* result) {
  const char* severity = PQresultErrorField(result, PG_DIAG_SEVERITY_NONLOCALIZED);
  return severity && (strcmp(severity, "FATAL") == 0 || strcmp(severity, "PANIC") == 0);
}

pg_conn* StartConnecting(const ServerDatabaseOptions& options) {
  const char* port = options.port.empty() ? kUsualPort : options.port.c_str();
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
  const std::array<const char*, kKeys.size()> values = {options.host.c_str(),
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
         // Dates and literals read as everywhere else, however the database is configured.
         ";set datestyle=iso;set standard_conforming_strings=on";
}

}  // namespace

int PostgresDeadline::RemainingMs() const {
  auto left = std::chrono::ceil<std::chrono::milliseconds>(end_ - std::chrono::steady_clock::now());
  return static_cast<int>(std::clamp<int64_t>(left.count(), 0, INT_MAX));
}

int64_t PostgresDeadline::SpentMs() const {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now() - start_).count();
}

std::string_view PostgresReply::rowsTouched() const {
  return PQcmdTuples(result.get());
}

std::string_view PostgresReply::commandTag() const {
  return PQcmdStatus(result.get());
}

std::unique_ptr<PostgresConnection> PostgresConnection::Connect(
    const ServerDatabaseOptions& options, std::string& error) {
  PostgresDeadline deadline(options.connectTimeoutS);
  std::unique_ptr<PostgresConnection> connection(new PostgresConnection(StartConnecting(options)));
  if (!connection->FinishConnecting(deadline, error)) return nullptr;
  if (!connection->SetUp(options, deadline, error)) return nullptr;
  return connection;
}

PostgresConnection::~PostgresConnection() {
  PQfinish(handle_);
}

bool PostgresConnection::FinishConnecting(const PostgresDeadline& deadline, std::string& error) {
  PostgresPollingStatusType step = PGRES_POLLING_WRITING;
  if (PQstatus(handle_) == CONNECTION_BAD) step = PGRES_POLLING_FAILED;
  while (step == PGRES_POLLING_WRITING || step == PGRES_POLLING_READING) {
    if (!Wait(step == PGRES_POLLING_WRITING ? POLLOUT : POLLIN, deadline)) {
      error = "no answer to the attempt to connect";
      return false;
    }
    step = PQconnectPoll(handle_);
  }
  if (step == PGRES_POLLING_OK) return true;
  error = ErrorText();
  return false;
}

bool PostgresConnection::SetUp(const ServerDatabaseOptions& options,
                               const PostgresDeadline& deadline, std::string& error) {
  // Without this the library writes the server's notices to the standard error output.
  auto receive = [](void* self, const PGresult* notice) {
    if (EndsSession(notice)) static_cast<PostgresConnection*>(self)->farewell_ = true;
  };
  PQsetNoticeReceiver(handle_, receive, this);
  PQsetnonblocking(handle_, 1);
  PostgresReply reply = Run(SetUpStatements(options), deadline);
  if (!reply.done()) error = reply.message;
  return reply.done();
}

PostgresReply PostgresConnection::Run(const std::string& statements,
                                      const PostgresDeadline& deadline) {
  return Collect(PQsendQuery(handle_, statements.c_str()) == 1, deadline);
}

PostgresReply PostgresConnection::Prepare(const std::string& name, const std::string& statement,
                                          const PostgresDeadline& deadline) {
  return Collect(PQsendPrepare(handle_, name.c_str(), statement.c_str(), 0, nullptr) == 1,
                 deadline);
}

PostgresReply PostgresConnection::Describe(const std::string& name,
                                           const PostgresDeadline& deadline) {
  return Collect(PQsendDescribePrepared(handle_, name.c_str()) == 1, deadline);
}

PostgresReply PostgresConnection::RunPrepared(const std::string& name,
                                              const PostgresParameters& parameters,
                                              const PostgresDeadline& deadline) {
  int sent = PQsendQueryPrepared(handle_, name.c_str(), parameters.count(), parameters.texts(),
                                 nullptr, nullptr, 0);
  return Collect(sent == 1, deadline);
}

// Between two calls the server sends next to nothing, so what is readable now is mostly its
// farewell. The end of the stream may come a little behind that.
bool PostgresConnection::FoundClosed() {
  pollfd entry{PQsocket(handle_), POLLIN, 0};
  while (PQstatus(handle_) == CONNECTION_OK && !farewell_ && poll(&entry, 1, 0) > 0) {
    if (PQconsumeInput(handle_) == 0) return true;
    PQisBusy(handle_);  // reads the messages
  }
  return farewell_ || PQstatus(handle_) != CONNECTION_OK;
}

bool PostgresConnection::InTransaction() const {
  PGTransactionStatusType status = PQtransactionStatus(handle_);
  return status == PQTRANS_INTRANS || status == PQTRANS_INERROR;
}

bool PostgresConnection::TransactionFailed() const {
  return PQtransactionStatus(handle_) == PQTRANS_INERROR;
}

// False when the deadline has passed.
bool PostgresConnection::Wait(short events, const PostgresDeadline& deadline) {
  pollfd entry{PQsocket(handle_), events, 0};
  if (entry.fd < 0) return false;
  int ready;
  do {
    ready = poll(&entry, 1, deadline.RemainingMs());
  } while (ready < 0 && errno == EINTR);
  return ready > 0;
}

// A server that answers while this side still sends has to be read, or both would wait for ever.
bool PostgresConnection::Flush(const PostgresDeadline& deadline, PostgresReply& reply) {
  for (int left = PQflush(handle_); left != 0; left = PQflush(handle_)) {
    if (left < 0) {
      reply = Broken(Outcome::kNotSent);
    } else if (!Wait(POLLIN | POLLOUT, deadline)) {
      reply = Broken(Outcome::kLost);
      reply.message = "the server takes no statement";
    } else if (PQconsumeInput(handle_) == 0) {
      reply = Broken(Outcome::kLost);
    } else {
      continue;
    }
    return false;
  }
  return true;
}

// Makes sure that the next result can be taken without waiting.
bool PostgresConnection::AwaitResult(const PostgresDeadline& deadline, PostgresReply& reply) {
  while (PQisBusy(handle_) != 0) {
    if (!Wait(POLLIN, deadline)) {
      reply = Broken(Outcome::kLost);
      reply.message = "no answer in time";
      return false;
    }
    if (PQconsumeInput(handle_) == 0) {
      // What came before the end tells why.
      if (PQisBusy(handle_) == 0) break;
      reply = Broken(Outcome::kLost);
      return false;
    }
  }
  return true;
}

// Reads everything that answers what was sent: the last result counts, and the first error more.
PostgresReply PostgresConnection::Collect(bool sent, const PostgresDeadline& deadline) {
  PostgresReply reply;
  if (!sent) {
    bool broken = PQstatus(handle_) != CONNECTION_OK;
    return Broken(broken ? Outcome::kNotSent : Outcome::kRefused);
  }
  if (!Flush(deadline, reply)) return reply;
  for (bool answered = false;; answered = true) {
    if (!AwaitResult(deadline, reply)) return reply;
    PostgresResult result(PQgetResult(handle_));
    if (!result) return answered ? std::move(reply) : Broken(Outcome::kLost);
    if (reply.done()) reply = Judge(std::move(result));
    if (reply.outcome == Outcome::kLost) return reply;
  }
}

PostgresReply PostgresConnection::Judge(PostgresResult result) const {
  PostgresReply reply;
  switch (PQresultStatus(result.get())) {
    case PGRES_COMMAND_OK:
    case PGRES_TUPLES_OK:
      reply.result = std::move(result);
      return reply;
    case PGRES_EMPTY_QUERY:
      reply.outcome = Outcome::kRefused;
      reply.message = "an empty statement";
      return reply;
    case PGRES_COPY_IN:
    case PGRES_COPY_OUT:
    case PGRES_COPY_BOTH:
      // Only the end of the session ends it without the data.
      reply.outcome = Outcome::kLost;
      reply.message = "a statement that copies a stream of data";
      return reply;
    default:
      break;
  }
  reply.sqlState = ErrorField(result.get(), PG_DIAG_SQLSTATE);
  reply.message = ErrorField(result.get(), PG_DIAG_MESSAGE_PRIMARY);
  // What the client library itself finds has no fields.
  if (reply.message.empty()) reply.message = OneLine(PQresultErrorMessage(result.get()));
  bool ended = EndsSession(result.get()) || PQstatus(handle_) != CONNECTION_OK;
  reply.outcome = ended ? Outcome::kLost : Outcome::kRefused;
  return reply;
}

PostgresReply PostgresConnection::Broken(Outcome outcome) const {
  PostgresReply reply;
  reply.outcome = outcome;
  reply.message = ErrorText();
  return reply;
}

std::string PostgresConnection::ErrorText() const {
  std::string text = OneLine(PQerrorMessage(handle_));
  return text.empty() ? "the connection broke" : text;
}

}  // namespace vnq
