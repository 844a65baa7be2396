// Private to platform: an attempt to connect to a PostgreSQL server, which can go on while the
// thread does other work.
#pragma once

#include <memory>
#include <string>

#include "platform/sql/postgres/postgres_connection.h"

namespace vnq {

class PostgresAttempt {
 public:
  /// Begins it. It is given up connectTimeoutS later. The options outlive it.
  ///
  /// A host name is looked up here, by the system's resolver, which keeps its own time: an address
  /// needs no look-up.
  explicit PostgresAttempt(const ServerDatabaseOptions& options);

  enum class State { kPending, kDone, kFailed };

  /// Goes on with it, and waits at most so long for the server's next word.
  State Advance(int waitMs);

  /// The connection, ready for statements, of an attempt that is done.
  std::unique_ptr<PostgresConnection> Take() { return std::move(connection_); }

  /// Why it has failed.
  const std::string& error() const { return error_; }

 private:
  State Fail(std::string why);

  const ServerDatabaseOptions& options_;
  PostgresDeadline deadline_;
  std::unique_ptr<PostgresConnection> connection_;
  int step_;  // a PostgresPollingStatusType
  std::string error_;
};

}  // namespace vnq
