#include "tools/schema/growing_id.h"

#include <algorithm>
#include <span>

#include "support/ascii_case.h"
#include "support/numbers.h"

namespace vnq {
namespace {

// The first cell as a number; 0 for anything else.
int64_t NumberOf(SqlDriver& driver, const std::string& statement) {
  SqlRows rows;
  if (!driver.Query(statement, {}, rows) || rows.cells.empty()) return 0;
  return rows.cells[0].integer;
}

std::string Quoted(std::string_view name) {
  return "'" + std::string(name) + "'";
}

std::string PostgresSequence(const TableDef& table) {
  return "pg_get_serial_sequence('" + AsciiLower(table.name) + "','" +
         AsciiLower(GrowingIdOf(table)->name) + "')";
}

std::string PostgresLastValue(const TableDef& table) {
  return "pg_sequence_last_value(cast(" + PostgresSequence(table) + " as regclass))";
}

std::string Greatest(const TableDef& table) {
  return "select max(" + std::string(GrowingIdOf(table)->name) + ") as seq from " +
         std::string(table.name);
}

// A refusal, as of a table without that column, must not spoil the transaction around it.
int64_t ReadPostgres(SqlDriver& driver, const TableDef& table) {
  driver.Execute("savepoint vnq_growing_id", {});
  const int64_t last = NumberOf(driver, "select " + PostgresLastValue(table) + " as seq");
  driver.Execute("rollback to savepoint vnq_growing_id", {});
  return last;
}

bool RaiseSqlite(SqlDriver& driver, const TableDef& table, int64_t atLeast) {
  const SqlValue name = SqlValue::Text(std::string(table.name));
  const SqlValue last = SqlValue::Integer(atLeast);
  const SqlValue update[] = {last, name, last}, insert[] = {name, last, name};
  return driver.Execute("update sqlite_sequence set seq=? where name=? and seq<?", update) &&
         driver.Execute(
             "insert into sqlite_sequence(name,seq) select ?,?"
             " where not exists (select 1 from sqlite_sequence where name=?)",
             insert);
}

bool RaisePostgres(SqlDriver& driver, const TableDef& table, int64_t atLeast) {
  SqlRows ignored;
  const std::string least = atLeast > 0 ? FormatNumber(atLeast) : "null";
  return driver.Query("select setval(cast(" + PostgresSequence(table) + " as regclass),greatest((" +
                          Greatest(table) + ")," + PostgresLastValue(table) + "," + least + "))",
                      {}, ignored);
}

// A row with that number, there for a moment, raises it; `dbcc checkident` would take more rights.
bool RaiseSqlServer(SqlDriver& driver, const TableDef& table, int64_t atLeast) {
  // An insert with a greater number has raised it already.
  const int64_t given = ReadGrowingId(driver, DatabaseEngine::kSqlServer, table);
  if (atLeast <= std::max(given, NumberOf(driver, Greatest(table)))) return true;
  const std::string name(table.name), column(GrowingIdOf(table)->name);
  const SqlValue number = SqlValue::Integer(atLeast);
  const std::span<const SqlValue> numbers(&number, 1);
  return driver.Execute("set identity_insert " + name + " on", {}) &&
         driver.Execute("insert into " + name + "(" + column + ") values(?)", numbers) &&
         driver.Execute("delete from " + name + " where " + column + "=?", numbers) &&
         driver.Execute("set identity_insert " + name + " off", {});
}

}  // namespace

const ColumnDef* GrowingIdOf(const TableDef& table) {
  const auto found =
      std::find_if(table.columns.begin(), table.columns.end(),
                   [](const ColumnDef& column) { return column.kind == ColumnKind::kGrowingId; });
  return found == table.columns.end() ? nullptr : &*found;
}

int64_t ReadGrowingId(SqlDriver& driver, DatabaseEngine engine, const TableDef& table) {
  switch (engine) {
    case DatabaseEngine::kSqlite:
      return NumberOf(driver,
                      "select cast(seq as integer) as seq from sqlite_sequence where name=" +
                          Quoted(table.name));
    case DatabaseEngine::kPostgres:
      return ReadPostgres(driver, table);
    case DatabaseEngine::kSqlServer:
      break;
  }
  return NumberOf(driver,
                  "select cast(ident_current(" + Quoted(table.name) + ") as bigint) as seq");
}

bool RaiseGrowingId(SqlDriver& driver, DatabaseEngine engine, const TableDef& table,
                    int64_t atLeast) {
  switch (engine) {
    case DatabaseEngine::kSqlite:
      return RaiseSqlite(driver, table, atLeast);
    case DatabaseEngine::kPostgres:
      return RaisePostgres(driver, table, atLeast);
    case DatabaseEngine::kSqlServer:
      break;
  }
  return RaiseSqlServer(driver, table, atLeast);
}

}  // namespace vnq
