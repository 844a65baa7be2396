#include "tools/history/read_marks.h"

#include <algorithm>
#include <map>
#include <set>

#include "support/ascii_case.h"
#include "tools/folder/in_transaction.h"
#include "tools/history/device_rules.h"
#include "tools/history/group_messages.h"

namespace vnq {
namespace {

using Kind = HistoryEntry::Kind;

SqlValue Text(const std::string& text) {
  return SqlValue::Text(text);
}

class Marking {
 public:
  Marking(Database& database, const std::string& UserID, const DeviceRules& rules)
      : database_(database), UserID_(UserID), rules_(rules) {}

  bool Mark(const HistoryEntry& entry) {
    switch (entry.kind) {
      case Kind::kPeer:
        return MarkPeer(entry);
      case Kind::kNotice:
        return Run(rules_.markNotice, {Text(entry.Msg_ID), Text(UserID_)});
      case Kind::kGroup:
        break;
    }
    readOfGroups_[AsciiLower(entry.to)].insert(entry.Msg_ID);
    return Run(rules_.clearReceipt, {Text(entry.Msg_ID), Text(UserID_)});
  }

  bool RaiseMarks() {
    std::vector<Membership> groups;
    if (readOfGroups_.empty()) return true;
    if (!ReadMemberships(database_, rules_, UserID_, groups)) return false;
    return std::all_of(groups.begin(), groups.end(), [this](const Membership& group) {
      const auto read = readOfGroups_.find(AsciiLower(group.ClotID));
      return read == readOfGroups_.end() || RaiseMark(group, read->second);
    });
  }

 private:
  bool Run(std::string_view statement, const std::vector<SqlValue>& values) {
    return database_.driver().Execute(statement, values);
  }

  bool MarkPeer(const HistoryEntry& entry) {
    const bool isCopy = entry.isOwn && !SameButForCase(entry.to, UserID_);
    return isCopy ? Run(rules_.markOwn, {Text(entry.Msg_ID), Text(UserID_), Text(entry.to)})
                  : Run(rules_.markReceived, {Text(entry.Msg_ID), Text(UserID_)});
  }

  bool RaiseMark(const Membership& group, const std::set<std::string>& read) {
    std::vector<HistoryEntry> entries;
    if (!ReadGroupMessages(database_, UserID_, group, group.mark, entries)) return false;
    int32_t mark = 0;
    for (const HistoryEntry& entry : entries) {
      if (!entry.isUnread) continue;
      if (!read.contains(entry.Msg_ID)) break;
      mark = entry.TypeID;
    }
    if (mark <= group.mark) return true;
    const SqlValue typeId = SqlValue::Integer(mark);
    return Run(rules_.raiseMark, {typeId, Text(group.ClotID), Text(UserID_), typeId});
  }

  Database& database_;
  const std::string& UserID_;
  const DeviceRules& rules_;
  std::map<std::string, std::set<std::string>> readOfGroups_;  // Msg_IDs by group
};

}  // namespace

bool MarkRead(Database& database, DatabaseEngine engine, const std::string& UserID, Device device,
              const std::vector<HistoryEntry>& entries, std::string& error) {
  if (entries.empty()) return true;
  SqlDriver& driver = database.driver();
  const bool done = InTransaction(driver, engine, [&] {
    Marking marking(database, UserID, RulesOf(device));
    return std::all_of(entries.begin(), entries.end(),
                       [&](const HistoryEntry& entry) { return marking.Mark(entry); }) &&
           marking.RaiseMarks();
  });
  if (done && driver.SyncCommitted()) return true;
  error = driver.LastError();
  return false;
}

}  // namespace vnq
