#include <strings.h>

#include <algorithm>
#include <deque>
#include <utility>

#include "platform/net/clock.h"
#include "platform/sql/lock_patience.h"
#include "platform/sql/postgres/postgres_memo.h"
#include "platform/sql/postgres/postgres_rows.h"
#include "platform/sql/postgres/postgres_sessions.h"
#include "platform/sql/row_statements.h"

namespace vnq {
namespace {

using Outcome = PostgresReply::Outcome;
using Use = PostgresStatements::Use;

constexpr RowWriting kWriting = {DoubleQuoted, true};

// Flushes the log up to its own end, and so everything committed before. A commit that has written
// nothing does not wait for the log, even with a transaction number of its own; an empty message to
// nobody is the least that makes it, and any user may send it. One statement is one round trip, and
// a setting made for its transaction alone still holds when that commits.
constexpr std::string_view kSyncStatement =
    "select pg_catalog.set_config('synchronous_commit','on',true),"
    "pg_catalog.pg_logical_emit_message(true,'vnq','')";

// 55P03: as long as lock_timeout says; 57014: as long as statement_timeout does, or by somebody's
// request.
constexpr std::string_view kLockNotHad = "55P03";
constexpr std::string_view kGivenUp = "57014";

// How long the columns of a table are taken for what they were.
constexpr int64_t kDescriptionMs = 1000;

// Rows that wait to be sent are kept in memory.
constexpr size_t kMostPendingRows = 100;
constexpr size_t kMostPendingBytes = 1 << 20;

// What was prepared is out of date: the server does not know it any more, its columns have changed,
// or the table under the name is another one now. None of it was run, or only read.
bool IsOutOfDate(const PostgresReply& reply, const PostgresStatement& prepared) {
  if (reply.done()) {
    return prepared.table && CommonPostgresTable(reply.result.get()) != prepared.table->number;
  }
  if (!reply.refused()) return false;
  bool nameless = reply.sqlState == "42703" || reply.sqlState == "42P01";
  return reply.sqlState == "0A000" || reply.sqlState == "26000" || (prepared.table && nameless);
}

// What a reply's error comes of. A read that names what is not there is merely wrong; a write that
// does loses something.
SqlTrouble TroubleOf(std::string_view sqlState, Use use) {
  if (sqlState == kLockNotHad) return SqlTrouble::kLocked;
  if (sqlState == "53100") return SqlTrouble::kFull;
  if (sqlState == "25006") return SqlTrouble::kReadOnly;
  if (sqlState == "58030") return SqlTrouble::kWriteFailed;
  if (sqlState == "42501") return SqlTrouble::kForbidden;
  const bool isMissing = sqlState == "42P01" || sqlState == "42703";
  return isMissing && use != Use::kRows ? SqlTrouble::kMissing : SqlTrouble::kNone;
}

bool StartsWith(std::string_view statement, std::string_view word) {
  statement.remove_prefix(std::min(statement.find_first_not_of(" \t\r\n"), statement.size()));
  return statement.size() >= word.size() &&
         strncasecmp(statement.data(), word.data(), word.size()) == 0;
}

bool MayHaveWritten(const PostgresReply& reply) {
  std::string_view tag = reply.commandTag();
  bool reads = tag.starts_with("SELECT") || tag.starts_with("BEGIN") || tag.starts_with("ROLLBACK");
  return !reads && reply.rowsTouched() != "0";
}

SqlRows WithoutRows(const PostgresStatement& prepared) {
  SqlRows rows;
  rows.columns = prepared.columns;
  if (!prepared.table) return rows;
  rows.table = prepared.table->name;
  rows.identityWidth = prepared.table->identity.size();
  return rows;
}

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
  bool UpdateRow(SqlRows& rows, size_t row, std::span<const SqlAssignment> values) override;
  bool DeleteRow(const SqlRows& rows, size_t row) override;
  bool EndTurn() override;
  bool OwesCommit() const override { return !pending_.empty(); }
  size_t TakeUndone() override { return std::exchange(undone_, 0); }
  bool SyncCommitted() override;
  const std::string& LastError() const override { return lastError_; }
  SqlTrouble LastTrouble() const override { return trouble_; }

 private:
  // A statement that was run.
  struct Ran {
    PostgresReply reply;
    PostgresStatement* prepared = nullptr;
  };

  // A row to be added, by a statement that is prepared.
  struct PendingRow {
    RowStatement insert;
    std::string name;
  };

