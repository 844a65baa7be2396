// The watchdog end to end: a sibling service that falls silent, the service host that is asked to
// restart it, and the service manager of this machine where that host does not answer.
#include <gmock/gmock.h>

#include <fstream>
#include <sstream>

#include "tests/harness/loopback_http_server.h"
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;
using Calls = std::vector<std::string>;

constexpr uint16_t kControlPort = 6003;
constexpr uint16_t kServicePage = 98;

const Calls kFallback = {"start systemctl stop VNQ_Site_Service", "block 10000",
                         "start systemctl start VNQ_Site_Service"};

TestServerOptions WithServiceHost(const std::string& address) {
  TestServerOptions options;
  options.settings =
      "[server_connection]\r\nDB_TYPE=access\r\nDataBaseName=\\Web\\Data\\vnq.db\r\n"
      "DataBaseIp=" +
      address + "\r\n";
  return options;
}

class Watchdog : public ServerTest {
 protected:
  Watchdog() : ServerTest(WithServiceHost(LoopbackAddress(1))), host(server.loop()) {}

  void SetUp() override {
    std::string error;
    if (!host.Start(LoopbackAddress(1), kServicePage, error)) {
      GTEST_SKIP() << "the service page's port needs privileges: " << error;
    }
  }

  TestClient Sibling(const std::string& name) {
    TestClient sibling = server.ConnectTo(kControlPort);
    EXPECT_EQ(sibling.ReceiveBytes(), ".+successful_connection|#");
    sibling.SendBytes(".+landing|" + name + "|#");
    return sibling;
  }
  bool WaitForRequests(size_t count) {
    return RunUntil(server.loop(), [&] { return host.Requests().size() >= count; });
  }
  bool WaitForCommands(size_t count) {
    return RunUntil(server.loop(), [&] { return server.commands().calls.size() >= count; });
  }
  // Serves what is ready for a while, so that what must not happen would have.
  void Settle() {
    for (int i = 0; i < 50; ++i) server.loop().Turn(1);
  }
  int Slot(const std::string& name) { return server.Slots(6003).FirstWithTag(name); }

  LoopbackHttpServer host;
};

TEST_F(Watchdog, ASiblingThatAnswersEachPingIsLeftAlone) {
  TestClient sibling = Sibling("VNQUpload");
  for (int second = 1; second <= 120; ++second) {
    server.Tick();
    if (sibling.ReceiveBytes() == ".+x|#") sibling.SendBytes(".+x|#");
  }
  EXPECT_FALSE(sibling.IsClosed());
  EXPECT_TRUE(host.Requests().empty());
}

