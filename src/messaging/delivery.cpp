// From a stored row to the record on a device's buffer; and what the two older offline tables hold
// for a user, handed over once.
#include <optional>

#include "host/nodes/crossing.h"
#include "host/server_log.h"
#include "host/slots/sending.h"
#include "messaging/messaging.h"
#include "support/dates.h"
#include "support/text_codecs.h"
#include "webgate/webgate.h"

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

Expr Date(const Expr& column) {
  return Map(column, FormatAsDate);
}
Expr Time(const Expr& column) {
  return Map(column, FormatAsTime);
}

Expr SenderFlags(const Cursor& row) {
  return BothWanted(row["IsAck1"], row["IsAck2"]);
}
Expr TargetFlags(const Cursor& row) {
  return BothWanted(row["IsAck3"], row["IsAck4"]);
}

// .+message|other party|date|time|text|FontInfo|closing fields
Expr DeliveredMessage(const Expr& otherParty, const Expr& date, const Expr& time, const Expr& text,
                      const Expr& fontInfo, const Expr& closing) {
  return Join(".+message|", otherParty, "|", date, "|", time, "|", text, "|", fontInfo, "|",
              closing);
}

// ... closing fields = Msg_ID|type|flags|#
Expr MessageRecord(const Cursor& row, const Expr& otherParty, const Expr& text, const Expr& type,
                   const Expr& flags) {
  return DeliveredMessage(otherParty, Date(row["To_Date"]), Time(row["To_Time"]), text,
                          row["FontInfo"], Join(row["Msg_ID"], "|", type, "|", flags, "|#"));
}

Expr WrappedText(const Cursor& row, std::string_view token) {
  return Map(Join(token, row["UserText"], "}"), EscapeText);
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
  return Join(".+clot_messeng|", row["ClotID"], "|", row["MyID"], "|", Date(row["To_Date"]), "|",
              Time(row["To_Time"]), "|", row["UserText"], "|", row["FontInfo"], "|", row["Msg_ID"],
              "|", type, "|", copy, "|#");
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
  DeliveryKind kind;
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
    {StoredKind::kNotice, kNoticeText, NoticeRecord},
    {{StoredKind::kPeerMessage, DeviceCopy::kSenderDesktop}, kPeerAck1, SenderCopy},
    {{StoredKind::kPeerMessage, DeviceCopy::kSenderMobile}, kPeerAck2, SenderCopy},
    {{StoredKind::kPeerMessage, DeviceCopy::kTargetDesktop}, kPeerAck3, TargetCopy},
    {{StoredKind::kPeerMessage, DeviceCopy::kTargetMobile}, kPeerAck4, TargetCopy},
    {{StoredKind::kGroupMessage, DeviceCopy::kSenderDesktop}, kGroup, GroupSenderCopy},
    {{StoredKind::kGroupMessage, DeviceCopy::kSenderMobile}, kGroup, GroupSenderCopy},
    {{StoredKind::kGroupMessage, DeviceCopy::kTargetDesktop}, kGroup, GroupMemberCopy},
    {{StoredKind::kGroupMessage, DeviceCopy::kTargetMobile}, kGroup, GroupMemberCopy},
    {{StoredKind::kFileMessage, DeviceCopy::kSenderDesktop}, kFileAck1, SenderDesktopFile},
    {{StoredKind::kFileMessage, DeviceCopy::kSenderMobile}, kPeerAck2, SenderMobileFile},
    {{StoredKind::kFileMessage, DeviceCopy::kTargetDesktop}, kFileAck3, TargetDesktopFile},
    {{StoredKind::kFileMessage, DeviceCopy::kTargetMobile}, kPeerAck4, TargetMobileFile},
    {{StoredKind::kMeetingState, DeviceCopy::kSenderDesktop}, kMeeting, MeetingSenderCopy},
    {{StoredKind::kMeetingState, DeviceCopy::kSenderMobile}, kMeeting, MeetingSenderCopy},
    {{StoredKind::kMeetingState, DeviceCopy::kTargetDesktop}, kMeeting, MeetingTargetCopy},
    {{StoredKind::kMeetingState, DeviceCopy::kTargetMobile}, kMeeting, MeetingTargetCopy},
    {StoredKind::kRemoteRequest, kRemote, RemoteRequestRecord},
};

const Delivery* FindDelivery(DeliveryKind kind) {
  for (const Delivery& delivery : kDeliveries) {
    if (delivery.kind == kind) return &delivery;
  }
  return nullptr;
}

// Takes each row by itself: another node may add one meanwhile.
std::string TakeVerifications(Host& host, const Expr& userTag) {
  std::string records;
  Cursor rows(host.database);
  rows.Open(Sql("Select * from MessengVerify_Type where UserID1='?'", userTag));
  for (; !rows.EndOfRows(); rows.MoveNext()) {
    Append(records, VerificationRecord(rows));
    rows.Delete();
  }
  return records;
}

