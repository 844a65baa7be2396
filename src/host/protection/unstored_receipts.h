// Receipts that may only leave with the row that they promise.
#pragma once

#include <string>
#include <vector>

#include "host/slots/sending.h"

namespace vnq {

/// Looks for the row of each receipt in the moment before the buffers leave, when every earlier
/// commit has been done or refused. Who gets no receipt sends again, and is then stored.
class UnstoredReceipts {
 public:
  /// A receipt that stands in a slot's ReplyBuffer from now on.
  void Note(SlotIndex slot, Receipt stored, const Expr& owner, const Expr& msgId,
            const Expr& record);

  /// Takes those out of the buffers again whose row is not there, and gives their number. Yields:
  /// no. Database: the tables of the receipts are read.
  int Withhold(Host& host);

 private:
  struct Noted {
    SlotIndex slot;
    Receipt stored;
    std::string owner, msgId, record;
  };
  static bool IsStored(Host& host, const Noted& receipt);

  std::vector<Noted> noted_;
};

}  // namespace vnq
