#include "platform/sql/odbc/odbc_connection.h"

#include <fmt/format.h>

#include <algorithm>

#include "platform/sql/odbc/odbc_connection_text.h"
#include "platform/sql/row_statements.h"
#include "support/ascii_case.h"
#include "support/replace_all.h"
#include "support/utf16.h"

namespace vnq {
namespace {

std::string Unquoted(std::string_view name) {
  bool quoted = name.size() >= 2 && (name.front() == '[' || name.front() == '"');
  return std::string(quoted ? name.substr(1, name.size() - 2) : name);
}

// What statements are kept under.
std::string KeyOf(OdbcUse use, const OdbcValueKinds& kinds, std::string_view statement) {
  std::string key(1, static_cast<char>('0' + static_cast<int>(use)));
  for (OdbcValueKind kind : kinds) key += static_cast<char>('a' + static_cast<int>(kind));
  return (key += ' ').append(statement);
}

TranslatedSql Translated(OdbcUse use, std::string_view statement, std::span<const SqlValue> values,
                         std::span<const std::string> exactColumns) {
  if (use != OdbcUse::kOwn) {
    return TranslateSql(statement, MarkersOf(values), kTransactSqlDialect, exactColumns);
  }
  TranslatedSql own{std::string(statement), {}, {}, {}};
  for (size_t i = 0; i < values.size(); ++i) own.parameters.push_back(i);
  return own;
}

}  // namespace

std::unique_ptr<OdbcConnection> OdbcConnection::Open(const ServerDatabaseOptions& options,
                                                     OdbcError& error) {
  std::unique_ptr<OdbcConnection> connection(new OdbcConnection);
  if (!connection->Connect(options, error)) return nullptr;
  return connection;
}

OdbcConnection::~OdbcConnection() {
  statements_.Clear();
  unkept_ = {};
  if (connected_) SQLDisconnect(handle_.get());
}

bool OdbcConnection::MakeHandles() {
  environment_ = OdbcHandle::Make(SQL_HANDLE_ENV, nullptr);
  if (!environment_.ok()) return false;
  SQLSetEnvAttr(environment_.get(), SQL_ATTR_ODBC_VERSION, OdbcNumber(SQL_OV_ODBC3), 0);
  handle_ = OdbcHandle::Make(SQL_HANDLE_DBC, environment_.get());
  return handle_.ok();
}

void OdbcConnection::TakeTimeouts(const ServerDatabaseOptions& options, bool isFreeTds) {
  statementTimeoutS_ = std::max(1, options.statementTimeoutS);
  // When the time is over FreeTDS asks the server to stop, and waits as long again for the answer.
  if (isFreeTds) statementTimeoutS_ = (statementTimeoutS_ + 1) / 2;
  const int connectTimeoutS = std::max(1, options.connectTimeoutS);
  SQLSetConnectAttrW(handle_.get(), SQL_ATTR_LOGIN_TIMEOUT, OdbcNumber(connectTimeoutS),
                     SQL_IS_UINTEGER);
}

bool OdbcConnection::Connect(const ServerDatabaseOptions& options, OdbcError& error) {
  error = {};
  if (!MakeHandles()) {
    error.text = "the ODBC driver manager does not start";
    return false;
  }
  const auto driver = FindOdbcDriver(environment_.get(), options.odbcDriver);
  if (!driver) {
    error.text = fmt::format("platform.ini [database] driver: no ODBC driver \"{}\" is installed",
                             options.odbcDriver);
    return false;
  }
  std::string connectionText;
  if (!OdbcConnectionText(options, *driver, connectionText, error.text)) return false;
  exactColumns_ = options.exactColumns;
  TakeTimeouts(options, driver->isFreeTds);
  std::u16string text = Utf8ToUtf16(connectionText);
  SQLRETURN code = SQLDriverConnectW(handle_.get(), nullptr, OdbcText(text),
                                     static_cast<SQLSMALLINT>(text.size()), nullptr, 0, nullptr,
                                     SQL_DRIVER_NOPROMPT);
  connected_ = OdbcSucceeded(code);
  if (connected_) return true;
  error = ReadOdbcError(handle_);
  ReplaceAll(error.text, options.password, "***");
  return false;
}

bool OdbcConnection::IsDead() const {
  SQLUINTEGER dead = SQL_CD_FALSE;
  SQLGetConnectAttrW(handle_.get(), SQL_ATTR_CONNECTION_DEAD, &dead, sizeof dead, nullptr);
  return dead == SQL_CD_TRUE;
}

const OdbcTable* OdbcConnection::Table(const std::string& name, OdbcError& error) {
  if (auto known = tables_.find(name); known != tables_.end()) return &known->second;
  OdbcTable table;
  bool read = ReadOdbcTable(handle_.get(), parameters_, name, statementTimeoutS_, table, error);
  return read ? &tables_.emplace(name, std::move(table)).first->second : nullptr;
}

std::unique_ptr<OdbcStatement> OdbcConnection::Prepare(std::string_view text,
                                                       std::span<const SqlValue> values,
                                                       std::vector<size_t> order,
                                                       OdbcError& error) {
  return OdbcStatement::Prepare(handle_.get(), parameters_, text, KindsOf(values), std::move(order),
                                statementTimeoutS_, error);
}

OdbcConnection::Prepared* OdbcConnection::Find(OdbcUse use, std::string_view statement,
                                               std::span<const SqlValue> values, OdbcError& error) {
  std::string name = KeyOf(use, KindsOf(values), statement);
  Prepared* known = statements_.Find(name);
  if (known && !known->failed) return known;
  Prepared made;
  if (!Make(use, statement, values, made, error)) return nullptr;
  if (known) return &(*known = std::move(made));
  if (statement.size() <= kLongestKept) {
    return &statements_.Add(std::move(name), std::move(made), [](Prepared&) {});
  }
  unkept_ = std::move(made);
  return &unkept_;
}

bool OdbcConnection::Make(OdbcUse use, std::string_view statement, std::span<const SqlValue> values,
                          Prepared& made, OdbcError& error) {
  TranslatedSql translated = Translated(use, statement, values, exactColumns_);
  size_t wanted = 0;
  for (size_t parameter : translated.parameters) wanted = std::max(wanted, parameter + 1);
  if (wanted != values.size()) {
    error = {"", "another number of markers than of values"};
    return false;
  }
  std::string text = translated.text;
  made.showsRowColumn = statement.find(kSqlRowColumn) != statement.npos;
  if (use == OdbcUse::kRows && !Identify(translated, text, made, error)) return false;
  if (made.keyColumns > 0) made.plain = translated;
  made.statement = Prepare(text, values, std::move(translated.parameters), error);
  return made.statement != nullptr;
}

// Finds the one table of a select and adds its key to the select's text. What is no table leaves
// the rows for reading only, or has the select itself fail.
bool OdbcConnection::Identify(const TranslatedSql& select, std::string& text, Prepared& made,
                              OdbcError& error) {
  std::string table = Unquoted(select.table);
  if (table.empty()) return true;
  const OdbcTable* known = Table(table, error);
  if (!known) return error.IsUnknownTable();
  made.table = std::move(table);
  made.keyColumns = known->key.size();
  if (known->key.empty()) return true;
  std::string key;
  for (const std::string& column : known->key) {
    key += (key.empty() ? "" : ",") + BracketedName(column);
  }
  text = select.WithColumns(key);
  return true;
}

bool OdbcConnection::RunPrepared(Prepared& prepared, std::span<const SqlValue> values,
                                 OdbcError& error) {
  prepared.failed = !prepared.statement->Run(values, error);
  return !prepared.failed;
}

bool OdbcConnection::RunSelect(Prepared& prepared, std::span<const SqlValue> values,
                               OdbcError& error) {
  if (RunPrepared(prepared, values, error)) {
    prepared.plain = {};
    return true;
  }
  if (prepared.plain.text.empty() || error.IsLost() || IsDead()) return false;
  // Rows that have no place for a key, such as one of sums.
  auto plain = Prepare(prepared.plain.text, values, prepared.plain.parameters, error);
  if (!plain || !plain->Run(values, error)) return false;
  const bool showsRowColumn = prepared.showsRowColumn;
  prepared = {};
  prepared.showsRowColumn = showsRowColumn;
  prepared.statement = std::move(plain);
  return true;
}

bool OdbcConnection::IsHidden(const Prepared& prepared, const OdbcColumn& column) {
  return !prepared.showsRowColumn && SameButForCase(column.column.name, kSqlRowColumn);
}

// Notes the columns of the open result. False when they are others than before.
bool OdbcConnection::Describe(Prepared& prepared, const std::vector<OdbcColumn>& all) {
  auto same = [](const SqlColumn& a, const SqlColumn& b) {
    return a.name == b.name && a.type == b.type && a.maxLength == b.maxLength;
  };
  const size_t own = all.size() - std::min(all.size(), prepared.keyColumns);
  auto columns = std::make_shared<std::vector<SqlColumn>>();
  for (size_t i = 0; i < own; ++i) {
    if (!IsHidden(prepared, all[i])) columns->push_back(all[i].column);
  }
  if (prepared.columns && std::equal(prepared.columns->begin(), prepared.columns->end(),
                                     columns->begin(), columns->end(), same)) {
    return true;
  }
  prepared.columns = std::move(columns);
  return false;
}

bool OdbcConnection::ReadRows(Prepared& prepared, SqlRows& rows, OdbcError& error) {
  OdbcStatement& statement = *prepared.statement;
  std::vector<OdbcColumn> all = statement.Columns();
  bool isNew = !Describe(prepared, all);
  rows.columns = prepared.columns;
  const size_t own = all.size() - std::min(all.size(), prepared.keyColumns);
  for (;;) {
    OdbcStatement::Step step = statement.Fetch(error);
    if (step == OdbcStatement::Step::kFailed) return false;
    if (step == OdbcStatement::Step::kEnd) break;
    for (size_t i = 0; i < all.size(); ++i) {
      if (i < own && IsHidden(prepared, all[i])) continue;
      std::vector<SqlValue>& target = i < own ? rows.cells : rows.identity;
      if (!statement.Read(i, all[i].kind, target.emplace_back(), error)) return false;
    }
  }
  if (!statement.Finish(error)) return false;
  return !isNew || MatchTable(prepared, error);
}

// Whether the columns are the table's, which may have got others since it was read.
bool OdbcConnection::MatchTable(Prepared& prepared, OdbcError& error) {
  prepared.ofTable = false;
  if (prepared.table.empty()) return true;
  for (bool fresh : {false, true}) {
    if (fresh) tables_.erase(prepared.table);
    const OdbcTable* table = Table(prepared.table, error);
    if (!table) return error.IsUnknownTable();
    prepared.ofTable =
        std::all_of(prepared.columns->begin(), prepared.columns->end(),
                    [&](const SqlColumn& column) { return table->Find(column.name); });
    if (prepared.ofTable) break;
  }
  return true;
}

bool OdbcConnection::Query(std::string_view statement, std::span<const SqlValue> values,
                           SqlRows& rows, OdbcError& error) {
  Prepared* prepared = Find(OdbcUse::kRows, statement, values, error);
  if (!prepared || !RunSelect(*prepared, values, error)) return false;
  SqlRows read;
  if (!ReadRows(*prepared, read, error)) return false;
  if (prepared->ofTable) {
    read.table = prepared->table;
    read.identityWidth = prepared->keyColumns;
  } else {
    read.identity.clear();
  }
  rows = std::move(read);
  return true;
}

bool OdbcConnection::Execute(std::string_view statement, std::span<const SqlValue> values,
                             OdbcError& error) {
  Prepared* prepared = Find(OdbcUse::kCommand, statement, values, error);
  return prepared && RunPrepared(*prepared, values, error) && prepared->statement->Finish(error);
}

bool OdbcConnection::Change(std::string_view statement, std::span<const SqlValue> values,
                            SQLLEN& changed, OdbcError& error) {
  Prepared* prepared = Find(OdbcUse::kOwn, statement, values, error);
  if (!prepared || !RunPrepared(*prepared, values, error)) return false;
  changed = prepared->statement->RowCount();
  return prepared->statement->Finish(error);
}

}  // namespace vnq
