// Who is connected.
#pragma once

#include <string>
#include <vector>

#include "server/ports.h"

namespace vnq {

struct SessionEntry {
  uint16_t port = 0;
  SlotIndex slot = kNoSlot;
  std::string user;    ///< UserID on the main port, elsewhere the tag; empty before a log-in
  std::string name;    ///< login name; empty where there is none
  std::string device;  ///< "desktop", "mobile"; empty where there is none
  std::string address;
  std::string since;  ///< "YYYY-MM-DD hh:mm:ss", local time
  int64_t seconds = 0;
  std::string node;  ///< another one, of which no more is known than port, user and device; empty
                     ///< for this server
};

/// The connected slots of all ports, in the order of load, and behind them the names that are
/// connected on other nodes. Yields: yes, among many. Database: Users_ID, a row a person.
std::vector<SessionEntry> ReadSessions(Host& host);

/// A table for a terminal.
std::string SessionsText(const std::vector<SessionEntry>& sessions);

/// A JSON array (RFC 8259), an object a line.
std::string SessionsJson(const std::vector<SessionEntry>& sessions);

}  // namespace vnq
