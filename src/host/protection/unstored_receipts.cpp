#include "host/protection/unstored_receipts.h"

#include "host/host.h"

namespace vnq {

void UnstoredReceipts::Note(SlotIndex slot, Receipt stored, const Expr& owner, const Expr& msgId,
                            const Expr& record) {
  if (!record.ok()) return;  // then nothing was appended
  noted_.push_back({slot, stored, OrEmpty(owner), OrEmpty(msgId), record.text()});
}

bool UnstoredReceipts::IsStored(Host& host, const Noted& receipt) {
  Cursor row(host.database);
  switch (receipt.stored) {
    case Receipt::kPeerMessage:
      return row.Open(Sql("Select top 1 Msg_ID from Messeng_Text where Msg_ID='?' and YouID='?'",
                          receipt.msgId, receipt.owner)) &&
             row.RecordCount() > 0;
    case Receipt::kGroupMessage:
      return row.Open(
                 Sql("Select top 1 Msg_ID from MessengClot_Text where Msg_ID='?' and ClotID='?'",
                     receipt.msgId, receipt.owner)) &&
             row.RecordCount() > 0;
    case Receipt::kLeaveFile:
      return row.Open(Sql("Select top 1 Msg_ID from LeaveFile where Msg_ID='?'", receipt.msgId)) &&
             row.RecordCount() > 0;
    case Receipt::kClotFile:
      return row.Open(Sql("Select top 1 Msg_ID from ClotFile where Msg_ID='?'", receipt.msgId)) &&
             row.RecordCount() > 0;
    case Receipt::kNone:
      break;
  }
  return true;
}

int UnstoredReceipts::Withhold(Host& host) {
  int withheld = 0;
  for (const Noted& receipt : std::exchange(noted_, {})) {
    std::string& buffer = host.ReplyBuffer[receipt.slot];
    const size_t at = buffer.find(receipt.record);
    if (at == buffer.npos || IsStored(host, receipt)) continue;
    buffer.erase(at, receipt.record.size());
    ++withheld;
  }
  return withheld;
}

}  // namespace vnq