TEST_F(Watchdog, PingsComeFromTheSixthSecondAndTheRestartInTheThirtySixth) {
  host.Answer(HttpAnswer("ok"));
  TestClient sibling = Sibling("VNQUpload");
  std::string pings;
  for (int second = 1; second <= 35; ++second) {
    server.Tick();
    EXPECT_EQ(sibling.ReceiveBytes(), second < 6 ? "" : ".+x|#") << second;
  }
  Settle();
  EXPECT_TRUE(host.Requests().empty());
  server.Tick();
  EXPECT_EQ(sibling.ReceiveBytes(), ".+x|#");
  EXPECT_TRUE(sibling.IsClosed());
  EXPECT_EQ(Slot("VNQUpload"), kNoSlot);
  ASSERT_TRUE(WaitForRequests(1));
  EXPECT_THAT(host.RequestLine(0),
              StartsWith("POST /public/service.html?op=set_status&myid=public&rnd="));
  EXPECT_EQ(host.Body(0), "services=VNQ_Upload_Service&service_op=restart");
  Settle();
  EXPECT_TRUE(server.commands().calls.empty());
  server.AdvanceMs(120'000);
  EXPECT_EQ(host.Requests().size(), 1u);
}

TEST_F(Watchdog, ASiblingThatDiesIsRestartedByItsServicesName) {
  host.Answer(HttpAnswer("ok"));
  const std::vector<std::pair<std::string, std::string>> services = {
      {"VNQUpload", "VNQ_Upload_Service"},
      {"VNQDownload", "VNQ_Download_Service"},
      {"VNQSetverPic", "VNQ_SetverPic_Service"},
      {"VNQTelnet", "VNQ_Telnet_Service"}};
  for (size_t i = 0; i < services.size(); ++i) {
    {
      TestClient sibling = Sibling(services[i].first);  // and it dies
    }
    server.AdvanceMs(36'000);
    ASSERT_TRUE(WaitForRequests(i + 1)) << services[i].first;
    EXPECT_EQ(host.Body(i), "services=" + services[i].second + "&service_op=restart");
  }
  Settle();
  EXPECT_TRUE(server.commands().calls.empty());
  EXPECT_EQ(server.Slots(6003).State(1), SocketState::kClosed);
}

TEST_F(Watchdog, ARestartedSiblingIsWatchedAnew) {
  host.Answer(HttpAnswer("ok"));
  { TestClient sibling = Sibling("VNQUpload"); }
  server.AdvanceMs(36'000);
  ASSERT_TRUE(WaitForRequests(1));
  TestClient again = Sibling("VNQUpload");
  server.AdvanceMs(5'000);
  EXPECT_EQ(again.ReceiveBytes(), "");
  server.AdvanceMs(31'000);
  EXPECT_TRUE(WaitForRequests(2));
}

TEST_F(Watchdog, TheConsoleIsPingedWithoutEndAndNotRestarted) {
  TestClient console = Sibling("VNQPcTelnet");
  server.AdvanceMs(100'000);
  EXPECT_EQ(console.ReceiveBytes().size(), 95 * std::string(".+x|#").size());
  EXPECT_FALSE(console.IsClosed());
  EXPECT_TRUE(host.Requests().empty());
}

TEST_F(Watchdog, AHostThatAnswersEmptyLeadsToTheServiceManager) {
  host.Answer(HttpAnswer(""));
  TestClient sibling = Sibling("VNQDownload");
  server.AdvanceMs(36'000);
  ASSERT_TRUE(WaitForCommands(3));
  EXPECT_EQ(server.commands().calls, kFallback);
  EXPECT_EQ(host.Requests().size(), 1u);
}

TEST_F(Watchdog, AHostThatHangsUpLeadsToTheServiceManager) {
  host.Answer("");
  TestClient sibling = Sibling("VNQDownload");
  server.AdvanceMs(36'000);
  ASSERT_TRUE(WaitForCommands(3));
  EXPECT_EQ(server.commands().calls, kFallback);
}

TEST_F(Watchdog, AHostThatHangsUpInTheMiddleLeadsToTheServiceManager) {
  host.Answer("HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nhalf");
  TestClient sibling = Sibling("VNQDownload");
  server.AdvanceMs(36'000);
  ASSERT_TRUE(WaitForCommands(3));
  EXPECT_EQ(server.commands().calls, kFallback);
}

TEST_F(Watchdog, AnAnswerWithAnErrorStatusCountsAsAnAnswer) {
  host.Answer(HttpAnswer("busy", "503 Service Unavailable"));
  TestClient sibling = Sibling("VNQDownload");
  server.AdvanceMs(36'000);
  ASSERT_TRUE(WaitForRequests(1));
  Settle();
  EXPECT_TRUE(server.commands().calls.empty());
}

TEST_F(Watchdog, ASilentHostIsWaitedForWithoutEndWhileClientsAreServed) {
  host.Answer("", LoopbackHttpServer::Then::kKeepOpen);
  server.AddUser("1");
  server.AddUser("2");
  TestClient ann = server.Online("1");
  TestClient ben = server.Online("2");
  ann.Receive();
  TestClient sibling = Sibling("VNQUpload");
  server.AdvanceMs(36'000);
  ASSERT_TRUE(WaitForRequests(1));
  for (int hour = 1; hour <= 2; ++hour) {
    for (int minute = 0; minute < 6; ++minute) server.AdvanceMs(600'000);
    ann.Send(".+message|2|1|hello|f|M" + std::to_string(hour) + "|1|#");
    server.Tick();
    EXPECT_THAT(ben.Receive(), HasSubstr("hello"));
    EXPECT_THAT(ann.Receive(), HasSubstr(".+reply|1|2|M"));
  }
  EXPECT_TRUE(server.commands().calls.empty());

  host.AnswerLate(0, HttpAnswer("at last"));
  Settle();
  EXPECT_TRUE(server.commands().calls.empty());
}

TEST_F(Watchdog, ASilentHostThatHangsUpAtLastLeadsToTheServiceManager) {
  host.Answer("", LoopbackHttpServer::Then::kKeepOpen);
  TestClient sibling = Sibling("VNQUpload");
  server.AdvanceMs(36'000);
  ASSERT_TRUE(WaitForRequests(1));
  server.AdvanceMs(600'000);
  host.AnswerLate(0, "");
  ASSERT_TRUE(WaitForCommands(3));
  EXPECT_EQ(server.commands().calls, kFallback);
}

TEST_F(Watchdog, TwoSiblingsThatDieTogetherAreBothAskedForWhileOneRequestWaits) {
  host.Answer("", LoopbackHttpServer::Then::kKeepOpen);
  TestClient upload = Sibling("VNQUpload");
  server.AdvanceMs(2'000);
  TestClient download = Sibling("VNQDownload");
  // The tick that asks for the first one waits in front of the second one's slot, which so ages a
  // second later.
  server.AdvanceMs(37'000);
  ASSERT_TRUE(WaitForRequests(2));
  EXPECT_EQ(host.Body(0), "services=VNQ_Upload_Service&service_op=restart");
  EXPECT_EQ(host.Body(1), "services=VNQ_Download_Service&service_op=restart");
}

// A service host that nobody serves.
class WatchdogWithoutHost : public ServerTest {
 protected:
  WatchdogWithoutHost() : ServerTest(WithServiceHost(LoopbackAddress(2))) {}
};

TEST_F(WatchdogWithoutHost, AHostThatCannotBeReachedLeadsToTheServiceManager) {
  TestClient sibling = server.ConnectTo(kControlPort);
  sibling.SendBytes(".+landing|VNQTelnet|#");
  server.AdvanceMs(36'000);
  ASSERT_TRUE(RunUntil(server.loop(), [&] { return server.commands().calls.size() >= 3; }));
  EXPECT_EQ(server.commands().calls, kFallback);
}

std::string ReadAll(const std::string& path) {
  std::stringstream all;
  all << std::ifstream(path).rdbuf();
  return all.str();
}

// Real commands, with the ten seconds between them cut short.
class ImpatientRunner : public ShellCommandRunner {
 public:
  ImpatientRunner(EventLoop& loop, std::string logPath)
      : ShellCommandRunner(loop), log_(std::move(logPath)) {}

  void BlockFor(int64_t ms) override {
    blockedForMs = ms;
    logMeanwhile = ReadAll(log_);
    ShellCommandRunner::BlockFor(50);
  }

  int64_t blockedForMs = 0;
  std::string logMeanwhile;

 private:
  std::string log_;
};

TEST(ServiceManagerFallback, StartsBothCommandsWithoutWaitingAndServesNothingBetweenThem) {
  const SystemClock clock;
  EventLoop loop(clock);
  const AnsiCodePage page(CodePage::Open(936));
  HttpClient http(loop);
  char name[] = "/tmp/vnq_calls_XXXXXX";
  close(mkstemp(name));
  const std::string log = name;
  ImpatientRunner runner(loop, log);
  // Each writes down that it was called, and ends only long after the other was.
  OutgoingSettings settings;
  settings.DataBaseIp = LoopbackAddress(2);  // nobody there
  settings.stopCommand = "echo stop %s >> " + log + "; sleep 1; echo stopped >> " + log;
  settings.startCommand = "echo start %s >> " + log + "; sleep 2; echo started >> " + log;
  OutgoingCalls outgoing(http, runner, page, settings);

  bool restarted = false;
  bool servedBetween = false;
  loop.StartHandler([&] {
    outgoing.SameTime(201, 2);
    restarted = true;
  });
  loop.StartHandler([&] {
    while (runner.blockedForMs == 0) loop.Yield();
    servedBetween = !restarted;  // runs next, and finds the commands both given
  });
  ASSERT_TRUE(RunUntil(loop, [&] { return restarted; }));
  EXPECT_EQ(runner.blockedForMs, 10'000);
  EXPECT_EQ(runner.logMeanwhile.find("stopped"), std::string::npos) << "waited for the stop";
  EXPECT_EQ(ReadAll(log).find("started"), std::string::npos) << "waited for the start";
  EXPECT_FALSE(servedBetween);
  ASSERT_TRUE(RunUntil(loop, [&] { return ReadAll(log).find("started") != std::string::npos; }));
  EXPECT_EQ(ReadAll(log), "stop VNQ_Site_Service\nstart VNQ_Site_Service\nstopped\nstarted\n");
  unlink(name);
}

}  // namespace
}  // namespace vnq
