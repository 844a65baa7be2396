// Load, the retention sweep and unload.
#include "server/load.h"

#include <fmt/format.h>

#include "support/base64_text.h"
#include "tests/harness/said_lines.h"
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

constexpr const char* kOldRows =
    "insert into Messeng_Text(Msg_ID,To_Date) values('old','2026-02-02'),('cut','2026-02-03'),"
    "('new','2026-02-04'),('today','2026-03-04');"
    "insert into MessengClot_Text(Msg_ID,To_Date) values('old','2026-02-03'),('new','2026-02-04');"
    "insert into ToInfo(To_Txt,To_Date) values('old','2026-02-03'),('new','2026-02-04');"
    "insert into MessengKefu_Text(To_Date) values('2026-01-01');"
    "insert into Msg_Acks(Msg_ID,To_Date) values('old','2026-01-01');"
    "insert into lv_user(RegTime) values('2026-01-01');"
    "insert into lv_chat(intime) values('2026-01-01');"
    "insert into LeaveFile(Msg_ID,ToDate) values('d15','2026-02-17'),('d14','2026-02-18'),"
    "('d60','2026-01-03');"
    "insert into MessengNotice_Text(Msg_ID,To_Date) "
    "values('old','2026-01-01'),('new','2026-03-01')";

// Today is 2026-03-04; 29 days ago was 2026-02-03.
TestServerOptions Sweep(int chats, int chatsDays, int files, int notices) {
  TestServerOptions options;
  options.settings = fmt::format(
      "[server_connection]\nDB_TYPE=access\nDataBaseName=\\Web\\Data\\vnq.db\n"
      "[delete_chats]\noptions={}\nchatsday={}\n[delete_offline_files]\noptions={}\n"
      "[delete_offline_notices]\noptions={}\nnoticeday=30\n",
      chats, chatsDays, files, notices);
  options.sql = kOldRows;
  return options;
}

Lines MessageIds(TestServer& server) {
  return server.Rows("select Msg_ID from Messeng_Text order by rowid");
}

TEST(Retention, RowsDatedOnTheCutOffAndBeforeGo) {
  TestServer server(Sweep(1, 29, 0, 0));
  EXPECT_EQ(MessageIds(server), (Lines{"new", "today"}));
  EXPECT_EQ(server.Rows("select Msg_ID from MessengClot_Text"), Lines{"new"});
  EXPECT_EQ(server.Rows("select To_Txt from ToInfo"), Lines{"new"});
}

TEST(Retention, WhatGoesIsCountedInTheLog) {
  TestServer server(Sweep(0, 29, 0, 0));
  SaidLines said;
  server.InHandler(SweepOldRows);
  EXPECT_EQ(said.Take(), Lines{});  // everything is kept
  server.host().settings.deleteChats.options = 1;
  server.host().settings.deleteOfflineFiles.options = 2;
  server.InHandler(SweepOldRows);
  const std::vector<std::string> lines = said.Take();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_TRUE(
      lines[0].starts_with("info: retention: 2 rows of Messeng_Text, 1 rows of "
                           "MessengClot_Text, 1 rows of ToInfo, "))
      << lines[0];
  EXPECT_TRUE(lines[0].ends_with("1 rows of LeaveFile deleted")) << lines[0];
  server.host().settings.deleteChats.options = 0;
  server.InHandler(SweepOldRows);
  EXPECT_EQ(said.Take(), Lines{"info: retention: no row is old enough"});
}

TEST(Retention, OnlyTheEmbeddedDialectSkipsTheOtherStatements) {
  TestServer server(Sweep(1, 0, 0, 0));
  for (const char* table : {"MessengKefu_Text", "Msg_Acks", "lv_chat"}) {
    EXPECT_EQ(server.Value(fmt::format("select count(*) from {}", table)),
              TestDatabase::IsEmbedded() ? "1" : "0")
        << table;
  }
}

TEST(Retention, LiveSupportUsersAllStay) {
  TestServer server(Sweep(1, 0, 0, 0));
  EXPECT_EQ(server.Value("select count(*) from lv_user"), "1");
}

