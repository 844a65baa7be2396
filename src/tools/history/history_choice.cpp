#include "tools/history/history_choice.h"

#include "support/ascii_case.h"
#include "support/dates.h"

namespace vnq {

using Kind = HistoryEntry::Kind;

std::string MomentOf(const HistoryEntry& entry) {
  return entry.date + " " + entry.time;
}

const std::string& OtherParty(const HistoryEntry& entry) {
  return entry.isOwn ? entry.to : entry.from;
}

bool IsOfConversation(const HistoryEntry& entry, const HistoryChoice& choice) {
  if (choice.notices) return entry.kind == Kind::kNotice;
  if (!choice.group.empty()) {
    return entry.kind == Kind::kGroup && SameButForCase(entry.to, choice.group);
  }
  if (choice.with.empty()) return true;
  return entry.kind == Kind::kPeer && SameButForCase(OtherParty(entry), choice.with);
}

void KeepChosen(const HistoryChoice& choice, const LabelOf& label,
                std::vector<HistoryEntry>& entries) {
  const std::string since =
      choice.since.empty() ? "" : FormatAsDate(choice.since) + " " + FormatAsTime(choice.since);
  std::erase_if(entries, [&](const HistoryEntry& entry) {
    return !IsOfConversation(entry, choice) || MomentOf(entry) < since ||
           !HoldsWords(entry, choice.words, label);
  });
}

void KeepFirst(size_t limit, std::vector<HistoryEntry>& entries) {
  if (entries.size() > limit) entries.erase(entries.begin() + std::ptrdiff_t(limit), entries.end());
}

void KeepLast(size_t limit, std::vector<HistoryEntry>& entries) {
  if (entries.size() > limit) entries.erase(entries.begin(), entries.end() - std::ptrdiff_t(limit));
}

}  // namespace vnq
