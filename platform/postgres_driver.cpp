#include <fmt/format.h>

#include <chrono>
#include <cstdlib>
#include <map>

#include "platform/postgres_statements.h"
#include "platform/server_availability.h"

namespace vnq {
namespace {

constexpr size_t kStatementBytesInErrors = 300;

// A commit waits for its place in the log only when it has written something there: an empty
// transaction does not, even with a number of its own. A message that nobody decodes is the
// smallest thing that any user may write.
constexpr const char* kSyncStatements =
    "begin; set local synchronous_commit=on;"
    " select pg_catalog.pg_logical_emit_message(true,'vnq',''); commit";

SqlValue ReadCell(const PGresult* result, int row, int column, SqlColumnType type) {
  if (PQgetisnull(result, row, column)) return SqlValue::Null();
  std::string_view text(PQgetvalue(result, row, column),
                        static_cast<size_t>(PQgetlength(result, row, column)));
  if (type == SqlColumnType::kText) return SqlValue::Text(std::string(text));
  if (text == "t" || text == "f") return SqlValue::Integer(text == "t" ? 1 : 0);
  return SqlValue::Integer(std::strtoll(text.data(), nullptr, 10));
}

std::string Joined(const std::vector<std::string>& names) {
  std::string joined;
  for (const std::string& name : names) joined += (joined.empty() ? "" : ",") + name;
  return joined;
}

class PostgresDriver final : public SqlDriver {
 public:
  explicit PostgresDriver(ServerDatabaseOptions options)
      : options_(std::move(options)),
        availability_(fmt::format("database {} on {}", options_.database, options_.host),
                      options_.clock) {
    if (options_.port.empty()) options_.port = "5432";
  }

  bool Query(std::string_view statement, std::span<const SqlValue> parameters,
             SqlRows& rows) override;
  bool Execute(std::string_view statement, std::span<const SqlValue> parameters) override;
  bool Insert(const SqlRows& target, std::span<const SqlAssignment> values) override;
  bool UpdateRow(SqlRows& rows, size_t row, std::span<const SqlAssignment> values) override;
  bool DeleteRow(const SqlRows& rows, size_t row) override;
  bool SyncCommitted() override;
  const std::string& LastError() const override { return lastError_; }

 private:
  // What a statement gave, and how it was prepared; result is null after a failure.
  struct Ran {
    PostgresResult result;
    PostgresStatement* statement = nullptr;
  };

  bool EnsureOpen();
  bool Connect();
  void LoseConnection();
  Ran Run(std::string_view statement, std::span<const SqlValue> parameters);
  PostgresResult RunOnce(std::string_view statement, std::span<const SqlValue> parameters,
                         PostgresStatement*& prepared, bool& stale);
  void NoteIdentity(const PostgresStatement& prepared);
  bool Fail(std::string_view statement, std::string_view why);
  std::string WhereIdentity(const SqlRows& rows, size_t row, std::vector<SqlValue>& parameters);
  bool CanChange(const SqlRows& rows, size_t row, std::string_view statement);

