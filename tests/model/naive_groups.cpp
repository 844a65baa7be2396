// The model's groups: their headers, pictures and members.
#include <fmt/format.h>

#include <set>

#include "support/text_codecs.h"
#include "tests/model/naive_server.h"

namespace vnq::model {
namespace {

constexpr const char* kFont = "宋体,10,12681849,False,False,False";

using Entry = std::vector<std::string>;  // UserID, IsAdmin, remark; as many as there are

Text Part(const Entry& entry, size_t i) {
  return i < entry.size() ? Text(entry[i]) : std::nullopt;
}

// What stands behind the last "-" is no entry.
std::vector<Entry> EntriesOf(const std::string& list) {
  std::vector<std::string> texts = Split(list, "-");
  if (!texts.empty()) texts.pop_back();
  std::vector<Entry> entries;
  entries.reserve(texts.size());
  for (const std::string& text : texts) entries.push_back(Split(text, ":"));
  return entries;
}

}  // namespace

std::string ListOf(const Table& members) {
  std::string list;
  for (const Row& row : members) {
    list += Of(row, "UserID") + ":" + Of(row, "IsAdmin") + ":" + Of(row, "remark") + "-";
  }
  return list;
}

Text Memberships(const Text& actor, const Text& group, const Text& list) {
  return Joined({".+new_group_memberships|", actor, "|", group, "|", list, "|#"});
}

// --- Shared steps ---

Table NaiveServer::MembersOf(const Text& group, const Text& butNot) {
  Table members;
  for (const Row& row : tables_["Clot_Form"]) {
    if (!Alike(group, Of(row, "UpperID"))) continue;
    if (!Alike(butNot, Of(row, "UserID"))) members.push_back(row);
  }
  return members;
}

void NaiveServer::InsertMember(const Text& group, const std::vector<std::string>& entry,
                               int lastId) {
  if (!group || entry.size() < 3 || !Number(entry[1])) return;
  const std::string mark = std::to_string(lastId);
  tables_["Clot_Form"].push_back({{"UpperID", group},
                                  {"UserID", entry[0]},
                                  {"IsAdmin", std::to_string(*Number(entry[1]))},
                                  {"remark", entry[2]},
                                  {"last_ack_typeid1", mark},
                                  {"last_ack_typeid2", mark},
                                  {"last_ack_typeid3", mark},
                                  {"last_ack_typeid4", mark}});
}

// Each device is looked for behind its turn.
Steps NaiveServer::TellBothDevices(Text userId, Text records) {
  const Text mobile = Joined({userId, "m"});
  co_await turns_.Give();
  Send(Connected(userId), records);
  co_await turns_.Give();
  Send(Connected(mobile), records);
}

Steps NaiveServer::DeliverOrPark(Text tag, std::vector<std::string> fields, std::string ip) {
  if (Connected(tag) != 0) {
    std::string record;
    for (const std::string& field : fields) record += field + "|";
    record += "#";
    co_await TellTag(tag, record);
    co_return;
  }
  if (!tag) co_return;
  tables_["MessengVerify_Type"].push_back({{"UserID1", tag},
                                           {"ClotID", fields[1]},
                                           {"UserID2", fields[2]},
                                           {"UserText", fields[3]},
                                           {"TO_IP", ip},
                                           {"To_Date", around_.now.DateAndTime()},
                                           {"To_Type1", fields[4]},
                                           {"To_Type2", fields[5]},
                                           {"To_Type3", fields[6]},
                                           {"To_Type4", fields[7]}});
}

// type2: 1 came, 2 went, 3 and 4 the right of an administrator.
Steps NaiveServer::NotifyMember(const Record& record, Text group, Text userId, std::string type2) {
  if (!group || !userId) co_return;
  const std::vector<std::string> fields = {
      ".+messengverify", *group, *userId, "", "2", type2, "2", "0"};
  const std::string ip = At(record.slot).ip, mobile = *userId + "m";
  co_await DeliverOrPark(userId, fields, ip);
  co_await DeliverOrPark(mobile, fields, ip);
}

Steps NaiveServer::TellMembers(Table members, Text records) {
  for (const Row& row : members) {
    const std::string userId = Of(row, "UserID");
    co_await TellBothDevices(userId, records);
  }
}

std::string NaiveServer::OtherSession(const Record& record) {
  const std::string tag = At(record.slot).tag;
  return WithoutM(tag) + (IsMobile(tag) ? "" : "m");
}

Steps NaiveServer::CloseOut(const Record& record, Text told, std::string key) {
  const std::string other = OtherSession(record);
  co_await TellTag(other, told);
  Bump(tables_["UpDateForm"][0], "Clot_FormVesr");
  for (Row& row : tables_["Clot_Ro"]) {
    if (Alike(record[2], Of(row, "TypeID"))) Bump(row, "Users_FormVesr");
  }
  Log(Joined({record[1], around_.lang(key), record[2]}), record[1], record.ip, 1);
}

// --- Members ---

Steps NaiveServer::AddMembers(Record& record) {
  std::vector<std::string> entries = Split(record[3].value_or(""), "-");
  std::erase(entries, "");
  const int last = LastGroupMessage(record[2]);
  for (const std::string& entry : entries) InsertMember(record[2], Split(entry, ":"), last);
  const Table members = MembersOf(record[2], std::nullopt);
  const Text told = Memberships(record[1], record[2], ListOf(members));
  co_await TellMembers(members, told);
  for (const std::string& entry : entries) {
    const Text userId = Part(Split(entry, ":"), 0);
    co_await NotifyMember(record, record[2], userId, "1");
  }
  co_await CloseOut(record, told, "im295");
}

Steps NaiveServer::ModifyMembers(Record& record) {
  const std::vector<Entry> wanted = EntriesOf(record[3].value_or(""));
  const int last = LastGroupMessage(record[2]);
  const Text told = Memberships(record[1], record[2], record[3]);
  std::set<std::string> kept;
  std::vector<std::string> removed;
  const Table rows = record[1] ? MembersOf(record[2], record[1]) : Table{};
  for (const Row& row : rows) {
    const std::string userId = Of(row, "UserID");
    bool named = false;
    for (const Entry& entry : wanted) named = named || Is(Part(entry, 0), userId);
    if (named) kept.insert(userId);
    if (!named && !userId.empty()) removed.push_back(userId);
  }
  for (const std::string& userId : removed) {
    std::erase_if(tables_["Clot_Form"], [&](const Row& row) {
      return Alike(record[2], Of(row, "UpperID")) && Alike(userId, Of(row, "UserID"));
    });
  }
  for (const Entry& entry : wanted) {
    const Text userId = Part(entry, 0);
    co_await TellBothDevices(userId, told);
    if (userId && kept.contains(*userId)) continue;
    InsertMember(record[2], entry, last);
    co_await NotifyMember(record, record[2], userId, "1");
  }
  for (const std::string& userId : removed) {
    co_await NotifyMember(record, record[2], userId, "2");
  }
  co_await CloseOut(record, told, "im67");
}

Steps NaiveServer::DelMembers(Record& record) {
  const std::vector<std::string> users = Split(record[3].value_or(""), ",");
  if (record[3]) {
    std::erase_if(tables_["Clot_Form"], [&](const Row& row) {
      bool named = users.empty() && Of(row, "UserID").empty();
      for (const std::string& user : users) named = named || Alike(user, Of(row, "UserID"));
      return named && Alike(record[2], Of(row, "UpperID"));
    });
  }
  const Table members = record[1] ? MembersOf(record[2], record[1]) : Table{};
  const Text told = Memberships(record[1], record[2], ListOf(members));
  co_await TellMembers(members, told);
  for (const std::string& userId : users) {
    if (!userId.empty()) co_await NotifyMember(record, record[2], userId, "2");
  }
  co_await CloseOut(record, told, "im296");
}

Steps NaiveServer::SetAdministrator(Record& record) {
  const Entry entry = Split(record[3].value_or(""), ":");
  const Text userId = Part(entry, 0);
  const std::optional<int> right = Number(Part(entry, 1));
  for (Row& row : tables_["Clot_Form"]) {
    if (!right || !Alike(record[2], Of(row, "UpperID"))) continue;
    if (Alike(userId, Of(row, "UserID"))) row["IsAdmin"] = std::to_string(*right);
  }
  const Table members = record[1] ? MembersOf(record[2], record[1]) : Table{};
  const Text told = Memberships(record[1], record[2], ListOf(members));
  co_await TellMembers(members, told);
  if (right && *right <= 1) {
    const std::string type2 = std::to_string(*right + 3);
    co_await NotifyMember(record, record[2], userId, type2);
  }
  co_await CloseOut(record, told, "im297");
}

// --- Groups ---

Steps NaiveServer::NewGroup(Record& record) {
  std::string last = "Clot000000";
  for (const Row& row : tables_["Clot_Ro"]) last = std::max(last, Of(row, "TypeID"));
  const int number = Number(last.substr(last.size() - 3)).value_or(0) + 1;
  const std::string group = fmt::format("Clot{:06}", number);
  if (record[2] && record[3] && record[4]) {
    tables_["Clot_Ro"].push_back({{"TypeID", group},
                                  {"TypeName", record[2]},
                                  {"Remark", record[3]},
                                  {"To_Date", around_.now.Date()},
                                  {"Sender", record[4]},
                                  {"Users_IDVesr", "0"},
                                  {"Users_FormVesr", "0"}});
  }
  tables_["Clot_Pic"].push_back({{"ClotID", group}});
  const Text head = Joined({"|", group, "|", record[2], "|", record[3], "|", record[4], "|"});
  const Text information = Joined({".+new_group_information", head, record[5], "|#"});
  std::set<std::string> members;
  const std::vector<Entry> entries = EntriesOf(record[5].value_or(""));
  for (const Entry& entry : entries) {
    const Text userId = Part(entry, 0);
    if (userId) members.insert(*userId);
    InsertMember(group, entry, 0);
    co_await TellBothDevices(userId, information);
    if (!IsNot(userId, WithoutM(At(record.slot).tag))) continue;
    co_await NotifyMember(record, group, userId, "1");
  }
  const std::string other = OtherSession(record);
  const Text odd = Memberships(record[1], record[2], record[3]);
  co_await TellTag(other, odd);
  const Text base = Joined({".+new_group_base_information", head, "#"});
  for (int slot = 1; slot <= Highest(); ++slot) {
    if (!members.contains(WithoutM(At(slot).tag))) Send(slot, base);
  }
  Bump(tables_["UpDateForm"][0], "Clot_RoVesr");
  Bump(tables_["UpDateForm"][0], "Clot_FormVesr");
  const Text first = Joined({".+clot_messeng|", group, "|", record[1], "|",
                             EscapeText(around_.lang("im63")), "|", kFont, "|", NewId(), "|3|#"});
  if (first) ClotMesseng({Split(*first, "|"), record.slot, record.ip});
  Log(Joined({record[1], around_.lang("im64"), record[2]}), record[1], record.ip, 1);
}

Steps NaiveServer::ModifyGroup(Record& record) {
  for (Row& row : tables_["Clot_Ro"]) {
    if (!Alike(record[2], Of(row, "TypeID"))) continue;
    if (record[3]) row["TypeName"] = record[3];
    if (record[4]) row["Remark"] = record[4];
    if (record[5]) row["Sender"] = record[5];
    row["TypeID"] = record[2];
    Bump(row, "Users_IDVesr");
  }
  Bump(tables_["UpDateForm"][0], "Clot_RoVesr");
  const Text told = Joined({".+modify_group_information|", record[2], "|", record[3], "|",
                            record[4], "|", record[5], "|#"});
  co_await TellEverybody(told, 0);
  Log(Joined({record[1], around_.lang("im66"), record[2]}), record[1], record.ip, 1);
}

Steps NaiveServer::GroupPhoto(Record& record, std::string key) {
  std::vector<Row*> found;
  for (Row& row : tables_["Clot_Pic"]) {
    if (Alike(record[2], Of(row, "ClotID"))) found.push_back(&row);
  }
  if (record[2] && found.size() == 1) {
    if (record[3]) (*found[0])["pic"] = record[3];
  } else if (record[2]) {
    tables_["Clot_Pic"].push_back({{"ClotID", record[2]}, {"pic", record[3]}});
  }
  Log(Joined({record[1], around_.lang(key), record[2], "/", record[3]}), record[1], record.ip, 1);
  co_return;
}

Steps NaiveServer::ModifyGroupPhoto(Record& record) {
  return GroupPhoto(record, "im69");
}
Steps NaiveServer::ClearGroupPhoto(Record& record) {
  return GroupPhoto(record, "im70");
}

}  // namespace vnq::model
