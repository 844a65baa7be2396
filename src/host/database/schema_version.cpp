#include "host/database/schema_version.h"

#include "support/numbers.h"

namespace vnq {
namespace {

// Looked for in the catalogue: a select of a table that is not there is a failure, which is told.
std::string_view CountTablesStatement(DatabaseEngine engine) {
  switch (engine) {
    case DatabaseEngine::kSqlite:
      return "select count(*) as c from sqlite_master where type='table' and name='vnq_schema'";
    case DatabaseEngine::kPostgres:
      return "select count(to_regclass('vnq_schema')) as c";
    case DatabaseEngine::kSqlServer:
      break;
  }
  return "select count(*) as c from sys.tables where name='vnq_schema'";
}

std::optional<int> ReadNumber(SqlDriver& driver, std::string_view statement) {
  SqlRows rows;
  if (!driver.Query(statement, {}, rows) || rows.cells.empty()) return std::nullopt;
  const SqlValue& cell = rows.cells.front();
  if (cell.kind == SqlValue::Kind::kInteger) return static_cast<int>(cell.integer);
  return ParseInt32(cell.text);
}

}  // namespace

std::optional<int> ReadSchemaVersion(SqlDriver& driver, DatabaseEngine engine) {
  if (ReadNumber(driver, CountTablesStatement(engine)).value_or(0) == 0) return std::nullopt;
  return ReadNumber(driver, "select max(version) as c from vnq_schema");
}

std::string NewerSchemaFault(SqlDriver& driver, DatabaseEngine engine) {
  const int version = ReadSchemaVersion(driver, engine).value_or(0);
  if (version <= kSchemaVersion) return "";
  return "the database is of schema version " + std::to_string(version) +
         ", and this program knows it up to " + std::to_string(kSchemaVersion) +
         "; install the version of the programs that made it, or restore a backup from before";
}

}  // namespace vnq
