// The three timers: flush of receipts, watch over sibling services, sweep of lost connections.
#include "server/timers.h"

#include "support/base64_text.h"
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

constexpr uint16_t kControlPort = 6003;

class Timers : public ServerTest {
 protected:
  Timers() : ServerTest({.settings = DefaultSettings("DataBaseIp=127.99.99.99")}) {}

  // A sibling on the next slot of the control port, its greeting taken.
  TestClient Sibling(const std::string& name) {
    TestClient client = server.ConnectTo(kControlPort);
    EXPECT_EQ(client.ReceiveBytes(), ".+successful_connection|#");
    const SlotIndex slot = server.host().SckServer6003.Highest();
    server.host().SckServer6003.SetTag(slot, name);
    return client;
  }
  void Ticks(int count) { server.AdvanceMs(count * 1000); }
};

// --- Siblings ---

TEST_F(Timers, SilentSiblingIsPingedFromItsSixthSecondOnEverySecond) {
  TestClient sibling = Sibling("VNQUpload");
  Ticks(5);
  EXPECT_EQ(sibling.ReceiveBytes(), "");
  Ticks(1);
  EXPECT_EQ(sibling.ReceiveBytes(), ".+x|#");
  Ticks(3);
  EXPECT_EQ(sibling.ReceiveBytes(), ".+x|#.+x|#.+x|#");
}

TEST_F(Timers, SilentSiblingIsClosedAtItsThirtySixthSecond) {
  for (const char* name : {"VNQUpload", "VNQDownload", "VNQSetverPic", "VNQTelnet"}) {
    TestClient sibling = Sibling(name);
    Ticks(35);
    EXPECT_FALSE(sibling.IsClosed()) << name;
    Ticks(1);
    EXPECT_TRUE(sibling.IsClosed()) << name;
    EXPECT_EQ(server.host().SckServer6003.State(1), SocketState::kClosed);
    EXPECT_EQ(server.host().SckServer6003.Tag(1), "");
    EXPECT_EQ(server.host().HeartbeatAge[1], 36);  // not reset here
    server.host().HeartbeatAge[1] = 0;
  }
}

TEST_F(Timers, RestartIsAskedForOnceAndFallsBackToTheOwnMachine) {
  TestClient sibling = Sibling("VNQUpload");
  Ticks(36);
  const Lines& calls = server.commands().calls;
  for (int i = 0; i < 500 && calls.size() < 3; ++i) server.loop().Turn(10);
  ASSERT_EQ(calls.size(), 3u);
  EXPECT_NE(calls[0].find("VNQ_Site_Service"), std::string::npos);
  EXPECT_EQ(calls[1], "block 10000");
  EXPECT_NE(calls[2].find("VNQ_Site_Service"), std::string::npos);
  Ticks(40);
  EXPECT_EQ(calls.size(), 3u);
}

TEST_F(Timers, EndpointIsPingedWithoutEndAndStays) {
  TestClient endpoint = Sibling("PC-1");
  Ticks(60);
  EXPECT_FALSE(endpoint.IsClosed());
  EXPECT_EQ(endpoint.ReceiveBytes().size(), 55 * std::string(".+x|#").size());
  EXPECT_EQ(server.host().SckServer6003.Tag(1), "PC-1");
}

TEST_F(Timers, ConnectionWithoutANameDoesNotAge) {
  TestClient nobody = Sibling("");
  Ticks(40);
  EXPECT_EQ(nobody.ReceiveBytes(), "");
  EXPECT_EQ(server.host().HeartbeatAge[1], 0);
}

TEST_F(Timers, SiblingThatWasHeardAgesFromZero) {
  TestClient sibling = Sibling("VNQUpload");
  Ticks(30);
  server.host().HeartbeatAge[1] = 0;
  sibling.ReceiveBytes();
  Ticks(5);
  EXPECT_EQ(sibling.ReceiveBytes(), "");
  EXPECT_FALSE(sibling.IsClosed());
}

TEST_F(Timers, NameOfASiblingIsComparedExactly) {
  TestClient sibling = Sibling("vnqupload");
  Ticks(40);
  EXPECT_FALSE(sibling.IsClosed());
}

TEST_F(Timers, SiblingWhosePeerHasGoneAgesAndIsClosedToo) {
  TestClient sibling = Sibling("VNQDownload");
  sibling.Close();
  Ticks(36);
  EXPECT_EQ(server.host().SckServer6003.State(1), SocketState::kClosed);
  EXPECT_EQ(server.host().SckServer6003.Tag(1), "");
}

// --- Flush ---

TEST_F(Timers, RecordsQueuedInOneSecondReachTheClientInOneRead) {
  TestClient client = server.Connect();
  server.host().ReplyBuffer[1] = ".+a|#";
  server.host().ReplyBuffer[1] += ".+b|#";
  server.Tick();
  EXPECT_EQ(client.ReceiveBytes(), Base64EncodeText(server.page(), ".+a|#.+b|#"));
  EXPECT_EQ(server.Waiting(1), "");
}

TEST_F(Timers, BufferOfASlotThatIsNotConnectedWaits) {
  { TestClient client = server.Connect(); }
  server.Pump();
  server.host().ReplyBuffer[1] = ".+a|#";
  server.host().ReplyBuffer[2] = ".+b|#";
  server.Tick();
  EXPECT_EQ(server.Waiting(1), ".+a|#");
  EXPECT_EQ(server.Waiting(2), ".+b|#");
}

// --- Sweep ---

TEST_F(Timers, SweptEndpointIsMarkedOffline) {
  server.Run("insert into Users_WinInfo(WindowsInfo,UserIcoLine) values('PC-1',1),('PC-2',1)");
  TestClient endpoint = server.ConnectTo(6008);
  server.host().SckServer6008.SetTag(1, "PC-1");
  server.AdvanceMs(20000);
  EXPECT_EQ(server.Rows("select UserIcoLine from Users_WinInfo order by WindowsInfo"),
            (Lines{"1", "1"}));
  endpoint.Close();
  ASSERT_EQ(server.host().SckServer6008.State(1), SocketState::kClosing);
  server.AdvanceMs(20000);
  EXPECT_EQ(server.Rows("select UserIcoLine from Users_WinInfo order by WindowsInfo"),
            (Lines{"0", "1"}));
  EXPECT_EQ(server.host().SckServer6008.State(1), SocketState::kClosed);
  EXPECT_EQ(server.host().SckServer6008.Tag(1), "");
}

TEST_F(Timers, SweepRunsEveryTwentySeconds) {
  TestClient client = server.Connect();
  client.Close();
  server.AdvanceMs(19999);
  EXPECT_EQ(server.State(1), SocketState::kClosing);
  server.AdvanceMs(1);
  EXPECT_EQ(server.State(1), SocketState::kClosed);
}

// --- Push ---

TEST_F(Timers, PushTickWithoutLinesLeavesTheQueueAlone) {
  server.InHandler(WeatherTimeTick);
  EXPECT_TRUE(server.host().PushQueue.empty());
}

TEST_F(Timers, PushTickEmptiesTheQueue) {
  server.host().PushUrl = "http://127.99.99.99:9/push";
  server.host().PushQueue.Add("2||1|1|hello");
  server.InHandler(WeatherTimeTick);
  EXPECT_TRUE(server.host().PushQueue.empty());
}

}  // namespace
}  // namespace vnq
