// Visitors register and write to agents; the road goes one way.
#include "tests/webgate/visitor_client.h"

namespace vnq {
namespace {

const std::string kStamp = "|2026-03-04|05:06:07|";

class VisitorChat : public ServerTest {
 protected:
  VisitorChat() {
    server.AddUser("1");
    server.AddUser("2");
  }

  TestSlots slots() { return server.Slots(6001); }
  std::string Pending() { return server.host().PendingVisitorRecord[1]; }
  Lines Kefu() { return server.Rows("select IP,City from Kefu"); }
  // Rows of the log about visitors.
  Lines Log() { return server.Rows("select Txt,UserID,Ip,Ico from ServerLog where Ico=5"); }
  std::string Arrived(const std::string& visitor, const std::string& agent) {
    return visitor + " To " + agent + server.Lang("im102") + "|" + visitor + "|127.0.0.1|5";
  }
  std::string Wrote(const std::string& visitor, const std::string& agent) {
    return visitor + " To " + agent + server.Lang("im107") + "|" + visitor + "|127.0.0.1|5";
  }
  Lines Pushes() { return server.Pushes(); }
  void RegisterPhone(const std::string& agent) {
    server.Run("update Users_ID set Registration_Id='phone' where UserID='" + agent + "'");
  }
};

// --- Registration ---

TEST_F(VisitorChat, ARegistrationIsWrittenDownAndToldToTheAgentsNamed) {
  TestClient one = server.Online("1");
  TestClient two = server.Online("2");
  one.Receive();
  Visitor visitor(server);
  visitor.SendRecords(".+customer|1,2|v|Paris|x|#");
  EXPECT_EQ(one.Receive(), ".+customer_information|v|Paris" + kStamp + "x|#");
  EXPECT_EQ(two.Receive(), ".+customer_information|v|Paris" + kStamp + "x|#");
  EXPECT_EQ(Kefu(), Lines{"v|Paris"});
  EXPECT_EQ(slots().Tag(1), "v");
  EXPECT_EQ(Log(), (Lines{Arrived("v", "1"), Arrived("v", "2")}));
  EXPECT_EQ(visitor.ReceiveBytes(), "");
  EXPECT_TRUE(Pushes().empty());
}

TEST_F(VisitorChat, AnEmptyAgentListWritesTheRowBindsTheTagAndSendsNothing) {
  TestClient agent = server.Online("1");
  Visitor visitor(server);
  visitor.SendRecords(".+customer||v|c|x|#");
  EXPECT_EQ(Kefu(), Lines{"v|c"});
  EXPECT_EQ(slots().Tag(1), "v");
  EXPECT_EQ(agent.Receive(), "");
  EXPECT_TRUE(Log().empty());
}

TEST_F(VisitorChat, AnAgentListedTwiceGetsTheRecordTwiceAndTwoLogRowsAreWritten) {
  TestClient agent = server.Online("1");
  Visitor visitor(server);
  visitor.SendRecords(".+customer|1,,1|v|c|x|#");
  const std::string record = ".+customer_information|v|c" + kStamp + "x|#";
  EXPECT_EQ(agent.Receive(), record + record);
  EXPECT_EQ(Log(), (Lines{Arrived("v", "1"), Arrived("v", "1")}));
}

TEST_F(VisitorChat, AnAgentWhoIsOfflineIsPassedOverAtRegistrationAndYetLoggedAndPushedForALine) {
  RegisterPhone("2");
  TestClient one = server.Online("1");
  Visitor visitor(server);
  visitor.SendRecords(".+customer|2,1|v|c|x|#");
  EXPECT_EQ(one.Receive(), ".+customer_information|v|c" + kStamp + "x|#");
  EXPECT_EQ(Log(), Lines{Arrived("v", "1")});
  EXPECT_TRUE(Pushes().empty());

  visitor.SendRecords(".+customer_information|2|v|c|hello|#");
  EXPECT_EQ(Log(), (Lines{Arrived("v", "1"), Wrote("v", "2")}));
  EXPECT_EQ(Pushes(), Lines{"2|c|v|3|hello"});
}

TEST_F(VisitorChat, ASecondRegistrationOnOneSlotClosesItAndLeavesItsTag) {
  TestClient agent = server.Online("1");
  Visitor visitor(server);
  visitor.SendRecords(".+customer|1,2|v|c|x|#");
  EXPECT_EQ(slots().Tag(1), "v");
  EXPECT_FALSE(visitor.IsClosed());
  agent.Receive();
  visitor.SendRecords(".+customer|1,2|v|c|x|#");
  EXPECT_TRUE(visitor.IsClosed());
  EXPECT_EQ(slots().State(1), SocketState::kClosed);
  EXPECT_EQ(slots().Tag(1), "v");
  EXPECT_EQ(agent.Receive(), ".+customer_information|v|c" + kStamp + "x|#");
  EXPECT_EQ(Kefu(), (Lines{"v|c", "v|c"}));
}

TEST_F(VisitorChat, AVisitorWhoComesAgainDropsTheEarlierConnection) {
  Visitor first(server);
  first.SendRecords(".+customer||v|c|x|#");
  Visitor second(server);
  second.SendRecords(".+customer||v|c|x|#");
  EXPECT_TRUE(first.IsClosed());
  EXPECT_EQ(slots().State(1), SocketState::kClosed);
  EXPECT_EQ(slots().Tag(1), "");
  EXPECT_FALSE(second.IsClosed());
  EXPECT_EQ(slots().Tag(2), "v");
}

TEST_F(VisitorChat, AnEarlierConnectionWhoseBrowserHasGoneBecomesReusable) {
  {
    Visitor first(server);
    first.SendRecords(".+customer||v|c|x|#");
  }
  Visitor second(server);
  EXPECT_EQ(slots().State(1), SocketState::kClosing);
  second.SendRecords(".+customer||v|c|x|#");
  EXPECT_EQ(slots().State(1), SocketState::kClosed);
  TestClient third = server.ConnectTo(kVisitorPort);
  EXPECT_EQ(slots().Highest(), 2);
}

TEST_F(VisitorChat, AnApostropheLosesTheRowAndNothingElse) {
  TestClient agent = server.Online("1");
  Visitor visitor(server);
  visitor.SendRecords(".+customer|1|v|L'Aquila|x|#");
  EXPECT_TRUE(Kefu().empty());
  EXPECT_EQ(slots().Tag(1), "v");
  EXPECT_EQ(agent.Receive(), ".+customer_information|v|L'Aquila" + kStamp + "x|#");
}

TEST_F(VisitorChat, ARegistrationWithoutItsLastFieldSendsNothingAndIsLogged) {
  TestClient agent = server.Online("1");
  Visitor visitor(server);
  visitor.SendRecords(".+customer|1|v|c|x");
  EXPECT_EQ(agent.Receive(), "");
  EXPECT_EQ(Kefu(), Lines{"v|c"});
  EXPECT_EQ(Log(), Lines{Arrived("v", "1")});
}

TEST_F(VisitorChat, RegistrationsOfAnyLengthAreHarmless) {
  Visitor visitor(server);
  for (const char* record : {".+customer", ".+customer|", ".+customer|1", ".+customer|1|v"}) {
    visitor.SendRecords(record);
  }
  EXPECT_EQ(slots().Tag(1), "v");
  EXPECT_TRUE(Kefu().empty());
}

TEST_F(VisitorChat, TheAgentsMobileSessionIsNoTarget) {
  TestClient phone = server.Online("1m", 3);
  phone.Receive();
  Visitor visitor(server);
  visitor.SendRecords(".+customer|1|v|c|x|#");
  EXPECT_EQ(phone.Receive(), "");
}

TEST_F(VisitorChat, AnAgentWhoHasGoneIsStillLoggedForALine) {
  TestClient agent = server.Online("1");
  Visitor visitor(server);
  visitor.SendRecords(".+customer||v|c|x|#");
  agent.Close();
  visitor.SendRecords(".+customer_information|1|v|c|hello|#");
  EXPECT_EQ(Log(), Lines{Wrote("v", "1")});
}

// --- On the main port ---

TEST_F(VisitorChat, OnTheMainPortTheSlotThereTakesTheVisitorsName) {
  TestClient agent = server.Online("1");
  TestClient page = server.Connect();
  page.Send(".+customer|1,2|v|c|x|#");
  EXPECT_EQ(agent.Receive(), ".+customer_information|v|c" + kStamp + "x|#");
  EXPECT_EQ(server.Tag(2), "v");
  EXPECT_EQ(Kefu(), Lines{"v|c"});
  EXPECT_EQ(Log(), Lines{Arrived("v", "1")});
  EXPECT_EQ(page.Receive(), "");

  page.Send(".+customer_information|1|v|c|hello|#");
  EXPECT_EQ(agent.Receive(), ".+customer_information|v|c" + kStamp + "hello|#");
}

TEST_F(VisitorChat, OnTheMainPortASecondRegistrationClosesTheSlotToo) {
  TestClient page = server.Connect();
  page.Send(".+customer||v|c|x|#");
  page.Send(".+customer||v|c|x|#");
  EXPECT_TRUE(page.IsClosed());
  EXPECT_EQ(server.Tag(1), "v");
}

TEST_F(VisitorChat, TheTwoPortsDoNotDropEachOthersConnections) {
  TestClient page = server.Connect();
  page.Send(".+customer||v|c|x|#");
  Visitor visitor(server);
  visitor.SendRecords(".+customer||v|c|x|#");
  EXPECT_FALSE(page.IsClosed());
  EXPECT_FALSE(visitor.IsClosed());
}

TEST_F(VisitorChat, OnTheMainPortALineIsCarriedOverBetweenReads) {
  TestClient agent = server.Online("1");
  TestClient page = server.Connect();
  page.Send(".+customer_information|1|v|c|one ");
  page.Send("two|#");
  EXPECT_EQ(agent.Receive(), ".+customer_information|v|c" + kStamp + "one two|#");
}

// --- Texts ---

TEST_F(VisitorChat, ALineGoesToItsAgentAsItStandsAndIsLogged) {
  TestClient agent = server.Online("1");
  Visitor visitor(server);
  visitor.SendRecords(".+customer_information|1|v|c|%u4F60%u597D|#");
  EXPECT_EQ(agent.Receive(), ".+customer_information|v|c" + kStamp + "%u4F60%u597D|#");
  EXPECT_EQ(Log(), Lines{Wrote("v", "1")});
}

TEST_F(VisitorChat, WhatStandsInTheLastFieldStandsLastWithoutAClosing) {
  TestClient agent = server.Online("1");
  Visitor visitor(server);
  visitor.SendRecords(".+customer_information|1|v|c|t|last#");
  EXPECT_EQ(agent.Receive(), ".+customer_information|v|c" + kStamp + "t|last#");
}

TEST_F(VisitorChat, LineBreaksStay) {
  TestClient agent = server.Online("1");
  Visitor visitor(server);
  visitor.SendRecords(".+customer_information|1|v|c|a\r\nb|#");
  EXPECT_EQ(agent.Receive(), ".+customer_information|v|c" + kStamp + "a\r\nb|#");
}

TEST_F(VisitorChat, ThePushCarriesTheTextUnescapedAndNoPushGoesForAnAgentWhoIsOnline) {
  RegisterPhone("1");
  Visitor visitor(server);
  visitor.SendRecords(".+customer_information|1|v|Paris|%u4F60%u597D|#");
  EXPECT_EQ(Pushes(), Lines{"1|Paris|v|3|你好"});
  TestClient agent = server.Online("1");
  server.ClearPushes();
  visitor.SendRecords(".+customer_information|1|v|Paris|x|#");
  EXPECT_TRUE(Pushes().empty());
}

TEST_F(VisitorChat, AVisitorNamedLikeTheAgentIsPushedByTheTagOfTheMainPortsSlotOfThatNumber) {
  Visitor visitor(server);  // slot 1 of its port
  visitor.SendRecords(".+customer_information|1|1|c|note|#");
  EXPECT_EQ(Pushes(), Lines{"1|c|1|3|note"});
  server.ClearPushes();
  server.Slots(6004).SetTag(1, "9m");
  visitor.SendRecords(".+customer_information|1|1|c|note|#");
  EXPECT_TRUE(Pushes().empty());
}

TEST_F(VisitorChat, ALineWithoutItsTextIsNotSentAndYetLogged) {
  TestClient agent = server.Online("1");
  RegisterPhone("2");
  Visitor visitor(server);
  visitor.SendRecords(".+customer_information|1|v#");
  EXPECT_EQ(agent.Receive(), "");
  EXPECT_EQ(Log(), Lines{"v# To 1" + server.Lang("im107") + "|v#|127.0.0.1|5"});
  EXPECT_TRUE(Pushes().empty());
}

TEST_F(VisitorChat, SeveralRecordsOfOneFrameRunInTheirOrder) {
  TestClient agent = server.Online("1");
  Visitor visitor(server);
  visitor.SendRecords(
      ".+customer||v|c|x|#.+customer_information|1|v|c|a|#.+customer_information|1|v|c|b|#");
  const std::string head = ".+customer_information|v|c" + kStamp;
  EXPECT_EQ(agent.Receive(), head + "a|#" + head + "b|#");
  EXPECT_EQ(slots().Tag(1), "v");
}

// --- Carry-over ---

TEST_F(VisitorChat, ALineInPiecesArrivesWhole) {
  TestClient agent = server.Online("1");
  Visitor visitor(server);
  visitor.SendRecords(".+customer_information|1|v|c|one ");
  visitor.SendRecords("two ");
  EXPECT_EQ(agent.Receive(), "");
  visitor.SendRecords("three|#");
  EXPECT_EQ(agent.Receive(), ".+customer_information|v|c" + kStamp + "one two three|#");
  EXPECT_EQ(Pending(), "");
}

TEST_F(VisitorChat, AContinuationWithNothingPendingIsIgnoredWhateverItSays) {
  TestClient agent = server.Online("1");
  Visitor visitor(server);
  for (const char* piece : {"text|#", "#", ".+unknown|1|2|#", "customer_information|1|v|c|t|#"}) {
    visitor.SendRecords(piece);
    EXPECT_EQ(Pending(), "") << piece;
  }
  EXPECT_EQ(agent.Receive(), "");
  EXPECT_TRUE(Log().empty());
}

TEST_F(VisitorChat, ALaterUnfinishedLineReplacesTheEarlierOne) {
  TestClient agent = server.Online("1");
  Visitor visitor(server);
  visitor.SendRecords(".+customer_information|1|v|c|lost ");
  visitor.SendRecords(".+customer_information|1|v|c|kept");
  visitor.SendRecords("|#");
  EXPECT_EQ(agent.Receive(), ".+customer_information|v|c" + kStamp + "kept|#");
}

TEST_F(VisitorChat, ARegistrationLeavesAPendingLineAlone) {
  TestClient agent = server.Online("1");
  Visitor visitor(server);
  visitor.SendRecords(".+customer_information|1|v|c|one ");
  visitor.SendRecords(".+customer||v|c|x|#");
  visitor.SendRecords("two|#");
  EXPECT_EQ(agent.Receive(), ".+customer_information|v|c" + kStamp + "one two|#");
}

TEST_F(VisitorChat, AWholeLineLeavesAPendingOneAlone) {
  TestClient agent = server.Online("1");
  Visitor visitor(server);
  visitor.SendRecords(".+customer_information|1|v|c|one ");
  visitor.SendRecords(".+customer_information|1|v|c|between|#");
  visitor.SendRecords("two|#");
  const std::string head = ".+customer_information|v|c" + kStamp;
  EXPECT_EQ(agent.Receive(), head + "between|#" + head + "one two|#");
}

TEST_F(VisitorChat, RecordMarksInALongTextComeBackAndOneOfTwoInARowIsLost) {
  TestClient agent = server.Online("1");
  Visitor visitor(server);
  visitor.SendRecords(".+customer_information|1|v|c|a.+b.+.+c|#");
  EXPECT_EQ(agent.Receive(), ".+customer_information|v|c" + kStamp + "a.+b.+c|#");
}

TEST_F(VisitorChat, AnUnfinishedLineWaitsForTheNextConnectionOnItsSlotNumber) {
  TestClient agent = server.Online("1");
  Visitor first(server);
  first.SendRecords(".+customer_information|1|v|c|left ");
  slots().Close(1);
  Visitor second(server);
  EXPECT_EQ(slots().Highest(), 1);
  second.SendRecords("behind|#");
  EXPECT_EQ(agent.Receive(), ".+customer_information|v|c" + kStamp + "left behind|#");
}

TEST_F(VisitorChat, TheLineHistoryTablesAreNotWritten) {
  TestClient agent = server.Online("1");
  Visitor visitor(server);
  visitor.SendRecords(".+customer|1|v|c|x|#");
  visitor.SendRecords(".+customer_information|1|v|c|x|#");
  EXPECT_TRUE(server.Rows("select * from MessengKefu_Text").empty());
  EXPECT_TRUE(server.Rows("select * from MessengKefuClot_Text").empty());
}

// --- Many visitors ---

// One after the other connects, registers and leaves.
void ComeAndGo(TestServer& server, int visitors) {
  for (int i = 0; i < visitors; ++i) {
    Visitor visitor(server);
    visitor.SendRecords(".+customer||v" + std::to_string(i) + "|c||#");
  }
}

TEST_F(VisitorChat, EachVisitorWhoLeavesKeepsASlotUntilTheSameVisitorComesAgain) {
  constexpr int kVisitors = 2'000;
  ComeAndGo(server, kVisitors);
  EXPECT_EQ(slots().Highest(), kVisitors);
  EXPECT_EQ(slots().Tag(1), "v0");
  EXPECT_EQ(slots().State(1), SocketState::kClosing);

  ComeAndGo(server, kVisitors);  // each frees the slot of the first visit for the one behind
  EXPECT_EQ(slots().Highest(), kVisitors + 1);
  server.AdvanceMs(60'000);
  EXPECT_EQ(slots().Highest(), kVisitors + 1);
  EXPECT_EQ(server.Value("select count(*) from Kefu"), std::to_string(2 * kVisitors));
}

}  // namespace
}  // namespace vnq
