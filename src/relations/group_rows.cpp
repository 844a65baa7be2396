// What is read and raised of a group, whoever changes it.
#include "relations/group_rows.h"

#include "host/database/version_counters.h"
#include "relations/relations.h"

namespace vnq {

std::string MemberListOf(Cursor& rows) {
  std::string list;
  for (; !rows.EndOfRows(); rows.MoveNext()) {
    list += Join(rows["UserID"], ":", rows["IsAdmin"], ":", rows["remark"], "-").text();
  }
  rows.MoveFirst();
  return list;
}

std::string MemberListText(Host& host, const Expr& groupId) {
  Cursor rows(host.database);
  rows.Open(Sql("select * from Clot_Form where UpperID='?'", groupId));
  return MemberListOf(rows);
}

void BumpGroupCounter(Host& host, std::string_view counterName, const Expr& groupId) {
  const std::string counter(counterName);
  host.database.Execute(
      Sql("update Clot_Ro set " + counter + "=" + counter + "+1 where TypeID='?'", groupId));
}

void BumpGroupCatalogue(Host& host) {
  Cursor counters(host.database);
  counters.Open(Sql("Select id,Clot_RoVesr,Clot_FormVesr from UpDateForm where id=1"));
  if (counters.RecordCount() != 1) return;
  BumpCounter(counters, "Clot_RoVesr");
  BumpCounter(counters, "Clot_FormVesr");
  counters.Update();
}

std::vector<std::string> CountedEntries(const Expr& list) {
  std::vector<std::string> entries = SplitText(list.text(), "-");
  if (!entries.empty()) entries.pop_back();
  return entries;
}

}  // namespace vnq
