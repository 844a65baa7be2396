// Receipts that wait in reply buffers for the sync of what they acknowledge.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "host/slots/slots.h"

namespace vnq {

/// The word of a receipt: .+reply|stored|target or group|Msg_ID|#
inline constexpr std::string_view kReceiptWord = ".+reply";

class UnsyncedReceipts {
 public:
  /// Notes that a receipt stands at [begin, end) of the slot's buffer.
  void Note(SlotIndex slot, size_t begin, size_t end);

  /// What they acknowledge is durable: they leave with their buffers.
  void Settle() { noted_.clear(); }

  /// Takes them out of the buffers; what else waits there stays in its order. A buffer that was
  /// emptied since has none.
  void TakeOut(SlotTexts& buffers);

 private:
  struct Place {
    SlotIndex slot;
    size_t begin, end;
  };
  std::vector<Place> noted_;
};

}  // namespace vnq
