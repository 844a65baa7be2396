#include "tools/embedded_database.h"

#include "host/schema.h"

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

size_t CountObjects(SqlDriver& driver, const std::string& type) {
  return CountRows(driver, "select name from sqlite_master where type='" + type +
                               "' and name not like 'sqlite_%'");
}

bool Run(SqlDriver& driver, std::string_view statement, std::string& error) {
  if (driver.Execute(statement, {})) return true;
  error = std::string(statement.substr(0, 80)) + ": " + driver.LastError();
  return false;
}

bool MakeRequiredRows(SqlDriver& driver, SchemaReport& report, std::string& error) {
  for (const RequiredRow& row : kRequiredRows) {
    if (CountRows(driver, row.find) > 0) continue;
    if (!Run(driver, row.insert, error)) return false;
    ++report.rows;
  }
  return true;
}

bool MakeAll(SqlDriver& driver, SchemaReport& report, std::string& error) {
  const size_t tables = CountObjects(driver, "table"), indexes = CountObjects(driver, "index");
  for (const std::string& statement : SqliteSchemaStatements()) {
    if (!Run(driver, statement, error)) return false;
  }
  report.tables = CountObjects(driver, "table") - tables;
  report.indexes = CountObjects(driver, "index") - indexes;
  return MakeRequiredRows(driver, report, error);
}

}  // namespace

size_t CountRows(SqlDriver& driver, std::string_view statement) {
  SqlRows rows;
  return driver.Query(statement, {}, rows) ? rows.rowCount() : 0;
}

bool MakeSchema(SqlDriver& driver, SchemaReport& report, std::string& error) {
  error.clear();
  const bool done = InTransaction(driver, [&] { return MakeAll(driver, report, error); });
  if (!done && error.empty()) error = driver.LastError();
  return done;
}

}  // namespace vnq
