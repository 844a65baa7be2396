// What the database holds for one user: messages with people, messages of groups, notices.
#pragma once

#include <string>
#include <vector>

#include "host/database/database.h"
#include "host/database/database_engine.h"
#include "tools/history/history_entry.h"

namespace vnq {

struct HistoryQuery {
  std::string UserID;
  Device device = Device::kDesktop;  ///< whose marks count
  bool onlyUnread = false;
  std::string with{};   ///< only messages with this person; group must be empty then
  std::string group{};  ///< only messages of this group

  /// The column that counts the rows of Messeng_Text, by which words of one second keep their
  /// order; empty where there is none.
  std::string rowColumn{};
};

/// See HistoryQuery::rowColumn.
std::string RowColumnOfMessages(SqlDriver& driver, DatabaseEngine engine);

/// Each appends its entries, unordered but for the rows' own order. False when a statement fails,
/// which the driver's LastError() names.

/// Messages between the user and other people, notes to oneself included.
bool ReadPeerMessages(Database& database, const HistoryQuery& query,
                      std::vector<HistoryEntry>& entries);

/// Messages of all groups whose member the user is.
bool ReadGroupHistory(Database& database, const HistoryQuery& query,
                      std::vector<HistoryEntry>& entries);

/// Notices for the user and, unless only unread ones are asked for, those that the user posted.
bool ReadNotices(Database& database, const HistoryQuery& query, std::vector<HistoryEntry>& entries);

/// The ones that the query wants, in order of time; within a second by kind, a group's by TypeID.
bool ReadHistory(Database& database, const HistoryQuery& query, std::vector<HistoryEntry>& entries);

}  // namespace vnq
