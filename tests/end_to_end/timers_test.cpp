// The three timers: the flush, the watchdog of sibling services and the push.
#include <algorithm>

#include "support/base64_text.h"
#include "tests/end_to_end/harness/test_server.h"

namespace vnq {
namespace {

using Texts = std::vector<std::string>;

TestServerOptions WithPushInterval(const std::string& seconds) {
  TestServerOptions options;
  options.settings =
      "[server_connection]\r\nDB_TYPE=access\r\nDataBaseName=\\Web\\Data\\vnq.db\r\n"
      "DataBaseIp=127.0.0.1\r\n[message_push]\r\ninterval_time=" +
      seconds + "\r\n";
  return options;
}

class Timers : public ServerTest {
 protected:
  Timers() : ServerTest(WithPushInterval("32")) {}

  // A sibling that has named itself on the control channel.
  TestClient Sibling(const std::string& tag) {
    TestClient client = server.ConnectTo(6003);
    client.ReceiveBytes();
    server.host().SckServer6003.SetTag(1, tag);
    return client;
  }
};

TEST_F(Timers, TwoRecordsOfOneSecondArriveAsOneText) {
  TestClient client = server.Connect();
  client.Send(".+message|a|1|t|f|1|1|#");
  client.Send(".+message|a|1|t|f|2|1|#");
  EXPECT_EQ(client.ReceiveBytes(), "");
  server.Tick();
  EXPECT_EQ(client.ReceiveBytes(),
            Base64EncodeText(server.page(), ".+reply|1|a|1|#.+reply|1|a|2|#"));
}

TEST_F(Timers, ABufferIsSentOnce) {
  TestClient client = server.Connect();
  client.Send(".+message|a|1|t|f|1|1|#");
  server.Tick();
  client.Receive();
  server.AdvanceMs(5000);
  EXPECT_EQ(client.Receive(), "");
}

TEST_F(Timers, ASilentSiblingIsPingedFromItsSixthSecond) {
  TestClient sibling = Sibling("VNQUpload");
  server.AdvanceMs(5000);
  EXPECT_EQ(sibling.ReceiveBytes(), "");
  server.Tick();
  EXPECT_EQ(sibling.ReceiveBytes(), ".+x|#");
  server.Tick();
  EXPECT_EQ(sibling.ReceiveBytes(), ".+x|#");
}

TEST_F(Timers, ASilentSiblingIsClosedAndRestartedInItsThirtySixthSecond) {
  TestClient sibling = Sibling("VNQUpload");
  server.AdvanceMs(35'000);
  EXPECT_FALSE(sibling.IsClosed());
  EXPECT_TRUE(server.commands().calls.empty());
  server.Tick();
  EXPECT_TRUE(sibling.IsClosed());
  EXPECT_EQ(server.host().SckServer6003.Tag(1), "");
  // Nobody answers on the service page: the fallback acts on one fixed service.
  for (int i = 0; i < 100 && server.commands().calls.size() < 3; ++i) server.Pump();
  EXPECT_EQ(server.commands().calls, (Texts{"start systemctl stop VNQ_Site_Service", "block 10000",
                                            "start systemctl start VNQ_Site_Service"}));
}

TEST_F(Timers, AnEndpointsSlotIsPingedWithoutEndAndNotRestarted) {
  TestClient agent = Sibling("VNQPcTelnet");
  server.AdvanceMs(60'000);
  const std::string pings = agent.ReceiveBytes();
  EXPECT_EQ(pings.size(), 55 * std::string(".+x|#").size());
  EXPECT_FALSE(agent.IsClosed());
  EXPECT_TRUE(server.commands().calls.empty());
}

TEST_F(Timers, ASlotWithoutANameDoesNotAge) {
  TestClient nobody = server.ConnectTo(6003);
  nobody.ReceiveBytes();
  server.AdvanceMs(40'000);
  EXPECT_EQ(nobody.ReceiveBytes(), "");
}

TEST_F(Timers, ThePushQueueIsEmptiedEveryInterval) {
  server.host().PushUrl = "http://127.0.0.1:9/push";
  server.host().PushQueue.Add("a||b|1|text");
  server.AdvanceMs(31'000);
  EXPECT_FALSE(server.host().PushQueue.empty());
  server.AdvanceMs(1000);
  EXPECT_TRUE(server.host().PushQueue.empty());
}

class PushInterval : public ::testing::TestWithParam<std::pair<const char*, int>> {};

// The seconds at which the queue is found empty first; 0: never within two minutes.
int SecondsToPush(const std::string& setting) {
  TestServer server(WithPushInterval(setting));
  server.host().PushUrl = "http://127.0.0.1:9/push";
  server.host().PushQueue.Add("a||b|1|text");
  for (int second = 1; second <= 120; ++second) {
    server.Tick();
    if (server.host().PushQueue.empty()) return second;
  }
  return 0;
}

TEST_P(PushInterval, IsTheSettingWhereItsMillisecondsFit16Bits) {
  EXPECT_EQ(SecondsToPush(GetParam().first), GetParam().second);
}

INSTANTIATE_TEST_SUITE_P(Settings, PushInterval,
                         ::testing::Values(std::pair{"32", 32}, std::pair{"33", 30},
                                           std::pair{"5", 5}, std::pair{"0", 0}, std::pair{"", 30},
                                           std::pair{"soon", 30}, std::pair{"99999", 30}));

}  // namespace
}  // namespace vnq
