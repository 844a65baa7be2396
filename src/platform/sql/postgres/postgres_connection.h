// Private to platform: one session with a PostgreSQL server. No call waits beyond its deadline.
//
// The client library is used without blocking throughout: a call sends, and then polls until the
// reply is there or the deadline has passed.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "platform/sql/postgres/postgres_values.h"
#include "platform/sql/sql_driver.h"

struct pg_conn;

namespace vnq {

/// When a call has to be back, in the machine's time.
class PostgresDeadline {
 public:
  explicit PostgresDeadline(std::chrono::milliseconds from_now)
      : start_(std::chrono::steady_clock::now()), end_(start_ + from_now) {}

  /// Milliseconds left, rounded up; 0 when it has passed.
  int RemainingMs() const;

  /// Milliseconds since it was set.
  int64_t SpentMs() const;

 private:
  std::chrono::steady_clock::time_point start_, end_;
};

/// How a call ended.
struct PostgresReply {
  enum class Outcome {
    kDone,
    kRefused,  ///< the server answered with an error; the session goes on
    kNotSent,  ///< the session is broken, and the server has done nothing of the call
    kLost,     ///< the session is broken or silent; the server may have done it or not
  };

  Outcome outcome = Outcome::kDone;
  PostgresResult result;   ///< never null when done
  std::string sqlState;    ///< five characters when the server refused
  std::string message;     ///< what went wrong, in one line
  bool isTimeOut = false;  ///< the session was silent up to the deadline, and may not have ended

  bool done() const { return outcome == Outcome::kDone; }
  bool refused() const { return outcome == Outcome::kRefused; }
  bool broken() const { return !done() && !refused(); }

  /// The rows that the statement says it touched; empty for statements that touch none.
  std::string_view rowsTouched() const;

  /// What the server calls the statement it ran, such as "UPDATE 1".
  std::string_view commandTag() const;
};

/// One run of a prepared statement. Refers to what it was made from.
struct PostgresCall {
  const std::string& name;
  std::span<const SqlValue> values;
};

/// True for what the server says when it ends a session.
bool EndsPostgresSession(const pg_result* result);

class PostgresConnection {
 public:
  /// Connects and sets the session up within connectTimeoutS; see PostgresAttempt. Null on failure,
  /// with the reason in `error`.
  static std::unique_ptr<PostgresConnection> Connect(const ServerDatabaseOptions& options,
                                                     std::string& error);
  ~PostgresConnection();

  PostgresConnection(const PostgresConnection&) = delete;
  PostgresConnection& operator=(const PostgresConnection&) = delete;

  /// Runs a text of one or more statements without parameters.
  PostgresReply Run(const std::string& statements, const PostgresDeadline& deadline);

  /// Prepares one statement, on the server under `name`; the empty name is overwritten each time.
  PostgresReply Prepare(const std::string& name, const std::string& statement,
                        const PostgresDeadline& deadline);

  /// The columns of a prepared statement, without running it.
  PostgresReply Describe(const std::string& name, const PostgresDeadline& deadline);

  PostgresReply RunPrepared(const std::string& name, const PostgresParameters& parameters,
                            const PostgresDeadline& deadline);

  /// Runs statements as one group, and `then` as its last, which may be null; all of them in one
  /// round trip, and all are done or none. Gives the first refusal of the group; `thenReply` holds
  /// what came of `then` unless the session broke. Not in a transaction of the caller.
  PostgresReply RunGroup(std::span<const PostgresCall> group, const PostgresCall* then,
                         const PostgresDeadline& deadline, PostgresReply& thenReply);

  /// True when the server has ended the session since the last call. Does not wait.
  bool FoundClosed();

  /// True between the caller's `begin` and the end of its transaction.
  bool InTransaction() const;

  /// True when an error has spoilt the transaction, so that only its end is left.
  bool TransactionFailed() const;

 private:
  friend class PostgresAttempt;
  explicit PostgresConnection(pg_conn* handle) : handle_(handle) {}

  bool SetUp(const ServerDatabaseOptions& options, const PostgresDeadline& deadline,
             std::string& error);
  bool Wait(short events, const PostgresDeadline& deadline);
  bool Flush(const PostgresDeadline& deadline, PostgresReply& reply);
  bool AwaitResult(const PostgresDeadline& deadline, PostgresReply& reply);
  bool Send(const PostgresCall& call);
  PostgresReply Collect(bool sent, const PostgresDeadline& deadline);
  PostgresReply CollectAnswer(const PostgresDeadline& deadline);
  PostgresReply CollectGroupEnd(const PostgresDeadline& deadline);
  PostgresReply Judge(PostgresResult result) const;
  PostgresReply Broken(PostgresReply::Outcome outcome) const;
  std::string ErrorText() const;

  pg_conn* handle_;
  bool farewell_ = false;  // the server has said that it ends the session
};

}  // namespace vnq
