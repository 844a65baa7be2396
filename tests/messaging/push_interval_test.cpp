// How often the queued mobile notifications leave.
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

TestServerOptions WithPushInterval(const std::string& seconds) {
  TestServerOptions options;
  options.settings =
      "[server_connection]\r\nDB_TYPE=access\r\nDataBaseName=\\Web\\Data\\vnq.db\r\n"
      "DataBaseIp=127.0.0.1\r\n[message_push]\r\ninterval_time=" +
      seconds + "\r\n";
  return options;
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
