// How many descriptors this process may hold: each connection takes one.
#pragma once

#include <cstdint>

namespace vnq {

struct DescriptorLimit {
  uint64_t before = 0;
  uint64_t now = 0;
};

/// Raises the limit to the highest that the system allows this process. Where it may not, it stays.
DescriptorLimit RaiseDescriptorLimit();

}  // namespace vnq
