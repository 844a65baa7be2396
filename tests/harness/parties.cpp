#include "tests/harness/parties.h"

#include <fmt/format.h>

#include <algorithm>
#include <regex>

namespace vnq {

void PartiesTest::AddUsers(const std::vector<std::string>& userIds) {
  for (const std::string& userId : userIds) {
    if (server.Value("select count(*) from Users_ID where UserID='" + userId + "'") == "0") {
      server.AddUser(userId);
    }
  }
}

void PartiesTest::Connect(const std::vector<std::string>& tags) {
  for (const std::string& tag : tags) {
    const bool isMobile = tag.ends_with('m');
    const std::string userId = isMobile ? tag.substr(0, tag.size() - 1) : tag;
    AddUsers({userId});
    sessions_.emplace(tag, server.Online(userId, isMobile ? 3 : 1));
  }
  Hear();
  server.Run("delete from ServerLog");
}

void PartiesTest::Disconnect(const std::string& tag) {
  session(tag).Close();
  sessions_.erase(tag);
  Hear();
}

Heard PartiesTest::Hear() {
  Heard heard;
  server.Pump();
  for (auto& [tag, client] : sessions_) {
    std::string records = client.Receive();
    if (!records.empty()) heard[tag] = std::move(records);
  }
  return heard;
}

Heard PartiesTest::HearAfterTick() {
  server.Tick();
  Heard heard = Hear();
  static const std::regex guid("[0-9A-F]{32}");
  for (auto& [tag, records] : heard) records = std::regex_replace(records, guid, "GUID");
  return heard;
}

void PartiesTest::AddGroup(const std::string& typeId, const std::vector<std::string>& members) {
  server.Run("insert into Clot_Ro(TypeID,TypeName) values('" + typeId + "','Group " + typeId +
             "')");
  for (const std::string& member : members) {
    const size_t first = member.find(':'), second = member.find(':', first + 1);
    server.Run(fmt::format(
        "insert into Clot_Form(UpperID,UserID,IsAdmin,remark) values('{}','{}',{},'{}')", typeId,
        member.substr(0, first), member.substr(first + 1, second - first - 1),
        member.substr(second + 1)));
  }
}

Lines PartiesTest::Parked() {
  EXPECT_EQ(server.Rows("select distinct TO_IP,To_Date from MessengVerify_Type"),
            CountOf("MessengVerify_Type") == 0 ? Lines{}
                                               : Lines{"127.0.0.1|" + server.Now().DateAndTime()});
  return server.Rows(
      "select UserID1,ClotID,UserID2,UserText,To_Type1,To_Type2,To_Type3,To_Type4 "
      "from MessengVerify_Type order by rowid");
}

Lines PartiesTest::ParkedFor(const std::vector<std::string>& tags, const std::string& fields) {
  Lines rows;
  for (const std::string& tag : tags) rows.push_back(tag + "|" + fields);
  return rows;
}

Lines PartiesTest::Members(const std::string& typeId) {
  return server.Rows(
      "select UserID,IsAdmin,remark,last_ack_typeid1,last_ack_typeid2,last_ack_typeid3,"
      "last_ack_typeid4 from Clot_Form where UpperID='" +
      typeId + "' order by UserID,rowid");
}

std::string PartiesTest::GlobalCounters() {
  EXPECT_EQ(server.Rows("select id,Users_RoVesr,Users_IDVesr,NewGo_Vesr,NewRo_Vesr,LeaveFile_Vesr,"
                        "ClotFile_Vesr from UpDateForm"),
            Lines{"1|0|0|0|0|0|0"});
  return server.Value("select Clot_RoVesr,Clot_FormVesr from UpDateForm");
}

std::string PartiesTest::GroupCounters(const std::string& typeId) {
  return server.Value("select Users_IDVesr,Users_FormVesr from Clot_Ro where TypeID='" + typeId +
                      "'");
}

Lines PartiesTest::FriendCounters() {
  return server.Rows(
      "select UserID,Fav_FormVesr from Users_ID where Fav_FormVesr<>0 order by UserID");
}

int64_t PartiesTest::CountOf(const std::string& table) {
  return std::stoll(server.Value("select count(*) from " + table));
}

}  // namespace vnq
