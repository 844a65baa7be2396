#include "platform/sql/sql_dialect.h"
#include "platform/sql/sqlite/sqlite_connection.h"
#include "support/ascii_case.h"

namespace vnq {
namespace {

// The name of the rowid that a column of the table's own is least likely to bear.
constexpr std::string_view kRowId = "_rowid_";

SqlColumnType TypeOf(const char* declared) {
  const bool integer =
      declared && (SameButForCase(declared, "integer") || SameButForCase(declared, "int"));
  return integer ? SqlColumnType::kInteger : SqlColumnType::kText;
}

// True for `select count(*) from TABLE`.
bool CountsRows(const SqliteStatement& statement) {
  constexpr std::string_view kCount = "select count(*) from ";
  const std::string_view written = statement.written;
  const auto& reads = statement.touched.reads;
  return SameButForCase(written.substr(0, kCount.size()), kCount) && reads.size() == 1 &&
         SameButForCase(written.substr(kCount.size()), reads.front()->table);
}

// Like sqlite3_prepare_v3, and refuses a text of several statements. Null on failure.
sqlite3_stmt* PrepareOne(sqlite3* database, const std::string& text, std::string& refusal) {
  sqlite3_stmt* statement = nullptr;
  const char* tail = nullptr;
  sqlite3_prepare_v3(database, text.data(), static_cast<int>(text.size()),
                     SQLITE_PREPARE_PERSISTENT, &statement, &tail);
  if (!statement) {
    if (sqlite3_errcode(database) == SQLITE_OK) refusal = "an empty statement";
    return nullptr;
  }
  std::string_view rest(tail, static_cast<size_t>(text.data() + text.size() - tail));
  if (rest.find_first_not_of(" \t\r\n;") == std::string_view::npos) return statement;
  sqlite3_finalize(statement);
  refusal = "more than one statement";
  return nullptr;
}

// The one table that the first `count` columns come from; empty when there is none.
std::string CommonTable(sqlite3_stmt* statement, int count) {
  std::string table;
  for (int i = 0; i < count; ++i) {
    const char* name = sqlite3_column_table_name(statement, i);
    if (!name || (i > 0 && table != name)) return {};
    table = name;
  }
  return table;
}

void Describe(SqliteStatement& statement, bool identified) {
  sqlite3_stmt* handle = statement.handle.get();
  int count = sqlite3_column_count(handle) - (identified ? 1 : 0);
  auto columns = std::make_shared<std::vector<SqlColumn>>();
  for (int i = 0; i < count; ++i) {
    const char* name = sqlite3_column_name(handle, i);
    columns->push_back({name ? name : "", TypeOf(sqlite3_column_decltype(handle, i))});
  }
  statement.columns = std::move(columns);
  statement.table = identified ? CommonTable(handle, count) : std::string();
}

}  // namespace

void RefreshDescription(SqliteStatement& statement) {
  int count = sqlite3_stmt_status(statement.handle.get(), SQLITE_STMTSTATUS_REPREPARE, 0);
  if (count == statement.repreparations) return;
  statement.repreparations = count;
  statement.touched.isKnown = false;  // it may be of other tables now
  Describe(statement, !statement.table.empty());
}

SqliteStatement* SqliteStatementCache::Prepare(std::string_view written, std::string& refusal) {
  if (SqliteStatement* found = recent_.Find(written)) return found;
  SqliteStatement made;
  touches_.NoteIn(&made.touched);
  const bool isMade = Make(written, made, refusal);
  touches_.NoteIn(nullptr);
  if (!isMade) return nullptr;
  if (written.size() > kLongestKept) {
    unkept_ = std::move(made);
    return &unkept_;
  }
  return &recent_.Add(std::string(written), std::move(made), [](const SqliteStatement&) {});
}

bool SqliteStatementCache::Make(std::string_view written, SqliteStatement& statement,
                                std::string& refusal) {
  const TranslatedSql translated = TranslateSql(written, {}, kSqliteDialect);
  statement.handle.reset(PrepareOne(database_, translated.text, refusal));
  if (!statement.handle) return false;
  statement.written = written;

  // Rows of one table can be written back by their rowid. Where the engine does not take the longer
  // select (a second table) or the rowid is no table's own (a view) the rows are for reading only.
  bool identified = false;
  sqlite3_stmt* plain = statement.handle.get();
  if (!CommonTable(plain, sqlite3_column_count(plain)).empty()) {
    if (translated.columnsEnd) {
      std::string ignored;
      SqliteStatement withRowId;
      withRowId.handle.reset(PrepareOne(database_, translated.WithColumns(kRowId), ignored));
      sqlite3_stmt* handle = withRowId.handle.get();
      identified = handle && !CommonTable(handle, sqlite3_column_count(handle)).empty();
      if (identified) statement.handle = std::move(withRowId.handle);
    }
  }
  Describe(statement, identified);
  statement.memo = SqliteMemo(CountsRows(statement));
  return true;
}

}  // namespace vnq
