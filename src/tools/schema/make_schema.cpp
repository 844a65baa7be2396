#include "tools/schema/make_schema.h"

#include "host/database/schema_version.h"
#include "tools/folder/in_transaction.h"
#include "tools/schema/schema_differences.h"
#include "tools/schema/schema_reader.h"
#include "tools/schema/schema_sql.h"

namespace vnq {

namespace {

struct RequiredRow {
  std::string_view table, find, insert;
};

constexpr RequiredRow kRequiredRows[] = {
    {"UpDateForm", "Select * from UpDateForm where id=1",
     "insert into UpDateForm(id,Users_RoVesr,Users_IDVesr,Clot_RoVesr,Clot_FormVesr,NewGo_Vesr,"
     "NewRo_Vesr,LeaveFile_Vesr,ClotFile_Vesr) values(1,0,0,0,0,0,0,0,0)"},
    {"OtherForm", "Select * from OtherForm where ID=1",
     "insert into OtherForm(ID,Logo) values(1,0)"},
};

bool Fail(SqlDriver& driver, std::string_view statement, std::string& error) {
  const std::string words(statement.substr(0, 40));
  const std::string& why = driver.LastError();
  // Some drivers name the statement themselves.
  error = why.find(words) == std::string::npos ? words + "...: " + why : why;
  return false;
}

/// One look at a database.
class SchemaPlanner {
 public:
  SchemaPlanner(SqlDriver& driver, DatabaseEngine engine, const SchemaWish& wish, SchemaPlan& plan,
                std::string& error)
      : driver_(driver), engine_(engine), wish_(wish), plan_(plan), error_(error) {}

  bool Make() {
    error_ = NewerSchemaFault(driver_, engine_);
    if (!error_.empty() || !before_.Read(driver_, engine_, error_)) return false;
    for (const TableDef& table : SchemaTables()) PlanTable(table);
    if (!PlanRequiredRows()) return false;
    PlanVersion();
    return true;
  }

 private:
  void PlanTable(const TableDef& table) {
    const ExistingTable* existing = before_.Find(table.name);
    if (existing == nullptr) Plan(CreateTableStatement(table, engine_), plan_.tables);
    if (existing != nullptr) PlanColumns(table, *existing);
    for (std::string_view columns : table.indexes) PlanIndex(table, existing, columns);
    if (wish_.indexes == IndexSet::kAlsoHistory) PlanHistoryIndexes(table, existing);
  }

  void PlanIndex(const TableDef& table, const ExistingTable* existing, std::string_view columns) {
    const bool isThere = existing != nullptr && HasIndex(*existing, table, columns, engine_);
    if (isThere || !IndexFault(table, existing, columns).empty()) return;
    Plan(CreateIndexStatement(table, columns, engine_), plan_.indexes);
  }

  void PlanHistoryIndexes(const TableDef& table, const ExistingTable* existing) {
    const size_t before = plan_.indexes;
    for (std::string_view columns : table.historyIndexes) {
      PlanIndex(table, existing, columns);
      const std::string fault = IndexFault(table, existing, columns);
      if (!fault.empty()) {
        plan_.obstacles.push_back(std::string(table.name) + ": no index on " +
                                  std::string(columns) + " for histories, " + fault);
      }
    }
    if (plan_.indexes == before || engine_ != DatabaseEngine::kSqlite) return;
    for (std::string& statement : HistoryIndexStatistics(table)) {
      plan_.statements.push_back(std::move(statement));
    }
  }

  // Empty where the column stays missing.
  std::string Addition(const TableDef& table, const ColumnDef& column) const {
    return wish_.columns == MissingColumns::kAdd ? AddColumnStatement(table, column, engine_) : "";
  }

  void PlanColumns(const TableDef& table, const ExistingTable& existing) {
    for (const ColumnDef& column : table.columns) {
      if (existing.Find(column.name) != nullptr) continue;
      const std::string statement = Addition(table, column);
      isComplete_ = isComplete_ && !statement.empty();
      if (!statement.empty()) Plan(statement, plan_.columns);
    }
  }

  // Why the table cannot have the index; a column that it needs may be one that is added.
  std::string IndexFault(const TableDef& table, const ExistingTable* existing,
                         std::string_view columns) const {
    if (existing == nullptr) return "";
    ExistingTable after = *existing;
    for (const ColumnDef& column : table.columns) {
      if (existing->Find(column.name) != nullptr || Addition(table, column).empty()) continue;
      after.columns.push_back({std::string(column.name), "int", 0, "", false, false, false});
    }
    return IndexObstacle(after, columns, engine_);
  }

  bool PlanRequiredRows() {
    for (const RequiredRow& row : kRequiredRows) {
      SqlRows found;
      const bool isThere = before_.Find(row.table) != nullptr;
      if (isThere && !driver_.Query(row.find, {}, found)) return Fail(driver_, row.find, error_);
      if (!isThere || found.rowCount() == 0) Plan(std::string(row.insert), plan_.rows);
    }
    return true;
  }

  // Tables that stay without a column are not yet of this version.
  void PlanVersion() {
    const std::string table(kSchemaTable);
    const auto version = ReadSchemaVersion(driver_, engine_);
    if (version == kSchemaVersion || !isComplete_) return;
    if (before_.Find(kSchemaTable) == nullptr) {
      plan_.statements.push_back("create table " + table + " (version integer)");
    }
    const std::string number = std::to_string(kSchemaVersion);
    plan_.statements.push_back(version
                                   ? "update " + table + " set version=" + number
                                   : "insert into " + table + "(version) values(" + number + ")");
  }

  void Plan(std::string statement, size_t& count) {
    plan_.statements.push_back(std::move(statement));
    ++count;
  }

  SqlDriver& driver_;
  DatabaseEngine engine_;
  const SchemaWish& wish_;
  SchemaPlan& plan_;
  std::string& error_;
  ExistingSchema before_;
  bool isComplete_ = true;  // no column stays missing
};

}  // namespace

bool PlanSchema(SqlDriver& driver, DatabaseEngine engine, const SchemaWish& wish, SchemaPlan& plan,
                std::string& error) {
  error.clear();
  return SchemaPlanner(driver, engine, wish, plan, error).Make();
}

bool MakeSchema(SqlDriver& driver, DatabaseEngine engine, SchemaReport& report, std::string& error,
                const SchemaWish& wish) {
  error.clear();
  const bool done = InTransaction(driver, engine, [&] {
    if (!PlanSchema(driver, engine, wish, report.made, error)) return false;
    for (const std::string& statement : report.made.statements) {
      if (!driver.Execute(statement, {})) return Fail(driver, statement, error);
    }
    return true;
  });
  if (!done && error.empty()) error = driver.LastError();
  report.differences = report.made.obstacles;
  // Said after a failure, too: what was there already is often the reason.
  ExistingSchema after;
  std::string unread;
  if (after.Read(driver, engine, unread)) {
    for (SchemaDifference& difference : SchemaDifferences(after, engine)) {
      report.differences.push_back(std::move(difference.line));
    }
  }
  return done;
}

}  // namespace vnq
