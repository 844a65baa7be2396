// How `vnqctl history` shows what it found.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "tools/history/history_entry.h"
#include "tools/history/history_text.h"
#include "tools/history/name_book.h"

namespace vnq {

/// A line an entry, safe on a terminal. "*" marks what the device has not had.
///
///   2026-03-04 05:06:07   Ann Lee (1): hello
///   2026-03-04 05:06:09 * you to Ann Lee (1): sent from the phone
///   2026-03-04 05:07:00 * [Team (Clot000001)] Ann Lee (1): hello all
///   2026-03-04 05:08:00   notice of Ann Lee (1): title - content <link>
void PrintHistory(const std::vector<HistoryEntry>& entries, NameBook& names, const LabelOf& label,
                  std::ostream& out);

/// A JSON array (RFC 8259, UTF-8), an object an entry and a line an object:
///
///   kind             "message", "group_message" or "notice"
///   Msg_ID, time     "YYYY-MM-DD hh:mm:ss"
///   from, from_name  who wrote it
///   to, to_name      the person or the group; null for a notice that the user posted
///   own, unread      booleans
///   text             as a person reads it; a notice's title
///   UserText, To_Type, FontInfo
///                    as they are stored; messages only
///   delivered        of the user's own messages to people: a device of theirs has had it
///   TypeID           of group messages
///   content, link    of notices
std::string EntryAsJson(const HistoryEntry& entry, NameBook& names, const LabelOf& label);
void PrintHistoryAsJson(const std::vector<HistoryEntry>& entries, NameBook& names,
                        const LabelOf& label, std::ostream& out);

}  // namespace vnq
