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

PostgresReply Silent(const char* what) {
  PostgresReply reply;
  reply.outcome = Outcome::kLost;
  reply.message = what;
  reply.isTimeOut = true;
  return reply;
}

}  // namespace

bool EndsPostgresSession(const pg_result* result) {
  const char* severity = PQresultErrorField(result, PG_DIAG_SEVERITY_NONLOCALIZED);
  return severity && (strcmp(severity, "FATAL") == 0 || strcmp(severity, "PANIC") == 0);
}

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

PostgresConnection::~PostgresConnection() {
  PQfinish(handle_);
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

bool PostgresConnection::Send(const PostgresCall& call) {
  const PostgresParameters values(call.values);
  return PQsendQueryPrepared(handle_, call.name.c_str(), values.count(), values.texts(), nullptr,
                             nullptr, 0) == 1;
}

PostgresReply PostgresConnection::RunGroup(std::span<const PostgresCall> group,
                                           const PostgresCall* then,
                                           const PostgresDeadline& deadline,
                                           PostgresReply& thenReply) {
  bool sent = PQenterPipelineMode(handle_) == 1;
  for (const PostgresCall& call : group) sent = sent && Send(call);
  if (then) sent = sent && Send(*then);
  sent = sent && PQpipelineSync(handle_) == 1;  // which sends them all
  PostgresReply reply;
  if (!sent) return Broken(Outcome::kLost);
  if (!Flush(deadline, reply)) {
    reply.outcome = Outcome::kLost;  // some of it may have left
    return reply;
  }
  for (size_t i = 0; i < group.size(); ++i) {
    PostgresReply answer = CollectAnswer(deadline);
    if (answer.broken()) return answer;
    if (reply.done()) reply = std::move(answer);
  }
  if (then) thenReply = CollectAnswer(deadline);
  if (then && thenReply.broken()) return std::move(thenReply);
  PostgresReply end = CollectGroupEnd(deadline);
  return end.done() ? std::move(reply) : std::move(end);
}

PostgresReply PostgresConnection::CollectGroupEnd(const PostgresDeadline& deadline) {
  PostgresReply end;
  if (!AwaitResult(deadline, end)) return end;
  const PostgresResult result(PQgetResult(handle_));
  const bool isEnd = result && PQresultStatus(result.get()) == PGRES_PIPELINE_SYNC;
  return isEnd && PQexitPipelineMode(handle_) == 1 ? std::move(end) : Broken(Outcome::kLost);
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
      reply = Silent("the server takes no statement");
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
      reply = Silent("no answer in time");
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

PostgresReply PostgresConnection::Collect(bool sent, const PostgresDeadline& deadline) {
  PostgresReply reply;
  if (!sent) {
    bool broken = PQstatus(handle_) != CONNECTION_OK;
    return Broken(broken ? Outcome::kNotSent : Outcome::kRefused);
  }
  return Flush(deadline, reply) ? CollectAnswer(deadline) : std::move(reply);
}

// Reads everything that answers what was sent: the last result counts, and the first error more.
PostgresReply PostgresConnection::CollectAnswer(const PostgresDeadline& deadline) {
  PostgresReply reply;
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
  bool ended = EndsPostgresSession(result.get()) || PQstatus(handle_) != CONNECTION_OK;
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
