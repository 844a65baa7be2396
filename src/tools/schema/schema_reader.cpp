#include "tools/schema/schema_reader.h"

#include <algorithm>

#include "support/ascii_case.h"
#include "support/numbers.h"

namespace vnq {

namespace {

/// The select lists are the same for every engine. `distinct` on a single view keeps drivers from
/// looking for the identity of its rows.
struct EngineQueries {
  /// table, position, column, type, length, collation, not null, default, assigned
  std::string_view columns;
  /// table, index, position, key
  std::string_view indexes;
};

constexpr EngineQueries kSqlite = {
    "select m.name as a,p.cid as b,p.name as c,p.type as d,0 as e,m.sql as f,"
    "p.\"notnull\" as g,p.dflt_value is not null as h,"
    "p.pk=1 and upper(p.type)='INTEGER' as i"
    " from sqlite_master as m, pragma_table_info(m.name) as p where m.type='table' order by 1,2",
    "select m.name as a,x.name as b,k.seqno as c,coalesce(k.name,'') as d"
    " from sqlite_master as m, pragma_index_list(m.name) as x, pragma_index_info(x.name) as k"
    " where m.type='table' and x.partial=0 order by 1,2,3",
};

constexpr EngineQueries kPostgres = {
    "select distinct c.table_name as a,c.ordinal_position as b,c.column_name as c,"
    "c.data_type as d,coalesce(c.character_maximum_length,0) as e,"
    "coalesce(c.collation_name,'') as f,"
    "case when c.is_nullable='NO' then 1 else 0 end as g,"
    "case when c.column_default is null then 0 else 1 end as h,"
    "case when c.is_identity='YES' or position('nextval(' in c.column_default)=1"
    " then 1 else 0 end as i"
    " from information_schema.columns c where c.table_schema=current_schema() order by 1,2",
    "select t.relname as a,i.relname as b,k.n as c,"
    "pg_get_indexdef(x.indexrelid,k.n,true) as d"
    " from pg_index x join pg_class t on t.oid=x.indrelid join pg_class i on i.oid=x.indexrelid"
    " join pg_namespace s on s.oid=t.relnamespace cross join generate_series(1,32) as k(n)"
    " where k.n<=x.indnkeyatts and x.indpred is null and x.indisvalid"
    " and s.nspname=current_schema() order by 1,2,3",
};

constexpr EngineQueries kSqlServer = {
    "select distinct TABLE_NAME as a,ORDINAL_POSITION as b,COLUMN_NAME as c,DATA_TYPE as d,"
    "coalesce(CHARACTER_MAXIMUM_LENGTH,0) as e,coalesce(COLLATION_NAME,'') as f,"
    "case when IS_NULLABLE='NO' then 1 else 0 end as g,"
    "case when COLUMN_DEFAULT is null then 0 else 1 end as h,"
    "coalesce(columnproperty(object_id(quotename(TABLE_SCHEMA)+'.'+quotename(TABLE_NAME)),"
    "COLUMN_NAME,'IsIdentity'),0) as i"
    " from INFORMATION_SCHEMA.COLUMNS where TABLE_SCHEMA=schema_name() order by 1,2",
    "select t.name as a,i.name as b,k.key_ordinal as c,c.name as d"
    " from sys.tables t join sys.indexes i on i.object_id=t.object_id"
    " join sys.index_columns k on k.object_id=i.object_id and k.index_id=i.index_id"
    " join sys.columns c on c.object_id=k.object_id and c.column_id=k.column_id"
    " where t.schema_id=schema_id() and k.is_included_column=0 and i.has_filter=0"
    " and i.is_disabled=0 order by 1,2,3",
};

const EngineQueries& QueriesOf(DatabaseEngine engine) {
  switch (engine) {
    case DatabaseEngine::kSqlite:
      return kSqlite;
    case DatabaseEngine::kPostgres:
      return kPostgres;
    case DatabaseEngine::kSqlServer:
      break;
  }
  return kSqlServer;
}

std::string TextOf(const SqlValue& value) {
  if (value.kind == SqlValue::Kind::kInteger) return FormatNumber(value.integer);
  return value.kind == SqlValue::Kind::kText ? value.text : "";
}

int64_t NumberOf(const SqlValue& value) {
  if (value.kind == SqlValue::Kind::kInteger) return value.integer;
  return value.kind == SqlValue::Kind::kText ? ParseInt32(value.text).value_or(0) : 0;
}

// "varchar(20)" of an SQLite column bounds nothing there.
std::string TypeName(std::string_view type) {
  std::string name = AsciiLower(type.substr(0, type.find('(')));
  while (name.ends_with(' ')) name.pop_back();
  return name;
}

// A `max` type is -1 in one engine's catalogue and a huge number for its older kinds.
int64_t Bound(int64_t length) {
  constexpr int64_t kLongestBound = 1 << 20;
  return length < 0 || length > kLongestBound ? 0 : length;
}

// The part of a `create table` that defines a column: the catalogue does not tell its collation.
std::string_view ColumnDefinition(std::string_view statement, std::string_view column) {
  size_t begin = std::min(statement.find('('), statement.size());
  int depth = 0;
  for (size_t i = begin; i < statement.size(); ++i) {
    if (statement[i] == '(') ++depth;
    if (statement[i] == ')') --depth;
    const bool ends = depth == 0 || (depth == 1 && statement[i] == ',');
    if (!ends) continue;
    const std::string_view part = statement.substr(begin + 1, i - begin - 1);
    const size_t word = std::min(part.find_first_not_of(" \t\r\n\"`["), part.size());
    if (HoldsName(part.substr(word, column.size() + 1), column)) return part;
    if (depth == 0) break;
    begin = i;
  }
  return {};
}

std::string SqliteCollation(std::string_view statement, std::string_view column) {
  const std::string definition =
      AsciiLower(ColumnDefinition(AsciiLower(statement), AsciiLower(column)));
  constexpr std::string_view kWord = "collate";
  const size_t at = definition.find(kWord);
  if (at == std::string::npos) return "binary";
  const size_t name = definition.find_first_not_of(" \t\r\n\"", at + kWord.size());
  if (name == std::string::npos) return "binary";
  return definition.substr(name, definition.find_first_of(" \t\r\n\"", name) - name);
}

ExistingColumn ColumnOf(const SqlValue* cells, DatabaseEngine engine) {
  ExistingColumn column;
  column.name = TextOf(cells[2]);
  column.type = TypeName(TextOf(cells[3]));
  column.length = Bound(NumberOf(cells[4]));
  column.collation = engine == DatabaseEngine::kSqlite
                         ? SqliteCollation(TextOf(cells[5]), column.name)
                         : AsciiLower(TextOf(cells[5]));
  column.isNotNull = NumberOf(cells[6]) != 0;
  column.hasDefault = NumberOf(cells[7]) != 0;
  column.isAssigned = NumberOf(cells[8]) != 0;
  return column;
}

bool IsNameChar(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || c == '_' ||
         static_cast<unsigned char>(c) >= 0x80;
}

}  // namespace

bool HoldsName(std::string_view text, std::string_view name) {
  for (size_t at = text.find(name); at != text.npos; at = text.find(name, at + 1)) {
    const size_t end = at + name.size();
    const bool beginsHere = at == 0 || !IsNameChar(AsciiLower(text[at - 1]));
    if (beginsHere && (end == text.size() || !IsNameChar(AsciiLower(text[end])))) return true;
  }
  return false;
}

const ExistingColumn* ExistingTable::Find(std::string_view column) const {
  const std::string lower = AsciiLower(column);
  const auto found = std::find_if(
      columns.begin(), columns.end(),
      [&lower](const ExistingColumn& candidate) { return AsciiLower(candidate.name) == lower; });
  return found == columns.end() ? nullptr : &*found;
}

bool ExistingSchema::Read(SqlDriver& driver, DatabaseEngine engine, std::string& error) {
  tables_.clear();
  const EngineQueries& queries = QueriesOf(engine);
  SqlRows columns, indexes;
  if (!driver.Query(queries.columns, {}, columns) || !driver.Query(queries.indexes, {}, indexes)) {
    error = "the list of tables cannot be read: " + driver.LastError();
    return false;
  }
  constexpr size_t kColumnCells = 9, kIndexCells = 4;
  for (size_t at = 0; at + kColumnCells <= columns.cells.size(); at += kColumnCells) {
    if (AsciiLower(TextOf(columns.cells[at + 2])) == kSqlRowColumn) continue;
    const std::string name = TextOf(columns.cells[at]);
    ExistingTable& table = tables_[AsciiLower(name)];
    table.name = name;
    table.columns.push_back(ColumnOf(&columns.cells[at], engine));
  }
  for (size_t at = 0; at + kIndexCells <= indexes.cells.size(); at += kIndexCells) {
    const auto table = tables_.find(AsciiLower(TextOf(indexes.cells[at])));
    if (table == tables_.end()) continue;
    std::vector<ExistingIndex>& known = table->second.indexes;
    const std::string name = TextOf(indexes.cells[at + 1]);
    if (known.empty() || known.back().name != name) known.push_back({name, {}});
    known.back().keys.push_back(AsciiLower(TextOf(indexes.cells[at + 3])));
  }
  return true;
}

const ExistingTable* ExistingSchema::Find(std::string_view table) const {
  const auto found = tables_.find(AsciiLower(table));
  return found == tables_.end() ? nullptr : &found->second;
}

}  // namespace vnq
