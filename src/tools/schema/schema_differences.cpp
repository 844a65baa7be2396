#include "tools/schema/schema_differences.h"

#include <algorithm>

#include "support/ascii_case.h"
#include "support/numbers.h"
#include "tools/schema/schema_sql.h"

namespace vnq {

namespace {

enum class TypeClass {
  kOther,
  kInteger,
  kText,
  kCodePageText,  ///< holds the characters of one legacy code page
  kPaddedText,    ///< blanks fill it up
};

bool IsOneOf(std::string_view type, std::initializer_list<std::string_view> types) {
  return std::find(types.begin(), types.end(), type) != types.end();
}

bool Contains(std::string_view text, std::string_view part) {
  return text.find(part) != text.npos;
}

TypeClass SqliteClass(std::string_view type) {
  // The engine's own rule: what a type's name holds decides.
  if (Contains(type, "int")) return TypeClass::kInteger;
  const bool isText = Contains(type, "char") || Contains(type, "clob") || Contains(type, "text");
  return isText ? TypeClass::kText : TypeClass::kOther;
}

TypeClass PostgresClass(std::string_view type) {
  if (IsOneOf(type, {"integer", "bigint"})) return TypeClass::kInteger;
  if (IsOneOf(type, {"text", "character varying"})) return TypeClass::kText;
  return type == "character" ? TypeClass::kPaddedText : TypeClass::kOther;
}

TypeClass SqlServerClass(const ExistingColumn& column) {
  if (IsOneOf(column.type, {"int", "bigint"})) return TypeClass::kInteger;
  if (column.type == "nvarchar") return TypeClass::kText;
  if (column.type == "varchar") {
    return column.collation.ends_with("utf8") ? TypeClass::kText : TypeClass::kCodePageText;
  }
  return IsOneOf(column.type, {"char", "nchar"}) ? TypeClass::kPaddedText : TypeClass::kOther;
}

TypeClass ClassOf(const ExistingColumn& column, DatabaseEngine engine) {
  switch (engine) {
    case DatabaseEngine::kSqlite:
      return SqliteClass(column.type);
    case DatabaseEngine::kPostgres:
      return PostgresClass(column.type);
    case DatabaseEngine::kSqlServer:
      break;
  }
  return SqlServerClass(column);
}

bool IsText(const ColumnDef& column) {
  return column.kind == ColumnKind::kText || column.kind == ColumnKind::kExactText;
}

std::string Written(const ExistingColumn& column) {
  return column.length == 0 ? column.type : column.type + "(" + FormatNumber(column.length) + ")";
}

/// The differences of one table.
class TableDifferences {
 public:
  TableDifferences(const TableDef& table, const ExistingTable& existing, DatabaseEngine engine,
                   std::vector<SchemaDifference>& found)
      : table_(table), existing_(existing), engine_(engine), found_(found) {}

  void Find() {
    for (const ColumnDef& column : table_.columns) {
      const ExistingColumn* existing = existing_.Find(column.name);
      existing == nullptr ? Miss(column) : Compare(column, *existing);
    }
    for (const ExistingColumn& column : existing_.columns) CheckNotNull(column);
    for (std::string_view columns : table_.indexes) CheckIndex(columns);
  }

 private:
  void Compare(const ColumnDef& column, const ExistingColumn& existing) {
    CompareType(column, existing);
    if (IsText(column)) CompareCollation(column, existing);
    CompareDefault(column, existing);
    if (column.kind == ColumnKind::kGrowingId && !existing.isAssigned) {
      Break(column, " is not assigned by the database");
    }
  }

  void CompareType(const ColumnDef& column, const ExistingColumn& existing) {
    const std::string expected = AsciiLower(ColumnType(column, engine_));
    const TypeClass type = ClassOf(existing, engine_);
    if (IsText(column) && type == TypeClass::kCodePageText) {
      return Spoil(column, ": " + existing.type +
                               " holds only the server's code page, nvarchar is expected");
    }
    if (type != (IsText(column) ? TypeClass::kText : TypeClass::kInteger)) {
      return Break(column, " is " + Written(existing) + ", " + expected + " is expected");
    }
    const bool isBounded = column.length == TextLength::kUnbounded || existing.length < kNameLength;
    if (IsText(column) && existing.length != 0 && isBounded) {
      Spoil(column, ": " + Written(existing) + " is shorter than " + expected);
    }
  }

  void CompareCollation(const ColumnDef& column, const ExistingColumn& existing) {
    // PostgreSQL's comparisons are folded whatever the collation is.
    if (engine_ == DatabaseEngine::kPostgres || existing.collation.empty()) return;
    const bool ignoresCase = engine_ == DatabaseEngine::kSqlite
                                 ? existing.collation == "nocase"
                                 : Contains(existing.collation, "_ci");
    const bool shouldIgnoreCase = column.kind == ColumnKind::kText;
    if (ignoresCase == shouldIgnoreCase) return;
    Spoil(column, ": collation " + existing.collation +
                      (ignoresCase ? " takes upper and lower case for equal"
                                   : " tells upper from lower case") +
                      ", " + ExpectedCollation(shouldIgnoreCase) + " is expected");
  }

