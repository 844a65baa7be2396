// Rows that are too old to be kept: which they are by the settings, and how many.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/database/database.h"
#include "host/settings/settings.h"
#include "platform/net/clock.h"

namespace vnq {

/// Those of one table.
struct OldRows {
  std::string table;
  std::string statement;  ///< that deletes them; empty where the dialect has none
};

/// What goes on this day, in the order in which it goes: messages, offline files, notices. Nothing
/// of a kind that is kept.
std::vector<OldRows> OldRowsBySettings(const Settings& settings, const LocalTime& now);

/// How many there are; nothing when the query fails. Yields: no.
std::optional<int64_t> CountOldRows(Database& database, const OldRows& rows);

}  // namespace vnq
