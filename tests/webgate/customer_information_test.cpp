// A visitor's line on the main port, and the routine behind it.
#include "messaging/messaging.h"
#include "tests/harness/test_server.h"
#include "webgate/webgate.h"

namespace vnq {
namespace {

class CustomerInformation : public ServerTest {
 protected:
  CustomerInformation() {
    server.AddUser("1", {"Registration_Id=reg"});
    server.AddUser("2");
  }
  void Run(const std::string& record, int kind, SlotIndex slot = 1) {
    server.InHandler([=](Host& host) {
      Fields fields = Fields::Split(record);
      CustomerMessage(host, fields, slot, "10.9.8.7", static_cast<VisitorLineKind>(kind));
    });
  }
  Lines LogLine(const std::string& target = "1", const std::string& ip = "127.0.0.1") {
    return {"v To " + target + server.Lang("im107") + "|v|" + ip + "|5"};
  }
};

constexpr const char* kLine = ".+customer_information|1|v|City|hello|#";
constexpr const char* kSent = ".+customer_information|v|City|2026-03-04|05:06:07|hello|#";

TEST_F(CustomerInformation, LineReachesItsAgentAtOnceIsPushedAndLogged) {
  TestClient agent = server.Online("1");
  server.Run("update Users_ID set UserIcoLine=2");
  server.Run("delete from ServerLog");
  TestClient visitor = server.Connect();
  visitor.Send(kLine);
  EXPECT_EQ(agent.Receive(), kSent);
  EXPECT_EQ(visitor.Receive(), "");
  EXPECT_EQ(server.Log(), LogLine());
  EXPECT_EQ(server.Pushes(), Lines{"1|City|v|3|hello"});
  EXPECT_EQ(server.Waiting(1) + server.Waiting(2), "");
}

TEST_F(CustomerInformation, LineToAnAgentWhoIsNotOnlineIsPushedAndLogged) {
  TestClient visitor = server.Connect();
  visitor.Send(kLine);
  EXPECT_EQ(server.Log(), LogLine());
  EXPECT_EQ(server.Pushes(), Lines{"1|City|v|3|hello"});
}

TEST_F(CustomerInformation, PushShowsTheTextUnescapedAndTheAgentGetsItAsItCame) {
  TestClient agent = server.Online("1");
  server.Run("update Users_ID set UserIcoLine=0");
  TestClient visitor = server.Connect();
  visitor.Send(".+customer_information|1|v|City|%u4F60%20x|#");
  EXPECT_EQ(agent.Receive(), ".+customer_information|v|City|2026-03-04|05:06:07|%u4F60%20x|#");
  EXPECT_EQ(server.Pushes(), Lines{"1|City|v|3|你 x"});
}

TEST_F(CustomerInformation, FieldFiveStandsLastWithNothingBehindIt) {
  TestClient agent = server.Online("1");
  TestClient visitor = server.Connect();
  visitor.Send(".+customer_information|1|v|City|hello|last|#");
  EXPECT_EQ(agent.Receive(), ".+customer_information|v|City|2026-03-04|05:06:07|hello|last");
}

TEST_F(CustomerInformation, LineIsNotFiltered) {
  server.OnEveryNode([&](Host& host) { host.BlockKeywords = {"hello"}; });
  TestClient agent = server.Online("1");
  TestClient visitor = server.Connect();
  visitor.Send(kLine);
  EXPECT_EQ(agent.Receive(), kSent);
}

TEST_F(CustomerInformation, AgentsMobileSessionIsNotLookedFor) {
  TestClient phone = server.Online("1", 3);
  TestClient visitor = server.Connect();
  visitor.Send(kLine);
  EXPECT_EQ(phone.Receive(), "");
}

TEST_F(CustomerInformation, OnlyTheLowestConnectedSlotOfTheAgentGetsTheLine) {
  TestClient gone = server.Online("1");
  gone.Close();
  TestClient first = server.Online("1");
  TestClient second = server.Connect();
  server.Slots(6004).SetTag(3, "1");
  TestClient visitor = server.Connect();
  visitor.Send(kLine);
  EXPECT_EQ(first.Receive(), kSent);
  EXPECT_EQ(second.Receive(), "");
}

TEST_F(CustomerInformation, LineWithoutItsClosingMarkWaitsForTheRest) {
  TestClient agent = server.Online("1");
  server.Run("delete from ServerLog");
  TestClient visitor = server.Connect();
  visitor.Send(".+customer_information|1|v|City|hel");
  EXPECT_EQ(agent.Receive(), "");
  EXPECT_EQ(server.Log(), Lines{});
  visitor.Send("lo|#");
  EXPECT_EQ(agent.Receive(), kSent);
  EXPECT_EQ(server.Log(), LogLine());
  EXPECT_EQ(server.host().PendingRecord[2], "");
  EXPECT_EQ(server.Waiting(2), "");
}

TEST_F(CustomerInformation, TextWithThePrefixInItIsRejoined) {
  TestClient agent = server.Online("1");
  TestClient visitor = server.Connect();
  visitor.Send(".+customer_information|1|v|City|a.+b|#");
  EXPECT_EQ(agent.Receive(), ".+customer_information|v|City|2026-03-04|05:06:07|a.+b|#");
}

TEST_F(CustomerInformation, ShortLinesAreNotSentAndLoggedWhenTheyNameBothSides) {
  TestClient agent = server.Online("1");
  server.Run("delete from ServerLog");
  TestClient visitor = server.Connect();
  visitor.Send(".+customer_information|1|v|City|#");  // the text is the closing mark
  EXPECT_EQ(agent.Receive(), "");
  EXPECT_EQ(server.Log(), LogLine());
  visitor.Send(".+customer_information|1|#");  // the visitor is
  EXPECT_EQ(server.Log().back(), "# To 1" + server.Lang("im107") + "|#|127.0.0.1|5");
  visitor.Send(".+customer_information|#");
  EXPECT_EQ(server.Log().size(), 2u);
  EXPECT_EQ(agent.Receive(), "");
}

TEST_F(CustomerInformation, QuotesAreSentAndLoggedAndNotPushed) {
  TestClient agent = server.Connect();
  server.Slots(6004).SetTag(1, "a'b");
  TestClient visitor = server.Connect();
  visitor.Send(".+customer_information|a'b|v|Ci'ty|it's|#");
  EXPECT_EQ(agent.Receive(), ".+customer_information|v|Ci'ty|2026-03-04|05:06:07|it's|#");
  EXPECT_EQ(server.Log(), LogLine("a'b"));
  EXPECT_EQ(server.Pushes(), Lines{});
}

TEST_F(CustomerInformation, AgentWhoMovesBehindTheWalkIsMissedAndTheLineIsPushedAndLogged) {
  TestClient visitor = server.Connect();
  TestClient fresh = server.Connect();
  std::vector<TestClient> others;
  for (int i = 0; i < 10; ++i) others.push_back(server.Connect());
  TestClient agent = server.Online("1");
  fresh.Receive();
  server.Run("update Users_ID set UserIcoLine=2");
  server.Run("delete from ServerLog");
  visitor.SendQuietly(kLine);
  for (int i = 0; i < 6; ++i) server.loop().Turn(0);  // the walk has passed the second slot
  ASSERT_EQ(server.Log(), Lines{});
  server.Slots(6004).SetTag(2, "1");
  server.Slots(6004).SetTag(13, "");
  server.Pump();
  EXPECT_EQ(fresh.Receive(), "");
  EXPECT_EQ(agent.Receive(), "");
  EXPECT_EQ(server.Pushes(), Lines{"1|City|v|3|hello"});
  EXPECT_EQ(server.Log(), LogLine());
}

// --- The routine ---

TEST_F(CustomerInformation, NoteOfAVisitorNamedAsTheAgentIsPushedByTheTagOfTheSlotsNumber) {
  TestClient desktop = server.Online("2");
  TestClient phone = server.Online("2", 3);
  Run(".+customer_information|2|2|City|hello|#", 3, 1);
  EXPECT_EQ(server.Pushes(), Lines{"2|City|2|3|hello"});
  server.ClearPushes();
  Run(".+customer_information|2|2|City|hello|#", 3, 2);
  EXPECT_EQ(server.Pushes(), Lines{});
}

TEST_F(CustomerInformation, LineToAGroupReachesItsAgentsAndIsPushedOnce) {
  server.AddUser("3");
  server.Run(
      "insert into lv_chater_Clot_Form(TypeID,IsAdmin,UserID) values(5,0,'name1'),(5,0,'name2'),"
      "(5,1,'name3'),(6,0,'name3'),(5,0,'v'),(5,0,'nobody')");
  TestClient one = server.Online("1");
  TestClient two = server.Online("2");
  TestClient three = server.Online("3");
  for (TestClient* each : {&one, &two, &three}) each->Receive();
  server.Run("delete from ServerLog");
  Run(".+customer_information|5|v|City|%u4F60|#", 6);
  const std::string sent = ".+customer_information|v|City|2026-03-04|05:06:07|%u4F60|#";
  EXPECT_EQ(one.Receive(), sent);
  EXPECT_EQ(two.Receive(), sent);
  EXPECT_EQ(three.Receive(), "");
  EXPECT_EQ(server.Log(), LogLine("5", "10.9.8.7"));
  EXPECT_EQ(server.Pushes(), Lines{"5|v|5|6|你"});
}

TEST_F(CustomerInformation, LineToAGroupIsNotSentToTheVisitorItself) {
  server.Run("insert into lv_chater_Clot_Form(TypeID,IsAdmin,UserID) values(5,0,'name1')");
  TestClient one = server.Online("1");
  Run(".+customer_information|5|name1|City|hello|#", 6);
  EXPECT_EQ(one.Receive(), "");
}

TEST_F(CustomerInformation, GroupThatIsNoNumberIsPushedAndLoggedAndReachesNobody) {
  TestClient one = server.Online("1");
  server.Run("delete from ServerLog");
  Run(".+customer_information|5 or 1=1|v|City|hello|#", 6);
  EXPECT_EQ(one.Receive(), "");
  EXPECT_EQ(server.Log(), LogLine("5 or 1=1", "10.9.8.7"));
  EXPECT_EQ(server.Pushes(), Lines{"5 or 1=1|v|5 or 1=1|6|hello"});
}

TEST_F(CustomerInformation, AnyOtherKindIsOnlyLogged) {
  TestClient one = server.Online("1");
  for (int kind : {0, 1, 2, 4, 5, 7}) {
    server.Run("delete from ServerLog");
    Run(kLine, kind);
    EXPECT_EQ(server.Log(), LogLine("1", "10.9.8.7"));
  }
  EXPECT_EQ(one.Receive(), "");
  EXPECT_EQ(server.Pushes(), Lines{});
}

}  // namespace
}  // namespace vnq