// The only kind that hands over several rows, and the only one that deletes what it handed over.
void LeaveVerifications(Host& host, SlotIndex slot, const Expr& userTag) {
  if (host.cluster) return AppendReply(host, slot, TakeVerifications(host, userTag));
  Cursor Adodc2(host.database);
  Adodc2.Open(Sql("Select * from MessengVerify_Type where UserID1='?'", userTag));
  for (; !Adodc2.EndOfRows(); Adodc2.MoveNext()) {
    AppendReply(host, slot, VerificationRecord(Adodc2));
  }
  host.database.Execute(Sql("Delete from MessengVerify_Type where UserID1='?'", userTag));
}

// Nothing where there is no row.
std::optional<Expr> ReadRecord(Host& host, const Delivery& delivery, const Expr& id) {
  Cursor Adodc2(host.database);
  Adodc2.Open(Sql(delivery.select, id));
  if (Adodc2.EndOfRows()) return std::nullopt;
  return delivery.record(Adodc2);
}

// --- The two older offline tables ---

// The closing of a replayed message by its type; nothing for a type that has none of its own.
const char* TailOfType(const Expr& type) {
  switch (ToInt32(type).value_or(0)) {
    case 1:
      return "#";
    case 2:
      return "@#";
    case 3:
      return "*#";
    default:
      return nullptr;
  }
}

std::string PeerRecords(Host& host, const Expr& userId) {
  std::string out;
  std::string when, tail;
  Cursor rows(host.database);
  rows.Open(Sql("Select * from Messeng_Type where UserID1='?'", userId));
  for (; !rows.EndOfRows(); rows.MoveNext()) {
    Assign(when, Join(rows["To_Date"]));
    // Kept: a row of another type closes as the row before it did.
    if (const char* own = TailOfType(rows["To_Type"])) tail = own;
    Append(out, DeliveredMessage(rows["UserID2"], Date(when), Time(when), rows["UserText"],
                                 rows["FontInfo"], tail));
  }
  return out;
}

std::string VisitorRecords(Host& host, const Expr& userId) {
  std::string out;
  std::string when, text;
  Cursor rows(host.database);
  rows.Open(Sql("Select * from MessengKefu_Type where UserID1='?'", userId));
  for (; !rows.EndOfRows(); rows.MoveNext()) {
    Assign(when, Join(rows["To_Date"]));
    Assign(text, Join(rows["UserText"]));
    const char* tail = ToInt32(rows["To_Type"]) == 3 ? "*#" : "#";
    Append(out,
           VisitorLineRecord(rows["UserID2"], rows["FcName"], Date(when), Time(when), text, tail));
  }
  return out;
}

void ReplayOfflineTypes(Host& host, const Fields& fields, SlotIndex slot) {
  std::string out = PeerRecords(host, fields[1]);
  host.database.Execute(Sql("delete from Messeng_Type where UserID1='?'", fields[1]));
  out += VisitorRecords(host, fields[1]);
  host.database.Execute(Sql("Delete from MessengKefu_Type where UserID1='?'", fields[1]));
  TellSlot(host, slot, out);
}

}  // namespace

void LeaveMesseng(Host& host, const Expr& userTag, DeliveryKind kind, const Expr& id) {
  if (Skips("LeaveMesseng", userTag, id) || LeaveMessengHere(host, userTag, kind, id)) return;
  LeaveElsewhere(host, userTag, kind.number, id);
}

bool LeaveMessengHere(Host& host, const Expr& userTag, DeliveryKind kind, const Expr& id) {
  const SlotIndex slot = host.SckServer.FirstConnected(userTag);
  if (slot == kNoSlot) return false;
  if (kind == StoredKind::kPendingVerifications) {
    LeaveVerifications(host, slot, userTag);
  } else if (const Delivery* delivery = FindDelivery(kind)) {
    if (const auto record = ReadRecord(host, *delivery, id)) AppendReply(host, slot, *record);
  }
  return true;
}

void StoredCopy::LeaveTo(const Expr& userTag) {
  if (Skips("LeaveMesseng", userTag, id_)) return;
  const SlotIndex slot = host_.SckServer.FirstConnected(userTag);
  if (slot == kNoSlot) return LeaveElsewhere(host_, userTag, kind_.number, id_);
  const Delivery* delivery = FindDelivery(kind_);
  if (delivery == nullptr) return;
  if (!record_) record_ = ReadRecord(host_, *delivery, id_);
  if (record_) AppendReply(host_, slot, *record_);
}

void TellVerificationsHere(Host& host, const Expr& userTag) {
  if (host.SckServer.FirstConnected(userTag) == kNoSlot) return;
  const std::string records = TakeVerifications(host, userTag);
  if (!records.empty()) TellTagHere(host, userTag, records);
}

void HandleOfflineRequest(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp) {
  ReplayOfflineTypes(host, fields, slot);
  WriteServerLog(host, Join(fields[1], host.ReadLang("im76")), fields[1], remoteIp,
                 LogIcon::kOfflineRequest);
}

}  // namespace vnq
