// The model's calls, requests for assistance, pictures, bulletins and what waited in the older
// offline tables.
#include "support/ids.h"
#include "support/numbers.h"
#include "tests/model/naive_server.h"

namespace vnq::model {
namespace {

std::string ShownTime(const LocalTime& now) {
  return now.DateAndTime();
}

}  // namespace

// --- Calls ---

void NaiveServer::LeaveToOtherDevice(const Record& record, int desktopKind, const Text& id) {
  const std::string tag = At(record.slot).tag, bare = WithoutM(tag);
  IsMobile(tag) ? Leave(bare, desktopKind, id) : Leave(bare + "m", desktopKind + 1, id);
}

Text NaiveServer::Meeting(int kind, const std::string& id) {
  const Row* found = First("Tab_Chat", [&](const Row& row) {
    return Number(id) && Number(Of(row, "ChatId")) == Number(id);
  });
  if (found == nullptr) return std::nullopt;
  const Row& row = *found;
  return ".+meeting_message|" + Of(row, "YouID") + "|" + Of(row, "MyID") + "|" +
         Of(row, "IsVideo") + "|" + Of(row, "LoginType1") + "|" + Of(row, "LoginType2") + "|" +
         (kind <= 72 ? "2" : Of(row, "Status")) + "|" + Of(row, "CloseRole") + "|" +
         Of(row, "ChatId") + "|#";
}

Steps NaiveServer::MeetingMessage(Record& record) {
  const Text id = record[8], mobile = Joined({record[1], "m"});
  if (Is(record[6], "0") || Is(record[6], "2")) {
    Leave(record[1], 73, id);
    Leave(mobile, 74, id);
  }
  if (Is(record[6], "0")) {
    const std::optional<int> video = Number(record[3]);
    const std::string label = around_.lang(video && *video == 0 ? "im309" : "im310");
    Push(record[1], "", record[2], 1, label, At(record.slot).tag);
  }
  if (Is(record[6], "1")) {
    bool firstOnDesktop = false;
    Row* row = First("Tab_Chat", [&](const Row& each) {
      return Number(id) && Number(Of(each, "ChatId")) == Number(id);
    });
    if (row != nullptr) {
      firstOnDesktop = Of(*row, "LoginType1") == "1";
      (*row)["InTime"] = ShownTime(around_.now);
      if (Number(record[3])) (*row)["IsVideo"] = std::to_string(*Number(record[3]));
      if (Number(record[4])) (*row)["LoginType1"] = std::to_string(*Number(record[4]));
      if (Number(record[5])) (*row)["LoginType2"] = std::to_string(*Number(record[5]));
      (*row)["Status"] = "1";
      if (Number(record[7])) (*row)["CloseRole"] = std::to_string(*Number(record[7]));
    }
    firstOnDesktop ? Leave(record[1], 73, id) : Leave(mobile, 74, id);
  }
  if (Is(record[6], "1") || Is(record[6], "2")) LeaveToOtherDevice(record, 71, id);
  co_return;
}

// --- Assistance ---

Steps NaiveServer::RequestRemote(Record& record) {
  const std::string now = ShownTime(around_.now);
  Log(Joined({record[2], " To ", record[1], around_.lang("im38")}), record[2], record.ip, 27);
  if (Connected(record[1]) == 0) {
    const Text refusal =
        Joined({".+no_request_remote|", record[1], "|", record[2], "|", record[3], "|#"});
    Send(record.slot, refusal);
    co_return;
  }
  const Text request = Joined({record[0], "|", record[2], "|", now, "|", record[3], "|#"});
  co_await TellTag(record[1], request);
  if (IsNot(record[3], "2")) co_return;
  const std::string id = FormatNumber(ToUnixTime(now, "0", now));
  const bool pending = First("remote_chat", [&](const Row& row) {
    return Alike(record[2], Of(row, "MyID")) && Alike(record[1], Of(row, "YouID")) &&
           Of(row, "Status") == "0";
  });
  if (!pending) {
    tables_["remote_chat"].push_back({{"ChatId", id},
                                      {"MyID", record[2]},
                                      {"YouID", record[1]},
                                      {"Status", "0"},
                                      {"CloseRole", "0"},
                                      {"ip", record.ip}});
  }
  Leave(Joined({record[1], "m"}), 84, id);
  Push(record[1], "", record[2], 1, around_.lang("im312"), At(record.slot).tag);
}

Text NaiveServer::RemoteRequest(const std::string& id) {
  const Row* row = First("remote_chat", [&](const Row& each) { return Of(each, "ChatId") == id; });
  if (row == nullptr) return std::nullopt;
  return ".+request_remote|" + Of(*row, "YouID") + "|" + Of(*row, "MyID") + "|" +
         Of(*row, "Status") + "|" + Of(*row, "CloseRole") + "|" + Of(*row, "ChatId") + "|#";
}

Steps NaiveServer::ReplyRequestRemote(Record& record) {
  const std::string now = ShownTime(around_.now);
  Log(Joined({record[2], " To ", record[1], around_.lang("im41"), record[3]}), record[2], record.ip,
      27);
  const std::string tag = At(record.slot).tag;
  const std::string other = WithoutM(tag) + (IsMobile(tag) ? "" : "m");
  const Text elsewhere = Joined(
      {".+reply_request_my_remote|", record[1], "|", now, "|", record.ip, "|", record[3], "|#"});
  const Text answer =
      Joined({record[0], "|", record[2], "|", now, "|", record.ip, "|", record[3], "|#"});
  const Text mobile = Joined({record[1], "m"});
  co_await TellTag(other, elsewhere);
  co_await TellTag(record[1], answer);
  co_await TellTag(mobile, answer);
}

Steps NaiveServer::RemoteControl(Record& record) {
  Log(Joined({record[2], " To ", record[1], around_.lang("im42"), record[3]}), record[2], record.ip,
      27);
  const Text order = Joined({record[0], "|", record[2], "|", ShownTime(around_.now), "|", record.ip,
                             "|", record[3], "|#"});
  co_await TellTag(record[1], order);
}

// --- Pictures ---

Steps NaiveServer::ModifyPicture(Record& record) {
  return Picture(record, "im61");
}
Steps NaiveServer::ClearPicture(Record& record) {
  return Picture(record, "im62");
}

Steps NaiveServer::Picture(Record& record, std::string key) {
  Row* row =
      First("Users_Pic", [&](const Row& each) { return Alike(record[1], Of(each, "UserID")); });
  if (record[1] && row == nullptr) {
    tables_["Users_Pic"].push_back({{"UserID", record[1]}, {"pic", "0"}});
    row = &tables_["Users_Pic"].back();
  }
  if (row != nullptr && Number(record[2])) (*row)["pic"] = std::to_string(*Number(record[2]));
  Log(Joined({record[1], around_.lang(key), record[2]}), record[1], record.ip, 1);
  co_return;
}

Steps NaiveServer::RequestPicture(Record& record) {
  const bool ofUser = Is(record[2], "1");
  if (!ofUser && !Is(record[2], "2")) co_return;
  const std::string column = ofUser ? "UserID" : "ClotID";
  std::string pic = "0";
  if (const Row* row = First(ofUser ? "Users_Pic" : "Clot_Pic",
                             [&](const Row& each) { return Alike(record[3], Of(each, column)); })) {
    if (Number(Of(*row, "pic"))) pic = Of(*row, "pic");
  }
  if (record[4] && ParsePrefixNumber(*record[4]) == *Number(pic)) co_return;
  const Text told =
      Joined({".+synchronization_personality_picture|", record[2], "|", record[3], "|", pic});
  if (record[4]) co_await YieldThenTell(record.slot, told);
  if (!record[4]) co_return;
  const std::string key = ofUser ? "im74" : "im75";
  Log(Joined({record[1], around_.lang(key), record[3], around_.lang("im73"), pic}), record[1],
      record.ip, 1);
}

// --- Bulletins ---

Steps NaiveServer::DeleteBulletin(Record& record) {
  Table& bulletins = tables_["News_Form"];
  for (size_t i = 0; i < bulletins.size(); ++i) {
    if (!Alike(record[1], Of(bulletins[i], "UserID"))) continue;
    if (!Alike(record[2], Of(bulletins[i], "Motif"))) continue;
    bulletins.erase(bulletins.begin() + static_cast<std::ptrdiff_t>(i));
    break;
  }
  Bump(tables_["UpDateForm"][0], "NewGo_Vesr");
  Log(Joined({record[1], around_.lang("im99"), record[2]}), record[1], record.ip, 1);
  co_return;
}

Steps NaiveServer::SharedNotice(Record& record) {
  if (!record[2]) co_return;
  const std::vector<std::string> others = Split(*record[2], "\\");
  if (others.empty()) co_return;
  Table& shares = tables_["News_Ro"];
  std::erase_if(shares, [&](const Row& row) { return Alike(record[1], Of(row, "MyID")); });
  for (const std::string& other : others) {
    shares.push_back({{"MyID", record[1]}, {"UserID", other}});
  }
  Bump(tables_["UpDateForm"][0], "NewRo_Vesr");
  Log(Joined({record[1], around_.lang("im100"), around_.lang("im68"),
              std::to_string(others.size() - 1)}),
      record[1], record.ip, 1);
}

// --- The older offline tables ---

Steps NaiveServer::OfflineRequest(Record& record) {
  std::string out, tail;
  auto mine = [&](const Row& row) { return Alike(record[1], Of(row, "UserID1")); };
  for (const Row& row : tables_["Messeng_Type"]) {
    if (!mine(row)) continue;
    const std::string type = Of(row, "To_Type"), stamp = Of(row, "To_Date");
    tail = type == "1" ? "#" : type == "2" ? "@#" : type == "3" ? "*#" : tail;
    out += ".+message|" + Of(row, "UserID2") + "|" + stamp.substr(0, 10) + "|" + stamp.substr(11) +
           "|" + Of(row, "UserText") + "|" + Of(row, "FontInfo") + "|" + tail;
  }
  std::erase_if(tables_["Messeng_Type"], mine);
  for (const Row& row : tables_["MessengKefu_Type"]) {
    if (!mine(row)) continue;
    const std::string stamp = Of(row, "To_Date");
    out += ".+customer_information|" + Of(row, "UserID2") + "|" + Of(row, "FcName") + "|" +
           stamp.substr(0, 10) + "|" + stamp.substr(11) + "|" + Of(row, "UserText") + "|" +
           (Of(row, "To_Type") == "3" ? "*#" : "#");
  }
  std::erase_if(tables_["MessengKefu_Type"], mine);
  co_await TellSlot(record.slot, out);
  Log(Joined({record[1], around_.lang("im76")}), record[1], record.ip, 7);
}

}  // namespace vnq::model
