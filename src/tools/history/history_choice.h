// Which entries of a history are wanted.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tools/history/history_entry.h"
#include "tools/history/history_text.h"

namespace vnq {

struct HistoryChoice {
  std::string with;      ///< UserID: only messages with this person; empty: everybody
  std::string group;     ///< only messages of the group with this TypeID
  bool notices = false;  ///< only notices
  std::string since;     ///< "YYYY-MM-DD" or "YYYY-MM-DD hh:mm:ss"
  std::string words;     ///< that stand in the text
};

/// "YYYY-MM-DD hh:mm:ss", which sorts as time does.
std::string MomentOf(const HistoryEntry& entry);

/// The other party of a message between people.
const std::string& OtherParty(const HistoryEntry& entry);

/// True when the entry belongs to the conversation that is wanted, whatever its time and text.
bool IsOfConversation(const HistoryEntry& entry, const HistoryChoice& choice);

/// Drops what is not wanted.
void KeepChosen(const HistoryChoice& choice, const LabelOf& label,
                std::vector<HistoryEntry>& entries);

void KeepFirst(size_t limit, std::vector<HistoryEntry>& entries);
void KeepLast(size_t limit, std::vector<HistoryEntry>& entries);

}  // namespace vnq
