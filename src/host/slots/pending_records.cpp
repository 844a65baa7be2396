#include "host/slots/pending_records.h"

namespace vnq {

void PendingRecords::Set(SlotIndex slot, std::string_view text) {
  Clear(slot);
  Append(slot, text);
}

void PendingRecords::Append(SlotIndex slot, std::string_view text) {
  std::string& record = records_[slot];
  record.append(text);
  allBytes_ += text.size();
  if (record.size() > limits_.recordBytes) return Drop(slot);
  if (allBytes_ > limits_.allRecordBytes) Drop(Longest());
}

void PendingRecords::Clear(SlotIndex slot) {
  std::string& record = records_[slot];
  allBytes_ -= record.size();
  std::string().swap(record);
}

void PendingRecords::Drop(SlotIndex slot) {
  dropped_.Note("slot " + std::to_string(slot) + ", " + std::to_string(records_[slot].size()) +
                " bytes");
  Clear(slot);
}

SlotIndex PendingRecords::Longest() {
  SlotIndex longest = kNoSlot;
  for (SlotIndex slot = 1; slot < records_.size(); ++slot) {
    if (records_[slot].size() > records_[longest].size()) longest = slot;
  }
  return longest;
}

}  // namespace vnq
