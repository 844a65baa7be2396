#include "platform/postgres_statements.h"

#include <fmt/format.h>

#include <algorithm>

#include "platform/sql_dialect.h"

namespace vnq {
namespace {

// Types of the server's catalogue; its own header for them is not for clients.
constexpr Oid kBool = 16, kInt8 = 20, kInt2 = 21, kInt4 = 23, kOid = 26, kBpchar = 1042,
              kVarchar = 1043;
constexpr int kLengthHeader = 4;  // a type modifier counts its own bytes

SqlColumnType TypeOf(Oid type) {
  for (Oid integer : {kBool, kInt2, kInt4, kInt8, kOid}) {
    if (type == integer) return SqlColumnType::kInteger;
  }
  return SqlColumnType::kText;
}

size_t MaxLengthOf(Oid type, int modifier) {
  const bool bounded = (type == kVarchar || type == kBpchar) && modifier > kLengthHeader;
  return bounded ? static_cast<size_t>(modifier - kLengthHeader) : 0;
}

std::vector<SqlMarker> MarkersOf(std::span<const SqlValue> parameters) {
  std::vector<SqlMarker> markers;
  for (const SqlValue& value : parameters) {
    const bool text = value.kind == SqlValue::Kind::kText;
    markers.push_back(text ? SqlMarker::kText : SqlMarker::kNumber);
  }
  return markers;
}

// The same words mean another statement with values of other kinds.
std::string CacheKey(std::string_view written, std::span<const SqlMarker> markers) {
  std::string key(written);
  key += '\0';
  for (SqlMarker marker : markers) key += marker == SqlMarker::kText ? 't' : 'n';
  return key;
}

// The embedded engine's word for a transaction that will write.
std::string_view OwnWords(std::string_view written) {
  return written == "begin immediate" ? "begin" : written;
}

}  // namespace

std::string PostgresError(const PGresult* result) {
  const char* state = PQresultErrorField(result, PG_DIAG_SQLSTATE);
  const char* message = PQresultErrorField(result, PG_DIAG_MESSAGE_PRIMARY);
  return fmt::format("{} ({})", message ? message : "refused", state ? state : "?");
}

PostgresStatement* PostgresStatements::Prepare(std::string_view written,
                                               std::span<const SqlValue> parameters,
                                               std::string& error) {
  const std::vector<SqlMarker> markers = MarkersOf(parameters);
  std::string key = CacheKey(written, markers);
  if (PostgresStatement* found = recent_.Find(key)) return found;

  const bool kept = written.size() <= kLongestKept;
  PostgresStatement made;
  if (kept) made.name = fmt::format("vnq{}", ++made_);
  const auto translated = TranslateSql(OwnWords(written), markers, kPostgresDialect, exactColumns_);
  if (!Make(translated.text, made, error)) return nullptr;
  if (!kept) {
    unkept_ = std::move(made);
    return &unkept_;
  }
  return &recent_.Add(std::move(key), std::move(made),
                      [this](const PostgresStatement& old) { Deallocate(old.name); });
}

void PostgresStatements::Clear() {
  recent_.Clear();
  tables_.clear();
  if (!connection_.lost()) connection_.RunText("deallocate all");
}

void PostgresStatements::Deallocate(const std::string& name) {
  if (!connection_.lost()) connection_.RunText("deallocate " + name);
}

bool PostgresStatements::Make(const std::string& text, PostgresStatement& statement,
                              std::string& error) {
  Oid table = 0;
  if (!PrepareAs(statement.name, text, error)) return false;
  if (!Describe(statement, table, error)) return false;
  if (table != 0) AddIdentity(text, table, statement);
  return !connection_.lost();
}

bool PostgresStatements::PrepareAs(const std::string& name, const std::string& text,
                                   std::string& error) {
  const PostgresResult result = connection_.Prepare(name, text);
  if (result && PQresultStatus(result.get()) == PGRES_COMMAND_OK) return true;
  error = result ? PostgresError(result.get()) : connection_.error();
  return false;
}

// Columns and, when all come from one table, which that is.
bool PostgresStatements::Describe(PostgresStatement& statement, Oid& table, std::string& error) {
  const PostgresResult result = connection_.Describe(statement.name);
  if (!result || PQresultStatus(result.get()) != PGRES_COMMAND_OK) {
    error = result ? PostgresError(result.get()) : connection_.error();
    return false;
  }
  const PGresult* described = result.get();
  statement.parameters = static_cast<size_t>(PQnparams(described));
  const int count = PQnfields(described) - static_cast<int>(statement.identityWidth);
  statement.reads = count > 0;
  auto columns = std::make_shared<std::vector<SqlColumn>>();
  table = count > 0 ? PQftable(described, 0) : 0;
  for (int i = 0; i < count; ++i) {
    const Oid type = PQftype(described, i);
    columns->push_back(
        {PQfname(described, i), TypeOf(type), MaxLengthOf(type, PQfmod(described, i))});
    if (PQftable(described, i) != table) table = 0;
  }
  statement.columns = std::move(columns);
  return true;
}

// Prepares the statement anew with what finds its rows again. Where the server does not take the
// longer one (an aggregate) the rows are for reading only.
void PostgresStatements::AddIdentity(const std::string& text, Oid oid,
                                     PostgresStatement& statement) {
  const Table& table = TableOf(oid);
  if (table.name.empty()) return;
  std::string identity;
  for (const std::string& column : table.keyColumns) {
    identity += (identity.empty() ? "" : ",") + PostgresQuotedName(column);
  }
  const auto longer = SelectWithColumn(text, identity.empty() ? "ctid" : identity);
  if (!longer) return;

  PostgresStatement identified;
  std::string ignored;
  if (!statement.name.empty()) identified.name = statement.name + "i";
  identified.identityWidth = std::max<size_t>(table.keyColumns.size(), 1);
  Oid same = 0;
  if (!PrepareAs(identified.name, *longer, ignored)) {
    // The unnamed statement went with the attempt.
    if (statement.name.empty()) PrepareAs("", text, ignored);
    return;
  }
  if (!Describe(identified, same, ignored)) return;
  if (!statement.name.empty()) Deallocate(statement.name);
  identified.table = table.name;
  identified.keyColumns = table.keyColumns;
  statement = std::move(identified);
}

const PostgresStatements::Table& PostgresStatements::TableOf(Oid oid) {
  auto found = tables_.find(oid);
  if (found == tables_.end()) found = tables_.emplace(oid, ReadTable(oid)).first;
  return found->second;
}

PostgresStatements::Table PostgresStatements::ReadTable(Oid oid) {
  // regclass writes the name quoted, and with its schema where it could not be found without.
  const PostgresResult result = connection_.RunText(fmt::format(
      "select c.oid::regclass::text,a.attname from pg_catalog.pg_class c"
      " left join pg_catalog.pg_index i on i.indrelid=c.oid and i.indisprimary"
      " left join pg_catalog.pg_attribute a on a.attrelid=c.oid and a.attnum=any(i.indkey)"
      " where c.oid={} and c.relkind in ('r','p') order by a.attnum",
      oid));
  Table table;
  const PGresult* rows = result.get();
  if (!rows || PQresultStatus(rows) != PGRES_TUPLES_OK) return table;
  for (int i = 0; i < PQntuples(rows); ++i) {
    table.name = PQgetvalue(rows, i, 0);
    if (!PQgetisnull(rows, i, 1)) table.keyColumns.emplace_back(PQgetvalue(rows, i, 1));
  }
  return table;
}

}  // namespace vnq
