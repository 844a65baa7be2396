// One run of the verification engine, and the actions that its table names.
#pragma once

#include <string>

#include "host/host.h"
#include "host/slots/devices.h"
#include "host/values/fields.h"

namespace vnq {

/// .+messengverify|ClotID|UserID2|UserText|To_Type1|To_Type2|To_Type3|To_Type4|#
struct VerifyRecord {
  Expr word, clotId, userId2, userText, type1, type2, type3, type4;

  /// Elements 0 to 7 of a record, as they stand.
  static VerifyRecord Of(const Fields& fields);

  /// The record as the other side sees it: field 1 names the other party, field 2 oneself.
  VerifyRecord Swapped() const;

  Expr Text() const;
};

/// What an action works on. The tags are those of the acting slot at the start of the run, whoever
/// holds the slot later.
struct Verification {
  Verification(Host& theHost, Fields& theFields, SlotIndex actingSlot)
      : host(theHost),
        fields(theFields),
        slot(actingSlot),
        senderTag(theHost.SckServer.Tag(actingSlot)),
        otherSessionTag(OtherSessionTag(senderTag)),
        senderUser(BareTag(senderTag)) {}

  Host& host;
  Fields& fields;
  SlotIndex slot;
  std::string senderTag;
  std::string otherSessionTag;  ///< the acting user's other device
  std::string senderUser;  ///< Kept: without any `m`, so a UserID that holds one is not kept whole

  /// DeliverOrQueueVerify of the record as it now is. Yields: yes.
  void Park(const Expr& targetTag) const;
  /// The same for a user's desktop, then for the mobile. Yields: yes.
  void ParkUser(const Expr& userId) const;
  /// A record to the acting slot, if it is still connected, and to the acting user's other session.
  /// Yields: yes.
  void AnswerSender(const VerifyRecord& record) const;
};

/// Tells a user, through the engine, of a change of membership that somebody else made:
/// .+messengverify|group|user||2|type2|2|0|#   Yields: yes.
void NotifyMember(Host& host, const Expr& group, const Expr& userId, const Expr& type2,
                  SlotIndex slot);

/// What a block in MessengVerify_Blacklist is about.
enum class BlockScope : int { kFriend = 1, kGroup = 2 };

/// True when myId has blocked youId.
bool IsBlocked(Host& host, const Expr& myId, const Expr& youId, BlockScope scope);
/// Adds the block unless `existing`, opened on the table, finds one.
void BlockOnce(const Verification& run, const Statement& existing, const Expr& myId,
               const Expr& youId, BlockScope scope);

// --- Actions of friend records: field 1 is the other party, field 2 the user who acts ---

void FriendRequest(const Verification& run);
void FriendAccepted(const Verification& run);
void FriendRefused(const Verification& run);
void FriendRefusedAndBlocked(const Verification& run);
void FriendDeleted(const Verification& run);

// --- Actions of group records: field 1 is the group, field 2 the user concerned ---

void RelayToUser(const Verification& run);
void JoinRequest(const Verification& run);
void ApplicationAccepted(const Verification& run);
void ApplicationRefused(const Verification& run);
void ApplicationRefusedAndBlocked(const Verification& run);
void MemberLeaves(const Verification& run);
void GroupDisbanded(const Verification& run);

}  // namespace vnq
