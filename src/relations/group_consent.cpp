// Who is in a group by consent: applying, the three answers of an administrator, leaving. Field 1
// of a record is the group, field 2 the applicant or the member.
#include "host/database/version_counters.h"
#include "host/slots/sending.h"
#include "messaging/messaging.h"
#include "relations/group.h"
#include "relations/relations.h"
#include "relations/verification.h"

namespace vnq {
namespace {

// --- Who hears of it ---

void ParkAdministrators(const Verification& run) {
  Cursor administrators(run.host.database);
  administrators.Open(
      Sql("Select * from Clot_Form where UpperID='?' and IsAdmin=1", run.fields[1]));
  for (; !administrators.EndOfRows(); administrators.MoveNext()) {
    run.ParkUser(Join(administrators["UserID"]));
  }
}

// To all administrators but the acting one, To_Type4 rewritten for them. Without any such
// administrator the field stays as it is.
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

// The member list to the members who are no administrators, the acting user left out.
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

// A new member starts behind all of the group's earlier messages. One whom two administrators
// accept has two rows.
void AddMember(Host& host, const Expr& group, const Expr& userId) {
  Cursor user(host.database);
  user.Open(Sql("select * from Users_ID where UserID='?'", userId));
  std::string name;
  if (!user.EndOfRows()) Assign(name, Join(user["FcName"]));
  const int16_t lastId = LastGroupMessageId(host, group);

  Cursor member(host.database);
  member.Open(Sql("Select top 1 * from Clot_Form"));
  member.AddNew();
  member.Set("UpperID", group);
  member.Set("UserID", userId);
  member.Set("IsAdmin", 0);
  member.Set("remark", name);
  for (const char* mark :
       {"last_ack_typeid1", "last_ack_typeid2", "last_ack_typeid3", "last_ack_typeid4"}) {
    member.Set(mark, lastId);
  }
  member.Update();
}

// The answer that an administrator gave once and for all.
VerifyRecord RefusedAndBlocked(const Fields& application) {
  return {.word = application[0],
          .clotId = application[1],
          .userId2 = application[2],
          .userText = "",
          .type1 = "2",
          .type2 = "1",
          .type3 = "2",
          .type4 = "3"};
}

}  // namespace

// --- Applying, and its answers ---

void RelayToUser(const Verification& run) {
  run.ParkUser(run.fields[2]);
}

void JoinRequest(const Verification& run) {
  const Fields& fields = run.fields;
  if (IsBlocked(run.host, fields[1], fields[2], BlockScope::kGroup)) {
    run.AnswerSender(RefusedAndBlocked(fields));
  } else {
    ParkAdministrators(run);
  }
}

// Kept: the "4" of the other administrators is not set back, so the applicant and the acting
// administrator's other session get it too where there is another administrator, and "1" where
// there is none.
void ApplicationAccepted(const Verification& run) {
  AddMember(run.host, run.fields[1], run.fields[2]);
  BumpMembership(run);
  ParkOtherAdministrators(run, "4");
  TellPlainMembers(run);
  ParkConcerned(run);
}

void ApplicationRefused(const Verification& run) {
  ParkOtherAdministrators(run, "5");
  run.fields.Set(7, "2");
  ParkConcerned(run);
}

void ApplicationRefusedAndBlocked(const Verification& run) {
  const Expr group = run.fields[1], applicant = run.fields[2];
  ParkOtherAdministrators(run, "6");
  run.fields.Set(7, "3");
  ParkConcerned(run);
  BlockOnce(run,
            Sql("Select top 1 * from MessengVerify_Blacklist where MyID='?' and YouID='?' and "
                "To_Type=2",
                group, applicant),
            group, applicant, BlockScope::kGroup);
}

// --- Leaving; the group stands on, without members if need be ---

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
