// The status in words for a person, as JSON for a program, and as metrics for a monitoring system.
#pragma once

#include <string>
#include <vector>

#include "server/status/server_status.h"

namespace vnq {

/// Lines for a terminal.
std::string StatusText(const ServerStatus& status);

/// One line that tells most: for the service manager.
std::string StatusLine(const ServerStatus& status);

/// One JSON object (RFC 8259) in a line.
std::string StatusJson(const ServerStatus& status);

/// The text format 0.0.4 of Prometheus. docs/watching.md lists the names.
std::string StatusMetrics(const ServerStatus& status);

/// A duration: "2 d 03:04:05", "03:04:05".
std::string DurationText(int64_t seconds);

}  // namespace vnq
