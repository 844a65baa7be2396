#include "tools/schema/make_schema.h"

#include <algorithm>

#include "tools/folder/in_transaction.h"
#include "tools/schema/schema_differences.h"
#include "tools/schema/schema_reader.h"
#include "tools/schema/schema_sql.h"

namespace vnq {

namespace {

struct RequiredRow {
  std::string_view find, insert;
};

constexpr RequiredRow kRequiredRows[] = {
    {"Select * from UpDateForm where id=1",
     "insert into UpDateForm(id,Users_RoVesr,Users_IDVesr,Clot_RoVesr,Clot_FormVesr,NewGo_Vesr,"
     "NewRo_Vesr,LeaveFile_Vesr,ClotFile_Vesr) values(1,0,0,0,0,0,0,0,0)"},
    {"Select * from OtherForm where ID=1", "insert into OtherForm(ID,Logo) values(1,0)"},
};

/// One run over the schema.
class SchemaMaker {
 public:
  SchemaMaker(SqlDriver& driver, DatabaseEngine engine, SchemaReport& report, std::string& error,
              IndexSet indexes)
      : driver_(driver), engine_(engine), report_(report), error_(error), indexes_(indexes) {}

  bool Make() {
    if (!before_.Read(driver_, engine_, error_)) return false;
    for (const TableDef& table : SchemaTables()) {
      if (!MakeTable(table)) return false;
    }
    return MakeRequiredRows();
  }

 private:
  bool MakeTable(const TableDef& table) {
    const ExistingTable* existing = before_.Find(table.name);
    if (existing == nullptr) {
      if (!Run(CreateTableStatement(table, engine_))) return false;
      ++report_.tables;
    }
    for (std::string_view columns : table.indexes) {
      if (!MakeIndex(table, existing, columns)) return false;
    }
    return indexes_ == IndexSet::kServer || MakeHistoryIndexes(table, existing);
  }

  bool MakeIndex(const TableDef& table, const ExistingTable* existing, std::string_view columns) {
    const bool isThere = existing != nullptr && HasIndex(*existing, table, columns, engine_);
    const bool isPossible =
        existing == nullptr || IndexObstacle(*existing, columns, engine_).empty();
    if (isThere || !isPossible) return true;
    if (!Run(CreateIndexStatement(table, columns, engine_))) return false;
    ++report_.indexes;
    return true;
  }

  bool MakeHistoryIndexes(const TableDef& table, const ExistingTable* existing) {
    for (std::string_view columns : table.historyIndexes) {
      if (!MakeIndex(table, existing, columns)) return false;
      const std::string obstacle =
          existing == nullptr ? "" : IndexObstacle(*existing, columns, engine_);
      if (!obstacle.empty()) {
        report_.differences.push_back(std::string(table.name) + ": no index on " +
                                      std::string(columns) + " for histories, " + obstacle);
      }
    }
    if (table.historyIndexes.empty() || engine_ != DatabaseEngine::kSqlite) return true;
    const auto statements = HistoryIndexStatistics(table);
    return std::all_of(statements.begin(), statements.end(),
                       [this](const std::string& statement) { return Run(statement); });
  }

  bool MakeRequiredRows() {
    for (const RequiredRow& row : kRequiredRows) {
      SqlRows found;
      if (!driver_.Query(row.find, {}, found)) return Fail(row.find);
      if (found.rowCount() > 0) continue;
      if (!Run(row.insert)) return false;
      ++report_.rows;
    }
    return true;
  }

  bool Run(std::string_view statement) { return driver_.Execute(statement, {}) || Fail(statement); }

  bool Fail(std::string_view statement) {
    const std::string words(statement.substr(0, 40));
    const std::string& why = driver_.LastError();
    // Some drivers name the statement themselves.
    error_ = why.find(words) == std::string::npos ? words + "...: " + why : why;
    return false;
  }

  SqlDriver& driver_;
  DatabaseEngine engine_;
  SchemaReport& report_;
  std::string& error_;
  IndexSet indexes_;
  ExistingSchema before_;
};

}  // namespace

bool MakeSchema(SqlDriver& driver, DatabaseEngine engine, SchemaReport& report, std::string& error,
                IndexSet indexes) {
  error.clear();
  const bool done = InTransaction(
      driver, engine, [&] { return SchemaMaker(driver, engine, report, error, indexes).Make(); });
  if (!done && error.empty()) error = driver.LastError();
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
