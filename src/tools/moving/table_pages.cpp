#include "tools/moving/table_pages.h"

namespace vnq {
namespace {

// The columns stay, for who reads them from the last page.
void TakeRows(SqlRows& page) {
  page.cells.clear();
  page.identity.clear();
}

}  // namespace

std::string_view BeginSnapshotStatement(DatabaseEngine engine) {
  switch (engine) {
    case DatabaseEngine::kSqlite:
      return "begin";
    case DatabaseEngine::kPostgres:
      return "begin transaction isolation level repeatable read, read only";
    case DatabaseEngine::kSqlServer:
      break;
  }
  return "begin transaction";
}

bool TablePages::Next(SqlRows& page) {
  if (isEnded_) {
    TakeRows(page);
    return true;
  }
  switch (engine_) {
    case DatabaseEngine::kSqlite:
      return NextByRowid(page);
    case DatabaseEngine::kPostgres:
      return NextByCursor(page);
    case DatabaseEngine::kSqlServer:
      break;
  }
  return NextAtOnce(page);
}

bool TablePages::NextByRowid(SqlRows& page) {
  const std::string statement = "select top " + std::to_string(kPageRows) + " * from " + table_ +
                                " where _rowid_>? order by _rowid_";
  if (!driver_.Query(statement, {&lastRowid_, 1}, page)) return false;
  isEnded_ = page.rowCount() < kPageRows;
  if (!page.identity.empty()) lastRowid_ = page.identity.back();
  return true;
}

bool TablePages::NextByCursor(SqlRows& page) {
  const std::string cursor = "vnq_" + table_;
  if (!isBegun_ &&
      !driver_.Execute("declare " + cursor + " no scroll cursor for select * from " + table_, {})) {
    return false;
  }
  isBegun_ = true;
  const std::string fetch = "fetch forward " + std::to_string(kPageRows) + " from " + cursor;
  if (!driver_.Query(fetch, {}, page)) return false;
  isEnded_ = page.rowCount() < kPageRows;
  return !isEnded_ || driver_.Execute("close " + cursor, {});
}

bool TablePages::NextAtOnce(SqlRows& page) {
  isEnded_ = true;
  return driver_.Query("select * from " + table_, {}, page);
}

}  // namespace vnq
