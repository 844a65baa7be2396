#include "relations/group_consent.h"

#include "host/database/version_counters.h"
#include "relations/relations.h"
#include "relations/telling.h"

namespace vnq {

void ParkAdministrators(const Verification& run) {
  Cursor administrators(run.host.database);
  administrators.Open(
      Sql("Select * from Clot_Form where UpperID='?' and IsAdmin=1", run.fields[1]));
  for (; !administrators.EndOfRows(); administrators.MoveNext()) {
    run.ParkUser(Join(administrators["UserID"]));
  }
}

void ParkOtherAdministrators(const Verification& run, std::string_view type4) {
  Cursor administrators(run.host.database);
  administrators.Open(Sql("Select * from Clot_Form where UpperID='?' and IsAdmin=1 and UserID<>'?'",
                          run.fields[1], run.senderUser));
  for (; !administrators.EndOfRows(); administrators.MoveNext()) {
    run.fields.Set(7, type4);
    run.ParkUser(Join(administrators["UserID"]));
  }
}

void ParkConcerned(const Verification& run) {
  run.ParkUser(run.fields[2]);
  run.Park(run.otherSessionTag);
}

void BumpMembership(const Verification& run) {
  BumpGlobalCounter(run.host.database, "Clot_FormVesr");
  BumpGroupCounter(run.host, "Users_FormVesr", run.fields[1]);
}

void TellPlainMembers(const Verification& run) {
  Host& host = run.host;
  const Expr group = run.fields[1];
  const Expr record = NewGroupMembershipsRecord("", group, MemberListText(host, group));
  Cursor members(host.database);
  members.Open(Sql("Select * from Clot_Form where UpperID='?' and IsAdmin=0 and UserID<>'?'", group,
                   run.senderUser));
  for (; !members.EndOfRows(); members.MoveNext()) {
    TellUser(host, Join(members["UserID"]), record);
  }
}

}  // namespace vnq
