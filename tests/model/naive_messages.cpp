// The model's messages, their deliveries, and what is only passed on.
#include <fmt/format.h>

#include <array>

#include "support/replace_all.h"
#include "support/text_codecs.h"
#include "support/utf16.h"
#include "tests/model/naive_server.h"

namespace vnq::model {
namespace {

constexpr const char* kFont = "宋体,10,0,False,False,False";

struct Token {
  const char* opening;
  const char* label;
};
constexpr std::array<Token, 12> kTokens = {{{"{a@", "im283"},
                                            {"{b@", "im284"},
                                            {"{c@", "im285"},
                                            {"{d@", "im286"},
                                            {"{e@", "im287"},
                                            {"{f@", "im288"},
                                            {"{i@", "im289"},
                                            {"{h@", "im283"},
                                            {"{k@", "im298"},
                                            {"{o@", "im299"},
                                            {"{x@", "im309"},
                                            {"{y@", "im310"}}};

bool Holds(const std::string& text, const std::string& part) {
  return text.find(part) != text.npos;
}

std::string Times(const Row& row, const std::string& one, const std::string& other) {
  return Of(row, one) == "1" && Of(row, other) == "1" ? "1" : "0";
}

// .+message|other|date|time|text|font|id|type|flags|#
Text MessageRecord(const Row& row, const std::string& other, const std::string& text,
                   const std::string& type, const std::string& flags) {
  return ".+message|" + other + "|" + Of(row, "To_Date") + "|" + Of(row, "To_Time") + "|" + text +
         "|" + Of(row, "FontInfo") + "|" + Of(row, "Msg_ID") + "|" + type + "|" + flags + "|#";
}

Text GroupRecord(const Row& row, int more, const std::string& copy) {
  const int type = Number(Of(row, "To_Type")).value_or(0) + more;
  return ".+clot_messeng|" + Of(row, "ClotID") + "|" + Of(row, "MyID") + "|DATE|TIME|" +
         Of(row, "UserText") + "|" + Of(row, "FontInfo") + "|" + Of(row, "Msg_ID") + "|" +
         std::to_string(type) + "|" + copy + "|#";
}

}  // namespace

std::string NaiveServer::NewId() {
  return fmt::format("{:032X}", ++madeIds_);
}

// --- Texts and pushes ---

std::string NaiveServer::Filter(const std::string& raw) {
  std::string plain = UnescapeText(*around_.page, raw);
  for (const Token& token : kTokens) {
    if (Holds(plain, token.opening)) return raw;
  }
  for (const std::string& word : around_.blockKeywords) {
    if (Holds(plain, word)) return EscapeText(around_.lang("im311"));
  }
  if (around_.maskKeywords.empty()) return raw;
  for (const std::string& word : around_.maskKeywords) ReplaceAll(plain, word, "***");
  return EscapeText(plain);
}

void NaiveServer::Push(const Text& target, const Text& extra, const Text& source, int kind,
                       const Text& text, const std::string& senderTag) {
  std::string label = text.value_or("");
  for (const Token& token : kTokens) {
    if (!Holds(text.value_or(""), token.opening)) continue;
    label = around_.lang(token.label);
    break;
  }
  if (kind == 1 || kind == 3) {
    const Row* user = User(target);
    const bool registered = user != nullptr && !Of(*user, "Registration_Id").empty();
    const bool online = user != nullptr && Of(*user, "UserIcoLine") == "1";
    const bool toOther = IsNot(target, source) && registered && (around_.checkIm1 == 1 || !online);
    if (!toOther && !(Is(target, source) && !IsMobile(senderTag))) return;
  }
  const Text line = Joined({target, "|", extra, "|", source, "|", std::to_string(kind), "|",
                            std::string(FirstCharacters(label, 40))});
  if (line) pushes_.push_back(*line);
}

// --- Delivery ---

void NaiveServer::Leave(const Text& tag, int kind, const Text& id) {
  const int slot = Connected(tag);
  if (slot == 0 || !id) return;
  const Text record = Delivered(kind, *id);
  if (record) At(slot).reply += *record;
}

Text NaiveServer::Delivered(int kind, const std::string& id) {
  if (kind >= 71 && kind <= 74) return Meeting(kind, id);
  if (kind == 84) return RemoteRequest(id);
  const std::string table = kind == 4                  ? "MessengNotice_Text"
                            : kind >= 21 && kind <= 24 ? "MessengClot_Text"
                                                       : "Messeng_Text";
  const std::string flag = "IsAck" + std::to_string(kind % 10);
  const Row* found = First(table, [&](const Row& row) {
    return Alike(id, Of(row, "Msg_ID")) && (table != "Messeng_Text" || Of(row, flag) == "1");
  });
  if (found == nullptr) return std::nullopt;
  const Row& row = *found;
  const std::string mine = Times(row, "IsAck1", "IsAck2"), theirs = Times(row, "IsAck3", "IsAck4");
  const std::string text = Of(row, "UserText"), type = Of(row, "To_Type");
  const std::string typeOfCopy = std::to_string(Number(type).value_or(0) + 1);
  switch (kind) {
    case 4:
      return ".+notification|" + Of(row, "Ntitle") + "|" + Of(row, "Ncontent") + "|" +
             Of(row, "Nlink") + "|" + Of(row, "To_Date") + "|" + Of(row, "Msg_ID") + "|#";
    case 11:
    case 12:
      return MessageRecord(row, Of(row, "YouID"), text, type, mine);
    case 13:
    case 14:
      return MessageRecord(row, Of(row, "MyID"), text, typeOfCopy, theirs);
    case 21:
    case 22:
      return GroupRecord(row, 0, "0");
    case 23:
    case 24:
      return GroupRecord(row, 1, "1");
    case 61:
      return MessageRecord(row, Of(row, "YouID"), EscapeText("{h@" + text + "}"), "1", mine);
    case 63:
      return DeliveredFile(row, theirs);
    case 62:
      return MessageRecord(row, Of(row, "YouID"), EscapeText("{a@" + text + "}"), "1", mine);
    default:
      return MessageRecord(row, Of(row, "MyID"), EscapeText("{a@" + text + "}"), "2", theirs);
  }
}

Text NaiveServer::DeliveredFile(const Row& message, const std::string& flags) {
  const Text id = Of(message, "Msg_ID");
  const Row* file =
      First("LeaveFile", [&](const Row& row) { return Alike(id, Of(row, "Msg_ID")); });
  if (file == nullptr) return std::nullopt;
  if (flags == "0") {
    return MessageRecord(message, Of(message, "MyID"),
                         EscapeText("{h@" + Of(message, "UserText") + "}"), "2", flags);
  }
  return ".+offline_file|" + Of(*file, "UserID1") + "|" + Of(*file, "UserID2") + "|" +
         Of(*file, "TypePath") + "|" + Of(*file, "PcSize") + "|" + Of(*file, "ToDate") + "|" + *id +
         "|" + Of(*file, "FilPath") + "|#";
}

// --- Person to person ---

void NaiveServer::UserMesseng(const Record& record) {
  const bool isFile = Number(record[6]) == 5;
  const int base = isFile ? 60 : 10;
  const std::string tag = At(record.slot).tag;
  std::string text, fcName;
  if (const Row* sender = User(record[2])) {
    if (record[3]) text = isFile ? *record[3] : Filter(*record[3]);
    fcName = Of(*sender, "FcName");
  }
  auto same = [&](const Row& row) {
    return Alike(record[5], Of(row, "Msg_ID")) && Alike(record[1], Of(row, "YouID"));
  };
  if (record[1] && record[5] && First("Messeng_Text", same) == nullptr) {
    Row row = {{"Msg_ID", record[5]},
               {"MyID", record[2]},
               {"YouID", record[1]},
               {"FcName", fcName},
               {"To_Date", around_.now.Date()},
               {"To_Time", around_.now.Time()},
               {"UserText", text},
               {"FontInfo", record[4]},
               {"To_Type", std::to_string(base)}};
    for (const char* flag : {"IsAck1", "IsAck2", "IsAck3", "IsAck4"}) row[flag] = "0";
    if (!Is(record[1], record[2])) row[IsMobile(tag) ? "IsAck1" : "IsAck2"] = "1";
    row["IsAck3"] = row["IsAck4"] = "1";
    tables_["Messeng_Text"].push_back(row);
  }
  const std::string bare = WithoutM(tag);
  if (Is(record[1], record[2])) {
    IsMobile(tag) ? Leave(bare, base + 3, record[5]) : Leave(bare + "m", base + 4, record[5]);
  } else {
    Leave(record[1], base + 3, record[5]);
    Leave(Joined({record[1], "m"}), base + 4, record[5]);
    IsMobile(tag) ? Leave(bare, base + 1, record[5]) : Leave(bare + "m", base + 2, record[5]);
    Log(Joined({record[2], " To ", record[1], around_.lang("im103")}), record[2], record.ip, 5);
  }
  Push(record[1], "", record[2], 1,
       isFile ? around_.lang("im283") : UnescapeText(*around_.page, text), tag);
}

Steps NaiveServer::Message(Record& record) {
  UserMesseng(record);
  co_return;
}

// --- Groups ---

int NaiveServer::LastGroupMessage(const Text& group) {
  int last = 0;
  for (const Row& row : tables_["MessengClot_Text"]) {
    if (Alike(group, Of(row, "ClotID"))) last = Number(Of(row, "TypeID")).value_or(0);
  }
  return last;
}

void NaiveServer::ClotMesseng(const Record& record) {
  const std::string tag = At(record.slot).tag;
  std::string text;
  Table& messages = tables_["MessengClot_Text"];
  if (const Row* sender = User(record[2])) {
    if (record[3]) text = Filter(*record[3]);
    const bool stored = First("MessengClot_Text", [&](const Row& row) {
      return Alike(record[5], Of(row, "Msg_ID")) && Alike(record[1], Of(row, "ClotID"));
    });
    if (record[1] && record[5] && !stored) {
      messages.push_back({{"TypeID", std::to_string(++groupMessages_)},
                          {"Msg_ID", record[5]},
                          {"ClotID", record[1]},
                          {"MyID", record[2]},
                          {"FcName", Of(*sender, "FcName")},
                          {"UserText", text},
                          {"FontInfo", record[4]},
                          {"To_Type", std::to_string(Number(record[6]).value_or(0))}});
    }
  }
  for (Row& member : tables_["Clot_Form"]) {
    if (!Alike(record[1], Of(member, "UpperID"))) continue;
    const std::string userId = Of(member, "UserID");
    if (Is(userId, record[2])) {
      Leave(WithoutM(tag) + (IsMobile(tag) ? "" : "m"), IsMobile(tag) ? 21 : 22, record[5]);
      member[IsMobile(tag) ? "last_ack_typeid2" : "last_ack_typeid1"] =
          std::to_string(LastGroupMessage(record[1]));
      continue;
    }
    const bool acked = First("Msg_Acks", [&](const Row& row) {
      return Alike(record[5], Of(row, "Msg_ID")) && Alike(userId, Of(row, "YouID"));
    });
    if (record[5] && !acked) {
      tables_["Msg_Acks"].push_back({{"Msg_ID", record[5]},
                                     {"ClotID", record[1]},
                                     {"MyID", record[2]},
                                     {"YouID", userId},
                                     {"IsReceipt1", "0"},
                                     {"IsReceipt2", "0"}});
    }
    Leave(userId, 23, record[5]);
    Leave(userId + "m", 24, record[5]);
  }
  Push(record[1], record[2], record[1], 2, UnescapeText(*around_.page, text), tag);
}

Steps NaiveServer::GroupMessage(Record& record) {
  ClotMesseng(record);
  co_return;
}

// --- Many at once ---

Steps NaiveServer::Mass(Record& record) {
  if (!record[1]) co_return;
  const std::vector<std::string> receivers = Split(*record[1], "*");
  const bool toPersons = Number(record[4]) == 1;
  for (const std::string& receiver : receivers) {
    if (receiver.empty()) continue;
    // A record that is too short for the font and the id gets them with its second receiver only.
    const std::string id = NewId();
    record.fields[1] = receiver;
    if (record.fields.size() > 4) record.fields[4] = kFont;
    if (record.fields.size() > 5) record.fields[5] = id;
    record.fields.resize(8);
    record.fields[6] = "1";
    record.fields[7] = "#";
    toPersons ? UserMesseng(record) : ClotMesseng(record);
    co_await turns_.Give();
  }
}

Steps NaiveServer::Notification(Record& record) {
  const std::string id = NewId();
  tables_["MessengNotice_Text"].push_back({{"Msg_ID", id},
                                           {"MyID", record[1]},
                                           {"Ntitle", record[3]},
                                           {"Ncontent", record[4]},
                                           {"Nlink", record[5]},
                                           {"TO_IP", record.ip},
                                           {"To_Date", around_.now.DateAndTime()}});
  for (const std::string& receiver : Split(record[2].value_or(""), ",")) {
    if (receiver.empty()) continue;
    const bool known = First("Notice_Acks", [&](const Row& row) {
      return Alike(id, Of(row, "Msg_ID")) && Alike(receiver, Of(row, "YouID"));
    });
    if (!known) {
      tables_["Notice_Acks"].push_back({{"Msg_ID", id},
                                        {"MyID", record[1]},
                                        {"YouID", receiver},
                                        {"IsAck1", "1"},
                                        {"IsAck2", "1"}});
    }
    Leave(receiver, 4, id);
    Leave(receiver + "m", 4, id);
  }
  Push(record[2], "0000", record[3], 4, around_.lang("im270"), At(record.slot).tag);
  Log(Joined({record[1], around_.lang("im112"), record[3]}), record[1], record.ip, 1);
  co_return;
}

// --- Passed on ---

Steps NaiveServer::Retract(Record& record) {
  auto words = [&](const Text& from) {
    return Joined({".+retract|", record[1], "|", from, "|", record[4], "|", record[5], "|#"});
  };
  if (Is(record[1], "0")) {
    const Text told = words(record[3]);
    const Text mobile = Joined({record[2], "m"});
    co_await TellTag(record[2], told);
    co_await TellTag(mobile, told);
  } else if (Is(record[1], "1") && record[2] && record[3]) {
    const Text told = words(record[2]);
    const Table members = tables_["Clot_Form"];
    for (const Row& member : members) {
      const std::string userId = Of(member, "UserID");
      if (!Alike(record[2], Of(member, "UpperID")) || Alike(record[3], userId)) continue;
      co_await TellTag(userId, told);
      co_await TellTag(userId + "m", told);
    }
  }
}

Steps NaiveServer::ReplyTransmission(Record& record) {
  const Text told = Joined({record[0], "|", record[1], "|", record[3], "|", record[4]});
  co_await TellTag(record[2], told);
}

Steps NaiveServer::MeetingForce(Record& record) {
  const Text told =
      Joined({record[0], "|", record[1], "|", record[3], "|", record[4], "|", record[5]});
  co_await TellTag(record[2], told);
}

Steps NaiveServer::Jitter(Record& record) {
  Log(Joined({record[2], " To ", record[1], around_.lang("im36")}), record[2], record.ip, 20);
  const Text told =
      Joined({record[0], "|", record[2], "|", around_.now.DateAndTime(), "|", record.ip});
  if (Connected(record[1]) != 0) {
    co_await TellTag(record[1], told);
    co_return;
  }
  Push(record[1], "", record[2], 1, around_.lang("im291"), At(record.slot).tag);
  const Text mobile = Joined({record[1], "m"});
  co_await TellTag(mobile, told);
}

}  // namespace vnq::model