TEST(Retention, WithZeroDaysRowsOfTodayGoToo) {
  TestServer server(Sweep(1, 0, 0, 0));
  EXPECT_EQ(MessageIds(server), Lines{});
}

TEST(Retention, AnyOtherOptionDeletesNothing) {
  for (const int options : {0, 2, -1}) {
    TestServer server(Sweep(options, 0, 0, options));
    EXPECT_EQ(MessageIds(server).size(), 4u) << options;
    EXPECT_EQ(server.Value("select count(*) from MessengNotice_Text"), "2");
  }
}

TEST(Retention, OfflineFilesGoAfterFifteenOrSixtyDays) {
  TestServer shortOne(Sweep(0, 0, 1, 0));
  EXPECT_EQ(shortOne.Rows("select Msg_ID from LeaveFile"), Lines{"d14"});
  TestServer longOne(Sweep(0, 0, 2, 0));
  EXPECT_EQ(longOne.Rows("select Msg_ID from LeaveFile order by rowid"), (Lines{"d15", "d14"}));
  TestServer none(Sweep(0, 0, 3, 0));
  EXPECT_EQ(none.Value("select count(*) from LeaveFile"), "3");
}

TEST(Retention, NoticesGoByTheirOwnDays) {
  TestServer server(Sweep(0, 0, 0, 1));
  EXPECT_EQ(server.Rows("select Msg_ID from MessengNotice_Text"), Lines{"new"});
}

TEST(Load, TheVersionFilesFirstLineGivesBothVersions) {
  const std::pair<std::string, std::pair<int, int>> kCases[] = {
      {"1005|1007", {1005, 1007}},
      {"1005|1007\r\nmore|lines", {1005, 1007}},
      {"\t 12|34 \t", {12, 34}},
      {std::string("12\0|34\0", 7), {12, 34}},
      {"7", {7, 0}},
      {"x|9", {0, 9}},
      {"\n1|2", {0, 0}},
      {"", {0, 0}}};
  for (const auto& [content, versions] : kCases) {
    TestServerOptions options;
    options.versionFile = content;
    TestServer server(options);
    EXPECT_EQ(server.host().MinClientVersion, versions.first) << content;
    EXPECT_EQ(server.host().ClientDownloadVersion, versions.second) << content;
  }
}

TEST(Load, TheDatabaseGivesRootKeywordsAndPushAddress) {
  TestServerOptions options;
  options.sql =
      "insert into Tab_Config values('VNQ_CONSOLE','SysConfig',1,'/wrong'),"
      "('VNQ_CONSOLE','SysConfig',0,'D:/im/data'),('VNQ_CONSOLE','SysConfig',0,'/second');"
      "insert into vnq_keyword(col_type,col_keyword) values(1,'bad,worse'),(0,'x,,y'),(0,'later');"
      "insert into Plug(Plug_Site,Plug_Index,Plug_Target) values(11,1,'http://old/'),"
      "(11,3,'http://[ServerIp]:81/p'),(12,9,'http://other/'),(11,2,'http://middle/')";
  TestServer server(options);
  EXPECT_EQ(server.host().ServerRootPath, "D:\\im\\data");
  EXPECT_EQ(server.host().BlockKeywords, (Lines{"bad", "worse"}));
  EXPECT_EQ(server.host().MaskKeywords, (Lines{"x", "", "y"}));
  EXPECT_EQ(server.host().PushUrl, "http://127.0.0.1:81/p");
  EXPECT_EQ(server.host().ServerIp, server.address());
  EXPECT_EQ(server.host().ServerFontInfo, "宋体,10,12681849,False,False,False");
  EXPECT_EQ(server.host().DefaultFontInfo, "宋体,10,0,False,False,False");
}

TEST(Load, AnEmptyKeywordColumnIsAListWithoutElements) {
  TestServerOptions options;
  options.sql = "insert into vnq_keyword(col_type,col_keyword) values(0,''),(1,null)";
  TestServer server(options);
  EXPECT_TRUE(server.host().MaskKeywords.empty());
  EXPECT_TRUE(server.host().BlockKeywords.empty());
}

