// The messaging room: one stored row per message, one delivery attempt per device, and the keyword
// filter.
//
// A user may be connected twice, on a desktop and on a mobile, so a message has four device copies.
// UserMesseng and ClotMesseng store a message and call LeaveMesseng once for each device that may
// want a copy; LeaveMesseng finds the device's slot, rereads the row and queues the record. Nothing
// is retried: an absent device gets nothing, and the row stays.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "host/host.h"
#include "host/slots/devices.h"
#include "host/values/fields.h"

namespace vnq {

/// What is stored, by the numbers that the tables and clients know; of a message it is the To_Type,
/// too.
enum class StoredKind : int16_t {
  kNotice = 4,
  kPendingVerifications = 5,
  kPeerMessage = 10,
  kGroupMessage = 20,
  kFileMessage = 60,
  kMeetingState = 70,  ///< the side that sent the state counts as sender
  kRemoteRequest = 84,
};

/// Whose copy it is. Messages and meetings have four, the other kinds one for any device.
enum class DeviceCopy : int16_t {
  kOnly = 0,
  kSenderDesktop = 1,
  kSenderMobile = 2,
  kTargetDesktop = 3,
  kTargetMobile = 4,
};

/// What LeaveMesseng is to deliver: 11 is the sender's desktop copy of a peer message.
struct DeliveryKind {
  constexpr explicit DeliveryKind(int16_t theNumber) : number(theNumber) {}
  constexpr DeliveryKind(StoredKind stored, DeviceCopy copy = DeviceCopy::kOnly)  // NOLINT: a kind
      : number(static_cast<int16_t>(static_cast<int>(stored) + static_cast<int>(copy))) {}
  constexpr bool operator==(const DeliveryKind&) const = default;

