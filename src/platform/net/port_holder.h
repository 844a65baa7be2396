// Which program listens on a port of this machine.
#pragma once

#include <cstdint>
#include <string>

namespace vnq {

/// "process 4711 (nginx)"; "a program of user www-data" where this user may not look into it; empty
/// where nobody listens on the port at an IPv4 address, or nobody can tell.
std::string HolderOfPort(uint16_t port);

}  // namespace vnq
