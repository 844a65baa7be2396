// Marking what one device of a user has read. docs/history.md has the rules.
#pragma once

#include <string>
#include <vector>

#include "host/database/database.h"
#include "host/database/database_engine.h"
#include "tools/history/history_entry.h"

namespace vnq {

/// Marks the entries as read by one device of the user, in one transaction: all or none. Of an
/// entry `kind`, `Msg_ID`, `to` and `isOwn` are asked.
///
/// A group has one mark for all its messages: it rises as far as every message below it is among
/// the entries or was read before, and never falls. So what was left out stays unread.
bool MarkRead(Database& database, DatabaseEngine engine, const std::string& UserID, Device device,
              const std::vector<HistoryEntry>& entries, std::string& error);

}  // namespace vnq
