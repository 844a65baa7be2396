#include "tools/history/history_reader.h"

#include <algorithm>
#include <set>
#include <tuple>

#include "support/ascii_case.h"
#include "support/dates.h"
#include "tools/history/device_rules.h"
#include "tools/history/group_messages.h"

namespace vnq {
namespace {

using Kind = HistoryEntry::Kind;

bool IsOne(const Expr& flag) {
  return ToInt32(flag) == 1;
}

HistoryEntry PeerMessage(const Cursor& row, bool isOwn, std::string_view flag) {
  HistoryEntry entry;
  entry.kind = Kind::kPeer;
  entry.Msg_ID = OrEmpty(row["Msg_ID"]);
  entry.from = OrEmpty(row["MyID"]);
  entry.to = OrEmpty(row["YouID"]);
  entry.FcName = OrEmpty(row["FcName"]);
  entry.date = FormatAsDate(OrEmpty(row["To_Date"]));
  entry.time = FormatAsTime(OrEmpty(row["To_Time"]));
  entry.UserText = OrEmpty(row["UserText"]);
  entry.FontInfo = OrEmpty(row["FontInfo"]);
  entry.To_Type = ToInt32(row["To_Type"]).value_or(0);
  entry.isOwn = isOwn;
  entry.isUnread = IsOne(row[flag]);
  entry.isDelivered = isOwn && (ToInt32(row["IsAck3"]) == 0 || ToInt32(row["IsAck4"]) == 0);
  return entry;
}

HistoryEntry Notice(const Cursor& row) {
  HistoryEntry entry;
  entry.kind = Kind::kNotice;
  entry.Msg_ID = OrEmpty(row["Msg_ID"]);
  entry.from = OrEmpty(row["MyID"]);
  entry.date = FormatAsDate(OrEmpty(row["To_Date"]));
  entry.time = FormatAsTime(OrEmpty(row["To_Date"]));
  entry.UserText = OrEmpty(row["Ntitle"]);
  entry.content = OrEmpty(row["Ncontent"]);
  entry.link = OrEmpty(row["Nlink"]);
  return entry;
}

bool IsWith(const HistoryQuery& query, const Expr& other) {
  return query.with.empty() || SameButForCase(OrEmpty(other), query.with);
}

std::string InOrder(std::string_view select, const HistoryQuery& query) {
  return std::string(select) + (query.rowColumn.empty() ? "" : " order by ") + query.rowColumn;
}

// Messages both ways, in one walk over the table.
Statement BothWays(const HistoryQuery& query) {
  const std::string &user = query.UserID, &with = query.with;
  if (with.empty()) {
    return Sql(InOrder("Select * from Messeng_Text where YouID='?' or MyID='?'", query), user,
               user);
  }
  return Sql(
      InOrder(
          "Select * from Messeng_Text where (YouID='?' and MyID='?') or (MyID='?' and YouID='?')",
          query),
      user, with, user, with);
}

// The message as one to the user, a note to oneself included, or as the user's own.
HistoryEntry PeerEntry(const Cursor& row, const HistoryQuery& query, const DeviceRules& rules) {
  const bool isReceived = SameButForCase(OrEmpty(row["YouID"]), query.UserID);
  const bool isOwn = SameButForCase(OrEmpty(row["MyID"]), query.UserID);
  return PeerMessage(row, isOwn, isReceived ? rules.received : rules.own);
}

bool ReadUnread(Database& database, const HistoryQuery& query, std::vector<HistoryEntry>& entries) {
  const DeviceRules& rules = RulesOf(query.device);
  Cursor rows(database);
  if (!rows.Open(Sql(InOrder(rules.unreadReceived, query), query.UserID))) return false;
  for (; !rows.EndOfRows(); rows.MoveNext()) {
    if (IsWith(query, rows["MyID"])) entries.push_back(PeerEntry(rows, query, rules));
  }
  if (!rows.Open(Sql(InOrder(rules.unreadOwn, query), query.UserID))) return false;
  for (; !rows.EndOfRows(); rows.MoveNext()) {
    const bool isNote = SameButForCase(OrEmpty(rows["YouID"]), query.UserID);  // is there already
    if (!isNote && IsWith(query, rows["YouID"])) {
      entries.push_back(PeerEntry(rows, query, rules));
    }
  }
  return true;
}

// Msg_IDs of group messages whose receipt the device still owes.
bool ReadOwed(Database& database, const DeviceRules& rules, const std::string& UserID,
              std::set<std::string>& ids) {
  Cursor rows(database);
  if (!rows.Open(Sql(rules.owedReceipts, UserID))) return false;
  for (; !rows.EndOfRows(); rows.MoveNext()) ids.insert(OrEmpty(rows["Msg_ID"]));
  return true;
}

bool ReadPostedNotices(Database& database, const std::string& UserID,
                       std::vector<HistoryEntry>& entries) {
  std::set<std::string> received;
  for (const HistoryEntry& entry : entries) received.insert(entry.Msg_ID);
  Cursor rows(database);
  if (!rows.Open(Sql("Select * from MessengNotice_Text where MyID='?'", UserID))) return false;
  for (; !rows.EndOfRows(); rows.MoveNext()) {
    if (received.contains(OrEmpty(rows["Msg_ID"]))) continue;
    entries.push_back(Notice(rows));
    entries.back().isOwn = true;
  }
  return true;
}

auto OrderOf(const HistoryEntry& entry) {
  return std::tie(entry.date, entry.time, entry.kind, entry.TypeID);
}

}  // namespace

std::string RowColumnOfMessages(SqlDriver& driver, DatabaseEngine engine) {
  const std::string column(engine == DatabaseEngine::kSqlite ? "_rowid_" : kSqlRowColumn);
  SqlRows none;
  const bool isThere =
      driver.Query("select " + column + " from Messeng_Text where Msg_ID=''", {}, none);
  return isThere ? column : "";
}

bool ReadPeerMessages(Database& database, const HistoryQuery& query,
                      std::vector<HistoryEntry>& entries) {
  if (query.onlyUnread) return ReadUnread(database, query, entries);
  Cursor rows(database);
  if (!rows.Open(BothWays(query))) return false;
  for (; !rows.EndOfRows(); rows.MoveNext()) {
    entries.push_back(PeerEntry(rows, query, RulesOf(query.device)));
  }
  return true;
}

bool ReadGroupHistory(Database& database, const HistoryQuery& query,
                      std::vector<HistoryEntry>& entries) {
  const DeviceRules& rules = RulesOf(query.device);
  std::vector<Membership> groups;
  std::set<std::string> owed, done;
  if (!ReadMemberships(database, rules, query.UserID, groups) ||
      !ReadOwed(database, rules, query.UserID, owed)) {
    return false;
  }
  const size_t before = entries.size();
  for (const Membership& group : groups) {
    if (!query.group.empty() && !SameButForCase(group.ClotID, query.group)) continue;
    if (!done.insert(AsciiLower(group.ClotID)).second) continue;
    const int32_t from = query.onlyUnread && owed.empty() ? group.mark : 0;
    if (!ReadGroupMessages(database, query.UserID, group, from, entries)) return false;
  }
  for (size_t i = before; i < entries.size(); ++i) {
    if (owed.contains(entries[i].Msg_ID)) entries[i].isUnread = true;
  }
  if (query.onlyUnread) std::erase_if(entries, [](const auto& entry) { return !entry.isUnread; });
  return true;
}

bool ReadNotices(Database& database, const HistoryQuery& query,
                 std::vector<HistoryEntry>& entries) {
  const DeviceRules& rules = RulesOf(query.device);
  std::vector<HistoryEntry> notices;
  Cursor rows(database);
  if (!rows.Open(Sql(query.onlyUnread
                         ? rules.unreadNotices
                         : "Select aa.Msg_ID,aa.MyID,aa.Ntitle,aa.Ncontent,aa.Nlink,aa.To_Date,"
                           "bb.IsAck1,bb.IsAck2 from MessengNotice_Text as aa,Notice_Acks as bb "
                           "where bb.YouID='?' and aa.Msg_ID=bb.Msg_ID",
                     query.UserID))) {
    return false;
  }
  for (; !rows.EndOfRows(); rows.MoveNext()) {
    notices.push_back(Notice(rows));
    notices.back().to = query.UserID;
    notices.back().isOwn = SameButForCase(notices.back().from, query.UserID);
    notices.back().isUnread = IsOne(rows[rules.notice]);
  }
  if (!query.onlyUnread && !ReadPostedNotices(database, query.UserID, notices)) return false;
  entries.insert(entries.end(), notices.begin(), notices.end());
  return true;
}

bool ReadHistory(Database& database, const HistoryQuery& query,
                 std::vector<HistoryEntry>& entries) {
  const bool all = query.with.empty() && query.group.empty();
  if (query.group.empty() && !ReadPeerMessages(database, query, entries)) return false;
  if (query.with.empty() && !ReadGroupHistory(database, query, entries)) return false;
  if (all && !ReadNotices(database, query, entries)) return false;
  std::stable_sort(entries.begin(), entries.end(),
                   [](const auto& a, const auto& b) { return OrderOf(a) < OrderOf(b); });
  return true;
}

}  // namespace vnq
