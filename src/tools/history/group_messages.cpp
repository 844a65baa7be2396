#include "tools/history/group_messages.h"

#include <algorithm>
#include <limits>
#include <set>
#include <span>

#include "support/ascii_case.h"
#include "support/dates.h"

namespace vnq {
namespace {

// The last TypeID that the server can write into a mark.
constexpr int32_t kLastMark = std::numeric_limits<int16_t>::max();

HistoryEntry ReadRow(const Cursor& row, const std::string& UserID) {
  HistoryEntry entry;
  entry.kind = HistoryEntry::Kind::kGroup;
  entry.Msg_ID = OrEmpty(row["Msg_ID"]);
  entry.from = OrEmpty(row["MyID"]);
  entry.to = OrEmpty(row["ClotID"]);
  entry.FcName = OrEmpty(row["FcName"]);
  entry.date = FormatAsDate(OrEmpty(row["To_Date"]));
  entry.time = FormatAsTime(OrEmpty(row["To_Time"]));
  entry.UserText = OrEmpty(row["UserText"]);
  entry.FontInfo = OrEmpty(row["FontInfo"]);
  entry.To_Type = ToInt32(row["To_Type"]).value_or(0);
  entry.TypeID = ToInt32(row["TypeID"]).value_or(0);
  entry.isOwn = SameButForCase(entry.from, UserID);
  return entry;
}

// Msg_IDs of the group messages that were addressed to the user.
bool ReadAddressed(Database& database, const std::string& UserID, std::set<std::string>& ids) {
  Cursor rows(database);
  if (!rows.Open(Sql("Select Msg_ID from Msg_Acks where YouID='?'", UserID))) return false;
  for (; !rows.EndOfRows(); rows.MoveNext()) ids.insert(OrEmpty(rows["Msg_ID"]));
  return true;
}

using Entries = std::span<HistoryEntry>;

// What a mark of 0 leaves open: messages that no mark of the server's reaches.
bool JudgeWithoutMark(Database& database, const std::string& UserID, Entries entries) {
  int32_t ownLast = 0;
  for (const HistoryEntry& entry : entries) {
    if (entry.isOwn && entry.TypeID > kLastMark) ownLast = entry.TypeID;
  }
  const auto isOpen = [&](const HistoryEntry& entry) {
    return entry.TypeID > std::max(ownLast, kLastMark);
  };
  std::set<std::string> addressed;
  if (std::any_of(entries.begin(), entries.end(), isOpen) &&
      !ReadAddressed(database, UserID, addressed)) {
    return false;
  }
  for (HistoryEntry& entry : entries) {
    entry.isUnread = entry.TypeID > ownLast && (!isOpen(entry) || addressed.contains(entry.Msg_ID));
  }
  return true;
}

}  // namespace

bool ReadMemberships(Database& database, const DeviceRules& rules, const std::string& UserID,
                     std::vector<Membership>& groups) {
  Cursor rows(database);
  if (!rows.Open(Sql("Select * from Clot_Form where UserID='?'", UserID))) return false;
  for (; !rows.EndOfRows(); rows.MoveNext()) {
    groups.push_back({OrEmpty(rows["UpperID"]), ToInt32(rows[rules.mark]).value_or(0)});
  }
  return true;
}

bool ReadGroupMessages(Database& database, const std::string& UserID, const Membership& group,
                       int32_t from, std::vector<HistoryEntry>& entries) {
  Cursor rows(database);
  if (!rows.Open(Sql("Select * from MessengClot_Text where ClotID='?' and TypeID>? order by TypeID",
                     group.ClotID, from))) {
    return false;
  }
  const size_t before = entries.size();
  for (; !rows.EndOfRows(); rows.MoveNext()) {
    entries.push_back(ReadRow(rows, UserID));
    entries.back().isUnread = entries.back().TypeID > group.mark;
  }
  return group.mark > 0 || JudgeWithoutMark(database, UserID, Entries(entries).subspan(before));
}

}  // namespace vnq
