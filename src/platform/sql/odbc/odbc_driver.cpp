#include <fmt/format.h>

#include <optional>

#include "platform/net/clock.h"
#include "platform/sql/lock_patience.h"
#include "platform/sql/odbc/odbc_connection.h"
#include "platform/sql/row_statements.h"
#include "platform/sql/server_availability.h"
#include "platform/system/event_log.h"
#include "support/ascii_case.h"

namespace vnq {
namespace {

// Locks the place where the row would be until the statement has ended, whether or not it is there.
constexpr RowWriting kWriting = {BracketedName, false, nullptr, " with(updlock,holdlock)"};

// Its answer is a number below 0 where the lock was not had, and no error.
std::string TakeLock(const SqlLock& lock, std::string_view mode, int64_t waitMs) {
  return fmt::format(
      "declare @answer int exec @answer=sp_getapplock @Resource='vnq {}.{}',@LockMode='{}',"
      "@LockOwner='Session',@LockTimeout={} if @answer<0 raiserror('the lock is taken',16,1)",
      lock.space, lock.number, mode, waitMs);
}

// A connection that was idle this long is tried with a statement that does no harm, before one that
// must not run twice.
constexpr int64_t kTrustedMs = 1000;

bool StartsWith(std::string_view statement, std::string_view lowerWord) {
  size_t start = statement.find_first_not_of(" \t\r\n");
  if (start == std::string_view::npos) return false;
  std::string_view word = statement.substr(start, lowerWord.size());
  return SameButForCase(word, lowerWord);
}

std::string NameForLog(const ServerDatabaseOptions& options) {
  return fmt::format("database {} on {}", options.database, options.host);
}

class OdbcDriver final : public SqlDriver {
 public:
  explicit OdbcDriver(ServerDatabaseOptions options)
      : options_(std::move(options)),
        availability_(NameForLog(options_), options_.clock),
        patience_(options_.busyTimeoutMs, options_.clock) {}

