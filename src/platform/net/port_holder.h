// Which program listens on a port of this machine.
#pragma once

#include <cstdint>
#include <string>

namespace vnq {

/// "process 4711 (nginx)"; "a program of user www-data" where this user may not look into it; empty
/// where nobody listens on the port at this IPv4 address or at all of them, or nobody can tell.
std::string HolderOfPort(const std::string& address, uint16_t port);

}  // namespace vnq
