#include "platform/sql/postgres/postgres_driver.h"

#include <algorithm>

#include "platform/net/clock.h"
#include "platform/sql/postgres/postgres_replies.h"

namespace vnq {
namespace {

using Outcome = PostgresReply::Outcome;

// Flushes the log up to its own end, and so everything committed before. A commit that has written
// nothing does not wait for the log, even with a transaction number of its own; an empty message to
// nobody is the least that makes it, and any user may send it. One statement is one round trip, and
// a setting made for its transaction alone still holds when that commits.
constexpr std::string_view kSyncStatement =
    "select pg_catalog.set_config('synchronous_commit','on',true),"
    "pg_catalog.pg_logical_emit_message(true,'vnq','')";

// How long the columns of a table are taken for what they were.
constexpr int64_t kDescriptionMs = 1000;

std::string Numbers(const SqlLock& lock) {
  return std::to_string(lock.space) + "," + std::to_string(lock.number);
}

SqlRows WithoutRows(const PostgresStatement& prepared) {
  SqlRows rows;
  rows.columns = prepared.columns;
  if (!prepared.table) return rows;
  rows.table = prepared.table->name;
  rows.identityWidth = prepared.table->identity.size();
  return rows;
}

}  // namespace

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
  const bool isTrusted = StartsWithWord(statement, "select") && !inTransaction_ && pending_.empty();
  PostgresSession* session = sessions_.current();
  if (session && !isTrusted && session->connection->FoundClosed()) {
    PostgresReply ended;
    ended.outcome = Outcome::kNotSent;
    ended.message = inTransaction_ ? "the connection broke within a transaction"
                                   : "the server has ended the session";
    LoseSession(ended, false, 0);
  }
  fresh = !sessions_.current();
  if (!sessions_.Ensure()) return Fail(statement, sessions_.why(), SqlTrouble::kUnavailable);
  if (fresh) TakeShared();
  return true;
}

// What breaks here is told by the statement that follows.
void PostgresDriver::TakeShared() {
  if (!shared_) return;
  const std::string words = "select pg_catalog.pg_advisory_lock_shared(" + Numbers(*shared_) + ")";
  Session().connection->Run(words, Deadline());
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
  const bool reads = StartsWithWord(statement, "select");
  const bool isHarmless = reads || ran.reply.outcome == Outcome::kNotSent;
  if (ran.reply.broken() && !ran.reply.isTimeOut && isHarmless && !fresh && !inTransaction_) {
    LoseSession(ran.reply, !reads, deadline.SpentMs());
    if (!EnsureSession(statement, fresh)) return false;
    RunOnce(statement, parameters, use, deadline, ran);
  }
  if (!Conclude(statement, deadline, ran.reply)) return false;
  const bool wrote = MayHaveWritten(ran.reply);
  written_ = written_ || wrote;
  if (wrote) memo_.Forget();
  // The server takes the `commit` of a transaction that had an error for a `rollback`.
  if (spoilt && ran.reply.commandTag() == "ROLLBACK" && StartsWithWord(statement, "commit")) {
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
bool PostgresDriver::Conclude(std::string_view statement, const PostgresDeadline& deadline,
                              const PostgresReply& reply) {
  std::string why = reply.message;
  if (!reply.sqlState.empty()) why += " (" + reply.sqlState + ")";
  if (reply.broken()) {
    LoseSession(reply, !StartsWithWord(statement, "select"), deadline.SpentMs());
    return Fail(statement, why, SqlTrouble::kUnavailable);
  }
  inTransaction_ = Session().connection->InTransaction();
  NoteTimeOut(statement, reply, deadline.SpentMs());
  if (reply.sqlState != kPostgresGivenUp) sessions_.NoteWorking();
  return reply.done() || Fail(statement, why, PostgresTroubleOf(reply));
}

// A wait in vain for a lock stops the waiting, and nothing else; a statement that was given up for
// the time it took is followed by a pause of all.
void PostgresDriver::NoteTimeOut(std::string_view statement, const PostgresReply& reply,
                                 int64_t spentMs) {
  if (reply.sqlState == kPostgresLockNotHad) {
    patience_.NoteVain();
    wantedLock_ = statement;
  } else if (reply.sqlState == kPostgresGivenUp && spentMs >= ServerAvailability::kBackOffMs / 2) {
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

// --- Locks by number ---

// What was read before is from before the lock.
bool PostgresDriver::Lock(const SqlLock& lock, bool waits) {
  EndTurn();
  SqlRows rows;
  const char* const function = waits ? "pg_advisory_lock" : "pg_try_advisory_lock";
  const std::string words =
      std::string("select pg_catalog.") + function + "(" + Numbers(lock) + ")";
  return Query(words, {}, rows) && (waits || rows.cells.front().integer != 0);
}

// What was written is there for the next.
bool PostgresDriver::Unlock(const SqlLock& lock) {
  EndTurn();
  SqlRows rows;
  return Query("select pg_catalog.pg_advisory_unlock(" + Numbers(lock) + ")", {}, rows);
}

// --- The disk ---

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

std::unique_ptr<SqlDriver> OpenPostgres(ServerDatabaseOptions options) {
  return std::make_unique<PostgresDriver>(std::move(options));
}

}  // namespace vnq
