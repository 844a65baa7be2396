// Questions to a running server: at its socket file, and at the metrics listener.
#include "server/status/operator_desk.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <thread>

#include "host/settings/program_folder.h"
#include "tests/harness/said_lines.h"
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr uint16_t kMetricsPort = 9464;

class OperatorDeskTest : public ServerTest {
 protected:
  OperatorDeskTest() : desk(server.loop(), server.form()) {
    server.host().platform.metricsAddress = server.address();
    server.host().platform.metricsPort = kMetricsPort;
    desk.Open(SocketPath());
  }

  std::string SocketPath() const { return InstanceSocketPath(server.folder()); }

  // Asks as another program does, while the server works.
  std::string Ask(const std::string& line) {
    std::string answer, error;
    std::atomic<bool> done = false;
    std::thread asker([&] {
      if (!AskAtSocket(SocketPath(), line, 5000, answer, error)) answer = "failed: " + error;
      done = true;
    });
    while (!done) server.Pump();
    asker.join();
    return answer;
  }
  std::string Get(const std::string& path) {
    TestClient client = server.ConnectTo(kMetricsPort);
    client.SendBytes("GET " + path + " HTTP/1.1\r\nHost: x\r\n\r\n");
    std::string answer = client.ReceiveBytes();
    EXPECT_TRUE(client.IsClosed()) << path;
    return answer;
  }

  OperatorDesk desk;
};