  bool Query(std::string_view statement, std::span<const SqlValue> parameters,
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
  bool OwesCommit() const override { return false; }
  bool SyncCommitted() override;
  const std::string& LastError() const override { return lastError_; }
  SqlTrouble LastTrouble() const override { return trouble_; }

 private:
  enum class Repeatable { kNo, kYes };

  int64_t NowMs() const { return MonotonicMs(options_.clock); }

  template <typename Work>
  bool Run(std::string_view statement, Repeatable repeatable, const Work& work);
  template <typename Work>
  bool RunOnce(std::string_view statement, Repeatable repeatable, const Work& work,
               bool& mayRepeat);
  bool EnsureConnected();
  bool Change(const std::string& statement, std::span<const SqlValue> values);
  void ProbeIdle();
  void TellLockWait();
  void NoteLocks(std::string_view statement, bool done);
  void LoseSession(bool pauses, int64_t startMs);
  bool Fail(std::string_view statement, std::string_view why);
  bool RunTransactionStep(std::string_view statement, std::string_view own);
  bool ChangeOneRow(std::string_view verb, std::string_view set, const SqlRows& rows, size_t row,
                    std::span<const SqlValue> values, const OdbcTable*& table);

  ServerDatabaseOptions options_;
  ServerAvailability availability_;
  LockPatience patience_;
  std::string wantedLock_;  // the statement that waited for it in vain
  std::unique_ptr<OdbcConnection> connection_;
  std::optional<SqlLock> shared_;  // while a connection stands
  int64_t lockWaitMs_ = -1;        // that the server knows of
  std::string lastError_;
  SqlTrouble trouble_ = SqlTrouble::kNone;  // what lastError_ comes of
  int64_t lastAnswerMs_ = 0;
  bool inTransaction_ = false;  // until it ends, also when its connection does before
  bool mayBeLost_ = false;      // a change, whose answer never came
};

bool OdbcDriver::Fail(std::string_view statement, std::string_view why) {
  lastError_ = StatementFailure(statement, why);
  trouble_ = SqlTrouble::kNone;
  return false;
}

bool OdbcDriver::EnsureConnected() {
  if (connection_) return true;
  trouble_ = SqlTrouble::kUnavailable;
  if (!availability_.MayTry()) {
    lastError_ = availability_.why();
    return false;
  }
  int64_t start = MonotonicMs(nullptr);
  OdbcError error;
  connection_ = OdbcConnection::Open(options_, error);
  lockWaitMs_ = -1;
  SQLLEN none = 0;
  if (connection_ && shared_) {
    connection_->Change(TakeLock(*shared_, "Shared", options_.busyTimeoutMs), {}, none, error);
  }
  if (connection_) return true;
  lastError_ = error.Describe();
  LoseSession(true, start);
  return false;
}

// A server that is silent, or that refuses the connection, gets a pause; one that has ended the
// session is called again at once.
void OdbcDriver::LoseSession(bool pauses, int64_t startMs) {
  connection_.reset();
  trouble_ = SqlTrouble::kUnavailable;
  if (pauses) return availability_.NoteLost(lastError_, MonotonicMs(nullptr) - startMs);
  LogWarning("database_session", "{}: {}; connecting again", availability_.name(), lastError_);
}

// Runs `work` on a connection that stands. What may be repeated is, once, when the connection that
// stood turns out to be gone.
template <typename Work>
bool OdbcDriver::Run(std::string_view statement, Repeatable repeatable, const Work& work) {
  if (inTransaction_ && !connection_) return Fail(statement, "its transaction is lost");
  if (repeatable == Repeatable::kNo) ProbeIdle();
  bool mayRepeat = repeatable == Repeatable::kYes && connection_ && !inTransaction_;
  if (RunOnce(statement, repeatable, work, mayRepeat)) return true;
  bool dummy = false;
  return mayRepeat && RunOnce(statement, repeatable, work, dummy);
}

// Clears mayRepeat where another run could not help.
template <typename Work>
bool OdbcDriver::RunOnce(std::string_view statement, Repeatable repeatable, const Work& work,
                         bool& mayRepeat) {
  if (!EnsureConnected()) return mayRepeat = false;
  TellLockWait();
  int64_t start = MonotonicMs(nullptr);
  OdbcError error;
  bool done = work(*connection_, error);
  if (!done) {
    Fail(statement, error.Describe());
    trouble_ = error.trouble;
  }
  NoteLocks(statement, done);
  if (!done && (error.IsLost() || connection_->IsDead())) {
    mayRepeat = mayRepeat && !error.IsTimeOut();
    mayBeLost_ = mayBeLost_ || repeatable == Repeatable::kNo;
    LoseSession(error.IsTimeOut() || inTransaction_, start);
    return false;
  }
  mayRepeat = false;
  lastAnswerMs_ = NowMs();
  availability_.NoteWorking();
  return done;
}

// Has the server wait for locks as long as it may now. Refused, it is told again: it then waits as
// long as a statement may take.
void OdbcDriver::TellLockWait() {
  const int64_t waitMs = patience_.WaitMs();
  if (waitMs == lockWaitMs_) return;
  OdbcError error;
  const std::string words = fmt::format("set lock_timeout {}", waitMs);
  if (connection_->Execute(words, {}, error)) lockWaitMs_ = waitMs;
}

void OdbcDriver::NoteLocks(std::string_view statement, bool done) {
  if (!done && trouble_ == SqlTrouble::kLocked) {
    patience_.NoteVain();
    wantedLock_ = statement;
  } else if (done && !wantedLock_.empty() && statement == wantedLock_) {
    patience_.NoteHad();
    wantedLock_.clear();
  }
}

// A server that was started anew has closed the connection, and nothing tells before something is
// sent.
void OdbcDriver::ProbeIdle() {
  if (!connection_ || inTransaction_ || NowMs() - lastAnswerMs_ < kTrustedMs) return;
  Run("select 1", Repeatable::kYes, [](OdbcConnection& connection, OdbcError& error) {
    return connection.Execute("select 1", {}, error);
  });
}

bool OdbcDriver::Query(std::string_view statement, std::span<const SqlValue> parameters,
                       SqlRows& rows) {
  auto repeatable = StartsWith(statement, "select") ? Repeatable::kYes : Repeatable::kNo;
  return Run(statement, repeatable, [&](OdbcConnection& connection, OdbcError& error) {
    return connection.Query(statement, parameters, rows, error);
  });
}

bool OdbcDriver::Execute(std::string_view statement, std::span<const SqlValue> parameters) {
  if (StartsWith(statement, "begin")) return RunTransactionStep(statement, "begin transaction");
  if (StartsWith(statement, "commit")) return RunTransactionStep(statement, "commit");
  // One that goes back to a savepoint ends nothing.
  constexpr std::string_view kRollback = "rollback";
  if (StartsWith(statement, kRollback) && statement.size() == kRollback.size()) {
    return RunTransactionStep(statement, kRollback);
  }
  return Run(statement, Repeatable::kNo, [&](OdbcConnection& connection, OdbcError& error) {
    return connection.Execute(statement, parameters, error);
  });
}

// A transaction whose connection is lost takes no further statement: it would be committed by
// itself.
bool OdbcDriver::RunTransactionStep(std::string_view statement, std::string_view own) {
  bool begins = own.starts_with("begin");
  bool lost = inTransaction_ && !connection_;
  if (!begins && lost) {
    inTransaction_ = false;
    return own == "rollback" || Fail(statement, "its transaction is lost");
  }
  bool done = Run(statement, Repeatable::kNo, [&](OdbcConnection& connection, OdbcError& error) {
    return connection.Execute(own, {}, error);
  });
  // After a rollback there is none in any case: a server also ends one by itself.
  if (done || !connection_ || own == "rollback") inTransaction_ = begins && done;
  return done;
}

// The server commits durably by itself: only what never had an answer is in doubt.
bool OdbcDriver::SyncCommitted() {
  if (!std::exchange(mayBeLost_, false)) return true;
  Fail("sync", "the session ended before it answered a change");
  trouble_ = SqlTrouble::kUnavailable;
  return false;
}

bool OdbcDriver::Insert(const SqlRows& target, std::span<const SqlAssignment> values) {
  if (target.table.empty()) return Fail("insert", "the row set comes from no single table");
  const RowStatement insert = InsertStatement(BracketedName(target.table), values, kWriting);
  return Change(insert.text, insert.parameters);
}

bool OdbcDriver::InsertOnce(const SqlRows& target, std::span<const SqlAssignment> values,
                            std::span<const SqlAssignment> key) {
  if (target.table.empty()) return Fail("insert", "the row set comes from no single table");
  const RowStatement insert =
      InsertOnceStatement(BracketedName(target.table), values, key, kWriting);
  return Change(insert.text, insert.parameters);
}

bool OdbcDriver::Change(const std::string& statement, std::span<const SqlValue> values) {
  return Run(statement, Repeatable::kNo, [&](OdbcConnection& connection, OdbcError& error) {
    SQLLEN changed = 0;
    return connection.Change(statement, values, changed, error);
  });
}

bool OdbcDriver::Lock(const SqlLock& lock, bool waits) {
  return Change(TakeLock(lock, "Exclusive", waits ? patience_.WaitMs() : 0), {});
}

bool OdbcDriver::Unlock(const SqlLock& lock) {
  return Change(fmt::format("exec sp_releaseapplock @Resource='vnq {}.{}',@LockOwner='Session'",
                            lock.space, lock.number),
                {});
}

bool OdbcDriver::UpdateRow(SqlRows& rows, size_t row, std::span<const SqlAssignment> values) {
  if (values.empty()) return true;
  const RowStatement set = SetClause(values, kWriting);
  const OdbcTable* table = nullptr;
  if (!ChangeOneRow("update", set.text, rows, row, set.parameters, table)) return false;
  RefreshOdbcIdentity(*table, rows, row, values);
  return true;
}

bool OdbcDriver::DeleteRow(const SqlRows& rows, size_t row) {
  const OdbcTable* table = nullptr;
  return ChangeOneRow("delete", "", rows, row, {}, table);
}

// Runs an update or delete on the one row alone. Of several rows that are equal in all that was
// read, it meets one.
bool OdbcDriver::ChangeOneRow(std::string_view verb, std::string_view set, const SqlRows& rows,
                              size_t row, std::span<const SqlValue> values,
                              const OdbcTable*& table) {
  const std::string statement = fmt::format("{} {}{}", verb, rows.table, set);
  if (rows.table.empty()) return Fail(statement, "the row set comes from no single table");
  if (row >= rows.rowCount()) return Fail(statement, "no current row");
  SQLLEN changed = 0;
  bool done = Run(statement, Repeatable::kNo, [&](OdbcConnection& connection, OdbcError& error) {
    table = connection.Table(rows.table, error);
    if (!table) return false;
    std::vector<SqlValue> parameters(values.begin(), values.end());
    std::string condition = OdbcRowCondition(*table, rows, row, parameters);
    if (condition.empty()) {
      error.text = "nothing finds its row again";
      return false;
    }
    std::string text =
        fmt::format("{} top (1) {}{} where {}", verb, BracketedName(rows.table), set, condition);
    return connection.Change(text, parameters, changed, error);
  });
  return done && (changed != 0 || Fail(statement, "the row is no longer there"));
}

}  // namespace

std::unique_ptr<SqlDriver> OpenOdbc(ServerDatabaseOptions options) {
  return std::make_unique<OdbcDriver>(std::move(options));
}

}  // namespace vnq
