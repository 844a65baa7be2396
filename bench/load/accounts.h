// The accounts and groups that `prepare` makes and the scenarios use.
#pragma once

#include <fmt/format.h>

#include <cstdint>
#include <string>

namespace vnq::bench {

inline constexpr int kFirstUserId = 9'000'001;
inline constexpr const char* kPassword = "bench-pw";

/// Account by its number, from 0 on. Ids hold no letter: an `m` would be taken for a mobile's.
inline std::string UserId(size_t account) {
  return std::to_string(static_cast<size_t>(kFirstUserId) + account);
}
inline std::string UserName(size_t account) {
  return fmt::format("bench{}", account + 1);
}

/// The group of so many members: the first accounts, from number 0 on.
inline std::string GroupId(size_t members) {
  return fmt::format("Clot9{:05}", members);
}

}  // namespace vnq::bench
