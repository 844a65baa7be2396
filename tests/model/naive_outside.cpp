// The model's files, logo, web visitors and outside applications.
#include "support/numbers.h"
#include "support/text_codecs.h"
#include "tests/model/naive_server.h"

namespace vnq::model {
namespace {

constexpr const char* kFont = "宋体,10,0,False,False,False";

Text Decoded(const Text& value) {
  return UrlDecodeUtf8(value.value_or(""));
}

}  // namespace

// --- Files ---

Steps NaiveServer::UploadFiles(Record& record) {
  const Text uploader = record[3], owner = record[4], id = record[7];
  const int kind = Number(record[5]).value_or(0);
  const bool isWhole = owner && uploader && record[2] && id;
  if (kind == 1 && isWhole && *owner != *uploader) LeaveFile(record);
  if (kind == 2 && isWhole) ShareFile(record);
  const Text reply = Joined({".+reply|", std::to_string(kind + 2), "|", owner, "|", id, "|#"});
  if ((kind == 1 || kind == 2) && reply) At(record.slot).reply += *reply;
  co_return;
}

void NaiveServer::LeaveFile(const Record& record) {
  const auto same = [&](const Row& row) { return Alike(record[7], Of(row, "Msg_ID")); };
  if (First("LeaveFile", same) != nullptr) return;
  tables_["LeaveFile"].push_back({{"Msg_ID", record[7]},
                                  {"UserID1", record[4]},
                                  {"UserID2", record[3]},
                                  {"TypePath", Decoded(record[1])},
                                  {"PcSize", record[2]},
                                  {"ToDate", around_.now.DateAndTime()},
                                  {"SendTy", "0"},
                                  {"FilPath", Decoded(record[6])}});
  Bump(tables_["UpDateForm"][0], "LeaveFile_Vesr");
}

void NaiveServer::ShareFile(const Record& record) {
  std::string permissions;
  for (const Row& given : tables_["Users_Role"]) {
    if (!Alike(record[3], Of(given, "UserID"))) continue;
    for (const Row& role : tables_["Role"]) {
      if (Of(role, "ID") == Of(given, "RoleID")) permissions += Of(role, "Permissions");
    }
  }
  bool isVisible = false;
  for (const std::string& each : Split(permissions, ",")) isVisible = isVisible || each == "3";
  const auto same = [&](const Row& row) { return Alike(record[7], Of(row, "Msg_ID")); };
  if (First("ClotFile", same) != nullptr) return;
  const Row* user = User(record[3]);
  tables_["ClotFile"].push_back({{"Msg_ID", record[7]},
                                 {"MyID", record[3]},
                                 {"ClotID", record[4]},
                                 {"TypePath", Decoded(record[1])},
                                 {"PcSize", record[2]},
                                 {"UsName", user == nullptr ? "" : Of(*user, "FcName")},
                                 {"FilPath", Decoded(record[6])},
                                 {"FileState", isVisible ? "1" : "0"}});
  if (isVisible) Bump(tables_["UpDateForm"][0], "ClotFile_Vesr");
}

// --- The logo ---

Steps NaiveServer::RequestLogo(Record& record) {
  if (!record[2]) co_return;
  const std::string logo = Of(tables_["OtherForm"][0], "Logo");
  const bool differs = ParsePrefixNumber(*record[2]) != *Number(logo);
  if (differs) co_await YieldThenTell(record.slot, ".+synchronization_LOGO|" + logo + "|#");
  Log(Joined({record[1], around_.lang(differs ? "im71" : "im72")}), record[1], record.ip, 1);
}

// --- Web visitors ---

// The slot of an agent, after a turn at each connected one; 0 without.
Steps NaiveServer::FindAgent(Text agent, int& found) {
  const int highest = Highest();
  for (int slot = 1; slot <= highest && found == 0; ++slot) {
    if (!On(slot)) continue;
    co_await turns_.Give();
    if (On(slot) && Is(agent, At(slot).tag)) found = slot;
  }
}

// Nothing closes the record but what the visitor's own last field brings.
Text NaiveServer::VisitorLine(const Record& record) {
  return Joined({".+customer_information|", record[2], "|", record[3], "|", around_.now.Date(), "|",
                 around_.now.Time(), "|", record[4], "|", record[5]});
}

Steps NaiveServer::Customer(Record& record) {
  if (record[2] && record[3]) {
    tables_["Kefu"].push_back({{"IP", record[2]}, {"City", record[3]}});
  }
  const int earlier = record[2] ? Tagged(*record[2]) : 0;
  if (earlier != 0) {
    co_await turns_.Give();
    At(earlier).tag.clear();
    Close(earlier);
  }
  if (record[2]) At(record.slot).tag = *record[2];
  const std::vector<std::string> agents = Split(record[1].value_or(""), ",");
  for (const std::string& agent : agents) {
    int slot = 0;
    if (!agent.empty()) co_await FindAgent(agent, slot);
    if (slot == 0) continue;
    co_await turns_.Give();
    Send(slot, VisitorLine(record));
    Log(Joined({record[2], " To ", agent, around_.lang("im102")}), record[2], record.ip, 5);
  }
}

Steps NaiveServer::ToAgent(Text agent, const Record& record) {
  int slot = 0;
  co_await FindAgent(agent, slot);
  if (slot != 0) Send(slot, VisitorLine(record));
}

Steps NaiveServer::CustomerMessage(Record& record, bool toGroup) {
  if (toGroup) {
    co_await ToAgentsOfGroup(record);
  } else {
    const Text agent = record[1];
    co_await ToAgent(agent, record);
  }
  const Text extra = toGroup ? record[2] : record[3], source = toGroup ? record[1] : record[2];
  if (record[4]) {
    Push(record[1], extra, source, toGroup ? 6 : 3, UnescapeText(*around_.page, *record[4]),
         At(record.slot).tag);
  }
  Log(Joined({record[2], " To ", record[1], around_.lang("im107")}), record[2], record.ip, 5);
}

// The agents of a group are told by their login names.
Steps NaiveServer::ToAgentsOfGroup(Record& record) {
  std::vector<std::string> agents;
  for (const Row& member : tables_["lv_chater_Clot_Form"]) {
    if (!Number(record[1]) || Number(Of(member, "TypeID")) != Number(record[1])) continue;
    if (!record[2] || Of(member, "IsAdmin") != "0" || Alike(record[2], Of(member, "UserID")))
      continue;
    for (const Row& user : tables_["Users_ID"]) {
      if (Alike(Of(member, "UserID"), Of(user, "UserName"))) agents.push_back(Of(user, "UserID"));
    }
  }
  for (const std::string& agent : agents) co_await ToAgent(agent, record);
}

Steps NaiveServer::CustomerInformation(Record& record) {
  return CustomerMessage(record, false);
}

// --- Outside applications ---

Row* NaiveServer::UserNamed(const Text& name) {
  return First("Users_ID", [&](const Row& row) { return Alike(name, Of(row, "UserName")); });
}

// Lines of the record that are there take what a message has; a short one gets the rest late.
void NaiveServer::MakeMessage(Record& record, const std::string& receiver,
                              const std::string& sender, const std::string& text) {
  const std::string id = NewId();
  const std::vector<std::string> values = {receiver, sender, EscapeText(text), kFont, id};
  for (size_t i = 0; i < values.size(); ++i) {
    if (record.fields.size() > i + 1) record.fields[i + 1] = values[i];
  }
  record.fields.resize(8);
  record.fields[6] = "1";
  record.fields[7] = "#";
  At(record.slot).tag = sender;
}

Steps NaiveServer::Interface(Record& record) {
  const Row* named = record[1] ? UserNamed(record[1]) : nullptr;
  const std::string sender = named == nullptr ? "" : Of(*named, "UserID");
  const std::string text = record[4].value_or("");
  const std::vector<std::string> list = Split(record[2].value_or(""), ",");
  const int mode = Number(record[6]).value_or(0);
  if (mode == 0 || mode == 1 || mode == 11) {
    for (const std::string& name : list) AsMessage(record, sender, text, name, mode != 0);
  } else if (mode == 3) {
    co_await AsNotice(record, sender, list);
  } else if (mode == 4) {
    for (const std::string& name : list) {
      const Row* user = name.empty() ? nullptr : UserNamed(name);
      if (user == nullptr) continue;
      co_await AsVisitor(record, Of(*user, "UserID"), false);
    }
  } else if (mode == 5) {
    const Text group = record[2];
    co_await AsVisitor(record, group, true);
  }
}

void NaiveServer::AsMessage(Record& record, const std::string& sender, const std::string& text,
                            const std::string& name, bool toGroup) {
  if (name.empty()) return;
  const Row* found =
      toGroup ? First("Clot_Ro",
                      [&](const Row& row) {
                        return Alike(name, Of(row, "TypeName")) || Alike(name, Of(row, "TypeID"));
                      })
              : UserNamed(name);
  if (found == nullptr) return;
  MakeMessage(record, Of(*found, toGroup ? "TypeID" : "UserID"), sender, text);
  toGroup ? ClotMesseng(record) : UserMesseng(record);
}

Steps NaiveServer::AsNotice(Record& record, std::string sender, std::vector<std::string> list) {
  std::string receivers;
  if (Is(record[2], "*")) {
    for (const Row& user : tables_["Users_ID"]) {
      if (Of(user, "UserState") == "1") receivers += Of(user, "UserID") + ",";
    }
  } else {
    for (const std::string& name : list) {
      const Row* user = name.empty() ? nullptr : UserNamed(name);
      if (user != nullptr) receivers += Of(*user, "UserID") + ",";
    }
  }
  const Text told = Joined({".+notification|", sender, "|", receivers, "|", record[3], "|",
                            record[4], "|", record[5], "|#"});
  Record notice{Split(told.value_or(""), "|"), record.slot, record.ip};
  co_await Notification(notice);
}

Steps NaiveServer::AsVisitor(Record& record, Text target, bool toGroup) {
  const Text told = Joined({".+customer_information|", target, "|", record[1], "|",
                            toGroup ? "Group" : "Guest", "|", record[4], "|#"});
  Record line{Split(told.value_or(""), "|"), record.slot, record.ip};
  co_await CustomerMessage(line, toGroup);
}

}  // namespace vnq::model
