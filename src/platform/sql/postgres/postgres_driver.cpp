#include <fmt/format.h>
#include <strings.h>

#include <algorithm>
#include <map>
#include <utility>

#include "platform/sql/postgres/postgres_statements.h"
#include "platform/sql/row_statements.h"
#include "platform/sql/server_availability.h"

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

std::string NameOf(const ServerDatabaseOptions& options) {
  return fmt::format("database {} on {}{}{}", options.database, options.host,
                     options.port.empty() ? "" : ":", options.port);
}

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

SqlTrouble TroubleOf(std::string_view sqlState) {
  if (sqlState == "53100") return SqlTrouble::kFull;
  if (sqlState == "55P03") return SqlTrouble::kLocked;
  if (sqlState == "25006") return SqlTrouble::kReadOnly;
  return sqlState == "58030" ? SqlTrouble::kWriteFailed : SqlTrouble::kNone;
}

bool IsCommit(std::string_view statement) {
  constexpr std::string_view kCommit = "commit";
  return statement.size() >= kCommit.size() &&
         strncasecmp(statement.data(), kCommit.data(), kCommit.size()) == 0;
}

bool MayHaveWritten(const PostgresReply& reply) {
  std::string_view tag = reply.commandTag();
  bool reads = tag.starts_with("SELECT") || tag.starts_with("BEGIN") || tag.starts_with("ROLLBACK");
  return !reads && reply.rowsTouched() != "0";
}

constexpr std::string_view kPlace = "ctid";
constexpr size_t kMovedRows = 4096;

std::string MovedKey(const std::string& table, const std::vector<SqlValue>& identity) {
  std::string key = table;
  for (const SqlValue& value : identity) key += '\0' + value.text;
  return key;
}

class PostgresDriver final : public SqlDriver {
 public:
  explicit PostgresDriver(ServerDatabaseOptions options)
      : options_(std::move(options)), availability_(NameOf(options_), options_.clock) {}

  bool Query(std::string_view statement, std::span<const SqlValue> parameters,
             SqlRows& rows) override;
  bool Execute(std::string_view statement, std::span<const SqlValue> parameters) override;
  bool Insert(const SqlRows& target, std::span<const SqlAssignment> values) override;
  bool UpdateRow(SqlRows& rows, size_t row, std::span<const SqlAssignment> values) override;
  bool DeleteRow(const SqlRows& rows, size_t row) override;
  bool SyncCommitted() override;
  const std::string& LastError() const override { return lastError_; }
  SqlTrouble LastTrouble() const override { return trouble_; }

 private:
  struct Session {
    Session(std::unique_ptr<PostgresConnection> opened, std::vector<std::string> exactColumns)
        : connection(std::move(opened)), statements(*connection, std::move(exactColumns)) {}
    std::unique_ptr<PostgresConnection> connection;
    PostgresStatements statements;
  };

  // A statement that was run.
  struct Ran {
    PostgresReply reply;
    PostgresStatement* prepared = nullptr;
  };

  bool Connect();
  bool EnsureSession(std::string_view statement, bool& fresh);
  bool Run(std::string_view statement, std::span<const SqlValue> parameters, Use use, Ran& ran);
  void RunOnce(std::string_view statement, std::span<const SqlValue> parameters, Use use,
               const PostgresDeadline& deadline, Ran& ran);
  bool Conclude(std::string_view statement, const PostgresDeadline& deadline,
                const PostgresReply& reply);
  void Describe(const Ran& ran);
  bool ChangeOneRow(std::string statement, const SqlRows& rows, size_t row,
                    std::vector<SqlValue> parameters, Ran& ran);
  void NoteMoved(const std::string& table, const std::vector<SqlValue>& before,
                 const std::vector<SqlValue>& now);
  std::vector<SqlValue> CurrentIdentity(const SqlRows& rows, size_t row);
  bool Fail(std::string_view statement, std::string_view why,
            SqlTrouble trouble = SqlTrouble::kNone);

  ServerDatabaseOptions options_;
  ServerAvailability availability_;
  std::unique_ptr<Session> session_;
  // By the name in SqlRows, for rows outlive the session that read them.
  std::map<std::string, std::shared_ptr<const PostgresTable>, std::less<>> tables_;
  RecentCache<std::vector<SqlValue>> moved_{kMovedRows};
  std::string lastError_;
  SqlTrouble trouble_ = SqlTrouble::kNone;  // what lastError_ comes of
  bool inTransaction_ = false;
  bool written_ = false;  // since the last sync
};

