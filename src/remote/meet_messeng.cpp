// Signalling of a call between two parties with two devices each.
#include "host/outgoing/mobile_push.h"
#include "host/slots/devices.h"
#include "host/slots/sending.h"
#include "messaging/messaging.h"
#include "remote/remote.h"

namespace vnq {
namespace {

constexpr std::string_view kInvitation = "0";
constexpr std::string_view kAnswered = "1";
constexpr std::string_view kEnded = "2";

constexpr int32_t kOnDesktop = 1;

// What a call's record says, by position.
struct Call {
  explicit Call(const Fields& fields)
      : party(fields[1]),
        sender(fields[2]),
        isVideo(fields[3]),
        loginType1(fields[4]),
        loginType2(fields[5]),
        state(fields[6]),
        closeRole(fields[7]),
        chatId(fields[8]) {}
  Expr party, sender, isVideo, loginType1, loginType2, state, closeRole, chatId;
};

void TellDesktop(Host& host, const Call& call) {
  LeaveMesseng(host, call.party, {StoredKind::kMeetingState, DeviceCopy::kTargetDesktop},
               call.chatId);
}
void TellMobile(Host& host, const Call& call) {
  LeaveMesseng(host, Join(call.party, "m"), {StoredKind::kMeetingState, DeviceCopy::kTargetMobile},
               call.chatId);
}

void TellOwnOtherDevice(Host& host, const Call& call, const std::string& tag) {
  LeaveMesseng(host, OtherSessionTag(tag), {StoredKind::kMeetingState, OtherCopyOfSender(tag)},
               call.chatId);
}

void Invite(Host& host, const Call& call, const std::string& tag) {
  const bool isAudio = ToNumber(call.isVideo) == 0;
  const std::string label = host.ReadLang(isAudio ? "im309" : "im310");
  TellDesktop(host, call);
  TellMobile(host, call);
  QueueMobilePush(host, call.party, "", call.sender, PushKind::kPerson, label, tag);
}

void SetIfGiven(Cursor& row, std::string_view column, const Expr& value) {
  if (IsNot(value, "")) row.Set(column, value);
}

// Notes the answer in the row. The first party's kind of device as it was before; 0 without a row.
int32_t WriteAnswer(Host& host, const Call& call) {
  int32_t first = 0;
  Cursor Adodc1(host.database);
  Adodc1.Open(Sql("Select top 1 * from Tab_Chat where ChatId=?", call.chatId));
  if (Adodc1.EndOfRows()) return first;
  Assign(first, ToInt32(Adodc1["LoginType1"]));
  Adodc1.Set("InTime", host.clock.Now().DateAndTime());
  Adodc1.Set("IsVideo", call.isVideo);
  SetIfGiven(Adodc1, "LoginType1", call.loginType1);
  SetIfGiven(Adodc1, "LoginType2", call.loginType2);
  Adodc1.Set("Status", call.state);
  SetIfGiven(Adodc1, "CloseRole", call.closeRole);
  Adodc1.Update();
  return first;
}

}  // namespace

void MeetMesseng(Host& host, Fields& fields, SlotIndex slot) {
  const Call call(fields);
  const std::string tag = host.SckServer.Tag(slot);
  if (Is(call.state, kInvitation)) {
    Invite(host, call, tag);
  } else if (Is(call.state, kAnswered)) {
    const bool onDesktop = WriteAnswer(host, call) == kOnDesktop;
    onDesktop ? TellDesktop(host, call) : TellMobile(host, call);
    TellOwnOtherDevice(host, call, tag);
  } else if (Is(call.state, kEnded)) {
    TellDesktop(host, call);
    TellMobile(host, call);
    TellOwnOtherDevice(host, call, tag);
  }
}

void HandleMeetingMessage(Host& host, Fields& fields, SlotIndex slot, const std::string&) {
  MeetMesseng(host, fields, slot);
}

// Kept: a "|#" arrives only where the sender's own last field brings it.
void RelayMeetingForce(Host& host, Fields& fields, SlotIndex, const std::string&) {
  TellTag(host, fields[2],
          Join(fields[0], "|", fields[1], "|", fields[3], "|", fields[4], "|", fields[5]));
}

}  // namespace vnq
