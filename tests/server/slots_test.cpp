// Listeners, slots and the sweep of those whose peer has gone.
#include "host/values/skipped.h"
#include "support/base64_text.h"
#include "tests/harness/said_lines.h"
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

class Slots : public ServerTest {
 protected:
  SlotArray& slots() { return server.host().SckServer; }
};

TEST_F(Slots, EachPortGreetsInItsOwnForm) {
  const std::string encoded = Base64EncodeText(server.page(), ".+successful_connection|#");
  EXPECT_EQ(server.ConnectTo(6004).ReceiveBytes(),
            Base64EncodeText(server.page(), ".+SuccessfulConnection|#"));
  EXPECT_EQ(server.ConnectTo(6001).ReceiveBytes(), "");
  EXPECT_EQ(server.ConnectTo(6002).ReceiveBytes(), encoded);
  EXPECT_EQ(server.ConnectTo(6003).ReceiveBytes(), ".+successful_connection|#");
  EXPECT_EQ(server.ConnectTo(6007).ReceiveBytes(), encoded);
  EXPECT_EQ(server.ConnectTo(6008).ReceiveBytes(), ".+successful_connection|#");
}

TEST_F(Slots, TheFirstConnectionGoesToSlotOne) {
  EXPECT_EQ(slots().Highest(), 1);
  TestClient client = server.Connect();
  EXPECT_EQ(slots().Highest(), 1);
  EXPECT_EQ(slots().State(1), SocketState::kConnected);
  EXPECT_EQ(slots().RemoteHostIP(1), "127.0.0.1");
}

