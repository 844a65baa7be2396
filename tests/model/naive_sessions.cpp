// The model's login, presence and own-data commands.
#include "support/ids.h"
#include "support/utf16.h"
#include "tests/model/naive_server.h"

namespace vnq::model {
namespace {

std::string Trimmed(std::string text) {
  while (text.starts_with(' ')) text.erase(0, 1);
  while (text.ends_with(' ')) text.pop_back();
  return text;
}

bool IsPhone(const Record& record) {
  return record[3] && Utf16Length(*record[3]) == 1;
}

Text PresenceRecord(int state, const Text& userId, const Text& networkIp, const Text& localIp) {
  if (state == 0) return Joined({".+new_is_offline|", userId, "|#"});
  if (state == 1) return Joined({".+new_online|", userId, "|", networkIp, "|", localIp, "|#"});
  if (state == 2) return Joined({".+new_leaving|", userId, "|", networkIp, "|", localIp, "|#"});
  if (state == 3) return Joined({".+phone_line|", userId, "|#"});
  return std::nullopt;
}

bool InRange(const std::string& ip, const std::string& entry) {
  const std::vector<std::string> ends = Split(entry, "-");
  if (ends.size() == 1) return entry == ip;
  return ends.size() == 2 && IsBetween(IpToNumber(ip), IpToNumber(ends[0]), IpToNumber(ends[1]));
}

}  // namespace

// --- Login ---

Steps NaiveServer::Refuse(int slot, std::string words) {
  if (!words.empty()) co_await TellSlot(slot, words);
  co_await turns_.Give();
  Close(slot);
  At(slot).tag.clear();
}

Steps NaiveServer::EndEarlierLanding(Record& record, Row user, std::string tag, bool& goesOn) {
  const int old = Tagged(tag);
  if (old == 0) co_return;
  if (On(old) && Is(record[4], "kefu") && Of(user, "Mac") != "kefu") {
    goesOn = false;
    co_await Refuse(record.slot, "");
    co_return;
  }
  if (On(old)) {
    co_await turns_.Give();
    Send(old, ".+busy_force|" + At(record.slot).ip + "|#");
  }
  co_await turns_.Give();
  At(old).tag.clear();
  Close(old);
}

std::string NaiveServer::PermissionList(const std::string& userId) {
  std::string list;
  for (const Row& muted : tables_["Clot_Silence"]) {
    if (Alike(userId, Of(muted, "MyID"))) list += Of(muted, "YouID") + ",";
  }
  std::string limits = ",/,\\,~,@,+";
  for (const Row& role : tables_["Users_Role"]) {
    if (!Alike(userId, Of(role, "UserID"))) continue;
    for (const Row& rights : tables_["Role"]) {
      if (Of(rights, "ID") != Of(role, "RoleID")) continue;
      list += Of(rights, "Permissions") + Of(rights, "Plug");
      limits = "," + Of(rights, "PtpSize") + "/" + Of(rights, "PtpType") + "," +
               Of(rights, "ClotSize") + "\\" + Of(rights, "ClotType") + "," +
               Of(rights, "UsersSize") + "~" + Of(rights, "UsersType") + "," +
               Of(rights, "PubSize") + "@" + Of(rights, "PubType") + "," +
               Of(rights, "DepartmentPermission") + "+" + Of(rights, "Department");
    }
  }
  return list + limits;
}

bool NaiveServer::Admits(const std::string& permissions, const std::string& addresses,
                         const std::string& machines, const Record& record) {
  for (const std::string& token : Split(permissions, ",")) {
    bool admitted = token != "19" && token != "20";
    for (const std::string& entry : Split(token == "19" ? addresses : machines, ",")) {
      if (token == "19" && InRange(record.ip, entry)) admitted = true;
      if (token == "20" && Is(record[4], entry)) admitted = true;
    }
    if (!admitted) return false;
  }
  return true;
}

Steps NaiveServer::Landing(Record& record) {
  const int slot = record.slot;
  const std::optional<int> version = Number(record[6]);
  if (!Is(record[6], "#") && version && *version < around_.minClientVersion) {
    co_await Refuse(slot, ".+UpgradedVersion|#");
    co_return;
  }
  auto named = [&](const Row& row) {
    return Alike(record[1], Of(row, "UserName")) && record[2] &&
           Of(row, "UserPaws") == Trimmed(*record[2]);
  };
  const Row* found = First("Users_ID", named);
  if (found == nullptr) {
    co_await Refuse(slot, ".+LoginFailed|#");
    co_return;
  }
  const Row user = *found;
  if (Of(user, "UserState") == "0") {
    co_await Refuse(slot, ".+ProhibitLanding|#");
    co_return;
  }
  const std::string userId = Of(user, "UserID");
  const std::string tag = IsPhone(record) ? userId + "m" : userId;
  std::string addresses = Of(user, "LocalIPList"), machines = Of(user, "MacList");
  if (addresses.empty()) addresses = Of(user, "LocalIP");
  if (machines.empty()) machines = record[4].value_or("");
  Log(Joined({record[1], around_.lang("im53")}), userId, record.ip, 1);

  bool goesOn = true;
  co_await EndEarlierLanding(record, user, tag, goesOn);
  if (!goesOn) co_return;
  const std::string permissions = PermissionList(userId);
  if (!Admits(permissions, addresses, machines, record)) {
    co_await Refuse(slot, ".+landing_restrictions");
    co_return;
  }
  if (Row* row = First("Users_ID", named)) {
    (*row)["LoginTime"] = around_.now.DateAndTime();
    const std::vector<std::string> columns =
        IsPhone(record) ? std::vector<std::string>{"PlatForm", "Registration_Id", "ManuFacturer"}
                        : std::vector<std::string>{"NetworkIP", "Mac"};
    for (size_t i = 0; i < columns.size(); ++i) {
      if (record[3 + i]) (*row)[columns[i]] = record[3 + i];
    }
    (*row)["LocalIP"] = record.ip;
    if (addresses.empty()) (*row)["LocalIPList"] = record.ip;
  }
  if (!On(slot)) co_return;
  const std::string answer = ".+landing_successful|" + userId + "|" + Of(user, "IsVerify") + "|" +
                             permissions + "|" + std::to_string(around_.controlComputer) + "|" +
                             std::to_string(around_.clientDownloadVersion) + "|#";
  co_await TellSlot(slot, answer);
  At(slot).tag = tag;
}

Steps NaiveServer::PhoneLog(Record& record) {
  std::string userId;
  bool wasOnPhone = false;
  if (Row* user = User(record[1])) {
    userId = Of(*user, "UserID");
    wasOnPhone = Of(*user, "UserIcoLine") == "3";
    (*user)["UserIcoLine"] = "3";
    (*user)["LoginTime"] = around_.now.DateAndTime();
    co_await turns_.Give();
  }
  const int highest = Highest();
  for (int each = 1; each <= highest; ++each) {
    if (At(each).state == 0) {  // nobody hears of it, and no turn is given
      if (At(each).tag == userId) At(each).tag.clear();
      continue;
    }
    if (At(each).tag == userId) {
      co_await turns_.Give();
      if (!wasOnPhone) Send(each, ".+busy_force|" + around_.lang("im54") + "|#");
      At(each).tag.clear();
      Close(each);
    }
    co_await turns_.Give();
    if (!wasOnPhone && each != record.slot) Send(each, ".+phone_line|" + userId + "|#");
  }
  At(record.slot).tag = userId;
}

Steps NaiveServer::Nudge(Record& record) {
  if (!IsNot(record[1], "")) co_return;
  const Text told = Joined({".+request_data_synchronization_online|", record[1], "|#"});
  co_await TellEverybody(told, 0);
}

Steps NaiveServer::KeepAlive(Record& record) {
  co_await turns_.Give();
  Send(record.slot, ".+y|#");
}

// --- Presence ---

Steps NaiveServer::BecomeVisible(Record& record, int newState) {
  Row* user = User(record[1]);
  if (user == nullptr) co_return;
  if (newState == 3 && Of(*user, "UserIcoLine") != "0") co_return;
  if (newState >= 0) (*user)["UserIcoLine"] = std::to_string(newState);
  if (Highest() >= 40 || newState < 0 || newState > 3) co_return;
  const Text told =
      PresenceRecord(newState, record[1], Of(*user, "NetworkIP"), Of(*user, "LocalIP"));
  co_await TellOthersTwice(record.slot, told);
}

Steps NaiveServer::SuccessfulOnline(Record& record) {
  if (record[1] && record[2]) {
    const int state = Number(record[2]).value_or(-1);
    const std::string tag = state == 3 ? *record[1] + "m" : *record[1];
    const int earlier = Connected(tag, record.slot);
    if (earlier != 0) {
      Send(earlier, ".+busy_force|" + At(record.slot).ip + "|#");
      co_await turns_.Give();
      At(earlier).tag.clear();
      Close(earlier);
    }
    At(record.slot).tag = tag;
    co_await BecomeVisible(record, state);
    co_await TellSlot(record.slot, ".+SynchronousSuccessfully|#");
  }
  Log(Joined({record[1], around_.lang("im58")}), record[1], record.ip, 1);
}

Steps NaiveServer::TellThenWrite(Record& record, Text told, int state, std::string key, int icon) {
  co_await TellOthersTwice(record.slot, told);
  if (Row* user = User(record[1])) (*user)["UserIcoLine"] = std::to_string(state);
  Log(Joined({record[1], around_.lang(key)}), record[1], record.ip, icon);
}

Steps NaiveServer::OnLine(Record& record) {
  return TellThenWrite(record, PresenceRecord(1, record[1], "", ""), 1, "im83", 4);
}
Steps NaiveServer::GoAway(Record& record) {
  return TellThenWrite(record, PresenceRecord(2, record[1], "", ""), 2, "im82", 2);
}
Steps NaiveServer::Stealth(Record& record) {
  return TellThenWrite(record, PresenceRecord(0, record[1], "", ""), 0, "im81", 3);
}

Steps NaiveServer::Offline(Record& record) {
  const std::string tag = At(record.slot).tag;
  Row* user = User(record[1]);
  if (user != nullptr && !IsMobile(tag)) {
    const int state = Of(*user, "Registration_Id").empty() ? 0 : 3;
    co_await TellOthersTwice(record.slot, PresenceRecord(state, record[1], "", ""));
    (*user)["UserIcoLine"] = std::to_string(state);
  } else if (user != nullptr) {
    const bool wasOnPhone = Of(*user, "UserIcoLine") == "3";
    if (wasOnPhone) {
      co_await TellOthersTwice(record.slot, PresenceRecord(0, record[1], "", ""));
      (*user)["UserIcoLine"] = "0";
    }
    (*user)["Registration_Id"] = "";
  }
  const int leaver = Tagged(tag);
  if (leaver != 0) {
    co_await turns_.Give();
    At(leaver).tag.clear();
    Close(leaver);
  }
  Log(Joined({record[1], around_.lang("im80")}), record[1], record.ip, 10);
}

// --- Own data ---

Steps NaiveServer::ChangePassword(Record& record) {
  Row* user = User(record[1]);
  if (user == nullptr) co_return;
  if (record[2]) (*user)["UserPaws"] = Trimmed(*record[2]);
  Log(Joined({record[1], around_.lang("im59"), record[2]}), record[1], record.ip, 1);
}

Steps NaiveServer::ModifyData(Record& record) {
  const std::vector<std::string> columns = {"Jod",           "FcName", "age",     "Effigy",
                                            "tel1",          "tel2",   "address", "School",
                                            "Constellation", "say",    "UserIco"};
  if (Row* user = User(record[1])) {
    for (size_t i = 0; i < columns.size(); ++i) {
      if (record[2 + i]) (*user)[columns[i]] = record[2 + i];
    }
    Bump(*user, "Users_IDVesr");
    Log(Joined({record[1], around_.lang("im60")}), record[1], record.ip, 1);
  }
  Bump(tables_["UpDateForm"][0], "Users_IDVesr");
  Text told = ".+modify_account|";
  for (size_t i = 1; i <= 12; ++i) told = Joined({told, record[i], "|"});
  told = Joined({told, "#"});
  co_await TellEverybody(told, record.slot);
}

Steps NaiveServer::ModifyIsVerify(Record& record) {
  Row* user = User(record[1]);
  if (user == nullptr) co_return;
  if (Number(record[2])) (*user)["IsVerify"] = std::to_string(*Number(record[2]));
  Log(Joined({record[1], around_.lang("im263")}), record[1], record.ip, 1);
}

Steps NaiveServer::ModifyIsSilence(Record& record) {
  if (!record[1] || !record[2]) co_return;
  Table& muted = tables_["Clot_Silence"];
  for (size_t i = 0; i < muted.size(); ++i) {
    if (!Alike(record[1], Of(muted[i], "MyID")) || !Alike(record[2], Of(muted[i], "YouID"))) {
      continue;
    }
    if (Is(record[3], "0")) muted.erase(muted.begin() + static_cast<std::ptrdiff_t>(i));
    co_return;
  }
  if (Is(record[3], "1")) muted.push_back({{"MyID", record[1]}, {"YouID", record[2]}});
}

}  // namespace vnq::model
