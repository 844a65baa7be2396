// Loopback addresses that no other test that runs now has.
#pragma once

#include <fmt/format.h>
#include <unistd.h>

#include <string>

namespace vnq {

/// 127.<network>.x.y, from the process number. Networks from 210 to 219 are for this; those below
/// and above belong to the test servers and to the fake main ports.
inline std::string AddressOfThisProcess(unsigned network) {
  const unsigned pid = static_cast<unsigned>(getpid());
  return fmt::format("127.{}.{}.{}", network, 1 + pid / 254 % 254, 1 + pid % 254);
}

}  // namespace vnq
