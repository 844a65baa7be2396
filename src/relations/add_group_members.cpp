#include "messaging/messaging.h"
#include "relations/membership.h"
#include "relations/relations.h"
#include "relations/verification.h"

namespace vnq {

// Each entry that holds something counts, closed by a "-" or not.
void AddGroupMembers(Host& host, Fields& fields, SlotIndex slot, const std::string&) {
  std::vector<std::string> entries = SplitText(fields[3].text(), "-");
  std::erase(entries, "");
  const int16_t lastId = LastGroupMessageId(host, fields[2]);
  for (const std::string& entry : entries) {
    InsertMember(host, fields[2], Fields::Split(entry, ":"), lastId);
  }

  Cursor members(host.database);
  members.Open(Sql("select * from Clot_Form where UpperID='?'", fields[2]));
  const Expr record = TellMemberList(host, fields, members);
  for (const std::string& entry : entries) {
    NotifyMember(host, fields[2], Fields::Split(entry, ":")[0], "1", slot);
  }
  CloseOut(host, fields, record, slot);
}

}  // namespace vnq
