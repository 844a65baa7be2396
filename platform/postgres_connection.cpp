#include "platform/postgres_connection.h"

#include <fmt/format.h>
#include <poll.h>

#include <chrono>
#include <vector>

#include "support/utf8.h"

namespace vnq {
namespace {

int64_t NowMs() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

// Waits for the socket; false when the deadline has passed.
bool WaitForSocket(PGconn* handle, short events, int64_t deadlineMs) {
  const int64_t left = deadlineMs - NowMs();
  if (left <= 0) return false;
  pollfd waited{PQsocket(handle), events, 0};
  const int ready = poll(&waited, 1, static_cast<int>(left));
  return ready > 0 || (ready < 0 && errno == EINTR);
}

std::string FirstLine(const char* message) {
  std::string_view text = message ? message : "";
  text = text.substr(0, text.find('\n'));
  return std::string(text);
}

bool NeedsReplacing(std::string_view text) {
  for (size_t at = 0; at < text.size();) {
    if (text[at] == '\0') return true;
    const char32_t value = NextSequence(text, at);
    if (value == kReplacementCharacter || IsHighSurrogate(value) || IsLowSurrogate(value)) {
      return true;
    }
  }
  return false;
}

// What the session is to be like. The server gives a statement up before this side drops the
// connection, so that only a server that keeps silent costs one.
std::string SessionOptions(const ServerDatabaseOptions& options) {
  const bool each = options.durability == SqlDurability::kCommit;
  return fmt::format("-c statement_timeout={} -c synchronous_commit={}",
                     options.statementTimeoutS * 900, each ? "on" : "off");
}

PGconn* BeginConnect(const ServerDatabaseOptions& options) {
  const std::string session = SessionOptions(options);
  const char* const names[] = {"host",
                               "port",
                               "dbname",
                               "user",
                               "password",
                               "options",
                               "client_encoding",
                               "fallback_application_name",
                               "keepalives_idle",
                               nullptr};
  const char* const values[] = {options.host.c_str(),
                                options.port.c_str(),
                                options.database.c_str(),
                                options.user.c_str(),
                                options.password.c_str(),
                                session.c_str(),
                                "UTF8",
                                "vnq_main_service",
                                "60",
                                nullptr};
  return PQconnectStartParams(names, values, 0);
}

}  // namespace

std::string ToPostgresText(std::string_view text) {
  if (!NeedsReplacing(text)) return std::string(text);
  std::string cleaned;
  for (size_t at = 0; at < text.size();) {
    char32_t value = NextCodePoint(text, at);
    if (value == 0 || IsHighSurrogate(value) || IsLowSurrogate(value)) {
      value = kReplacementCharacter;
    }
    AppendUtf8(cleaned, value);
  }
  return cleaned;
}

std::string PostgresQuotedName(std::string_view name) {
  std::string quoted = "\"";
  for (char c : name) {
    if (c == '"') quoted += '"';
    quoted += c;
  }
  return quoted + '"';
}

std::unique_ptr<PostgresConnection> PostgresConnection::Open(const ServerDatabaseOptions& options,
                                                             std::string& error) {
  PGconn* handle = BeginConnect(options);
  if (!handle) {
    error = "out of memory";
    return nullptr;
  }
  std::unique_ptr<PostgresConnection> connection(
      new PostgresConnection(handle, options.statementTimeoutS));
  const int64_t deadline = NowMs() + int64_t{1000} * options.connectTimeoutS;
  PostgresPollingStatusType state = PGRES_POLLING_WRITING;
  if (PQstatus(handle) == CONNECTION_BAD) state = PGRES_POLLING_FAILED;
  while (state == PGRES_POLLING_READING || state == PGRES_POLLING_WRITING) {
    if (!WaitForSocket(handle, state == PGRES_POLLING_READING ? POLLIN : POLLOUT, deadline)) {
      error = fmt::format("no connection within {} s", options.connectTimeoutS);
      return nullptr;
    }
    state = PQconnectPoll(handle);
  }
  if (state != PGRES_POLLING_OK || PQsetnonblocking(handle, 1) != 0) {
    error = FirstLine(PQerrorMessage(handle));
    return nullptr;
  }
  PQsetNoticeProcessor(
      handle, [](void*, const char*) {}, nullptr);
  return connection;
}

void PostgresConnection::BeginStatement() {
  deadlineMs_ = NowMs() + int64_t{1000} * timeoutS_;
}

bool PostgresConnection::IsAlive() {
  if (lost_) return false;
  pollfd waited{PQsocket(handle_), POLLIN, 0};
  if (poll(&waited, 1, 0) <= 0) return true;
  // Something has come that nobody asked for: a farewell, or the end of the stream.
  if (PQconsumeInput(handle_) == 1 && PQstatus(handle_) == CONNECTION_OK) {
    PQisBusy(handle_);  // takes in what was read
    if (PQstatus(handle_) == CONNECTION_OK) return true;
  }
  Lose(FirstLine(PQerrorMessage(handle_)));
  return false;
}

PostgresResult PostgresConnection::Prepare(const std::string& name, const std::string& text) {
  return Finish(PQsendPrepare(handle_, name.c_str(), text.c_str(), 0, nullptr) == 1);
}

PostgresResult PostgresConnection::Describe(const std::string& name) {
  return Finish(PQsendDescribePrepared(handle_, name.c_str()) == 1);
}

PostgresResult PostgresConnection::Run(const std::string& name,
                                       std::span<const SqlValue> parameters) {
  std::vector<std::string> texts(parameters.size());
  std::vector<const char*> values(parameters.size());
  for (size_t i = 0; i < parameters.size(); ++i) {
    const SqlValue& value = parameters[i];
    if (value.kind == SqlValue::Kind::kNull) continue;
    const bool integer = value.kind == SqlValue::Kind::kInteger;
    texts[i] = integer ? std::to_string(value.integer) : ToPostgresText(value.text);
    values[i] = texts[i].c_str();
  }
  return Finish(PQsendQueryPrepared(handle_, name.c_str(), static_cast<int>(values.size()),
                                    values.data(), nullptr, nullptr, 0) == 1);
}

PostgresResult PostgresConnection::RunText(const std::string& statements) {
  return Finish(PQsendQuery(handle_, statements.c_str()) == 1);
}

PostgresResult PostgresConnection::Finish(bool sent) {
  if (!sent) return Lose(FirstLine(PQerrorMessage(handle_)));
  PostgresResult kept;
  bool failed = false;
  for (;;) {
    if (!WaitForAnswer()) return nullptr;
    PostgresResult next(PQgetResult(handle_));
    if (!next) break;
    if (failed) continue;
    failed = PQresultStatus(next.get()) == PGRES_FATAL_ERROR;
    kept = std::move(next);
  }
  // The server's last word before it goes is an error message of its own.
  if (PQstatus(handle_) != CONNECTION_OK || !kept) {
    return Lose(FirstLine(kept ? PQresultErrorMessage(kept.get()) : PQerrorMessage(handle_)));
  }
  return kept;
}

PostgresResult PostgresConnection::Lose(std::string why) {
  lost_ = true;
  error_ = why.empty() ? "the connection was lost" : std::move(why);
  return nullptr;
}

// Until the next result can be taken without waiting.
bool PostgresConnection::WaitForAnswer() {
  for (;;) {
    const int unsent = PQflush(handle_);
    if (unsent < 0) break;
    if (!PQisBusy(handle_)) return true;
    if (!WaitForSocket(handle_, static_cast<short>(POLLIN | (unsent == 1 ? POLLOUT : 0)),
                       deadlineMs_)) {
      Lose(fmt::format("no answer within {} s", timeoutS_));
      return false;
    }
    if (PQconsumeInput(handle_) != 1) break;
  }
  Lose(FirstLine(PQerrorMessage(handle_)));
  return false;
}

}  // namespace vnq
