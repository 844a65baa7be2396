#include <algorithm>

#include "messaging/messaging.h"
#include "relations/group_rows.h"
#include "relations/membership.h"
#include "relations/relations.h"
#include "relations/telling.h"
#include "relations/verification.h"

namespace vnq {
namespace {

struct Comparison {
  std::vector<std::string> kept, removed;
};

bool Names(const std::vector<Fields>& entries, const Expr& userId) {
  return std::any_of(entries.begin(), entries.end(), [&](const Fields& entry) {
    return userId.ok() && Is(entry[0], userId.text());
  });
}

bool Holds(const std::vector<std::string>& users, const Expr& userId) {
  return userId.ok() && std::find(users.begin(), users.end(), userId.text()) != users.end();
}

// The group's rows, the acting user's left out, against the wanted list.
Comparison Compare(Host& host, const Fields& fields, const std::vector<Fields>& wanted) {
  Comparison found;
  Cursor members(host.database);
  members.Open(
      Sql("select * from Clot_Form where UpperID='?' and UserID<>'?'", fields[2], fields[1]));
  for (; !members.EndOfRows(); members.MoveNext()) {
    const Expr userId = Join(members["UserID"]);
    (Names(wanted, userId) ? found.kept : found.removed).push_back(userId.text());
  }
  std::erase(found.removed, "");
  return found;
}

}  // namespace

void ModifyGroupMembers(Host& host, Fields& fields, SlotIndex slot, const std::string&) {
  std::vector<Fields> wanted;
  for (const std::string& entry : CountedEntries(fields[3])) {
    wanted.push_back(Fields::Split(entry, ":"));
  }
  const int16_t lastId = LastGroupMessageId(host, fields[2]);
  const Expr record = NewGroupMembershipsRecord(fields[1], fields[2], fields[3]);

  const Comparison rows = Compare(host, fields, wanted);
  for (const std::string& userId : rows.removed) {
    host.database.Execute(
        Sql("Delete from Clot_Form where UpperID='?' and UserID='?'", fields[2], userId));
  }
  for (const Fields& entry : wanted) {
    TellUser(host, entry[0], record);
    if (Holds(rows.kept, entry[0])) continue;
    InsertMember(host, fields[2], entry, lastId);
    NotifyMember(host, fields[2], entry[0], "1", slot);
  }
  for (const std::string& userId : rows.removed) NotifyMember(host, fields[2], userId, "2", slot);
  CloseOut(host, fields, record, slot);
}

}  // namespace vnq
