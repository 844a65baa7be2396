// Every message that was sent must arrive once at each device that it is for, and its receipt once
// at its sender, unaltered. Anything else fails the run.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vnq::bench {

struct CheckCounts {
  uint64_t lostDeliveries = 0, lostReceipts = 0;
  uint64_t doubledDeliveries = 0, doubledReceipts = 0;
  uint64_t altered = 0;  ///< came, but not with the text or the fields that were due

  uint64_t Total() const {
    return lostDeliveries + lostReceipts + doubledDeliveries + doubledReceipts + altered;
  }
};

class DeliveryChecker {
 public:
  /// copies: devices that each message is delivered to. receipts: whether one is due.
  explicit DeliveryChecker(size_t copies, bool receipts = true)
      : copies_(copies), receipts_(receipts) {}

  /// A new message. Returns its number, from 0 on.
  uint64_t Add(int64_t dueNs);

  /// The copy for a device, from 0 on, has arrived as it should. False, and counted, when it had
  /// come before.
  bool Delivered(uint64_t message, size_t copy);
  bool Receipted(uint64_t message);

  /// A record that should not have come like this; the first few are kept to be shown.
  void Altered(std::string_view record);

  bool Known(uint64_t message) const { return message < dueNs_.size(); }
  int64_t DueNs(uint64_t message) const { return dueNs_[message]; }
  bool FullyDelivered(uint64_t message) const { return delivered_[message] == copies_; }
  bool HasReceipt(uint64_t message) const { return receipted_[message]; }

  uint64_t added() const { return dueNs_.size(); }
  uint64_t deliveries() const { return deliveries_; }
  uint64_t receipts() const { return receiptCount_; }

  /// Nothing is on its way any more.
  bool Complete() const { return MissingDeliveries() == 0 && MissingReceipts() == 0; }

  /// All findings; what has not come by now counts as lost.
  CheckCounts Counts() const;
  const std::vector<std::string>& examples() const { return examples_; }

 private:
  uint64_t MissingDeliveries() const { return added() * copies_ - deliveries_; }
  uint64_t MissingReceipts() const { return receipts_ ? added() - receiptCount_ : 0; }

  size_t copies_;
  bool receipts_;
  std::vector<int64_t> dueNs_;
  std::vector<uint32_t> delivered_;
  std::vector<bool> copyArrived_;  // copies_ for each message
  std::vector<bool> receipted_;
  uint64_t deliveries_ = 0, receiptCount_ = 0;
  CheckCounts found_;
  std::vector<std::string> examples_;
};

}  // namespace vnq::bench