  std::string ExpectedCollation(bool ignoresCase) const {
    if (engine_ == DatabaseEngine::kSqlite) return ignoresCase ? "nocase" : "binary";
    return ignoresCase ? "one with _CI_" : "one with _BIN2";
  }

  void CompareDefault(const ColumnDef& column, const ExistingColumn& existing) {
    if (existing.hasDefault) return;
    switch (column.initial) {
      case ColumnDefault::kNull:
        return;
      case ColumnDefault::kZero:
        return Break(column, " has no default, 0 is expected");
      case ColumnDefault::kToday:
        return Break(column, " has no default, the current date is expected");
      case ColumnDefault::kNow:
        return Break(column, " has no default, the current time is expected");
    }
  }

  // Rows are added with the columns that a command knows, and no others.
  void CheckNotNull(const ExistingColumn& column) {
    if (!column.isNotNull || column.hasDefault || column.isAssigned) return;
    Say(true, "column " + column.name +
                  " must not be null and has no default, rows without it are refused");
  }

  void CheckIndex(std::string_view columns) {
    if (HasIndex(existing_, table_, columns, engine_)) return;
    const std::string obstacle = IndexObstacle(existing_, columns, engine_);
    Say(false, "no index on " + std::string(columns) +
                   (obstacle.empty() ? "" : "; none can be made: " + obstacle));
    if (obstacle.empty()) found_.back().cure = CreateIndexStatement(table_, columns, engine_);
  }

  void Miss(const ColumnDef& column) {
    Break(column, " is missing");
    found_.back().cure = AddColumnStatement(table_, column, engine_);
  }
  void Break(const ColumnDef& column, const std::string& what) {
    Say(true, "column " + std::string(column.name) + what);
  }
  void Spoil(const ColumnDef& column, const std::string& what) {
    Say(false, "column " + std::string(column.name) + what);
  }
  void Say(bool breaksStatements, const std::string& what) {
    found_.push_back({breaksStatements, "table " + std::string(table_.name) + ": " + what});
  }

  const TableDef& table_;
  const ExistingTable& existing_;
  DatabaseEngine engine_;
  std::vector<SchemaDifference>& found_;
};

// The key of an existing index against the column that a look-up compares.
bool KeyServes(std::string_view key, const TableDef& table, std::string_view name,
               DatabaseEngine engine) {
  const std::string lower = AsciiLower(name);
  const auto column =
      std::find_if(table.columns.begin(), table.columns.end(),
                   [name](const ColumnDef& candidate) { return candidate.name == name; });
  const bool isText = column != table.columns.end() && IsText(*column);
  if (engine != DatabaseEngine::kPostgres || !isText) return key == lower;
  const bool isFolded = key.starts_with("lower(") || key.starts_with("substr(lower(");
  return isFolded && Contains(key, "collate \"c\"") && HoldsName(key, lower);
}

}  // namespace

std::vector<SchemaDifference> SchemaDifferences(const ExistingSchema& schema,
                                                DatabaseEngine engine) {
  std::vector<SchemaDifference> found;
  for (const TableDef& table : SchemaTables()) {
    const ExistingTable* existing = schema.Find(table.name);
    if (existing != nullptr) TableDifferences(table, *existing, engine, found).Find();
  }
  return found;
}

std::vector<std::string_view> MissingTables(const ExistingSchema& schema) {
  std::vector<std::string_view> missing;
  for (const TableDef& table : SchemaTables()) {
    if (schema.Find(table.name) == nullptr) missing.push_back(table.name);
  }
  return missing;
}

bool HasIndex(const ExistingTable& existing, const TableDef& table, std::string_view columns,
              DatabaseEngine engine) {
  const std::string name = AsciiLower(IndexName(table, columns));
  const auto wanted = IndexColumns(columns);
  auto serves = [&](const ExistingIndex& index) {
    if (AsciiLower(index.name) == name) return true;
    if (index.keys.size() < wanted.size()) return false;
    for (size_t i = 0; i < wanted.size(); ++i) {
      if (!KeyServes(index.keys[i], table, wanted[i], engine)) return false;
    }
    return true;
  };
  return std::any_of(existing.indexes.begin(), existing.indexes.end(), serves);
}

std::string IndexObstacle(const ExistingTable& existing, std::string_view columns,
                          DatabaseEngine engine) {
  for (std::string_view name : IndexColumns(columns)) {
    const ExistingColumn* column = existing.Find(name);
    if (column == nullptr) return "column " + std::string(name) + " is missing";
    const bool isText = ClassOf(*column, engine) != TypeClass::kInteger;
    if (engine == DatabaseEngine::kSqlServer && isText && column->length == 0 &&
        (Contains(column->type, "char") || Contains(column->type, "text"))) {
      return "column " + std::string(name) + " is " + column->type + " without a bound";
    }
  }
  return "";
}

}  // namespace vnq
