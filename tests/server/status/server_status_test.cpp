// What a running server says of itself: counts, buffers, rates, metrics.
#include "server/status/server_status.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <regex>
#include <set>

#include "host/values/skipped.h"
#include "server/status/session_list.h"
#include "server/status/status_text.h"
#include "sessions/sessions.h"
#include "tests/harness/said_lines.h"
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

using testing::HasSubstr;

class ServerStatusTest : public ServerTest {
 protected:
  ServerStatusTest()
      : pulse(server.loop(), [this] { return RecordsWorkedOff(server.form().ports()); }, {}) {}

  ServerStatus Read() { return ReadStatus(server.host(), server.form().ports(), pulse, 0); }
  PortStatus Port(uint16_t number) {
    for (const PortStatus& port : Read().ports) {
      if (port.number == number) return port;
    }
    return {};
  }
  std::vector<SessionEntry> Sessions() {
    std::vector<SessionEntry> sessions;
    server.InHandler([&sessions](Host& host) { sessions = ReadSessions(host); });
    return sessions;
  }

  Pulse pulse;
};

TEST_F(ServerStatusTest, CountsSlotsByPortAndState) {
  TestClient stays = server.Connect();
  TestClient leaves = server.Connect();
  leaves.Close();
  TestClient service = server.ConnectTo(6003);
  server.Pump();
  EXPECT_EQ(Port(6004).connected, 1);
  EXPECT_EQ(Port(6004).gone, 1);
  EXPECT_EQ(Port(6003).connected, 1);
  EXPECT_EQ(Port(6001).connected, 0);
  EXPECT_TRUE(Port(6001).isBound);
  server.AdvanceMs(20'000);  // the sweep frees the slot
  EXPECT_EQ(Port(6004).gone, 0);
  EXPECT_EQ(Port(6004).free, 1);
}

TEST_F(ServerStatusTest, APortThatIsClosedIsNotBound) {
  server.InHandler([this](Host&) { server.form().Unload(); });
  EXPECT_FALSE(Port(6004).isBound);
  EXPECT_THAT(StatusText(Read()), HasSubstr("clients (NOT BOUND)"));
  EXPECT_THAT(StatusLine(Read()), HasSubstr("0 of 6 ports"));
}

TEST_F(ServerStatusTest, CountsRecordsAndSkipsByCommandTheMostFrequentFirst) {
  TestClient client = server.Connect();
  for (int i = 0; i < 3; ++i) client.Send(".+y|#");
  client.Send(".+modify_isverify|no'body|1|#");
  const uint64_t skipped = SkippedStatements();
  const std::vector<CommandStatus> commands = Read().commands;
  ASSERT_EQ(commands.size(), 2U);
  EXPECT_EQ(commands[0].word, ".+y");
  EXPECT_EQ(commands[0].records, 3U);
  EXPECT_EQ(commands[0].skipped, 0U);
  EXPECT_EQ(commands[1].word, ".+modify_isverify");
  EXPECT_EQ(commands[1].port, 6004);
  EXPECT_GT(commands[1].skipped, 0U);
  EXPECT_EQ(Port(6004).records, 4U);
  EXPECT_EQ(Read().skippedStatements, skipped);
}

TEST_F(ServerStatusTest, TheRateIsThatOfTheLastTenSeconds) {
  TestClient client = server.Connect();
  for (int i = 0; i < 20; ++i) client.Send(".+y|#");
  server.AdvanceMs(10'000);
  EXPECT_DOUBLE_EQ(Read().pulse.recordsPerSecond, 2.0);
  server.AdvanceMs(10'000);
  EXPECT_DOUBLE_EQ(Read().pulse.recordsPerSecond, 0.0);
}

TEST_F(ServerStatusTest, TellsWhatWaits) {
  server.AddUser("7");
  TestClient client = server.Connect();
  client.Send(".+message|7|8|half a record");
  EXPECT_EQ(Read().pendingRecords.texts, 1U);
  EXPECT_EQ(Read().pendingRecords.bytes, std::string(".+message|7|8|half a record").size());
  server.InHandler([](Host& host) {
    AppendReply(host, 1, ".+reply|");
    host.PushQueue.Add("a|b|c|1|d");
  });
  EXPECT_EQ(Read().replies.texts, 1U);
  EXPECT_EQ(Read().replies.bytes, 8U);
  EXPECT_EQ(Read().pushQueue, 1U);
}

TEST_F(ServerStatusTest, ALateLookShowsForAMinute) {
  server.AdvanceMs(3000);
  EXPECT_EQ(Read().pulse.worstLagMs, 0);
  server.StallMs(3000);
  EXPECT_EQ(Read().pulse.lagMs, 2000);
  server.AdvanceMs(2000);
  EXPECT_EQ(Read().pulse.lagMs, 0);
  EXPECT_EQ(Read().pulse.worstLagMs, 2000);
  server.AdvanceMs(60'000);
  EXPECT_EQ(Read().pulse.worstLagMs, 0);
}

TEST_F(ServerStatusTest, TheLongestStretchIsNamedByItsCommand) {
  TestClient client = server.Connect();
  server.AdvanceMs(61'000);
  server.loop().TakeLongestStretch();
  client.Send(".+y|#");
  server.AdvanceMs(1000);
  const EventLoop::Stretch longest = Read().pulse.longest;
  EXPECT_GE(longest.microseconds, 0);
  server.InHandler([](Host& host) {
    host.loop.NameHandler("work");
    const auto start = std::chrono::steady_clock::now();
    while (std::chrono::steady_clock::now() - start < std::chrono::milliseconds(30)) {
    }
  });
  server.AdvanceMs(1000);
  EXPECT_EQ(Read().pulse.longest.what, "work");
  EXPECT_GE(Read().pulse.longest.microseconds, 30'000);
}

TEST_F(ServerStatusTest, WhoTellsUserNameDeviceAddressAndSince) {
  server.AddUser("7");
  TestClient desktop = server.Online("7");
  TestClient mobile = server.Online("7", 3);
  TestClient nobody = server.Connect();
  server.AdvanceMs(5000);
  const std::vector<SessionEntry> sessions = Sessions();
  ASSERT_EQ(sessions.size(), 3U);
  EXPECT_EQ(sessions[0].user, "7");
  EXPECT_EQ(sessions[0].name, "name7");
  EXPECT_EQ(sessions[0].device, "desktop");
  EXPECT_EQ(sessions[0].address, desktop.LocalAddress());
  EXPECT_EQ(sessions[0].seconds, 5);
  EXPECT_EQ(sessions[1].user, "7");
  EXPECT_EQ(sessions[1].name, "name7");
  EXPECT_EQ(sessions[1].device, "mobile");
  EXPECT_EQ(sessions[2].user, "");
  EXPECT_EQ(sessions[2].device, "");
  const std::string json = SessionsJson(sessions);
  EXPECT_THAT(json, HasSubstr(R"("user":"7","name":"name7","device":"desktop","address":")"));
  EXPECT_EQ(std::count(json.begin(), json.end(), '\n'), 5);
}

TEST_F(ServerStatusTest, WhatAPeerCallsItselfCannotPaintTheTerminal) {
  TestClient service = server.ConnectTo(6003);
  server.Pump();
  server.host().SckServer6003.SetTag(1, "a\x1b[2Jb\nc");
  const std::string text = SessionsText(Sessions());
  EXPECT_EQ(text.find('\x1b'), std::string::npos);
  EXPECT_THAT(text, HasSubstr("a?[2Jb?c"));
  EXPECT_THAT(SessionsJson(Sessions()), HasSubstr(R"(a\u001b[2Jb\nc)"));
}

TEST_F(ServerStatusTest, PresenceRepairSparesThoseWhoAreConnected) {
  server.AddUser("7");
  server.AddUser("8", {"UserIcoLine=1"});
  server.AddUser("9", {"UserIcoLine=2", "Registration_Id=phone"});
  server.AddUser("10", {"UserIcoLine=3", "Registration_Id=phone"});
  server.AddUser("11", {"UserIcoLine=1"});
  TestClient connected = server.Online("7");
  TestClient mobile = server.Online("11", 3);
  const auto hasSession = [this](const std::string& userId) {
    return server.host().SckServer.FirstConnected(userId) != kNoSlot ||
           server.host().SckServer.FirstConnected(userId + "m") != kNoSlot;
  };
  auto repair = [&](bool isDryRun) {
    Lines lines;
    server.InHandler([&](Host& host) {
      const auto repaired = RepairPresence(host.database, hasSession, isDryRun);
      ASSERT_TRUE(repaired);
      for (const RepairedPresence& user : *repaired) {
        lines.push_back(user.userId + " " + user.userName + " " + std::to_string(user.was) + " " +
                        std::to_string(user.now));
      }
    });
    return lines;
  };
  const Lines expected = {"8 name8 1 0", "9 name9 2 3"};
  EXPECT_EQ(repair(true), expected);
  EXPECT_EQ(server.Value("select UserIcoLine from Users_ID where UserID='8'"), "1");
  EXPECT_EQ(repair(false), expected);
  EXPECT_EQ(server.Rows("select UserID,UserIcoLine from Users_ID where UserID<>'1' "
                        "order by cast(UserID as integer)"),
            Lines({"7|1", "8|0", "9|3", "10|3", "11|1"}));
  EXPECT_EQ(repair(false), Lines());
}

TEST_F(ServerStatusTest, WhatHoldsEverybodyUpIsSaidOnceWithWhatItWas) {
  const auto holdUp = [this] {
    server.InHandler([](Host& host) {
      host.loop.NameHandler("a long work");
      const auto begin = std::chrono::steady_clock::now();
      while (std::chrono::steady_clock::now() - begin < std::chrono::milliseconds(20)) {
      }
    });
    server.AdvanceMs(1000);
  };
  SaidLines said;
  holdUp();
  EXPECT_EQ(said.Take(), Lines{});  // nobody has asked for it
  pulse.SetSlowMs(15);
  holdUp();
  holdUp();
  const std::vector<std::string> lines = said.Take();
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_THAT(lines[0],
              testing::MatchesRegex("warning: everybody had to wait: [0-9]+ ms for a long work"));
}

// --- Metrics ---

std::set<std::string> MetricsIn(const std::string& text) {
  std::set<std::string> names;
  const std::regex name("vnq_[a-z_]+");
  for (std::sregex_iterator it(text.begin(), text.end(), name), end; it != end; ++it) {
    names.insert(it->str());
  }
  return names;
}

std::string FileText(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST_F(ServerStatusTest, EachMetricHasItsHeadingAndEachLineItsForm) {
  TestClient client = server.Connect();
  client.Send(".+y|#");
  const std::string metrics = StatusMetrics(Read());
  EXPECT_THAT(metrics, HasSubstr("\nvnq_slots{port=\"6004\",state=\"connected\"} 1\n"));
  EXPECT_THAT(metrics, HasSubstr("\nvnq_records_total{port=\"6004\",command=\".+y\"} 1\n"));
  EXPECT_THAT(metrics, HasSubstr("\nvnq_port_bound{port=\"6008\"} 1\n"));
  const std::regex line(
      "# HELP vnq_[a-z_]+ .+\\.|# TYPE vnq_[a-z_]+ (gauge|counter)|"
      "vnq_[a-z_]+(\\{[a-z]+=\"[^\"]*\"(,[a-z]+=\"[^\"]*\")*\\})? [0-9.e+-]+");
  std::istringstream lines(metrics);
  for (std::string one; std::getline(lines, one);) EXPECT_TRUE(std::regex_match(one, line)) << one;
}

TEST_F(ServerStatusTest, TheBoardAndTheAlertsAskOnlyForMetricsThatThereAre) {
  TestClient client = server.Connect();
  client.Send(".+y|#");
  const std::set<std::string> known = MetricsIn(StatusMetrics(Read()));
  for (const char* file : {"grafana.json", "alerts.yml"}) {
    const std::set<std::string> asked =
        MetricsIn(FileText(VNQ_ROOT "/examples/monitoring/" + std::string(file)));
    EXPECT_GE(asked.size(), 5U) << file;
    for (const std::string& name : asked) {
      EXPECT_TRUE(known.contains(name)) << file << ": " << name;
    }
  }
}

TEST_F(ServerStatusTest, TheManualListsEachMetric) {
  TestClient client = server.Connect();
  client.Send(".+y|#");
  const std::string manual = FileText(VNQ_ROOT "/docs/watching.md");
  for (const std::string& name : MetricsIn(StatusMetrics(Read()))) {
    EXPECT_THAT(manual, HasSubstr("`" + name + "`"));
  }
}

TEST(StatusText, DurationsAreReadable) {
  EXPECT_EQ(DurationText(0), "00:00:00");
  EXPECT_EQ(DurationText(86399), "23:59:59");
  EXPECT_EQ(DurationText(2 * 86400 + 3 * 3600 + 4 * 60 + 5), "2 d 03:04:05");
}

}  // namespace
}  // namespace vnq
