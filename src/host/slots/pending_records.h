// Unfinished records, by slot: what has come of a record whose end has not.
//
// Like any value per slot they outlive the connection. A peer may leave the end of a record out for
// as long as it likes, so their length is bounded, each and together.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "host/slots/slots.h"
#include "platform/net/connection_budget.h"
#include "platform/net/repeated_warning.h"

namespace vnq {

class PendingRecords {
 public:
  struct Limits {
    size_t recordBytes = 16 * kMegabyte;      ///< of one record
    size_t allRecordBytes = 128 * kMegabyte;  ///< of all that wait
  };

  PendingRecords(EventLoop& loop, Limits limits)
      : limits_(limits), dropped_(loop, "an unfinished record is dropped", "record_dropped") {}

  /// Empty when nothing waits. Valid until the next change of any slot's.
  const std::string& operator[](SlotIndex slot) { return records_[slot]; }

  void Set(SlotIndex slot, std::string_view text);

  /// A record that becomes too long is dropped, so that what comes of it from then on goes on with
  /// nothing. With too much in all of them the longest is.
  void Append(SlotIndex slot, std::string_view text);

  void Clear(SlotIndex slot);

  size_t AllBytes() const { return allBytes_; }

 private:
  void Drop(SlotIndex slot);
  SlotIndex Longest();

  Limits limits_;
  RepeatedWarning dropped_;
  SlotTexts records_;
  size_t allBytes_ = 0;
};

}  // namespace vnq
