// Adding, changing and deleting the rows of cursors. Rows that are added wait, where they may, for
// the next statement that has an answer.
#include <algorithm>

#include "platform/sql/postgres/postgres_driver.h"
#include "platform/sql/postgres/postgres_replies.h"

namespace vnq {
namespace {

constexpr RowWriting kWriting = {DoubleQuoted, true, &kPostgresDialect};

// Held to the end of the transaction, so that whoever had it before has committed.
constexpr std::string_view kLockRow = "select pg_catalog.pg_advisory_xact_lock(6005,$1)";

// Rows that wait to be sent are kept in memory.
constexpr size_t kMostPendingRows = 100;
constexpr size_t kMostPendingBytes = 1 << 20;

}  // namespace

// --- Rows that are added ---

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
  Keep({std::move(insert), known->name, {}, {}});
  return true;
}

void PostgresDriver::Keep(PendingRow row) {
  pendingSession_ = Session().number;
  for (const SqlValue& value : row.insert.parameters) pendingBytes_ += value.text.size();
  pending_.push_back(std::move(row));
  if (pending_.size() >= kMostPendingRows || pendingBytes_ >= kMostPendingBytes) AddPending();
}

// --- Rows that another program may add, too ---

// The lock and the row are one transaction, and the row's statement sees what was committed before
// the lock was had.
bool PostgresDriver::InsertOnce(const SqlRows& target, std::span<const SqlAssignment> values,
                                std::span<const SqlAssignment> key) {
  if (target.table.empty()) return Fail("insert", "the row set comes from no single table");
  PendingRow row{InsertOnceStatement(target.table, values, key, kWriting),
                 {},
                 {SqlValue::Integer(LockNumberOf(target.table, key))},
                 {}};
  const bool mayWait =
      options_.commit == SqlCommit::kTurn && sessions_.current() && !inTransaction_;
  if (!mayWait || !FindGuarded(row)) return AddSingly(row);
  memo_.NoteMaybeWaiting(target.table);
  Keep(std::move(row));
  return true;
}

// False where the row cannot wait: its statements are not prepared yet.
bool PostgresDriver::FindGuarded(PendingRow& row) {
  if (!pending_.empty() && pendingSession_ != Session().number) return false;
  PostgresStatements& statements = Session().statements;
  const PostgresStatement* const lock = statements.Find(kLockRow, row.lock, Use::kOwn);
  if (!lock || lock->name.empty()) return false;
  row.lockName = lock->name;
  const PostgresStatement* const insert =
      statements.Find(row.insert.text, row.insert.parameters, Use::kOwn);
  if (!insert || insert->name.empty()) return false;
  row.name = insert->name;
  return true;
}

// With its lock in a transaction of the two, unless there is one already.
bool PostgresDriver::AddSingly(const PendingRow& row) {
  Ran ran;
  const auto run = [&](std::string_view statement, std::span<const SqlValue> values) {
    return Run(statement, values, Use::kOwn, ran);
  };
  if (row.lock.empty()) return run(row.insert.text, row.insert.parameters);
  const bool isOwn = !inTransaction_;
  if (isOwn && !run("begin", {})) return false;
  const bool done = run(kLockRow, row.lock) && run(row.insert.text, row.insert.parameters);
  if (!isOwn) return done;
  if (done) return run("commit", {});
  const std::string why = lastError_;
  const SqlTrouble trouble = trouble_;
  if (inTransaction_) run("rollback", {});
  lastError_ = why;
  trouble_ = trouble;
  return false;
}

void PostgresDriver::AppendCalls(const PendingRow& row, std::vector<PostgresCall>& calls) {
  if (!row.lock.empty()) calls.push_back({row.lockName, row.lock});
  calls.push_back({row.name, row.insert.parameters});
}

// --- Sending them ---

// Runs a select in the round trip that adds the rows which wait. False where it still has to be
// run.
bool PostgresDriver::RunBehindPending(std::string_view statement,
                                      std::span<const SqlValue> parameters, Use use,
                                      const PostgresDeadline& deadline, Ran& ran) {
  if (pending_.empty() || pendingSession_ != Session().number || use != Use::kRows) return false;
  PostgresStatement* known = Session().statements.Find(statement, parameters, use);
  if (!known || known->name.empty() || !StartsWithWord(statement, "select")) return false;
  ran.reply = TellLockWait(deadline);
  if (ran.reply.broken()) return true;
  const PostgresCall call{known->name, parameters};
  ran.prepared = known;
  if (!SendPending(&call, deadline, ran.reply)) return ran.reply.broken();
  if (ran.reply.done()) return !IsOutOfDate(ran.reply, *known);
  // What has waited in vain does not wait twice; other refusals may be the statement's age.
  const bool wasTimeOut =
      ran.reply.sqlState == kPostgresGivenUp || ran.reply.sqlState == kPostgresLockNotHad;
  return wasTimeOut && sessions_.current();
}

// Adds the rows that wait, and runs `then` behind them. True when `reply` is what came of `then`:
// where a row was refused it has not run. Where it was refused itself, it has taken the rows back,
// and they are added one by one.
bool PostgresDriver::SendPending(const PostgresCall* then, const PostgresDeadline& deadline,
                                 PostgresReply& reply) {
  const std::deque<PendingRow> pending = std::exchange(pending_, {});
  pendingBytes_ = 0;
  std::vector<PostgresCall> calls;
  calls.reserve(2 * pending.size());
  for (const PendingRow& row : pending) AppendCalls(row, calls);
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
    if (!AddSingly(row)) ++undone_;
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
  if (reply.broken()) Conclude(first, deadline, reply);
  return undone_ == undoneBefore;
}

// --- Rows that are there ---

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

}  // namespace vnq
