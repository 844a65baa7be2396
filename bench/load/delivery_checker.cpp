#include "bench/load/delivery_checker.h"

namespace vnq::bench {
namespace {
constexpr size_t kExamples = 5;
constexpr size_t kExampleBytes = 300;
}  // namespace

uint64_t DeliveryChecker::Add(int64_t dueNs) {
  dueNs_.push_back(dueNs);
  delivered_.push_back(0);
  copyArrived_.resize(copyArrived_.size() + copies_);
  receipted_.push_back(false);
  return dueNs_.size() - 1;
}

bool DeliveryChecker::Delivered(uint64_t message, size_t copy) {
  auto arrived = copyArrived_[message * copies_ + copy];
  if (arrived) {
    ++found_.doubledDeliveries;
    return false;
  }
  arrived = true;
  ++delivered_[message];
  ++deliveries_;
  return true;
}

bool DeliveryChecker::Receipted(uint64_t message) {
  if (receipted_[message]) {
    ++found_.doubledReceipts;
    return false;
  }
  receipted_[message] = true;
  ++receiptCount_;
  return true;
}

void DeliveryChecker::Altered(std::string_view record) {
  ++found_.altered;
  if (examples_.size() < kExamples) examples_.emplace_back(record.substr(0, kExampleBytes));
}

CheckCounts DeliveryChecker::Counts() const {
  CheckCounts counts = found_;
  counts.lostDeliveries = MissingDeliveries();
  counts.lostReceipts = MissingReceipts();
  return counts;
}

}  // namespace vnq::bench