bool PostgresDriver::Fail(std::string_view statement, std::string_view why, SqlTrouble trouble) {
  lastError_ = StatementFailure(statement, why);
  trouble_ = trouble;
  return false;
}

bool PostgresDriver::Connect() {
  PostgresDeadline deadline(options_.connectTimeoutS);
  std::string error;
  auto connection = PostgresConnection::Connect(options_, error);
  if (!connection) {
    availability_.NoteLost(error, deadline.SpentMs());
    return false;
  }
  session_ = std::make_unique<Session>(std::move(connection), options_.exactColumns);
  return true;
}

// A session that the server has ended meanwhile is replaced at once: nothing was sent in vain. The
// rest of a transaction that went with it must not run by itself.
bool PostgresDriver::EnsureSession(std::string_view statement, bool& fresh) {
  if (session_ && session_->connection->FoundClosed()) {
    session_.reset();
    if (std::exchange(inTransaction_, false)) {
      availability_.NoteLost("the connection broke within a transaction", 0);
    }
  }
  fresh = !session_;
  if (session_ || (availability_.MayTry() && Connect())) return true;
  return Fail(statement, availability_.why(), SqlTrouble::kUnavailable);
}

bool PostgresDriver::Run(std::string_view statement, std::span<const SqlValue> parameters, Use use,
                         Ran& ran) {
  bool fresh = false;
  if (!EnsureSession(statement, fresh)) return false;
  PostgresDeadline deadline(options_.statementTimeoutS);
  bool spoilt = session_->connection->TransactionFailed();
  RunOnce(statement, parameters, use, deadline, ran);
  if (ran.reply.outcome == Outcome::kNotSent && !fresh && !inTransaction_) {
    session_.reset();
    if (!EnsureSession(statement, fresh)) return false;
    RunOnce(statement, parameters, use, deadline, ran);
  }
  if (!Conclude(statement, deadline, ran.reply)) return false;
  if (MayHaveWritten(ran.reply)) written_ = true;
  // The server takes the `commit` of a transaction that had an error for a `rollback`.
  if (spoilt && ran.reply.commandTag() == "ROLLBACK" && IsCommit(statement)) {
    return Fail(statement, "the transaction had an error before and was rolled back");
  }
  return true;
}

void PostgresDriver::RunOnce(std::string_view statement, std::span<const SqlValue> parameters,
                             Use use, const PostgresDeadline& deadline, Ran& ran) {
  for (bool anew : {false, true}) {
    ran.reply =
        session_->statements.Prepare(statement, parameters, use, anew, deadline, ran.prepared);
    if (!ran.reply.done()) return;
    PostgresParameters values(parameters);
    ran.reply = session_->connection->RunPrepared(ran.prepared->name, values, deadline);
    bool spoilt = session_->connection->TransactionFailed();
    if (spoilt || !IsOutOfDate(ran.reply, *ran.prepared)) return;
  }
}

// What follows from a reply for the statements to come.
bool PostgresDriver::Conclude(std::string_view statement, const PostgresDeadline& deadline,
                              const PostgresReply& reply) {
  std::string why = reply.message;
  if (!reply.sqlState.empty()) why += " (" + reply.sqlState + ")";
  if (reply.outcome == Outcome::kLost || reply.outcome == Outcome::kNotSent) {
    session_.reset();
    inTransaction_ = false;
    availability_.NoteLost(why, deadline.SpentMs());
    return Fail(statement, why, SqlTrouble::kUnavailable);
  }
  inTransaction_ = session_->connection->InTransaction();
  availability_.NoteWorking();
  return reply.done() || Fail(statement, why, TroubleOf(reply.sqlState));
}

// What is the same at each run of a statement is read from its first.
void PostgresDriver::Describe(const Ran& ran) {
  PostgresStatement& prepared = *ran.prepared;
  if (!prepared.columns) {
    size_t hidden = prepared.table ? prepared.table->identity.size() : 0;
    prepared.columns = std::make_shared<const std::vector<SqlColumn>>(
        ReadPostgresColumns(ran.reply.result.get(), hidden));
  }
  // The last reading counts: a table's key may have changed since another statement was prepared.
  if (prepared.table) tables_[prepared.table->name] = prepared.table;
}

bool PostgresDriver::Query(std::string_view statement, std::span<const SqlValue> parameters,
                           SqlRows& rows) {
  Ran ran;
  if (!Run(statement, parameters, Use::kRows, ran)) return false;
  Describe(ran);
  SqlRows read;
  read.columns = ran.prepared->columns;
  if (const PostgresTable* table = ran.prepared->table.get()) {
    read.table = table->name;
    read.identityWidth = table->identity.size();
  }
  ReadPostgresRows(ran.reply.result.get(), read);
  rows = std::move(read);
  return true;
}