  int16_t number;
};

/// The copy for the other device of a sender, by the tag of the one that sent.
inline DeviceCopy OtherCopyOfSender(std::string_view tag) {
  return IsMobileTag(tag) ? DeviceCopy::kSenderDesktop : DeviceCopy::kSenderMobile;
}

/// Stores a person-to-person message and runs its deliveries, its log line and its push.
///
/// fields  .+message|target|sender|text|FontInfo|Msg_ID|type|#; type 5 is the file form.
/// slot    where the record arrived; its tag tells the sender's device.
/// The receipt is the dispatcher's, so a message made inside the server gets none.
/// Yields: no. Database: Users_ID, Messeng_Text, ServerLog.
void UserMesseng(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// Stores a group message and runs its deliveries to all members.
///
/// fields  .+clot_messeng|group|sender|text|FontInfo|Msg_ID|type|#
/// Membership of the sender is not tested.
/// Yields: no. Database: Users_ID, MessengClot_Text, Clot_Form, Msg_Acks.
void ClotMesseng(Host& host, Fields& fields, SlotIndex slot);

/// .+clot_messeng as the command table calls it, and the log line of its every arrival.
void HandleClotMesseng(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);
void LogClotMesseng(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// The highest MessengClot_Text.TypeID of a group: 0 for none, and 0 for one above 32,767.
/// Yields: no. Database: MessengClot_Text.
int16_t LastGroupMessageId(Host& host, const Expr& clotId);

/// Queues one stored thing for one device, in the ReplyBuffer of the first connected slot with its
/// tag.
///
/// userTag  the device's exact tag.
/// kind     of a number that is none of the above: queues nothing.
/// id       Msg_ID, or the chat id in decimal for meetings and remote assistance.
/// Nobody connected, no row, a failed select: nothing is queued, and the caller cannot tell.
/// Yields: no. Database: the table of the kind; only pending verifications are deleted.
void LeaveMesseng(Host& host, const Expr& userTag, DeliveryKind kind, const Expr& id);

/// The same for the slots of this node alone. False where none of them has the tag.
bool LeaveMessengHere(Host& host, const Expr& userTag, DeliveryKind kind, const Expr& id);

/// Sends what MessengVerify_Type holds for a tag at once, and deletes it; nothing where no slot of
/// this node has the tag. Yields: yes. Database: MessengVerify_Type.
void TellVerificationsHere(Host& host, const Expr& userTag);

/// The same stored thing left to one device after another, in a walk that neither yields nor writes
/// to its table: the row is read for the first that is connected.
class StoredCopy {
 public:
  /// kind  any but the pending verifications, which are of one user.
  StoredCopy(Host& host, DeliveryKind kind, Expr id)
      : host_(host), kind_(kind), id_(std::move(id)) {}

  /// As LeaveMesseng.
  void LeaveTo(const Expr& userTag);

 private:
  Host& host_;
  DeliveryKind kind_;
  Expr id_;
  std::optional<Expr> record_;
};

/// .+offline_request_web_information|UserID|#
/// Sends what the two older offline tables hold for a user, as one text (empty when there is
/// nothing), and deletes it. Yields: yes. Database: Messeng_Type, MessengKefu_Type, ServerLog.
void HandleOfflineRequest(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// The record of a message that the server makes in somebody's name, in the text of a language key
/// and with a Msg_ID of its own: word|to|from|text|FontInfo|Msg_ID|3|#
/// word  .+message for UserMesseng, .+clot_messeng for ClotMesseng.
Expr GreetingRecord(Host& host, std::string_view word, const Expr& to, const Expr& from,
                    std::string_view textKey);

// --- Notices, mass messages and bulletins ---

/// .+notification|sender|receiver,receiver,...|title|content|link|#
///
/// Stores a notice under an id of the server's own and leaves it to both devices of each receiver;
/// empty elements are passed over. No receipt follows. Yields: no. Database: MessengNotice_Text,
/// Notice_Acks, ServerLog.
void PostNotice(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// .+mass_information|receiver*receiver*...|sender|text|1 persons, else groups|#
/// One message for each receiver, each with a Msg_ID of its own. No receipt. Yields: yes, behind
/// each receiver.
void HandleMassInformation(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// .+interface_information|sender's UserName|receivers|title|text|link|mode|#
///
/// receivers  by name, joined by ','; or '*' in mode 3, for everybody who may log in
/// mode       0      message to persons
///            1, 11  message to groups, by name or number
///            3      notice
///            4      visitor line to persons
///            5      visitor line to a group
///            other  nothing
/// Names that nobody has are passed over. Modes 0, 1 and 11 leave the sender's tag on the slot.
/// Yields: yes, in modes 4 and 5. Database: Users_ID, Clot_Ro, and that of what it calls.
void HandleInterfaceInformation(Host& host, Fields& fields, SlotIndex slot,
                                const std::string& remoteIp);

/// .+delete_bulletin|UserID|Motif|#   Deletes the first such bulletin. The counter of bulletins
/// rises in any case. Yields: no. Database: News_Form, UpDateForm, ServerLog.
void HandleDeleteBulletin(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// .+shared_notice|MyID|UserID\UserID\...|#   Replaces the list of who shares; an empty field
/// changes nothing. Yields: no. Database: News_Ro, UpDateForm, ServerLog.
void HandleSharedNotice(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

// --- Relays: sent on at once, lost for who is away ---

/// .+retract|0 person, 1 group|target or group|sender|...|...|#
/// Goes to both devices of the target, or of each other member. No row changes. Yields: yes.
/// Database: Clot_Form.
void RetractMessage(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

/// .+reply_transmission|...|target's tag|...|...   Goes on without its second field. Yields: yes.
void RelayReplyTransmission(Host& host, Fields& fields, SlotIndex slot,
                            const std::string& remoteIp);

/// .+jitter_window|target|sender|#
/// A nudge to the target's desktop; without one, to the mobile, with a push. Yields: yes. Database:
/// Users_ID, ServerLog.
void RelayJitterWindow(Host& host, Fields& fields, SlotIndex slot, const std::string& remoteIp);

// --- Text ---

/// The text as it may be stored: escaped in, escaped out. A text with an inline control token
/// passes untouched; a blocked word replaces the whole text by a notice; masked words become "***".
/// Yields: no. Database: no.
std::string FilterMessageText(Host& host, const std::string& rawText);

}  // namespace vnq