  ServerDatabaseOptions options_;
  ServerAvailability availability_;
  std::unique_ptr<PostgresConnection> connection_;
  std::unique_ptr<PostgresStatements> statements_;
  std::map<std::string, std::vector<std::string>> identityColumns_;  // quoted, by table
  std::string lastError_;
  bool inTransaction_ = false;  // as the caller sees it
  bool written_ = false;        // since the last sync
};

int64_t MachineMs() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(steady_clock::now().time_since_epoch()).count();
}

// A connection that was closed meanwhile is replaced without a word: nothing was lost with it,
// unless it held a transaction, whose end the caller must see.
bool PostgresDriver::EnsureOpen() {
  if (connection_ && connection_->IsAlive()) return true;
  if (connection_ && inTransaction_) {
    lastError_ = connection_->error();
    LoseConnection();
    return false;
  }
  statements_.reset();
  connection_.reset();
  if (availability_.MayTry()) return Connect();
  lastError_ = availability_.why();
  return false;
}

bool PostgresDriver::Connect() {
  const int64_t began = MachineMs();
  std::string error;
  connection_ = PostgresConnection::Open(options_, error);
  if (!connection_) {
    lastError_ = error;
    availability_.NoteLost(error, MachineMs() - began);
    return false;
  }
  statements_ = std::make_unique<PostgresStatements>(*connection_, options_.exactColumns);
  return true;
}

void PostgresDriver::LoseConnection() {
  statements_.reset();
  connection_.reset();
  inTransaction_ = false;
}

PostgresDriver::Ran PostgresDriver::Run(std::string_view statement,
                                        std::span<const SqlValue> parameters) {
  Ran ran;
  if (!EnsureOpen()) return ran;
  const int64_t began = MachineMs();
  connection_->BeginStatement();
  bool stale = false;
  ran.result = RunOnce(statement, parameters, ran.statement, stale);
  if (stale && !connection_->lost() && !inTransaction_) {
    statements_->Clear();
    ran.result = RunOnce(statement, parameters, ran.statement, stale);
  }
  if (connection_->lost()) {
    availability_.NoteLost(connection_->error(), MachineMs() - began);
    LoseConnection();
    return {};
  }
  availability_.NoteWorking();
  inTransaction_ = connection_->InTransaction();
  return ran;
}

// stale: the statement was prepared before its tables were changed.
PostgresResult PostgresDriver::RunOnce(std::string_view statement,
                                       std::span<const SqlValue> parameters,
                                       PostgresStatement*& prepared, bool& stale) {
  std::string error;
  prepared = statements_->Prepare(statement, parameters, error);
  if (prepared && prepared->parameters != parameters.size()) {
    Fail(statement, "another number of markers than of values");
    return nullptr;
  }
  PostgresResult result = prepared ? connection_->Run(prepared->name, parameters) : nullptr;
  const ExecStatusType status = result ? PQresultStatus(result.get()) : PGRES_FATAL_ERROR;
  if (status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK) return result;
  if (status == PGRES_EMPTY_QUERY) {
    error = "an empty statement";
  } else if (result) {
    const char* state = PQresultErrorField(result.get(), PG_DIAG_SQLSTATE);
    stale = state && (std::string_view(state) == "0A000" || std::string_view(state) == "26000");
    error = PostgresError(result.get());
  } else if (connection_->lost()) {
    error = connection_->error();
  }
  Fail(statement, error);
  return nullptr;
}

bool PostgresDriver::Fail(std::string_view statement, std::string_view why) {
  const bool cut = statement.size() > kStatementBytesInErrors;
  lastError_ =
      fmt::format("{}{}: {}", statement.substr(0, kStatementBytesInErrors), cut ? "..." : "", why);
  return false;
}

void PostgresDriver::NoteIdentity(const PostgresStatement& prepared) {
  std::vector<std::string>& columns = identityColumns_[prepared.table];
  if (!columns.empty()) return;
  for (const std::string& key : prepared.keyColumns) columns.push_back(PostgresQuotedName(key));
  if (columns.empty()) columns.emplace_back("ctid");
}

bool PostgresDriver::Query(std::string_view statement, std::span<const SqlValue> parameters,
                           SqlRows& rows) {
  const Ran ran = Run(statement, parameters);
  if (!ran.result) return false;
  const PostgresStatement& prepared = *ran.statement;
  const PGresult* result = ran.result.get();
  SqlRows read;
  read.columns = prepared.columns;
  read.table = prepared.table;
  read.identityWidth = prepared.identityWidth;
  if (!read.table.empty()) NoteIdentity(prepared);
  const int count = static_cast<int>(prepared.columns->size());
  const int width = static_cast<int>(prepared.identityWidth);
  for (int row = 0; row < PQntuples(result); ++row) {
    for (int i = 0; i < count; ++i) {
      const SqlColumnType type = (*prepared.columns)[static_cast<size_t>(i)].type;
      read.cells.push_back(ReadCell(result, row, i, type));
    }
    for (int i = count; i < count + width; ++i) {
      read.identity.push_back(ReadCell(result, row, i, SqlColumnType::kText));
    }
  }
  rows = std::move(read);
  return true;
}

bool PostgresDriver::Execute(std::string_view statement, std::span<const SqlValue> parameters) {
  if (!Run(statement, parameters).result) return false;
  written_ = true;
  return true;
}

bool PostgresDriver::Insert(const SqlRows& target, std::span<const SqlAssignment> values) {
  if (target.table.empty()) return Fail("insert", "the row set comes from no single table");
  std::string names;
  std::string markers;
  std::vector<SqlValue> parameters;
  for (const SqlAssignment& assignment : values) {
    names += (names.empty() ? "" : ",") + PostgresQuotedName(assignment.column);
    markers += markers.empty() ? "?" : ",?";
    parameters.push_back(assignment.value);
  }
  std::string statement = "insert into " + target.table;
  statement += values.empty() ? " default values" : "(" + names + ") values(" + markers + ")";
  return Execute(statement, parameters);
}

bool PostgresDriver::CanChange(const SqlRows& rows, size_t row, std::string_view statement) {
  if (rows.table.empty()) return Fail(statement, "the row set comes from no single table");
  if (row >= rows.rowCount()) return Fail(statement, "no current row");
  return true;
}

// The condition that finds the row; its values are added to the parameters. The engine's own
// markers keep it as it is: a row is found by exactly its key, and by the key's index.
std::string PostgresDriver::WhereIdentity(const SqlRows& rows, size_t row,
                                          std::vector<SqlValue>& parameters) {
  const auto& columns = identityColumns_[rows.table];
  std::string condition;
  for (size_t i = 0; i < columns.size(); ++i) {
    parameters.push_back(rows.identity[row * rows.identityWidth + i]);
    condition +=
        fmt::format("{}{}=${}", i == 0 ? " where " : " and ", columns[i], parameters.size());
  }
  return condition;
}

bool PostgresDriver::UpdateRow(SqlRows& rows, size_t row, std::span<const SqlAssignment> values) {
  if (values.empty()) return true;
  std::string statement = "update " + rows.table + " set ";
  std::vector<SqlValue> parameters;
  for (const SqlAssignment& assignment : values) {
    parameters.push_back(assignment.value);
    statement += fmt::format("{}=${},", PostgresQuotedName(assignment.column), parameters.size());
  }
  statement.pop_back();
  if (!CanChange(rows, row, statement)) return false;
  statement += WhereIdentity(rows, row, parameters);
  const auto& columns = identityColumns_[rows.table];
  statement += " returning " + Joined(columns);
  const Ran ran = Run(statement, parameters);
  if (!ran.result) return false;
  if (PQntuples(ran.result.get()) == 0) return Fail(statement, "the row is no longer there");
  written_ = true;
  // The row may be found by other values from now on.
  for (size_t i = 0; i < rows.identityWidth; ++i) {
    rows.identity[row * rows.identityWidth + i] =
        ReadCell(ran.result.get(), 0, static_cast<int>(i), SqlColumnType::kText);
  }
  return true;
}

bool PostgresDriver::DeleteRow(const SqlRows& rows, size_t row) {
  std::string statement = "delete from " + rows.table;
  if (!CanChange(rows, row, statement)) return false;
  std::vector<SqlValue> parameters;
  statement += WhereIdentity(rows, row, parameters);
  const Ran ran = Run(statement, parameters);
  if (!ran.result) return false;
  written_ = true;
  if (std::string_view(PQcmdTuples(ran.result.get())) != "0") return true;
  return Fail(statement, "the row is no longer there");
}

bool PostgresDriver::SyncCommitted() {
  if (!written_ || options_.durability != SqlDurability::kReceipt) return true;
  // What a lost connection had committed is beyond reach, and the loss was said.
  if (!connection_ || inTransaction_ || !EnsureOpen()) return true;
  connection_->BeginStatement();
  const int64_t began = MachineMs();
  const PostgresResult result = connection_->RunText(kSyncStatements);
  if (connection_->lost()) {
    lastError_ = connection_->error();
    availability_.NoteLost(connection_->error(), MachineMs() - began);
    LoseConnection();
    return false;
  }
  if (!result || PQresultStatus(result.get()) == PGRES_FATAL_ERROR) {
    if (result) Fail("sync", PostgresError(result.get()));
    connection_->RunText("rollback");
    return false;
  }
  written_ = false;
  return true;
}

}  // namespace

std::unique_ptr<SqlDriver> OpenPostgres(ServerDatabaseOptions options) {
  return std::make_unique<PostgresDriver>(std::move(options));
}

}  // namespace vnq
