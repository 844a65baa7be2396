// What the command tables say of the tables that a command writes, against what it writes.
#include <fmt/format.h>

#include <map>
#include <set>

#include "server/ports.h"
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

// Records that between them reach every table that their command writes, in the tables' order: a
// later command finds what an earlier one has left. A command that is not here gets fields of "1",
// and is to write nothing, or what its row says.
const std::map<std::string_view, Lines> kRecords = {
    {".+landing", {"|name1|pw1|10.0.0.1|mac|x|#", "|PC1|u|a|#"}},
    {".+modify_isSilence", {"|1|g|1|#", "|1|g|0|#"}},
    {".+new_group_information", {"|1|Name|r|s|1:1:a-2:0:b-|#"}},
    {".+modify_group_information", {"|1|Clot000003|n|r|s|#"}},
    {".+modify_group_members", {"|1|Clot000003|3:0:c-|#"}},
    {".+add_group_members", {"|1|Clot000003|2:0:b-|#"}},
    {".+del_group_members", {"|1|Clot000003|2|#"}},
    {".+set_group_administrator", {"|1|Clot000003|3:1|#"}},
    {".+modify_group_photos", {"|1|Clot000003|5|#"}},
    {".+clear_group_photos", {"|1|Clot000003|6|#"}},
    {".+request_synchronous_LOGO", {"|1|9|#"}},
    {".+request_personalized_photos", {"|1|1|1|99|#"}},
    {".+message", {"|2|1|text|font|M1|1|#", "|2|1|text|font|M2|5|#"}},
    {".+clot_messeng", {"|Clot000003|1|text|font|G1|1|#"}},
    {".+mass_information", {"|2*3|1|text|1|#", "|Clot000003|1|text|2|#"}},
    {".+messengverify",
     {"|3|1||1|1|1|0|#", "|3|1||1|1|2|1|#", "|2|1||1|1|2|3|#", "|3|1||1|2|1|0|#",
      "|Clot000003|2||2|1|1|0|#", "|Clot000003|2||2|1|2|1|#", "|Clot000003|3||2|2|1|0|#",
      "|Clot000003|1||2|2|2|1|#"}},
    {".+jitter_window", {"|2|1|#"}},
    {".+meeting_message", {"|2|1|0|1|1|1|0|5|#"}},
    {".+request_remote", {"|2|1|2|#"}},
    {".+upload_files", {"|a|1|1|2|1|f|U1|#", "|a|1|1|Clot000002|2|f|U2|#"}},
    {".+notification", {"|1|2,3|t|c|l|#"}},
    {".+interface_information",
     {"|name1|name2|t|x|l|0|#", "|name1|Clot000002|t|x|l|1|#", "|name1|name2|t|x|l|3|#",
      "|name1|name2|t|x|l|4|#"}},
    {".+delete_bulletin", {"|1|m|#"}},
    {".+shared_notice", {"|1|2\\|#"}},
    {".+customer", {"|2|v|c|x|#"}},
    {".+customer_information", {"|2|v|c|t|#"}},
    {".+request_data_synchronization", {"|99|#"}},
    {".+account_application", {"|000001|0|newcomer|New|pw|j|t|c|#"}},
};

constexpr const char* kRows =
    "insert into Messeng_Type(UserID1,UserID2,To_Type) values('1','2',1);"
    "insert into MessengKefu_Type(UserID1,UserID2) values('1','2');"
    "insert into ClotFile(ClotID,Msg_ID) values('Clot000003','F1');"
    "insert into Clot_Ro(TypeID,TypeName) values('Clot000002','Other');"
    "insert into Clot_Form(UpperID,UserID,IsAdmin) values('Clot000002','1',1),('Clot000002','2',0);"
    "insert into Tab_Chat(ChatId,MyID,YouID,Status) values(5,'1','2',0);"
    "insert into News_Form(UserID,Motif) values('1','m');"
    "insert into Role(ID,DefaultRole) values(1,1);"
    "insert into Tab_Config(Col_Name,Col_Genre,Col_Disabled,Col_Data) "
    "values('UserApply','SysConfig',0,'1')";

class CommandWrites : public ServerTest {
 protected:
  CommandWrites() : ServerTest({.sql = kRows}) {
    for (const char* user : {"1", "2", "3"}) server.AddUser(user);
    server.host().settings.chats = 1;
    if (TestDatabase::IsEmbedded()) WatchTables();
  }

  // Each change of a row leaves the name of its table.
  void WatchTables() {
    const Lines tables = server.Rows("select name from sqlite_master where type='table'");
    server.Run("create table Written(name)");
    for (const std::string& table : tables) {
      if (table.starts_with("sqlite_")) continue;
      for (const char* change : {"insert", "update", "delete"}) {
        server.Run(
            fmt::format("create trigger {0}_{1} after {1} on {0} begin "
                        "insert into Written values('{0}'); end",
                        table, change));
      }
    }
  }

  // Runs one record with users 1 and 2 connected; the sender is user 1.
  void RunRecord(const PortRow& port, const CommandRow& row, const std::string& record) {
    TestClient sender = server.Online("1");
    TestClient other = server.Online("2");
    server.Run("delete from Written where name='ServerLog' or name='Users_ID'");
    server.InHandler([&](Host& host) {
      const bool onMainPort = port.number == kClientPort;
      const SlotIndex slot = onMainPort ? host.SckServer.FirstConnected("1") : SlotIndex{1};
      Fields fields = Fields::Split(record);
      row.handler(host, fields, slot, "127.0.0.1");
      if (row.onWord != nullptr) row.onWord(host, fields, slot, "127.0.0.1");
    });
    for (const std::string& name : server.Rows("select distinct name from Written")) {
      written.insert(name);
    }
    server.Run("delete from Written");
  }

  std::set<std::string> WrittenBy(const PortRow& port, const CommandRow& row) {
    written.clear();
    const auto found = kRecords.find(row.word);
    if (found != kRecords.end()) {
      for (const std::string& fields : found->second) {
        RunRecord(port, row, std::string(row.word) + fields);
      }
    } else {
      std::string record(row.word);
      for (int field = 0; field < row.FieldCount(); ++field) record += "|1";
      RunRecord(port, row, record + "|#");
    }
    return written;
  }

  std::set<std::string> written;
};

TEST_F(CommandWrites, AreTheTablesThatEachRowNames) {
  if (!TestDatabase::IsEmbedded()) GTEST_SKIP() << "the triggers are SQLite's";
  for (const PortRow& port : PortTable()) {
    for (const CommandRow& row : port.commands()) {
      const std::vector<std::string> named = SplitText(row.writes, ", ");
      EXPECT_EQ(WrittenBy(port, row), std::set<std::string>(named.begin(), named.end()))
          << port.number << " " << row.word;
    }
  }
}

}  // namespace
}  // namespace vnq
