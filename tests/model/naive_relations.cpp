// The model's friendships, and who is in a group by consent: four types of a record, one action.
#include <algorithm>

#include "support/text_codecs.h"
#include "tests/model/naive_server.h"

namespace vnq::model {
namespace {

constexpr const char* kFont = "宋体,10,12681849,False,False,False";

// A record of eight fields, of which some may be missing; changed ones take their place.
Text Changed(const Record& record, const std::vector<std::pair<size_t, Text>>& changes) {
  std::vector<Text> parts;
  parts.reserve(17);
  for (size_t i = 0; i < 8; ++i) {
    Text part = record[i];
    for (const auto& [field, value] : changes) {
      if (field == i) part = value;
    }
    parts.push_back(part);
    parts.emplace_back("|");
  }
  parts.emplace_back("#");
  return Joined(parts);
}

Text Whole(const Record& record) {
  return Changed(record, {});
}

Text Mobile(const Text& userId) {
  return Joined({userId, "m"});
}

bool Fits(const Record& record, const char* one, const char* two, const char* three,
          const char* four) {
  const auto fits = [&](size_t field, const char* wanted) {
    return *wanted == '*' || Is(record[field], wanted);
  };
  return fits(4, one) && fits(5, two) && fits(6, three) && fits(7, four);
}

}  // namespace

Steps NaiveServer::Verify(Record& record) {
  const Acting acting{OtherSession(record), WithoutM(At(record.slot).tag)};
  if (Fits(record, "1", "1", "1", "*")) {
    co_await FriendRequest(record, acting);
  } else if (Fits(record, "1", "1", "2", "1")) {
    co_await FriendAccepted(record, acting);
  } else if (Fits(record, "1", "1", "2", "2")) {
    co_await FriendRefused(record, acting);
  } else if (Fits(record, "1", "1", "2", "3")) {
    const Text asker = record[1], answering = record[2];
    Block(record, answering, asker, 1);
    co_await FriendRefused(record, acting);
  } else if (Fits(record, "1", "2", "*", "*")) {
    co_await FriendDeleted(record, acting);
  } else if (Fits(record, "2", "3", "*", "*") || Fits(record, "2", "4", "*", "*") ||
             Fits(record, "2", "1", "2", "0") || Fits(record, "2", "2", "2", "0")) {
    const Text userId = record[2];
    co_await ParkUser(record, userId);
  } else if (Fits(record, "2", "1", "1", "*")) {
    co_await JoinRequest(record, acting);
  } else if (Fits(record, "2", "1", "2", "1")) {
    co_await ApplicationAccepted(record, acting);
  } else if (Fits(record, "2", "1", "2", "2")) {
    co_await ApplicationRefused(record, acting, "5", "2");
  } else if (Fits(record, "2", "1", "2", "3")) {
    co_await ApplicationRefused(record, acting, "6", "3");
    Block(record, record[1], record[2], 2);
  } else if (Fits(record, "2", "2", "1", "*")) {
    co_await MemberLeaves(record, acting);
  } else if (Fits(record, "2", "2", "2", "1")) {
    co_await GroupDisbanded(record, acting);
  }
}

// --- What the actions share ---

Steps NaiveServer::Park(Record& record, Text tag) {
  if (Connected(tag) != 0) {
    const Text told = Whole(record);
    co_await TellTag(tag, told);
    co_return;
  }
  if (!tag) co_return;
  Row row = {{"UserID1", tag},
             {"ClotID", record[1]},
             {"UserID2", record[2]},
             {"UserText", record[3]},
             {"TO_IP", At(record.slot).ip},
             {"To_Date", around_.now.DateAndTime()}};
  for (size_t type = 1; type <= 4; ++type) {
    const std::optional<int> number = Number(record[type + 3]);
    if (number) row["To_Type" + std::to_string(type)] = std::to_string(*number);
  }
  tables_["MessengVerify_Type"].push_back(row);
}

Steps NaiveServer::ParkUser(Record& record, Text userId) {
  const Text mobile = Mobile(userId);
  co_await Park(record, userId);
  co_await Park(record, mobile);
}

Steps NaiveServer::Answer(const Record& record, Acting acting, Text told) {
  co_await TellSlot(record.slot, told);
  co_await TellTag(acting.otherSession, told);
}

bool NaiveServer::Blocked(const Text& myId, const Text& youId, int type) {
  return First("MessengVerify_Blacklist", [&](const Row& row) {
           return Alike(myId, Of(row, "MyID")) && Alike(youId, Of(row, "YouID")) &&
                  Of(row, "To_Type") == std::to_string(type);
         }) != nullptr;
}

void NaiveServer::Block(const Record& record, const Text& myId, const Text& youId, int type) {
  if (!myId || !youId || Blocked(myId, youId, type)) return;
  tables_["MessengVerify_Blacklist"].push_back({{"MyID", myId},
                                                {"YouID", youId},
                                                {"TO_IP", At(record.slot).ip},
                                                {"To_Date", around_.now.DateAndTime()},
                                                {"To_Type", std::to_string(type)}});
}

// --- Friends ---

void NaiveServer::Befriend(const Text& userId, const Text& myId) {
  const bool known = First("Fav_Form", [&](const Row& row) {
    return Alike(userId, Of(row, "UserID")) && Alike(myId, Of(row, "MyID"));
  });
  if (userId && myId && !known) {
    tables_["Fav_Form"].push_back({{"UserID", userId}, {"MyID", myId}});
  }
}

void NaiveServer::Unfriend(const Text& userId, const Text& myId) {
  Table& friends = tables_["Fav_Form"];
  const auto found = std::find_if(friends.begin(), friends.end(), [&](const Row& row) {
    return Alike(userId, Of(row, "UserID")) && Alike(myId, Of(row, "MyID"));
  });
  if (found != friends.end()) friends.erase(found);
}

void NaiveServer::BumpFriends(const Text& userId) {
  if (Row* user = User(userId)) Bump(*user, "Fav_FormVesr");
}

void NaiveServer::Greet(const Text& to, const Text& from, int slot) {
  const Text record = Joined({".+message|", to, "|", from, "|", EscapeText(around_.lang("im268")),
                              "|", kFont, "|", NewId(), "|3|#"});
  if (record && slot != 0) UserMesseng({Split(*record, "|"), slot, At(slot).ip});
}

Steps NaiveServer::FriendRequest(Record& record, Acting acting) {
  const Text asked = record[1], asker = record[2];
  const Row* row = User(asked);
  if (row == nullptr) co_return;
  const std::optional<int> isVerify = Number(Of(*row, "IsVerify"));
  const int friends = Number(Of(*row, "Fav_FormVesr")).value_or(0);
  const Text mobile = Mobile(asked);
  if (isVerify == 0) {
    const Text granted = Changed(record, {{7, "1"}});
    const Text swapped = Changed(record, {{1, asker}, {2, asked}, {7, "1"}});
    Greet(asked, asker, record.slot);
    co_await TellTag(asked, granted);
    co_await TellTag(mobile, granted);
    Befriend(asker, asked);
    (*User(asked))["Fav_FormVesr"] = std::to_string(friends + 1);
    Befriend(asked, asker);
    BumpFriends(asker);
    Greet(asker, asked, Connected(asked));
    co_await Answer(record, acting, swapped);
  } else if (isVerify == 1 && Blocked(asked, asker, 1)) {
    const Text refusal =
        Changed(record, {{1, asker}, {2, asked}, {3, ""}, {4, "1"}, {5, "1"}, {6, "2"}, {7, "3"}});
    co_await Answer(record, acting, refusal);
  } else if (isVerify == 1) {
    co_await ParkUser(record, asked);
  }
}

Steps NaiveServer::FriendAccepted(Record& record, Acting acting) {
  const Text asker = record[1], answering = record[2], mobile = Mobile(asker);
  const Text accepted = Whole(record);
  const Text toOther = Changed(record, {{1, answering}, {2, asker}, {6, "1"}});
  Befriend(asker, answering);
  BumpFriends(answering);
  Greet(asker, answering, record.slot);
  Befriend(answering, asker);
  BumpFriends(asker);
  co_await TellTag(asker, accepted);
  co_await TellTag(mobile, accepted);
  co_await TellTag(acting.otherSession, toOther);
  Greet(answering, asker, Connected(asker));
}

// The users stay swapped, in the log too.
Steps NaiveServer::FriendRefused(Record& record, Acting acting) {
  const Text asker = record[1];
  co_await ParkUser(record, asker);
  std::swap(record.fields[1], record.fields[2]);
  record.fields[6] = "1";
  co_await Park(record, acting.otherSession);
}

Steps NaiveServer::FriendDeleted(Record& record, Acting acting) {
  const Text former = record[1], deleting = record[2], mobile = Mobile(former);
  const Text deleted = Whole(record);
  const Text swapped = Changed(record, {{1, deleting}, {2, former}});
  Unfriend(former, deleting);
  BumpFriends(deleting);
  Unfriend(deleting, former);
  BumpFriends(former);
  co_await TellTag(former, deleted);
  co_await TellTag(mobile, deleted);
  co_await TellTag(acting.otherSession, swapped);
}

// --- Groups ---

Table NaiveServer::MembersWith(const Text& group, const std::string& isAdmin) {
  Table members = MembersOf(group, std::nullopt);
  std::erase_if(members, [&](const Row& row) { return Of(row, "IsAdmin") != isAdmin; });
  return members;
}

void NaiveServer::BumpMembership(const Text& group) {
  Bump(tables_["UpDateForm"][0], "Clot_FormVesr");
  for (Row& row : tables_["Clot_Ro"]) {
    if (Alike(group, Of(row, "TypeID"))) Bump(row, "Users_FormVesr");
  }
}

Steps NaiveServer::ParkAdministrators(Record& record) {
  const Table administrators = MembersWith(record[1], "1");
  for (const Row& row : administrators) {
    const Text userId = Of(row, "UserID");
    co_await ParkUser(record, userId);
  }
}

Steps NaiveServer::ParkOtherAdministrators(Record& record, Acting acting, std::string type4) {
  const Table administrators = MembersWith(record[1], "1");
  for (const Row& row : administrators) {
    const Text userId = Of(row, "UserID");
    if (Alike(userId, acting.user)) continue;
    record.fields[7] = type4;
    co_await ParkUser(record, userId);
  }
}

Steps NaiveServer::TellPlainMembers(Record& record, Acting acting) {
  const Text told = Memberships("", record[1], ListOf(MembersOf(record[1], std::nullopt)));
  const Table members = MembersWith(record[1], "0");
  for (const Row& row : members) {
    const Text userId = Of(row, "UserID"), mobile = Mobile(userId);
    if (Alike(userId, acting.user)) continue;
    co_await TellTag(userId, told);
    co_await TellTag(mobile, told);
  }
}

Steps NaiveServer::ParkConcerned(Record& record, Acting acting) {
  const Text userId = record[2];
  co_await ParkUser(record, userId);
  co_await Park(record, acting.otherSession);
}

Steps NaiveServer::JoinRequest(Record& record, Acting acting) {
  if (Blocked(record[1], record[2], 2)) {
    const Text refusal = Changed(record, {{3, ""}, {4, "2"}, {5, "1"}, {6, "2"}, {7, "3"}});
    co_await Answer(record, acting, refusal);
  } else {
    co_await ParkAdministrators(record);
  }
}

Steps NaiveServer::ApplicationAccepted(Record& record, Acting acting) {
  const Row* user = User(record[2]);
  const std::string name = user == nullptr ? "" : Of(*user, "FcName");
  InsertMember(record[1], {*record[2], "0", name}, LastGroupMessage(record[1]));
  BumpMembership(record[1]);
  co_await ParkOtherAdministrators(record, acting, "4");
  co_await TellPlainMembers(record, acting);
  co_await ParkConcerned(record, acting);
}

Steps NaiveServer::ApplicationRefused(Record& record, Acting acting, std::string toOthers,
                                      std::string toConcerned) {
  co_await ParkOtherAdministrators(record, acting, toOthers);
  record.fields[7] = toConcerned;
  co_await ParkConcerned(record, acting);
}

// Of two rows one stays.
Steps NaiveServer::MemberLeaves(Record& record, Acting acting) {
  Table& members = tables_["Clot_Form"];
  const auto found = std::find_if(members.begin(), members.end(), [&](const Row& row) {
    return Alike(record[1], Of(row, "UpperID")) && Alike(record[2], Of(row, "UserID"));
  });
  if (found != members.end()) members.erase(found);
  BumpMembership(record[1]);
  co_await ParkAdministrators(record);
  co_await Park(record, acting.otherSession);
  co_await TellPlainMembers(record, acting);
}

Steps NaiveServer::GroupDisbanded(Record& record, Acting acting) {
  const Table others = MembersOf(record[1], record[2]);
  for (const Row& row : others) {
    const Text userId = Of(row, "UserID");
    co_await ParkUser(record, userId);
  }
  co_await Park(record, acting.otherSession);
  const auto end = [&](const char* table, const char* column) {
    std::erase_if(tables_[table],
                  [&](const Row& row) { return Alike(record[1], Of(row, column)); });
  };
  end("Clot_Ro", "TypeID");
  end("Clot_Form", "UpperID");
  end("Clot_Pic", "ClotID");
  end("ClotFile", "ClotID");
  end("MessengClot_Text", "ClotID");
  Bump(tables_["UpDateForm"][0], "Clot_RoVesr");
  Bump(tables_["UpDateForm"][0], "Clot_FormVesr");
  Log(Joined({record[2], around_.lang("im65"), record[1]}), record[2], At(record.slot).ip, 1);
}

}  // namespace vnq::model
