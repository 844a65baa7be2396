// How often a test of chance is repeated.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>

namespace vnq {

/// VNQ_ROUNDS where it is set, for long runs by hand; `usual` in a normal test run.
inline int Rounds(int usual) {
  const char* wanted = getenv("VNQ_ROUNDS");
  return wanted != nullptr ? std::atoi(wanted) : usual;
}

/// VNQ_PERCENT where it is set: how much of a large amount is tried.
inline size_t Percent(size_t usual) {
  const char* wanted = getenv("VNQ_PERCENT");
  return wanted != nullptr ? std::strtoull(wanted, nullptr, 10) : usual;
}

/// VNQ_SEED, or 1: the same seed makes the same choices.
inline uint64_t Seed() {
  const char* wanted = getenv("VNQ_SEED");
  return wanted != nullptr ? std::strtoull(wanted, nullptr, 10) : 1;
}

}  // namespace vnq
