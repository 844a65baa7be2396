// Private to platform: one connection to a PostgreSQL server, on which nothing waits without bound.
#pragma once

#include <libpq-fe.h>

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "platform/sql_driver.h"

namespace vnq {

/// What the server answered to one message; null when the connection was lost.
struct ClearPostgresResult {
  void operator()(PGresult* result) const { PQclear(result); }
};
using PostgresResult = std::unique_ptr<PGresult, ClearPostgresResult>;

/// The text as a PostgreSQL in UTF-8 takes it: U+0000, lone surrogates and bytes that are no UTF-8
/// become U+FFFD.
std::string ToPostgresText(std::string_view text);

/// A name in double quotes.
std::string PostgresQuotedName(std::string_view name);

class PostgresConnection {
 public:
  /// Connects within the options' bound. Null on failure, with the reason in `error`.
  static std::unique_ptr<PostgresConnection> Open(const ServerDatabaseOptions& options,
                                                  std::string& error);
  ~PostgresConnection() { PQfinish(handle_); }

  PostgresConnection(const PostgresConnection&) = delete;
  PostgresConnection& operator=(const PostgresConnection&) = delete;

  /// The bound begins anew; it holds for all messages up to the next call.
  void BeginStatement();

  /// Each sends one message and waits for all of its answer. Of several results the first error is
  /// given, else the last.
  PostgresResult Prepare(const std::string& name, const std::string& text);
  PostgresResult Describe(const std::string& name);
  PostgresResult Run(const std::string& name, std::span<const SqlValue> parameters);
  PostgresResult RunText(const std::string& statements);

  /// False when the server has closed the connection meanwhile.
  bool IsAlive();

  /// True between `begin` and `commit` or `rollback`.
  bool InTransaction() const { return PQtransactionStatus(handle_) != PQTRANS_IDLE; }

  /// Nothing can be run on it any more; error() says why.
  bool lost() const { return lost_; }
  const std::string& error() const { return error_; }

  PGconn* handle() const { return handle_; }

 private:
  PostgresConnection(PGconn* handle, int timeoutS) : handle_(handle), timeoutS_(timeoutS) {}

  PostgresResult Finish(bool sent);
  PostgresResult Lose(std::string why);
  bool WaitForAnswer();

  PGconn* handle_;
  int timeoutS_;
  int64_t deadlineMs_ = 0;
  bool lost_ = false;
  std::string error_;
};

}  // namespace vnq
