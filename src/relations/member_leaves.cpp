// A member leaves a group, which stands on, without members if need be. Field 1 is the group, field
// 2 the member.
#include "relations/group_consent.h"

namespace vnq {

void MemberLeaves(const Verification& run) {
  Cursor member(run.host.database);
  member.Open(Sql("Select * from Clot_Form where UpperID='?' and UserID='?'", run.fields[1],
                  run.fields[2]));
  // Kept: of two rows one stays.
  if (member.RecordCount() > 0) member.Delete();
  BumpMembership(run);
  ParkAdministrators(run);
  run.Park(run.otherSessionTag);
  TellPlainMembers(run);
}

}  // namespace vnq
