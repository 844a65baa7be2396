// Private to platform: the session that statements run in, and how one comes to be.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "platform/sql/postgres/postgres_attempt.h"
#include "platform/sql/postgres/postgres_connection.h"
#include "platform/sql/postgres/postgres_statements.h"
#include "platform/sql/server_availability.h"

namespace vnq {

struct PostgresSession {
  PostgresSession(std::unique_ptr<PostgresConnection> opened, const ServerDatabaseOptions& options,
                  uint64_t itsNumber);

  std::unique_ptr<PostgresConnection> connection;
  PostgresStatements statements;
  int64_t lockWaitMs;  ///< that the server knows of; at least kNoWaitMs
  uint64_t number;     ///< from 1; prepared statements are those of one session

  /// The least wait for a lock that can be told to the server; 0 is without end.
  static constexpr int64_t kNoWaitMs = 1;
};

/// One session after another.
///
/// Only the first attempt of all to connect is waited for: who starts has nothing else to do. Later
/// ones go on beside the statements, which fail meanwhile.
class PostgresSessions {
 public:
  /// The options outlive it.
  explicit PostgresSessions(const ServerDatabaseOptions& options);

  /// The session that stands; null when there is none.
  PostgresSession* current() { return session_.get(); }

  /// Connects where no session stands and one may be tried. False during a pause, and while an
  /// attempt goes on; why() then tells.
  bool Ensure();
  const std::string& why() const { return availability_.why(); }

  /// Gives the session up. With a pause statements fail at once for a while, at least spentMs; else
  /// the server is called again at once, and the log has a line.
  void Drop(const std::string& why, bool pauses, int64_t spentMs);

  /// A pause without the loss of the session.
  void Pause(const std::string& why, int64_t spentMs) { availability_.NoteLost(why, spentMs); }

  /// Notes that a statement was answered.
  void NoteWorking() { availability_.NoteWorking(); }

 private:
  bool Connect();

  const ServerDatabaseOptions& options_;
  ServerAvailability availability_;
  std::unique_ptr<PostgresAttempt> attempt_;
  std::unique_ptr<PostgresSession> session_;
  uint64_t count_ = 0;
  bool hasTried_ = false;
};

}  // namespace vnq
