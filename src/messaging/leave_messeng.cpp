// The one delivery routine: from a stored row to the record on a device's buffer.
#include "host/slots/wire_codec.h"
#include "host/values/skipped.h"
#include "messaging/messaging.h"
#include "support/dates.h"
#include "support/text_codecs.h"

namespace vnq {
namespace {

// Tokens that wrap the text of a file-form message for the two kinds of device.
constexpr std::string_view kDesktopFileToken = "{h@";
constexpr std::string_view kMobileFileToken = "{a@";

// The product of two flags: 1 only while both copies of a side are wanted, NULL when one of them is
// NULL.
Expr BothWanted(const Expr& one, const Expr& other) {
  if (one.IsNull() || other.IsNull()) return Expr::Null();
  const auto a = ToInt32(one);
  const auto b = ToInt32(other);
  if (!a || !b) return Expr::Failed();
  return Expr(int64_t{*a} * *b);
}

Expr Date(const Cursor& row) {
  return FormatAsDate(row["To_Date"].text());
}
Expr Time(const Cursor& row) {
  return FormatAsTime(row["To_Time"].text());
}

Expr SenderFlags(const Cursor& row) {
  return BothWanted(row["IsAck1"], row["IsAck2"]);
}
Expr TargetFlags(const Cursor& row) {
  return BothWanted(row["IsAck3"], row["IsAck4"]);
}

// .+message|other party|date|time|text|FontInfo|Msg_ID|type|flags|#
Expr MessageRecord(const Cursor& row, const Expr& otherParty, const Expr& text, const Expr& type,
                   const Expr& flags) {
  return Join(".+message|", otherParty, "|", Date(row), "|", Time(row), "|", text, "|",
              row["FontInfo"], "|", row["Msg_ID"], "|", type, "|", flags, "|#");
}

Expr WrappedText(const Cursor& row, std::string_view token) {
  return EscapeText(std::string(token) + row["UserText"].text() + "}");
}

Expr SenderCopy(const Cursor& row) {
  return MessageRecord(row, row["YouID"], row["UserText"], row["To_Type"], SenderFlags(row));
}
Expr TargetCopy(const Cursor& row) {
  return MessageRecord(row, row["MyID"], row["UserText"], Plus(row["To_Type"], 1),
                       TargetFlags(row));
}

Expr SenderDesktopFile(const Cursor& row) {
  return MessageRecord(row, row["YouID"], WrappedText(row, kDesktopFileToken), "1",
                       SenderFlags(row));
}
Expr SenderMobileFile(const Cursor& row) {
  return MessageRecord(row, row["YouID"], WrappedText(row, kMobileFileToken), "1",
                       SenderFlags(row));
}
Expr TargetMobileFile(const Cursor& row) {
  return MessageRecord(row, row["MyID"], WrappedText(row, kMobileFileToken), "2", TargetFlags(row));
}

// The file record while both of the target's copies are wanted, which is so for every fresh row.
Expr TargetDesktopFile(const Cursor& row) {
  const auto flags = ToInt32(TargetFlags(row));
  if (!flags || *flags == 0) {
    return MessageRecord(row, row["MyID"], WrappedText(row, kDesktopFileToken), "2",
                         TargetFlags(row));
  }
  return Join(".+offline_file|", row["UserID1"], "|", row["UserID2"], "|", row["TypePath"], "|",
              row["PcSize"], "|", row["ToDate"], "|", row["Msg_ID"], "|", row["FilPath"], "|#");
}

// .+clot_messeng|group|sender|date|time|text|FontInfo|Msg_ID|type|0 sender's, 1 member's copy|#
Expr GroupRecord(const Cursor& row, const Expr& type, std::string_view copy) {
  return Join(".+clot_messeng|", row["ClotID"], "|", row["MyID"], "|", Date(row), "|", Time(row),
              "|", row["UserText"], "|", row["FontInfo"], "|", row["Msg_ID"], "|", type, "|", copy,
              "|#");
}
Expr GroupSenderCopy(const Cursor& row) {
  return GroupRecord(row, row["To_Type"], "0");
}
Expr GroupMemberCopy(const Cursor& row) {
  return GroupRecord(row, Plus(row["To_Type"], 1), "1");
}

Expr NoticeRecord(const Cursor& row) {
  return Join(".+notification|", row["Ntitle"], "|", row["Ncontent"], "|", row["Nlink"], "|",
              row["To_Date"], "|", row["Msg_ID"], "|#");
}

Expr VerificationRecord(const Cursor& row) {
  return Join(".+messengverify|", row["ClotID"], "|", row["UserID2"], "|", row["UserText"], "|",
              row["To_Type1"], "|", row["To_Type2"], "|", row["To_Type3"], "|", row["To_Type4"],
              "|#");
}

Expr MeetingRecord(const Cursor& row, const Expr& status) {
  return Join(".+meeting_message|", row["YouID"], "|", row["MyID"], "|", row["IsVideo"], "|",
              row["LoginType1"], "|", row["LoginType2"], "|", status, "|", row["CloseRole"], "|",
              row["ChatId"], "|#");
}
// Kept: the side that sent the state is always shown 2, whatever the row says.
Expr MeetingSenderCopy(const Cursor& row) {
  return MeetingRecord(row, "2");
}
Expr MeetingTargetCopy(const Cursor& row) {
  return MeetingRecord(row, row["Status"]);
}

Expr RemoteRequestRecord(const Cursor& row) {
  return Join(".+request_remote|", row["YouID"], "|", row["MyID"], "|", row["Status"], "|",
              row["CloseRole"], "|", row["ChatId"], "|#");
}

// How a kind finds its row and what it makes of it. The peer selects name no target: of a Msg_ID
// that was used for several, the first row with the flag answers.
struct Delivery {
  int16_t kind;
  std::string_view select;
  Expr (*record)(const Cursor& row);
};

constexpr std::string_view kPeerAck1 = "Select * from Messeng_Text where Msg_ID='?' and IsAck1=1";
constexpr std::string_view kPeerAck2 = "Select * from Messeng_Text where Msg_ID='?' and IsAck2=1";
constexpr std::string_view kPeerAck3 = "Select * from Messeng_Text where Msg_ID='?' and IsAck3=1";
constexpr std::string_view kPeerAck4 = "Select * from Messeng_Text where Msg_ID='?' and IsAck4=1";
constexpr std::string_view kFileAck1 =
    "Select * from Messeng_Text as aa where Msg_ID='?' and IsAck1=1";
constexpr std::string_view kFileAck3 =
    "Select * from Messeng_Text as aa,LeaveFile as bb where aa.Msg_ID='?' and aa.IsAck3=1 and "
    "aa.Msg_ID=bb.Msg_ID";
constexpr std::string_view kGroup = "Select * from MessengClot_Text where Msg_ID='?'";
constexpr std::string_view kNoticeText = "Select * from MessengNotice_Text where Msg_ID='?'";
constexpr std::string_view kMeeting = "Select * from Tab_Chat where ChatId=?";
constexpr std::string_view kRemote = "Select * from remote_chat where ChatId=?";

constexpr Delivery kDeliveries[] = {
    {kNotice, kNoticeText, NoticeRecord},
    {kPeerMessage + kSenderDesktop, kPeerAck1, SenderCopy},
    {kPeerMessage + kSenderMobile, kPeerAck2, SenderCopy},
    {kPeerMessage + kTargetDesktop, kPeerAck3, TargetCopy},
    {kPeerMessage + kTargetMobile, kPeerAck4, TargetCopy},
    {kGroupMessage + kSenderDesktop, kGroup, GroupSenderCopy},
    {kGroupMessage + kSenderMobile, kGroup, GroupSenderCopy},
    {kGroupMessage + kTargetDesktop, kGroup, GroupMemberCopy},
    {kGroupMessage + kTargetMobile, kGroup, GroupMemberCopy},
    {kFileMessage + kSenderDesktop, kFileAck1, SenderDesktopFile},
    {kFileMessage + kSenderMobile, kPeerAck2, SenderMobileFile},
    {kFileMessage + kTargetDesktop, kFileAck3, TargetDesktopFile},
    {kFileMessage + kTargetMobile, kPeerAck4, TargetMobileFile},
    {kMeetingState + kSenderDesktop, kMeeting, MeetingSenderCopy},
    {kMeetingState + kSenderMobile, kMeeting, MeetingSenderCopy},
    {kMeetingState + kTargetDesktop, kMeeting, MeetingTargetCopy},
    {kMeetingState + kTargetMobile, kMeeting, MeetingTargetCopy},
    {kRemoteRequest, kRemote, RemoteRequestRecord},
};

const Delivery* FindDelivery(int16_t kind) {
  for (const Delivery& delivery : kDeliveries) {
    if (delivery.kind == kind) return &delivery;
  }
  return nullptr;
}

// The only kind that hands over several rows, and the only one that deletes what it handed over.
void LeaveVerifications(Host& host, SlotIndex slot, const Expr& userTag) {
  Cursor Adodc2(host.database);
  Adodc2.Open(Sql("Select * from MessengVerify_Type where UserID1='?'", userTag));
  for (; !Adodc2.EndOfRows(); Adodc2.MoveNext())
    AppendReply(host, slot, VerificationRecord(Adodc2));
  host.database.Execute(Sql("Delete from MessengVerify_Type where UserID1='?'", userTag));
}

}  // namespace

void LeaveMesseng(Host& host, const Expr& userTag, int16_t kind, const Expr& id) {
  if (!userTag.ok() || !id.ok()) {
    NoteSkipped("LeaveMesseng", "failed value");
    return;
  }
  const SlotIndex slot = host.SckServer.FirstConnected(userTag.text());
  if (slot == kNoSlot) return;
  if (kind == kPendingVerifications) return LeaveVerifications(host, slot, userTag);
  const Delivery* delivery = FindDelivery(kind);
  if (delivery == nullptr) return;
  Cursor Adodc2(host.database);
  Adodc2.Open(Sql(delivery->select, id));
  if (!Adodc2.EndOfRows()) AppendReply(host, slot, delivery->record(Adodc2));
}

}  // namespace vnq
