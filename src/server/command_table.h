// The commands of the six ports, a table a port, each in its fixed order. docs/commands.md is made
// of them.
#pragma once

#include <span>

#include "host/slots/dispatcher.h"

namespace vnq {

std::span<const CommandRow> ClientCommands();       ///< 6004
std::span<const CommandRow> VisitorCommands();      ///< 6001
std::span<const CommandRow> ScreenCommands();       ///< 6002: none, the port only greets
std::span<const CommandRow> ControlCommands();      ///< 6003
std::span<const CommandRow> ApplicationCommands();  ///< 6007
std::span<const CommandRow> EndpointCommands();     ///< 6008

}  // namespace vnq