TEST_F(Slots, AConnectionBeyondTheLastFreeSlotMakesOneThatStays) {
  {
    TestClient first = server.Connect();
    TestClient second = server.Connect();
    EXPECT_EQ(slots().Highest(), 2);
  }
  server.AdvanceMs(20'000);
  EXPECT_EQ(slots().Highest(), 2);
  EXPECT_EQ(slots().State(2), SocketState::kClosed);
}

TEST_F(Slots, ASlotWhosePeerHasGoneIsPassedOverUntilTheSweep) {
  TestClient first = server.Connect();
  first.Close();
  EXPECT_EQ(slots().State(1), SocketState::kClosing);
  TestClient second = server.Connect();
  EXPECT_EQ(slots().State(2), SocketState::kConnected);
  server.AdvanceMs(20'000);
  EXPECT_EQ(slots().State(1), SocketState::kClosed);
  TestClient third = server.Connect();
  EXPECT_EQ(slots().State(1), SocketState::kConnected);
  EXPECT_EQ(slots().Highest(), 2);
}

TEST_F(Slots, AResetCountsAsAPeerThatHasGone) {
  TestClient client = server.Connect();
  client.Reset();
  EXPECT_EQ(slots().State(1), SocketState::kClosing);
}

TEST_F(Slots, ASweptDesktopOfAUserWithAPhoneFallsBackToThree) {
  server.AddUser("1", {"Registration_Id=push"});
  TestClient client = server.Online("1");
  client.Close();
  EXPECT_EQ(server.Value("select UserIcoLine from Users_ID"), "1");
  server.AdvanceMs(20'000);
  EXPECT_EQ(server.Value("select UserIcoLine from Users_ID"), "3");
  EXPECT_EQ(slots().Tag(1), "");
}

TEST_F(Slots, ASweptDesktopWithoutAPhoneIsOfflineAndLogged) {
  server.AddUser("1");
  TestClient other = server.Connect();
  TestClient client = server.Online("1");
  other.Receive();
  client.Close();
  server.AdvanceMs(20'000);
  EXPECT_EQ(server.Value("select UserIcoLine from Users_ID"), "0");
  EXPECT_EQ(server.Rows("select * from ServerLog where Ico=16"),
            Lines{"1" + server.Lang("im14") + "|1|127.0.0.1|16"});
  EXPECT_EQ(other.Receive(), "") << "the sweep tells nobody";
}

TEST_F(Slots, ASweptMobileChangesNoPresenceAndIsLogged) {
  server.AddUser("1", {"Registration_Id=push"});
  TestClient client = server.Online("1", 3);
  client.Close();
  server.AdvanceMs(20'000);
  EXPECT_EQ(server.Value("select UserIcoLine from Users_ID"), "3");
  server.Run("update Users_ID set UserIcoLine=1");
  EXPECT_EQ(server.Rows("select Txt,UserID from ServerLog where Ico=16"),
            Lines{"1m" + server.Lang("im14") + "|1m"});
}

TEST_F(Slots, ASweptSlotWithoutANameIsNotLogged) {
  TestClient client = server.Connect();
  client.Close();
  server.AdvanceMs(20'000);
  EXPECT_EQ(slots().State(1), SocketState::kClosed);
  EXPECT_EQ(server.Rows("select * from ServerLog"), Lines{});
}

TEST_F(Slots, ASweptEndpointIsMarkedOffline) {
  server.Run("insert into Users_WinInfo(WindowsInfo,UserIcoLine) values('PC1',1)");
  TestClient agent = server.ConnectTo(6008);
  server.host().SckServer6008.SetTag(1, "PC1");
  agent.Close();
  server.AdvanceMs(20'000);
  EXPECT_EQ(server.Value("select UserIcoLine from Users_WinInfo"), "0");
  EXPECT_EQ(server.host().SckServer6008.State(1), SocketState::kClosed);
  EXPECT_EQ(server.host().SckServer6008.Tag(1), "");
}

TEST_F(Slots, VisitorScreenAndApplicationSlotsAreNotSwept) {
  for (const uint16_t port : {uint16_t{6001}, uint16_t{6002}, uint16_t{6007}})
    server.ConnectTo(port).Close();
  server.AdvanceMs(60'000);
  EXPECT_EQ(server.host().SckServer6001.State(1), SocketState::kClosing);
  EXPECT_EQ(server.host().SckServer6002.State(1), SocketState::kClosing);
  EXPECT_EQ(server.host().SckServer6007.State(1), SocketState::kClosing);
}

TEST_F(Slots, OnTheVisitorPortAReusedSlotLosesItsTag) {
  SlotArray& visitors = server.host().SckServer6001;
  TestClient first = server.ConnectTo(6001);
  visitors.SetTag(1, "v");
  visitors.Close(1);
  EXPECT_EQ(visitors.Tag(1), "v");
  TestClient second = server.ConnectTo(6001);
  EXPECT_EQ(visitors.State(1), SocketState::kConnected);
  EXPECT_EQ(visitors.Tag(1), "");
}

TEST_F(Slots, OnTheMainPortAReusedSlotKeepsItsTag) {
  TestClient first = server.Connect();
  slots().SetTag(1, "old");
  slots().Close(1);
  TestClient second = server.Connect();
  EXPECT_EQ(slots().Tag(1), "old");
}

TEST_F(Slots, TheFirstConnectedSlotOfATagIsTheLowest) {
  TestClient a = server.Connect();
  TestClient b = server.Connect();
  TestClient c = server.Connect();
  slots().SetTag(3, "u");
  slots().SetTag(2, "u");
  slots().SetTag(1, "U");
  EXPECT_EQ(slots().FirstConnected("u"), 2);
  EXPECT_EQ(slots().FirstConnected("u", 2), 3);
  b.Close();
  EXPECT_EQ(slots().FirstConnected("u"), 3);
  EXPECT_EQ(slots().FirstWithTag("u"), 2);
  EXPECT_EQ(slots().FirstConnected("x"), kNoSlot);
}

TEST_F(Slots, AWalkVisitsTheSlotsThatThereWereAtItsStart) {
  TestClient a = server.Connect(), b = server.Connect();
  std::vector<TestClient> later;
  std::vector<int> visited;
  for (const SlotIndex slot : slots().AllNow()) {
    visited.push_back(slot);
    later.push_back(server.Connect());
  }
  EXPECT_EQ(visited, (std::vector<int>{1, 2}));
  EXPECT_EQ(slots().Highest(), 4);
}

TEST_F(Slots, AFailedTagNamesNoSlotAndFindsNone) {
  TestClient a = server.Connect();
  slots().SetTag(1, "u");
  const uint64_t before = SkippedStatements();
  slots().SetTag(1, Expr::Failed());
  EXPECT_EQ(slots().Tag(1), "u");
  EXPECT_EQ(slots().FirstConnected(Expr::Failed()), kNoSlot);
  EXPECT_EQ(slots().FirstWithTag(Expr::Failed()), kNoSlot);
  EXPECT_EQ(SkippedStatements() - before, 3U);
}

TEST_F(Slots, WhatTheScreenPortReadsHasNoEffect) {
  TestClient screen = server.ConnectTo(6002);
  screen.ReceiveBytes();
  screen.Send(".+y|#.+landing|a|b|#");
  screen.SendBytes("\xff not base64 at all");
  EXPECT_EQ(screen.ReceiveBytes(), "");
  EXPECT_EQ(server.host().SckServer6002.State(1), SocketState::kConnected);
  EXPECT_EQ(server.host().SckServer6002.Tag(1), "");
}

TEST_F(Slots, TheEndOfAConnectionWithANameIsSaidWithItsDuration) {
  server.AddUser("1");
  TestClient client = server.Online("1"), nameless = server.Connect();
  server.AdvanceMs(12'000);
  SaidLines said;
  nameless.Close();
  client.Close();
  server.Pump();
  EXPECT_EQ(said.Take(),
            Lines{"info: 6004: connection of 1 from 127.0.0.1 ended after 12 s, by the peer"});
  server.AdvanceMs(20'000);  // the sweep frees the slots
  EXPECT_EQ(said.Take(), Lines{});
  TestClient again = server.Online("1", 3);
  slots().Close(slots().FirstConnected("1m"));
  EXPECT_EQ(said.Take(),
            Lines{"info: 6004: connection of 1m from 127.0.0.1 ended after 0 s, by the server"});
}

TEST_F(Slots, WhoLogsOutIsSaidOnce) {
  server.AddUser("1");
  TestClient client = server.Online("1");
  server.AdvanceMs(5'000);
  SaidLines said;
  client.Send(".+offline|1|#");
  client.Close();
  server.Pump();
  EXPECT_EQ(said.Take(),
            Lines{"info: 6004: connection of 1 from 127.0.0.1 ended after 5 s, with its session"});
}

TEST_F(Slots, TheEndsOfManyConnectionsAreCounted) {
  SaidLines said;
  for (int i = 0; i < SlotArray::kEndsSaidAMinute + 3; ++i) {
    TestClient client = server.Connect();
    slots().SetTag(1, "x\ny");
    slots().Close(1);
  }
  const std::vector<std::string> lines = said.Take();
  ASSERT_EQ(lines.size(), static_cast<size_t>(SlotArray::kEndsSaidAMinute));
  EXPECT_EQ(lines[0],
            "info: 6004: connection of x?y from 127.0.0.1 ended after 0 s, by the server");
  server.AdvanceMs(LineQuota::kRoundMs);
  EXPECT_EQ(said.Take(), Lines{"info: 6004: ends of connections: 3 more within a minute"});
}

}  // namespace
}  // namespace vnq
