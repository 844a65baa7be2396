#include "relations/membership.h"
#include "relations/relations.h"
#include "relations/verification.h"

namespace vnq {

// Kept: the list that the members are told lacks the acting user. A right that is neither 0 nor 1
// is written, and its notice means nothing to the engine.
void SetGroupAdministrator(Host& host, Fields& fields, SlotIndex slot, const std::string&) {
  const Fields entry = Fields::Split(fields[3].text(), ":");
  host.database.Execute(Sql("update Clot_Form set IsAdmin=? where UpperID='?' and UserID='?'",
                            entry[1], fields[2], entry[0]));

  Cursor members(host.database);
  members.Open(
      Sql("select * from Clot_Form where UpperID='?' and UserID<>'?'", fields[2], fields[1]));
  const Expr record = TellMemberList(host, fields, members);
  constexpr int32_t kRightTaken = 3;  // and one more for a right given
  NotifyMember(host, fields[2], entry[0], Plus(entry[1], kRightTaken), slot);
  CloseOut(host, fields, record, slot);
}

}  // namespace vnq