bool PostgresDriver::Execute(std::string_view statement, std::span<const SqlValue> parameters) {
  Ran ran;
  return Run(statement, parameters, Use::kCommand, ran);
}

bool PostgresDriver::Insert(const SqlRows& target, std::span<const SqlAssignment> values) {
  if (target.table.empty()) return Fail("insert", "the row set comes from no single table");
  const RowStatement insert = InsertStatement(target.table, values, kWriting);
  Ran ran;
  return Run(insert.text, insert.parameters, Use::kOwn, ran);
}

bool PostgresDriver::UpdateRow(SqlRows& rows, size_t row, std::span<const SqlAssignment> values) {
  if (values.empty()) return true;
  RowStatement set = SetClause(values, kWriting);
  Ran ran;
  if (!ChangeOneRow("update " + rows.table + set.text, rows, row, std::move(set.parameters), ran))
    return false;
  std::vector<SqlValue> now;
  for (size_t i = 0; i < rows.identityWidth; ++i) {
    now.push_back(ReadPostgresCell(ran.reply.result.get(), 0, i, SqlColumnType::kText));
  }
  const auto first = rows.identity.begin() + static_cast<std::ptrdiff_t>(row * rows.identityWidth);
  NoteMoved(rows.table, CurrentIdentity(rows, row), now);
  std::copy(now.begin(), now.end(), first);
  return true;
}

// A place and the transaction that wrote there never come together again, so what is noted of them
// stays right.
void PostgresDriver::NoteMoved(const std::string& table, const std::vector<SqlValue>& before,
                               const std::vector<SqlValue>& now) {
  const auto found = tables_.find(table);
  if (found == tables_.end() || found->second->identity.front() != kPlace) return;
  const std::string key = MovedKey(table, before);
  if (moved_.Find(key)) return;
  moved_.Add(key, now, [](const std::vector<SqlValue>&) {});
}

// Where the row is now that stood there when it was read: another handler of this process may have
// written it through a row set of its own meanwhile.
std::vector<SqlValue> PostgresDriver::CurrentIdentity(const SqlRows& rows, size_t row) {
  const auto first = rows.identity.begin() + static_cast<std::ptrdiff_t>(row * rows.identityWidth);
  std::vector<SqlValue> identity(first, first + static_cast<std::ptrdiff_t>(rows.identityWidth));
  while (const auto* now = moved_.Find(MovedKey(rows.table, identity))) identity = *now;
  return identity;
}

bool PostgresDriver::DeleteRow(const SqlRows& rows, size_t row) {
  Ran ran;
  return ChangeOneRow("delete from " + rows.table, rows, row, {}, ran);
}

// Runs the statement on the one row alone, and has it give the row's identity. A row that another
// program has deleted, or moved where rows have no key, is a failure.
bool PostgresDriver::ChangeOneRow(std::string statement, const SqlRows& rows, size_t row,
                                  std::vector<SqlValue> parameters, Ran& ran) {
  auto table = tables_.find(rows.table);
  if (table == tables_.end()) return Fail(statement, "the row set comes from no single table");
  const std::vector<std::string>& identity = table->second->identity;
  size_t first = row * rows.identityWidth;
  bool known =
      rows.identityWidth == identity.size() && first + rows.identityWidth <= rows.identity.size();
  if (!known) return Fail(statement, "no current row");
  const std::vector<SqlValue> values = CurrentIdentity(rows, row);
  std::string returned;
  for (size_t i = 0; i < identity.size(); ++i) {
    parameters.push_back(values[i]);
    statement +=
        (i == 0 ? " where " : " and ") + identity[i] + "=$" + std::to_string(parameters.size());
    returned += (i == 0 ? " returning " : ",") + identity[i];
  }
  statement += returned;
  if (!Run(statement, parameters, Use::kOwn, ran)) return false;
  return ran.reply.rowsTouched() != "0" || Fail(statement, "the row is no longer there");
}

bool PostgresDriver::SyncCommitted() {
  bool due = written_ && !inTransaction_ && options_.durability == SqlDurability::kReceipt;
  if (!due) return true;
  Ran ran;
  if (!Run(kSyncStatement, {}, Use::kOwn, ran)) return false;
  written_ = false;
  return true;
}

}  // namespace

std::unique_ptr<SqlDriver> OpenPostgres(ServerDatabaseOptions options) {
  return std::make_unique<PostgresDriver>(std::move(options));
}

}  // namespace vnq
