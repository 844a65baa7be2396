#include "host/database/version_counters.h"

#include <string>

namespace vnq {

void BumpGlobalCounter(Database& database, std::string_view counter) {
  Cursor row(database);
  row.Open(Sql("Select * from UpDateForm where id=1"));
  BumpCounter(row, counter);
  row.Update();
}

void BumpOnlyCounter(Database& database, std::string_view counter) {
  Cursor row(database);
  row.Open(Sql("Select id," + std::string(counter) + " from UpDateForm where id=1"));
  if (row.RecordCount() != 1) return;
  BumpCounter(row, counter);
  row.Update();
}

void BumpCounter(Cursor& row, std::string_view counter) {
  row.Increment(counter);
}

}  // namespace vnq
