#include "host/version_counters.h"

namespace vnq {

void BumpGlobalCounter(Database& database, std::string_view counter) {
  Cursor row(database);
  row.Open(Sql("Select * from UpDateForm where id=1"));
  BumpCounter(row, counter);
  row.Update();
}

void BumpCounter(Cursor& row, std::string_view counter) {
  row.Set(counter, Plus(row[counter], 1));
}

}  // namespace vnq
