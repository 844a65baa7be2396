// Latencies of a run, counted in buckets: millions of values in a few kilobytes.
//
// Buckets are linear up to 128 and then 64 to each doubling, so a value is known to better than
// 1.6 %.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vnq::bench {

class Histogram {
 public:
  /// A value from 0 on; what is below counts as 0.
  void Add(int64_t value);
  void Clear() { *this = {}; }

  uint64_t count() const { return count_; }
  int64_t min() const { return count_ == 0 ? 0 : min_; }
  int64_t max() const { return max_; }
  double Mean() const;

  /// The smallest value that `percent` of all values do not exceed, to the width of its bucket and
  /// never above the greatest value. 0 without values. percent: 0 to 100.
  int64_t Percentile(double percent) const;

 private:
  static size_t BucketOf(uint64_t value);
  static int64_t UpperEnd(size_t bucket);

  std::vector<uint64_t> buckets_;
  uint64_t count_ = 0;
  double sum_ = 0;
  int64_t min_ = 0, max_ = 0;
};

}  // namespace vnq::bench
