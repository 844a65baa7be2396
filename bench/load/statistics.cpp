#include "bench/load/statistics.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace vnq::bench {
namespace {
constexpr uint64_t kLinear = 128;
constexpr size_t kPerDoubling = 64;
}  // namespace

size_t Histogram::BucketOf(uint64_t value) {
  if (value < kLinear) return static_cast<size_t>(value);
  const auto shift = static_cast<size_t>(std::bit_width(value)) - 7;
  return kLinear + (shift - 1) * kPerDoubling + static_cast<size_t>(value >> shift) - kPerDoubling;
}

int64_t Histogram::UpperEnd(size_t bucket) {
  if (bucket < kLinear) return static_cast<int64_t>(bucket);
  const size_t shift = (bucket - kLinear) / kPerDoubling + 1;
  const size_t mantissa = (bucket - kLinear) % kPerDoubling + kPerDoubling;
  return static_cast<int64_t>(((mantissa + 1) << shift) - 1);
}

void Histogram::Add(int64_t value) {
  value = std::max<int64_t>(value, 0);
  const size_t bucket = BucketOf(static_cast<uint64_t>(value));
  if (buckets_.size() <= bucket) buckets_.resize(bucket + 1);
  ++buckets_[bucket];
  min_ = count_ == 0 ? value : std::min(min_, value);
  max_ = std::max(max_, value);
  sum_ += static_cast<double>(value);
  ++count_;
}

double Histogram::Mean() const {
  return count_ == 0 ? 0 : sum_ / static_cast<double>(count_);
}

int64_t Histogram::Percentile(double percent) const {
  if (count_ == 0) return 0;
  const auto wanted = static_cast<uint64_t>(
      std::max(1.0, std::ceil(percent / 100 * static_cast<double>(count_) - 1e-9)));
  uint64_t seen = 0;
  for (size_t bucket = 0; bucket < buckets_.size(); ++bucket) {
    seen += buckets_[bucket];
    if (seen >= wanted) return std::min(UpperEnd(bucket), max_);
  }
  return max_;
}

}  // namespace vnq::bench
