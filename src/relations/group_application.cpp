// Applying to join a group, and the three answers of an administrator. Field 1 is the group, field
// 2 the applicant.
#include "messaging/messaging.h"
#include "relations/group_consent.h"

namespace vnq {
namespace {

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

}  // namespace

void RelayToUser(const Verification& run) {
  run.ParkUser(run.fields[2]);
}

void JoinRequest(const Verification& run) {
  const Fields& fields = run.fields;
  if (IsBlocked(run.host, fields[1], fields[2], BlockScope::kGroup)) {
    run.AnswerSender(VerifyRecord(fields[0], fields[1], fields[2], "", "2", "1", "2", "3"));
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

}  // namespace vnq
