#include "platform/sql/postgres/postgres_statements.h"

#include <libpq-fe.h>

#include "platform/sql/row_statements.h"
#include "support/ascii_case.h"

namespace vnq {
namespace {

using Outcome = PostgresReply::Outcome;

// Another table's columns never bear it, and `order by` finds each name once.
constexpr std::string_view kIdentityColumn = "vnq_identity_";

constexpr std::string_view kUnknownStatement = "26000";
constexpr std::string_view kBeginImmediate = "begin immediate";
constexpr size_t kDroppedTogether = 32;

// libpq takes a description of a statement's values for garbage, and drops the session, above
// 30,000 bytes: 6 and 4 for each value.
constexpr size_t kMostDescribedValues = (30'000 - 6) / 4;

constexpr const char* kTableReader = "vnq_table";
constexpr const char* kDescribeTable =
    "select c.relkind,c.relhassubclass,pg_catalog.pg_table_is_visible(c.oid),n.nspname,c.relname,"
    "a.attname,a.attidentity from pg_catalog.pg_class c"
    " join pg_catalog.pg_namespace n on n.oid=c.relnamespace"
    " left join pg_catalog.pg_index i on i.indrelid=c.oid and i.indisprimary and i.indisvalid"
    // Behind the key's columns an index can have others.
    " left join pg_catalog.pg_attribute a on a.attrelid=c.oid"
    " and a.attnum=any((i.indkey::int2[])[0:i.indnkeyatts-1])"
    " where c.oid=$1";

// An index depends on its columns, also on those within an expression.
constexpr const char* kIndexedColumns =
    "select a.attname from pg_catalog.pg_attribute a where a.attrelid=$1 and a.attnum>0"
    " and not a.attisdropped and case when exists(select 1 from pg_catalog.pg_index"
    " where indrelid=$1) then exists(select 1 from pg_catalog.pg_depend d"
    " join pg_catalog.pg_index i on i.indexrelid=d.objid where i.indrelid=$1 and d.refobjid=$1"
    " and d.refobjsubid=a.attnum) else a.attnum=(select min(b.attnum) from"
    " pg_catalog.pg_attribute b where b.attrelid=$1 and b.attnum>0 and not b.attisdropped) end";

std::string Cell(const PostgresReply& reply, int row, int column) {
  return PQgetvalue(reply.result.get(), row, column);
}

// What finds a row of a table without a key. A place is given to another row once its own is gone,
// so the transaction that wrote the row is part of it. Tables below this one count their places
// themselves.
std::vector<std::string> PlaceColumns(bool hasTablesBelow) {
  std::vector<std::string> columns = {"ctid", "xmin"};
  if (hasTablesBelow) columns.push_back("tableoid");
  return columns;
}

// Reads the answer to kDescribeTable; null when the rows are for reading only.
std::shared_ptr<const PostgresTable> TableOf(unsigned number, const PostgresReply& reply) {
  int rows = PQntuples(reply.result.get());
  if (rows == 0) return nullptr;
  std::string kind = Cell(reply, 0, 0);
  bool partitioned = kind == "p";
  if (kind != "r" && !partitioned) return nullptr;
  auto table = std::make_shared<PostgresTable>();
  table->number = number;
  if (Cell(reply, 0, 2) != "t") table->name = DoubleQuoted(Cell(reply, 0, 3)) + ".";
  table->name += DoubleQuoted(Cell(reply, 0, 4));
  // A key holds for a table and its partitions, but not for tables that inherit from it.
  bool inherited = !partitioned && Cell(reply, 0, 1) == "t";
  bool hasKey = PQgetisnull(reply.result.get(), 0, 5) == 0;
  if (inherited || !hasKey) {
    table->identity = PlaceColumns(inherited || partitioned);
    table->isByPlace = true;
    return table;
  }
  table->isCounted = rows == 1 && !Cell(reply, 0, 6).empty();
  for (int i = 0; i < rows; ++i) {
    table->identity.push_back(DoubleQuoted(Cell(reply, i, 5)));
  }
  return table;
}

std::string IdentityList(const PostgresTable& table) {
  std::string list;
  for (size_t i = 0; i < table.identity.size(); ++i) {
    if (i > 0) list += ',';
    list += table.identity[i] + " as " + std::string(kIdentityColumn) + std::to_string(i);
  }
  return list;
}

// One text can be prepared for several kinds of values.
std::string KeyOf(std::string_view written, std::span<const SqlMarker> markers,
                  PostgresStatements::Use use) {
  std::string key;
  key.reserve(written.size() + markers.size() + 2);
  key += static_cast<char>('0' + static_cast<int>(use));
  for (SqlMarker marker : markers) key += marker == SqlMarker::kText ? 't' : 'n';
  key += ' ';
  key += written;
  return key;
}

PostgresReply Refusal(std::string message) {
  PostgresReply reply;
  reply.outcome = Outcome::kRefused;
  reply.message = std::move(message);
  return reply;
}

// The statement as the server takes it; a refusal when its markers do not go with the values.
PostgresReply Translate(std::string_view written, std::span<const SqlMarker> markers,
                        std::span<const std::string> exactColumns, TranslatedSql& translated) {
  // What SQLite calls a transaction that means to write is the usual one here.
  if (SameButForCase(written, kBeginImmediate)) written = "begin";
  translated = TranslateSql(StorableText(written), markers, kPostgresDialect, exactColumns);
  if (translated.parameters.size() == markers.size()) return {};
  return Refusal("another number of markers than of values");
}

}  // namespace

PostgresStatement* PostgresStatements::Find(std::string_view written,
                                            std::span<const SqlValue> parameters, Use use) {
  return recent_.Find(KeyOf(written, MarkersOf(parameters), use));
}

PostgresReply PostgresStatements::Prepare(std::string_view written,
                                          std::span<const SqlValue> parameters, Use use, bool anew,
                                          const PostgresDeadline& deadline,
                                          PostgresStatement*& statement) {
  std::vector<SqlMarker> markers = MarkersOf(parameters);
  std::string key = KeyOf(written, markers, use);
  PostgresStatement* known = recent_.Find(key);
  if (known && !anew) {
    statement = known;
    return {};
  }
  TranslatedSql text{std::string(written), {}, {}, {}};
  PostgresReply reply =
      use == Use::kOwn ? PostgresReply{} : Translate(written, markers, exactColumns_, text);
  if (reply.done()) reply = DropUnused(deadline);
  PostgresStatement made;
  bool kept = written.size() <= kLongestKept;
  if (kept) made.name = "vnq_" + std::to_string(++lastName_);
  made.showsRowColumn = written.find(kSqlRowColumn) != written.npos;
  const bool forReading = markers.size() > kMostDescribedValues;
  if (reply.done()) reply = Make(text, forReading ? Use::kCommand : use, deadline, made);
  if (!reply.done()) return reply;
  if (known) {
    NoteUnused(*known);
    *known = std::move(made);
    statement = known;
  } else if (kept) {
    statement = &recent_.Add(std::move(key), std::move(made),
                             [this](const PostgresStatement& old) { NoteUnused(old); });
  } else {
    unkept_ = std::move(made);
    statement = &unkept_;
  }
  return reply;
}

PostgresReply PostgresStatements::Make(const TranslatedSql& text, Use use,
                                       const PostgresDeadline& deadline, PostgresStatement& made) {
  if (use == Use::kRows && text.columnsEnd) {
    PostgresReply reply = MakeIdentified(text, deadline, made);
    if (!reply.done() || made.table) return reply;
  }
  return connection_.Prepare(made.name, text.text, deadline);
}

// Prepares the select with the identity of its rows. Where it is done and the table is still
// unknown, the rows are for reading only and nothing is prepared.
PostgresReply PostgresStatements::MakeIdentified(const TranslatedSql& text,
                                                 const PostgresDeadline& deadline,
                                                 PostgresStatement& made) {
  PostgresReply reply = connection_.Prepare("", text.text, deadline);
  if (reply.done()) reply = connection_.Describe("", deadline);
  if (!reply.done()) return reply;
  unsigned number = CommonPostgresTable(reply.result.get());
  if (number == 0) return reply;
  std::shared_ptr<const PostgresTable> table;
  reply = ReadTable(number, deadline, table);
  if (!reply.done() || !table) return reply;

  // An attempt that fails must not spoil the caller's transaction.
  bool guarded = connection_.InTransaction();
  if (guarded) reply = connection_.Run("savepoint vnq_statement", deadline);
  if (!reply.done()) return reply;
  reply = TryIdentified(text, *table, deadline, made.name);
  if (reply.done()) made.table = table;
  if (!reply.done() && !reply.refused()) return reply;
  if (!guarded) return {};
  std::string_view undo = reply.refused() ? "rollback to savepoint vnq_statement;" : "";
  return connection_.Run(std::string(undo) + "release savepoint vnq_statement", deadline);
}

PostgresReply PostgresStatements::TryIdentified(const TranslatedSql& text,
                                                const PostgresTable& table,
                                                const PostgresDeadline& deadline,
                                                const std::string& name) {
  // Rows that were written or tidied up since would come in another order.
  const std::string order = table.isCounted ? table.identity.front() : "";
  PostgresReply reply =
      connection_.Prepare(name, text.WithColumns(IdentityList(table), order), deadline);
  if (reply.done()) reply = connection_.Describe(name, deadline);
  if (!reply.done() || CommonPostgresTable(reply.result.get()) == table.number) return reply;
  if (!name.empty()) unused_.push_back(name);
  return Refusal("the identity is another table's");
}

// Read for each statement that is prepared: a table that was renamed keeps its number.
PostgresReply PostgresStatements::ReadTable(unsigned number, const PostgresDeadline& deadline,
                                            std::shared_ptr<const PostgresTable>& table) {
  const std::vector<SqlValue> values = {SqlValue::Integer(number)};
  PostgresReply reply;
  for (bool again : {false, true}) {
    if (!tableReaderPrepared_) reply = connection_.Prepare(kTableReader, kDescribeTable, deadline);
    if (!reply.done()) return reply;
    tableReaderPrepared_ = true;
    reply = connection_.RunPrepared(kTableReader, PostgresParameters(values), deadline);
    if (again || reply.sqlState != kUnknownStatement) break;
    tableReaderPrepared_ = false;
    reply = {};
  }
  if (reply.done()) table = TableOf(number, reply);
  return reply;
}

PostgresReply PostgresStatements::ReadIndexedColumns(unsigned table,
                                                     const PostgresDeadline& deadline,
                                                     std::vector<std::string>& columns) {
  const std::vector<SqlValue> values = {SqlValue::Integer(table)};
  PostgresReply reply = connection_.Prepare("", kIndexedColumns, deadline);
  if (reply.done()) reply = connection_.RunPrepared("", PostgresParameters(values), deadline);
  const int rows = reply.done() ? PQntuples(reply.result.get()) : 0;
  for (int i = 0; i < rows; ++i) columns.push_back(Cell(reply, i, 0));
  return reply;
}

// Several at a time, for each costs a round trip; and not in a transaction, which an error would
// spoil.
PostgresReply PostgresStatements::DropUnused(const PostgresDeadline& deadline) {
  if (unused_.size() < kDroppedTogether || connection_.InTransaction()) return {};
  std::string statements;
  for (const std::string& name : unused_) statements += "deallocate " + name + ";";
  unused_.clear();
  PostgresReply reply = connection_.Run(statements, deadline);
  // What the server does not know needs no dropping.
  return reply.refused() ? PostgresReply{} : std::move(reply);
}

void PostgresStatements::NoteUnused(const PostgresStatement& statement) {
  if (!statement.name.empty()) unused_.push_back(statement.name);
}

}  // namespace vnq
