// The machine's own addresses.
#pragma once

#include <string>

namespace vnq {

/// The first IPv4 address of the machine that is not a loopback address; "127.0.0.1" when it has no
/// other.
std::string FirstLocalAddress();

}  // namespace vnq
