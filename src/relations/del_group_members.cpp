#include "relations/membership.h"
#include "relations/relations.h"
#include "relations/verification.h"

namespace vnq {
namespace {

// An empty list names the empty user, as one that ends in a comma does.
void DeleteMembers(Host& host, const Fields& fields, std::vector<std::string> users) {
  if (!fields[3].ok()) return;
  if (users.empty()) users.emplace_back();
  host.database.Execute(
      SqlList("Delete from Clot_Form where UpperID='?' and UserID in (?)", users, fields[2]));
}

}  // namespace

// Kept: the list that the members are told lacks the acting user, who stays a member.
void DelGroupMembers(Host& host, Fields& fields, SlotIndex slot, const std::string&) {
  const std::vector<std::string> users = SplitText(fields[3].text(), ",");
  DeleteMembers(host, fields, users);

  Cursor members(host.database);
  members.Open(
      Sql("select * from Clot_Form where UpperID='?' and UserID<>'?'", fields[2], fields[1]));
  const Expr record = TellMemberList(host, fields, members);
  for (const std::string& userId : users) {
    if (!userId.empty()) NotifyMember(host, fields[2], userId, "2", slot);
  }
  CloseOut(host, fields, record, slot);
}

}  // namespace vnq
