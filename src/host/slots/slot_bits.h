// A set of slot numbers in which the next one is found at once.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace vnq {

class SlotBits {
 public:
  void Insert(int slot) {
    const size_t word = static_cast<size_t>(slot) / kBits;
    if (words_.size() <= word) words_.resize(word + 1);
    words_[word] |= Bit(slot);
  }

  void Erase(int slot) {
    const size_t word = static_cast<size_t>(slot) / kBits;
    if (word < words_.size()) words_[word] &= ~Bit(slot);
  }

  /// The lowest number in the set from `slot` on, 0 when there is none.
  int Next(int slot) const {
    size_t word = static_cast<size_t>(slot) / kBits;
    if (word >= words_.size()) return 0;
    uint64_t bits = words_[word] & ~(Bit(slot) - 1);
    while (bits == 0) {
      if (++word == words_.size()) return 0;
      bits = words_[word];
    }
    return static_cast<int>(word * kBits) + std::countr_zero(bits);
  }

 private:
  static constexpr size_t kBits = 64;
  static uint64_t Bit(int slot) { return uint64_t{1} << (static_cast<size_t>(slot) % kBits); }

  std::vector<uint64_t> words_;
};

}  // namespace vnq