TEST_F(OperatorDeskTest, AnswersForItsOwnerAloneAndTakesTheSocketAway) {
  struct stat status {};
  ASSERT_EQ(stat(SocketPath().c_str(), &status), 0);
  EXPECT_TRUE(S_ISSOCK(status.st_mode));
  EXPECT_EQ(status.st_mode & 0777, 0600U);
  EXPECT_THAT(Ask("status"), StartsWith("ok\nvnq_main_service "));
  EXPECT_THAT(Ask("status json"), StartsWith("ok\n{\"version\":\""));
  EXPECT_THAT(Ask("who"), StartsWith("ok\nport  user"));
  EXPECT_EQ(Ask("who json"), "ok\n[]\n");
  EXPECT_THAT(Ask("what"), StartsWith("error "));
  EXPECT_THAT(Ask(std::string(10'000, 'x')), testing::Not(StartsWith("ok")));
}

TEST_F(OperatorDeskTest, RepairsPresenceForWhoeverIsNotConnected) {
  server.AddUser("7");
  server.AddUser("8", {"UserIcoLine=1"});
  TestClient connected = server.Online("7");
  EXPECT_EQ(Ask("presence repair test"), "ok\n8\t1\t0\tname8\n");
  EXPECT_EQ(Ask("presence repair"), "ok\n8\t1\t0\tname8\n");
  EXPECT_EQ(Ask("presence repair"), "ok\n");
}

TEST_F(OperatorDeskTest, TraceWritesARecordALineFromTheLogInOnWithoutItsPassword) {
  server.AddUser("7", {"UserPaws=secret"});
  EXPECT_EQ(Ask("trace"), "ok\n");
  EXPECT_EQ(Ask("trace on 7"), "ok\n7\n");
  SaidLines said;
  TestClient client = server.Connect();
  client.Send(".+landing|name7|secret|10.0.0.1|mac|maker|9|#");
  client.Send(".+change_password|7|new secret|#");
  client.Send(".+change_pass");
  client.Send("word|7|halves of a secret|#");
  client.Send(".+y|#");
  Lines trace;
  for (const std::string& line : said.Take()) {
    EXPECT_EQ(line.find("secret"), std::string::npos) << line;
    if (line.starts_with("info: trace of 7, slot 1, ")) trace.push_back(line.substr(26));
  }
  ASSERT_EQ(trace.size(), 7U) << testing::PrintToString(trace);
  EXPECT_EQ(trace[0], "in: .+landing|name7|***|10.0.0.1|mac|maker|9|#");
  EXPECT_THAT(trace[1], StartsWith("out: .+landing_successful|7|"));
  EXPECT_EQ(trace[2], "in: .+change_password|7|***|#");
  EXPECT_EQ(trace[3], "in: 13 bytes that are no command by themselves");
  EXPECT_EQ(trace[4], "in: 27 bytes that are no command by themselves");
  EXPECT_EQ(trace[5], "in: .+y|#");
  EXPECT_EQ(trace[6], "out: .+y|#");
}

TEST_F(OperatorDeskTest, TraceFollowsBothDevicesAndNobodyElseUntilItIsEnded) {
  for (const char* user : {"7", "8", "77"}) server.AddUser(user);
  TestClient desktop = server.Online("7"), mobile = server.Online("7", 3);
  TestClient other = server.Online("8"), longer = server.Online("77");
  EXPECT_EQ(Ask("trace on 7"), "ok\n7\n");
  SaidLines said;
  for (TestClient* each : {&desktop, &mobile, &other, &longer}) each->Send(".+y|#");
  EXPECT_EQ(said.Take(),
            (Lines{"info: trace of 7, slot 1, in: .+y|#", "info: trace of 7, slot 1, out: .+y|#",
                   "info: trace of 7, slot 2, in: .+y|#", "info: trace of 7, slot 2, out: .+y|#"}));
  EXPECT_EQ(Ask("trace off 7"), "ok\n");
  said.Take();
  desktop.Send(".+y|#");
  EXPECT_EQ(said.Take(), Lines{});
  EXPECT_THAT(Ask("trace of 7"), StartsWith("error "));
}

TEST_F(OperatorDeskTest, TraceShowsALongMessageWhenItIsWholeAndCutsIt) {
  server.AddUser("7");
  TestClient client = server.Online("7");
  server.host().trace.Follow("7");
  SaidLines said;
  client.Send(".+message|8|7|first\thalf");
  client.Send(" second" + std::string(RecordTrace::kLongestRecord, 'x') + "||1|1|#");
  const std::vector<std::string> lines = said.Take();
  ASSERT_EQ(lines.size(), 3U) << testing::PrintToString(lines);
  EXPECT_EQ(lines[0], "info: trace of 7, slot 1, in: .+message|8|7|first?half");
  EXPECT_THAT(lines[2],
              StartsWith("info: trace of 7, slot 1, in: .+message|8|7|first?half second"));
  EXPECT_THAT(lines[2], testing::EndsWith("xxx ..."));
  EXPECT_LT(lines[2].size(), RecordTrace::kLongestRecord + 64);
}

TEST_F(OperatorDeskTest, ASocketThatACrashLeftBehindIsReplaced) {
  const std::string path = server.folder() + "/left.sock";
  std::ofstream(path) << "left";
  UnixListener listener(server.loop());
  std::string error;
  EXPECT_TRUE(listener.Listen(
      path, [](AcceptedSocket) {}, error))
      << error;
  EXPECT_TRUE(std::filesystem::is_socket(path));
  listener.Close();
  EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(OperatorDeskTest, APathThatIsLongerThanTheKernelTakesWorks) {
  const std::string folder = server.folder() + "/" + std::string(120, 'x');
  std::filesystem::create_directory(folder);
  UnixListener listener(server.loop());
  RequestServer echo(server.loop(), "\n", [](const std::string& line) { return line + "!"; });
  std::string error, answer;
  ASSERT_TRUE(listener.Listen(
      folder + "/s", [&echo](AcceptedSocket asker) { echo.Accept(std::move(asker)); }, error))
      << error;
  std::atomic<bool> done = false;
  std::thread asker([&] {
    EXPECT_TRUE(AskAtSocket(folder + "/s", "hello", 5000, answer, error)) << error;
    done = true;
  });
  while (!done) server.Pump();
  asker.join();
  EXPECT_EQ(answer, "hello!");
}

TEST_F(OperatorDeskTest, MetricsLivezAndReadyzAnswerOverHttp) {
  const std::string metrics = Get("/metrics");
  EXPECT_THAT(metrics, StartsWith("HTTP/1.1 200 OK\r\nContent-Type: text/plain; version=0.0.4"));
  EXPECT_THAT(metrics, HasSubstr("\nvnq_port_bound{port=\"6004\"} 1\n"));
  EXPECT_THAT(Get("/livez"), StartsWith("HTTP/1.1 200 "));
  EXPECT_THAT(Get("/readyz?verbose"), StartsWith("HTTP/1.1 200 "));
  EXPECT_THAT(Get("/"), StartsWith("HTTP/1.1 404 "));
  TestClient poster = server.ConnectTo(kMetricsPort);
  poster.SendBytes("POST /metrics HTTP/1.1\r\n\r\n");
  EXPECT_THAT(poster.ReceiveBytes(), StartsWith("HTTP/1.1 405 "));
}

TEST_F(OperatorDeskTest, IsNotReadyWithoutItsPorts) {
  server.InHandler([this](Host&) { server.form().Unload(); });
  const std::string answer = Get("/readyz");
  EXPECT_THAT(answer, StartsWith("HTTP/1.1 503 "));
  EXPECT_THAT(answer, HasSubstr("port 6004 is not bound\n"));
  EXPECT_THAT(Get("/livez"), StartsWith("HTTP/1.1 200 "));
}

TEST_F(OperatorDeskTest, IsNotReadyWithoutADatabaseThatTakesAWriteWithinTenSeconds) {
  EXPECT_THAT(Get("/readyz"), StartsWith("HTTP/1.1 200 "));
  server.Run("drop table UpDateForm");
  EXPECT_THAT(Get("/readyz"), StartsWith("HTTP/1.1 200 "));  // a write of just now counts
  server.AdvanceMs(OperatorDesk::kWriteCountsMs);
  EXPECT_THAT(Get("/readyz"), HasSubstr("the database takes no write\n"));
}

TEST_F(OperatorDeskTest, WhoeverSaysNothingOrTooMuchIsHungUpOn) {
  TestClient silent = server.ConnectTo(kMetricsPort);
  server.AdvanceMs(RequestServer::kLongestWaitMs - 1000);
  EXPECT_FALSE(silent.IsClosed());
  server.AdvanceMs(2000);
  EXPECT_TRUE(silent.IsClosed());
  TestClient loud = server.ConnectTo(kMetricsPort);
  loud.SendBytes(std::string(RequestServer::kMostBytes + 1, 'x'));
  EXPECT_TRUE(loud.IsClosed());
  std::vector<TestClient> crowd;
  for (size_t i = 0; i < RequestServer::kMostConnections; ++i) {
    crowd.push_back(server.ConnectTo(kMetricsPort));
  }
  EXPECT_TRUE(server.ConnectTo(kMetricsPort).IsClosed());
  crowd.pop_back();
  server.Pump();
  EXPECT_THAT(Get("/livez"), StartsWith("HTTP/1.1 200 "));
}

}  // namespace
}  // namespace vnq