  PostgresDeadline Deadline() const {
    return PostgresDeadline(std::chrono::seconds(options_.statementTimeoutS));
  }
  PostgresSession& Session() { return *sessions_.current(); }  // when one stands
  bool EnsureSession(std::string_view statement, bool& fresh);
  void LoseSession(const PostgresReply& reply, bool wasWriting, int64_t spentMs);
  bool Run(std::string_view statement, std::span<const SqlValue> parameters, Use use, Ran& ran);
  void RunOnce(std::string_view statement, std::span<const SqlValue> parameters, Use use,
               const PostgresDeadline& deadline, Ran& ran);
  PostgresReply TellLockWait(const PostgresDeadline& deadline);
  bool Conclude(std::string_view statement, Use use, const PostgresDeadline& deadline,
                const PostgresReply& reply);
  void NoteTimeOut(std::string_view statement, const PostgresReply& reply, int64_t spentMs);
  void TakeDescription(const Ran& ran);
  bool Defer(RowStatement& insert);
  bool AddPending();
  bool RunBehindPending(std::string_view statement, std::span<const SqlValue> parameters, Use use,
                        const PostgresDeadline& deadline, Ran& ran);
  bool SendPending(const PostgresCall* then, const PostgresDeadline& deadline,
                   PostgresReply& reply);
  void AddPendingSingly(const std::deque<PendingRow>& pending);
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
  std::string lastError_;
  SqlTrouble trouble_ = SqlTrouble::kNone;  // what lastError_ comes of
  size_t undone_ = 0;
  bool inTransaction_ = false;
  bool written_ = false;    // since the last sync
  bool mayBeLost_ = false;  // what was written before the last sync, with the session that wrote it
};

bool PostgresDriver::Fail(std::string_view statement, std::string_view why, SqlTrouble trouble) {
  lastError_ = StatementFailure(statement, why);
  trouble_ = trouble;
  return false;
}

// --- Sessions ---

// A session that the server has ended meanwhile is replaced at once: nothing was sent in vain. The
// rest of a transaction that went with it must not run by itself.
bool PostgresDriver::EnsureSession(std::string_view statement, bool& fresh) {
  // A select by itself is run again anyway, so it needs no look before.
  const bool isTrusted = StartsWith(statement, "select") && !inTransaction_ && pending_.empty();
  PostgresSession* session = sessions_.current();
  if (session && !isTrusted && session->connection->FoundClosed()) {
    PostgresReply ended;
    ended.outcome = Outcome::kNotSent;
    ended.message = inTransaction_ ? "the connection broke within a transaction"
                                   : "the server has ended the session";
    LoseSession(ended, false, 0);
  }
  fresh = !sessions_.current();
  return sessions_.Ensure() || Fail(statement, sessions_.why(), SqlTrouble::kUnavailable);
}

// What was written since the last sync is lost if the server has crashed, and whether it has cannot
// be told from here. A server that is silent gets a pause; one that has ended the session is called
// again at once.
void PostgresDriver::LoseSession(const PostgresReply& reply, bool wasWriting, int64_t spentMs) {
  memo_.Forget();
  const bool wasUnsynced = written_ && options_.durability == SqlDurability::kReceipt;
  const bool wasCutOff = wasWriting && reply.outcome == Outcome::kLost;
  mayBeLost_ = mayBeLost_ || wasUnsynced || wasCutOff;
  const bool wasInTransaction = std::exchange(inTransaction_, false);
  sessions_.Drop(reply.message, reply.isTimeOut || wasInTransaction, spentMs);
}

// --- Statements ---

bool PostgresDriver::Run(std::string_view statement, std::span<const SqlValue> parameters, Use use,
                         Ran& ran) {
  bool fresh = false;
  if (!EnsureSession(statement, fresh)) return false;
  PostgresDeadline deadline = Deadline();
  const bool spoilt = Session().connection->TransactionFailed();
  if (!RunBehindPending(statement, parameters, use, deadline, ran)) {
    AddPending();
    if (!sessions_.current() && !EnsureSession(statement, fresh)) return false;
    RunOnce(statement, parameters, use, deadline, ran);
  }
  const bool reads = StartsWith(statement, "select");
  const bool isHarmless = reads || ran.reply.outcome == Outcome::kNotSent;
  if (ran.reply.broken() && !ran.reply.isTimeOut && isHarmless && !fresh && !inTransaction_) {
    LoseSession(ran.reply, !reads, deadline.SpentMs());
    if (!EnsureSession(statement, fresh)) return false;
    RunOnce(statement, parameters, use, deadline, ran);
  }
  if (!Conclude(statement, use, deadline, ran.reply)) return false;
  const bool wrote = MayHaveWritten(ran.reply);
  written_ = written_ || wrote;
  if (wrote) memo_.Forget();
  // The server takes the `commit` of a transaction that had an error for a `rollback`.
  if (spoilt && ran.reply.commandTag() == "ROLLBACK" && StartsWith(statement, "commit")) {
    return Fail(statement, "the transaction had an error before and was rolled back");
  }
  return true;
}

void PostgresDriver::RunOnce(std::string_view statement, std::span<const SqlValue> parameters,
                             Use use, const PostgresDeadline& deadline, Ran& ran) {
  ran.reply = TellLockWait(deadline);
  if (!ran.reply.done()) return;
  for (bool anew : {false, true}) {
    ran.reply =
        Session().statements.Prepare(statement, parameters, use, anew, deadline, ran.prepared);
    if (!ran.reply.done()) return;
    PostgresParameters values(parameters);
    ran.reply = Session().connection->RunPrepared(ran.prepared->name, values, deadline);
    bool spoilt = Session().connection->TransactionFailed();
    if (spoilt || !IsOutOfDate(ran.reply, *ran.prepared)) return;
  }
}

// Has the server wait for locks as long as it may now. A transaction keeps what it began with.
PostgresReply PostgresDriver::TellLockWait(const PostgresDeadline& deadline) {
  const int64_t waitMs = std::max(PostgresSession::kNoWaitMs, patience_.WaitMs());
  if (waitMs == Session().lockWaitMs || inTransaction_) return {};
  PostgresReply reply =
      Session().connection->Run("set lock_timeout=" + std::to_string(waitMs), deadline);
  if (reply.done()) Session().lockWaitMs = waitMs;
  return reply;
}

// What follows from a reply for the statements to come.
bool PostgresDriver::Conclude(std::string_view statement, Use use, const PostgresDeadline& deadline,
                              const PostgresReply& reply) {
  std::string why = reply.message;
  if (!reply.sqlState.empty()) why += " (" + reply.sqlState + ")";
  if (reply.broken()) {
    LoseSession(reply, !StartsWith(statement, "select"), deadline.SpentMs());
    return Fail(statement, why, SqlTrouble::kUnavailable);
  }
  inTransaction_ = Session().connection->InTransaction();
  NoteTimeOut(statement, reply, deadline.SpentMs());
  if (reply.sqlState != kGivenUp) sessions_.NoteWorking();
  return reply.done() || Fail(statement, why, TroubleOf(reply.sqlState, use));
}

// A wait in vain for a lock stops the waiting, and nothing else; a statement that was given up for
// the time it took is followed by a pause of all.
void PostgresDriver::NoteTimeOut(std::string_view statement, const PostgresReply& reply,
                                 int64_t spentMs) {
  if (reply.sqlState == kLockNotHad) {
    patience_.NoteVain();
    wantedLock_ = statement;
  } else if (reply.sqlState == kGivenUp && spentMs >= ServerAvailability::kBackOffMs / 2) {
    sessions_.Pause(reply.message, spentMs);
  } else if (!wantedLock_.empty() && reply.done() && statement == wantedLock_) {
    patience_.NoteHad();
    wantedLock_.clear();
  }
}

// What is the same at each run of a statement is read from its first.
void PostgresDriver::TakeDescription(const Ran& ran) {
  PostgresStatement& prepared = *ran.prepared;
  if (!prepared.columns) {
    const size_t behind = prepared.table ? prepared.table->identity.size() : 0;
    const std::string_view hidden = prepared.showsRowColumn ? "" : kSqlRowColumn;
    prepared.columns = std::make_shared<const std::vector<SqlColumn>>(
        ReadPostgresColumns(ran.reply.result.get(), behind, hidden, prepared.shown));
  }
  prepared.describedMs = MonotonicMs(options_.clock);
  if (prepared.table) rows_.NoteTable(prepared.table);
}

bool PostgresDriver::Query(std::string_view statement, std::span<const SqlValue> parameters,
                           SqlRows& rows) {
  const bool mayBeKnown = options_.commit == SqlCommit::kTurn && !inTransaction_;
  const int64_t now = MonotonicMs(options_.clock);
  if (mayBeKnown && memo_.Find(statement, parameters, now, rows)) return true;
  Ran ran;
  if (!Run(statement, parameters, Use::kRows, ran)) return false;
  TakeDescription(ran);
  SqlRows read = WithoutRows(*ran.prepared);
  ReadPostgresRows(ran.reply.result.get(), ran.prepared->shown, read);
  if (mayBeKnown) memo_.Note(statement, parameters, now, read);
  rows = std::move(read);
  return true;
}

// Told from a run that was not long ago. A table that was changed since refuses what does not suit
// it.
bool PostgresDriver::Describe(std::string_view statement, std::span<const SqlValue> parameters,
                              SqlRows& rows) {
  const int64_t now = MonotonicMs(options_.clock);
  const bool mayBeKnown = options_.commit == SqlCommit::kTurn && sessions_.current();
  const PostgresStatement* known =
      mayBeKnown ? Session().statements.Find(statement, parameters, Use::kRows) : nullptr;
  if (!known || !known->columns || now - known->describedMs >= kDescriptionMs) {
    return Query(statement, parameters, rows);
  }
  rows = WithoutRows(*known);
  return true;
}

bool PostgresDriver::Execute(std::string_view statement, std::span<const SqlValue> parameters) {
  Ran ran;
  return Run(statement, parameters, Use::kCommand, ran);
}

// --- Rows ---

bool PostgresDriver::Insert(const SqlRows& target, std::span<const SqlAssignment> values) {
  if (target.table.empty()) return Fail("insert", "the row set comes from no single table");
  RowStatement insert = InsertStatement(target.table, values, kWriting);
  const bool mayWait =
      options_.commit == SqlCommit::kTurn && sessions_.current() && !inTransaction_;
  if (mayWait && Defer(insert)) {
    memo_.NoteWaiting(target.table);
    return true;
  }
  Ran ran;
  return Run(insert.text, insert.parameters, Use::kOwn, ran);
}

// False where the row cannot wait: its statement is not prepared yet.
bool PostgresDriver::Defer(RowStatement& insert) {
  const PostgresStatement* known =
      Session().statements.Find(insert.text, insert.parameters, Use::kOwn);
  if (!known || known->name.empty()) return false;
  if (!pending_.empty() && pendingSession_ != Session().number) return false;
  pendingSession_ = Session().number;
  for (const SqlValue& value : insert.parameters) pendingBytes_ += value.text.size();
  pending_.push_back({std::move(insert), known->name});
  if (pending_.size() >= kMostPendingRows || pendingBytes_ >= kMostPendingBytes) AddPending();
  return true;
}

// Runs a select in the round trip that adds the rows which wait. False where it still has to be
// run.
bool PostgresDriver::RunBehindPending(std::string_view statement,
                                      std::span<const SqlValue> parameters, Use use,
                                      const PostgresDeadline& deadline, Ran& ran) {
  if (pending_.empty() || pendingSession_ != Session().number || use != Use::kRows) return false;
  PostgresStatement* known = Session().statements.Find(statement, parameters, use);
  if (!known || known->name.empty() || !StartsWith(statement, "select")) return false;
  ran.reply = TellLockWait(deadline);
  if (ran.reply.broken()) return true;
  const PostgresCall call{known->name, parameters};
  ran.prepared = known;
  if (!SendPending(&call, deadline, ran.reply)) return ran.reply.broken();
  if (ran.reply.done()) return !IsOutOfDate(ran.reply, *known);
  // What has waited in vain does not wait twice; other refusals may be the statement's age.
  const bool wasTimeOut = ran.reply.sqlState == kGivenUp || ran.reply.sqlState == kLockNotHad;
  return wasTimeOut && sessions_.current();
}

// Adds the rows that wait, and runs `then` behind them. True when `reply` is what came of `then`:
// where a row was refused it has not run. Where it was refused itself, it has taken the rows back.
bool PostgresDriver::SendPending(const PostgresCall* then, const PostgresDeadline& deadline,
                                 PostgresReply& reply) {
  const std::deque<PendingRow> pending = std::exchange(pending_, {});
  pendingBytes_ = 0;
  std::vector<PostgresCall> calls;
  for (const PendingRow& row : pending) calls.push_back({row.name, row.insert.parameters});
  PostgresReply added = Session().connection->RunGroup(calls, then, deadline, reply);
  if (added.broken()) {
    undone_ += pending.size();
    mayBeLost_ = true;
    reply = std::move(added);
    return false;
  }
  if (added.done() && (then == nullptr || reply.done())) {
    written_ = true;
    memo_.NoteAdded();
    return then != nullptr;
  }
  memo_.Forget();
  if (!added.done()) NoteTimeOut(pending.front().insert.text, added, deadline.SpentMs());
  AddPendingSingly(pending);
  return added.done();
}

void PostgresDriver::AddPendingSingly(const std::deque<PendingRow>& pending) {
  pendingBytes_ = 0;
  for (const PendingRow& row : pending) {
    Ran ran;
    if (!Run(row.insert.text, row.insert.parameters, Use::kOwn, ran)) ++undone_;
  }
}

bool PostgresDriver::EndTurn() {
  memo_.Forget();
  return AddPending();
}

bool PostgresDriver::AddPending() {
  if (pending_.empty()) return true;
  const size_t undoneBefore = undone_;
  const std::string first = pending_.front().insert.text;
  const PostgresDeadline deadline = Deadline();
  bool fresh = false;
  if (!EnsureSession(first, fresh) || pendingSession_ != Session().number) {
    AddPendingSingly(std::exchange(pending_, {}));  // nothing of them was sent
    return undone_ == undoneBefore;
  }
  PostgresReply reply = TellLockWait(deadline);
  if (!reply.broken()) SendPending(nullptr, deadline, reply);
  if (reply.broken()) Conclude(first, Use::kOwn, deadline, reply);
  return undone_ == undoneBefore;
}

bool PostgresDriver::UpdateRow(SqlRows& rows, size_t row, std::span<const SqlAssignment> values) {
  if (values.empty()) return true;
  const RowStatement set = SetClause(values, kWriting);
  Ran ran;
  if (!ChangeOneRow("update " + rows.table + set.text, rows, row, set.parameters, ran))
    return false;
  PostgresIdentity now;
  for (size_t i = 0; i < rows.identityWidth; ++i) {
    now.push_back(ReadPostgresCell(ran.reply.result.get(), 0, i, SqlColumnType::kText));
  }
  rows_.NoteMoved(rows, rows_.Current(rows, row), now);
  const auto first = rows.identity.begin() + static_cast<std::ptrdiff_t>(row * rows.identityWidth);
  std::copy(now.begin(), now.end(), first);
  return true;
}

bool PostgresDriver::DeleteRow(const SqlRows& rows, size_t row) {
  Ran ran;
  return ChangeOneRow("delete from " + rows.table, rows, row, {}, ran);
}

// Runs the statement on the one row alone, and has it give the row's identity. A row that another
// program has deleted is a failure.
bool PostgresDriver::ChangeOneRow(const std::string& statement, const SqlRows& rows, size_t row,
                                  const std::vector<SqlValue>& parameters, Ran& ran) {
  EndTurn();
  const PostgresTable* table = rows_.Find(rows.table);
  if (!table) return Fail(statement, "the row set comes from no single table");
  PostgresIdentity identity = rows_.Current(rows, row);
  if (identity.empty()) return Fail(statement, "no current row");
  for (bool again : {false, true}) {
    if (again) identity = table->isByPlace ? FindAgain(*table, rows, row) : PostgresIdentity();
    if (identity.empty()) break;
    std::string text = statement;
    std::vector<SqlValue> values = parameters;
    AppendRowCondition(*table, identity, text, values);
    if (!Run(text, values, Use::kOwn, ran)) return false;
    if (ran.reply.rowsTouched() != "0") return true;
  }
  return Fail(statement, "the row is no longer there");
}

// Where the row is that another program has written since it was read; empty when it cannot be
// told.
PostgresIdentity PostgresDriver::FindAgain(const PostgresTable& table, const SqlRows& rows,
                                           size_t row) {
  if (inTransaction_) return {};
  std::vector<std::string> columns;
  Session().statements.ReadIndexedColumns(table.number, Deadline(), columns);
  std::vector<SqlValue> values;
  const std::string select = SelectByColumns(table, columns, rows, row, values);
  Ran ran;
  if (select.empty() || !Run(select, values, Use::kCommand, ran)) return {};
  return OnlyNewIdentity(ran.reply.result.get(), rows);
}

bool PostgresDriver::SyncCommitted() {
  EndTurn();
  const bool isDue = written_ && options_.durability == SqlDurability::kReceipt;
  if ((!isDue && !mayBeLost_) || inTransaction_) return true;
  Ran ran;
  if (!Run(kSyncStatement, {}, Use::kOwn, ran)) return false;
  written_ = false;
  if (!std::exchange(mayBeLost_, false)) return true;
  return Fail("sync", "the session that wrote ended before its sync", SqlTrouble::kUnavailable);
}

}  // namespace

std::unique_ptr<SqlDriver> OpenPostgres(ServerDatabaseOptions options) {
  return std::make_unique<PostgresDriver>(std::move(options));
}

}  // namespace vnq
