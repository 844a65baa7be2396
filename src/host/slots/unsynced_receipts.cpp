#include "host/slots/unsynced_receipts.h"

#include <string>

namespace vnq {

void UnsyncedReceipts::Note(SlotIndex slot, size_t begin, size_t end) {
  if (begin < end) noted_.push_back({slot, begin, end});
}

void UnsyncedReceipts::TakeOut(SlotTexts& buffers) {
  // From the last on, so that the places of those before stay right.
  for (auto place = noted_.rbegin(); place != noted_.rend(); ++place) {
    std::string& buffer = buffers[place->slot];
    const bool isThere = place->end <= buffer.size() &&
                         buffer.compare(place->begin, kReceiptWord.size(), kReceiptWord) == 0;
    if (isThere) buffer.erase(place->begin, place->end - place->begin);
  }
  noted_.clear();
}

}  // namespace vnq
