// Private to platform: the PostgreSQL driver. Its sessions and statements are in
// postgres_driver.cpp, the rows that cursors add, change and delete in postgres_row_writing.cpp.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/sql/lock_patience.h"
#include "platform/sql/postgres/postgres_memo.h"
#include "platform/sql/postgres/postgres_rows.h"
#include "platform/sql/postgres/postgres_sessions.h"
#include "platform/sql/row_statements.h"

namespace vnq {

class PostgresDriver final : public SqlDriver {
 public:
  explicit PostgresDriver(ServerDatabaseOptions options)
      : options_(std::move(options)),
        sessions_(options_),
        patience_(options_.busyTimeoutMs, options_.clock) {}
  ~PostgresDriver() override { PostgresDriver::EndTurn(); }

  bool Query(std::string_view statement, std::span<const SqlValue> parameters,
             SqlRows& rows) override;
  bool Describe(std::string_view statement, std::span<const SqlValue> parameters,
                SqlRows& rows) override;
  bool Execute(std::string_view statement, std::span<const SqlValue> parameters) override;
  bool Insert(const SqlRows& target, std::span<const SqlAssignment> values) override;
  bool InsertOnce(const SqlRows& target, std::span<const SqlAssignment> values,
                  std::span<const SqlAssignment> key) override;
  bool Lock(const SqlLock& lock, bool waits) override;
  bool Unlock(const SqlLock& lock) override;
  void ShareWhileConnected(const SqlLock& lock) override { shared_ = lock; }
  bool UpdateRow(SqlRows& rows, size_t row, std::span<const SqlAssignment> values) override;
  bool DeleteRow(const SqlRows& rows, size_t row) override;
  bool EndTurn() override;
  bool OwesCommit() const override { return !pending_.empty(); }
  size_t TakeUndone() override { return std::exchange(undone_, 0); }
  bool SyncCommitted() override;
  const std::string& LastError() const override { return lastError_; }
  SqlTrouble LastTrouble() const override { return trouble_; }

 private:
  using Use = PostgresStatements::Use;

  // A statement that was run.
  struct Ran {
    PostgresReply reply;
    PostgresStatement* prepared = nullptr;
  };

  // A row to be added, by a statement that is prepared.
  struct PendingRow {
    RowStatement insert;
    std::string name;
    std::vector<SqlValue> lock;  // that is held from before it to the commit; empty: none
    std::string lockName;        // its prepared statement
  };

  PostgresDeadline Deadline() const {
    return PostgresDeadline(std::chrono::seconds(options_.statementTimeoutS));
  }
  PostgresSession& Session() { return *sessions_.current(); }  // when one stands
  bool EnsureSession(std::string_view statement, bool& fresh);
  void TakeShared();
  void LoseSession(const PostgresReply& reply, bool wasWriting, int64_t spentMs);
  bool Run(std::string_view statement, std::span<const SqlValue> parameters, Use use, Ran& ran);
  void RunOnce(std::string_view statement, std::span<const SqlValue> parameters, Use use,
               const PostgresDeadline& deadline, Ran& ran);
  PostgresReply TellLockWait(const PostgresDeadline& deadline);
  bool Conclude(std::string_view statement, const PostgresDeadline& deadline,
                const PostgresReply& reply);
  void NoteTimeOut(std::string_view statement, const PostgresReply& reply, int64_t spentMs);
  void TakeDescription(const Ran& ran);
  bool Defer(RowStatement& insert);
  void Keep(PendingRow row);
  bool FindGuarded(PendingRow& row);
  static void AppendCalls(const PendingRow& row, std::vector<PostgresCall>& calls);
  bool AddPending();
  bool RunBehindPending(std::string_view statement, std::span<const SqlValue> parameters, Use use,
                        const PostgresDeadline& deadline, Ran& ran);
  bool SendPending(const PostgresCall* then, const PostgresDeadline& deadline,
                   PostgresReply& reply);
  void AddPendingSingly(const std::deque<PendingRow>& pending);
  bool AddSingly(const PendingRow& row);
  bool ChangeOneRow(const std::string& statement, const SqlRows& rows, size_t row,
                    const std::vector<SqlValue>& parameters, Ran& ran);
  PostgresIdentity FindAgain(const PostgresTable& table, const SqlRows& rows, size_t row);
  bool Fail(std::string_view statement, std::string_view why,
            SqlTrouble trouble = SqlTrouble::kNone);

  ServerDatabaseOptions options_;
  PostgresSessions sessions_;
  LockPatience patience_;
  std::string wantedLock_;  // the statement that waited for it in vain
  std::deque<PendingRow> pending_;
  size_t pendingBytes_ = 0;
  PostgresMemo memo_;
  uint64_t pendingSession_ = 0;  // whose names pending_ has
  PostgresRows rows_;
  std::optional<SqlLock> shared_;  // while a session stands
  std::string lastError_;
  SqlTrouble trouble_ = SqlTrouble::kNone;  // what lastError_ comes of
  size_t undone_ = 0;
  bool inTransaction_ = false;
  bool written_ = false;    // since the last sync
  bool mayBeLost_ = false;  // what was written before the last sync, with the session that wrote it
};

}  // namespace vnq
