// The messages of a group as one of its members has them.
//
// A member's mark is the TypeID of the last message that a device has had. The server raises it for
// the device that posts, and keeps it in 16 bits: from a TypeID of 32,768 on it writes 0 instead,
// at a post and when a member joins. So a mark of 0 says nothing about such messages. Among them
// the member's own last one stands for the mark, and only those count that were addressed to the
// member, which Msg_Acks tells.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/database/database.h"
#include "tools/history/device_rules.h"
#include "tools/history/history_entry.h"

namespace vnq {

struct Membership {
  std::string ClotID;
  int32_t mark = 0;  ///< of the device in question
};

/// The groups whose member the user is. False when the statement fails.
bool ReadMemberships(Database& database, const DeviceRules& rules, const std::string& UserID,
                     std::vector<Membership>& groups);

/// Appends a group's messages with a TypeID above `from`, in their order; `isUnread` tells what the
/// mark says. False when a statement fails.
bool ReadGroupMessages(Database& database, const std::string& UserID, const Membership& group,
                       int32_t from, std::vector<HistoryEntry>& entries);

}  // namespace vnq