TEST(Load, AnOccupiedPortLeavesTheOtherListenersWorking) {
  TestServer first;
  // A second server on the first one's address finds all ports taken, and stays up.
  const SystemClock clock;
  EventLoop loop(clock);
  std::string error;
  TcpListener listener(loop);
  EXPECT_FALSE(listener.Listen(
      first.address(), 6004, [](AcceptedSocket) {}, error));
  EXPECT_NE(error.find(first.address() + ":6004"), std::string::npos) << error;
}

TEST(Load, WithoutADatabaseFileTheServerAnswersAllTheSame) {
  TestServerOptions options;
  options.settings = "[server_connection]\nDB_TYPE=access\nDataBaseName=\\Web\\Data\\none.db\n";
  // Init makes the file that the settings name; it goes again before anybody asks.
  TestServer server(options);
  std::remove((server.folder() + "/Web/Data/none.db").c_str());
  TestClient client = server.Connect();
  client.Send(".+y|#");
  EXPECT_EQ(client.Receive(), ".+y|#");
}

TEST(Load, ADatabaseTypeInCapitalsIsAServerDatabase) {
  TestServer server;
  server.host().settings.DbType = "Access";
  EXPECT_FALSE(server.host().settings.IsAccess());
}

// --- Unload ---

class Unload : public ServerTest {
 protected:
  void RunUnload() {
    server.InHandler([this](Host&) { server.form().Unload(); });
  }
};

TEST_F(Unload, EveryClientIsToldBeforeItsConnectionCloses) {
  TestClient ann = server.Online("1");
  TestClient nobody = server.Connect();
  RunUnload();
  const std::string told = ".+forced_disconnection|" + server.Lang("im13") + "|#";
  EXPECT_EQ(ann.Receive(), told);
  EXPECT_EQ(nobody.Receive(), told);
  EXPECT_TRUE(ann.IsClosed());
  EXPECT_TRUE(nobody.IsClosed());
}

TEST_F(Unload, PresenceIsResetForDesktopsOnly) {
  server.AddUser("1");
  server.AddUser("2", {"Registration_Id=push"});
  server.AddUser("3");
  TestClient plain = server.Online("1");
  TestClient phone = server.Online("2");
  TestClient mobile = server.Online("3", 3);
  RunUnload();
  EXPECT_EQ(server.Rows("select UserID,UserIcoLine from Users_ID order by UserID"),
            (Lines{"1|0", "2|3", "3|3"}));
}

TEST_F(Unload, EndpointsGoOffline) {
  server.Run("insert into Users_WinInfo(WindowsInfo,UserIcoLine) values('PC1',1),('PC2',1)");
  TestClient agent = server.ConnectTo(6008);
  server.host().SckServer6008.SetTag(1, "PC1");
  RunUnload();
  EXPECT_EQ(server.Rows("select WindowsInfo,UserIcoLine from Users_WinInfo order by WindowsInfo"),
            (Lines{"PC1|0", "PC2|1"}));
  EXPECT_TRUE(agent.IsClosed());
}

TEST_F(Unload, AllPortsStopAccepting) {
  RunUnload();
  for (const int port : {6001, 6002, 6003, 6004, 6007, 6008}) {
    TestClient late = server.ConnectTo(static_cast<uint16_t>(port));
    EXPECT_TRUE(late.IsClosed()) << port;
  }
}

TEST_F(Unload, TheLastWordsArriveBehindAFullBuffer) {
  TestClient slow = server.Connect();
  const std::string filler(200'000, 'x');
  for (int i = 0; i < 50; ++i) {
    server.InHandler([&](Host& host) { host.SckServer.Send(1, filler); });
  }
  RunUnload();
  const std::string wire = slow.ReceiveBytes();
  EXPECT_TRUE(wire.ends_with(
      Base64EncodeText(server.page(), ".+forced_disconnection|" + server.Lang("im13") + "|#")));
  EXPECT_GT(wire.size(), 50 * filler.size());
}

}  // namespace
}  // namespace vnq
