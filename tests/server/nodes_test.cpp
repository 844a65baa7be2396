// Two servers on one database server, with the parties on different ones.
#include <sys/wait.h>
#include <unistd.h>

#include <memory>
#include <set>

#include "accounts/accounts.h"
#include "host/database/open_database.h"
#include "host/database/version_counters.h"
#include "host/nodes/cluster.h"
#include "messaging/messaging.h"
#include "server/gone_nodes.h"
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

class NodesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (TestDatabase::IsEmbedded()) GTEST_SKIP() << "nodes share a database server";
    TestServerOptions options;
    options.nodes = 2;
    server_ = std::make_unique<TestServer>(options);
    for (const char* userId : {"1", "2"}) server().AddUser(userId);
  }

  TestServer& server() { return *server_; }
  Cluster& cluster(int node) { return *server().host(node).cluster; }
  bool Knows(int node, const std::string& tag) {
    return cluster(node).Holds(NodeArray::kClients, tag);
  }
  TestClient OnlineOn(int node, const std::string& userId, int state = 1) {
    server().ConnectToNode(node);
    return server().Online(userId, state);
  }
  int Sessions(const std::string& tag) {
    int sessions = 0;
    for (int node = 0; node < server().nodes(); ++node) {
      if (server().host(node).SckServer.FirstConnected(tag) != kNoSlot) ++sessions;
    }
    return sessions;
  }
  std::string MessagesTo(const std::string& userId) {
    return server().Value("select count(*) from Messeng_Text where YouID='" + userId + "'");
  }

 private:
  std::unique_ptr<TestServer> server_;
};

constexpr const char* kMessage = ".+message|2|1|hello|font|M1|1|#";
constexpr const char* kDelivered = ".+message|1|2026-03-04|05:06:07|hello|font|M1|11|1|#";

// --- Who is where ---

TEST_F(NodesTest, TagIsKnownOnTheOtherNodeFromLogInToTheEndOfTheConnection) {
  TestClient client = OnlineOn(0, "1");
  EXPECT_TRUE(Knows(1, "1"));
  EXPECT_FALSE(Knows(0, "1"));
  client.Close();
  EXPECT_FALSE(Knows(1, "1"));
}

TEST_F(NodesTest, ChangesThatWereMissedAreLearntWithTheNextTick) {
  TestClient gone = OnlineOn(0, "1");
  server().bus().SetDeaf(true);
  gone.Close();
  TestClient come = OnlineOn(0, "2");
  server().bus().SetDeaf(false);
  EXPECT_TRUE(Knows(1, "1"));
  server().Tick();
  EXPECT_FALSE(Knows(1, "1"));
  EXPECT_TRUE(Knows(1, "2"));
}

TEST_F(NodesTest, NodeThatFallsSilentIsForgottenWithItsTags) {
  TestClient client = OnlineOn(0, "1");
  TestClient other = OnlineOn(1, "2");
  server().KillNode(1);
  for (int second = 0; second < Cluster::kSilentTicks; ++second) server().Tick();
  EXPECT_TRUE(Knows(0, "2"));
  server().Tick();
  EXPECT_FALSE(Knows(0, "2"));
  EXPECT_TRUE(cluster(0).directory().nodes().empty());
}

TEST_F(NodesTest, WithoutTheBusEachGoesOnAloneAndThenTheyFindEachOtherAgain) {
  TestClient sender = OnlineOn(0, "1");
  TestClient target = OnlineOn(1, "2");
  server().bus().Stop();
  server().Pump();
  EXPECT_FALSE(Knows(0, "2"));
  sender.Receive();
  sender.Send(kMessage);
  server().Tick();
  EXPECT_EQ(sender.Receive(), ".+reply|1|2|M1|#");
  EXPECT_EQ(target.Receive(), "");
  EXPECT_EQ(MessagesTo("2"), "1");

  server().bus().GoOn();
  server().Pump();
  EXPECT_TRUE(Knows(0, "2"));
  EXPECT_TRUE(Knows(1, "1"));
}

// --- What crosses ---

TEST_F(NodesTest, MessageIsStoredOnceAndReachesTheDevicesWhereverTheyAre) {
  TestClient sender = OnlineOn(0, "1");
  TestClient senderMobile = OnlineOn(1, "1", 3);
  TestClient target = OnlineOn(1, "2");
  TestClient targetMobile = OnlineOn(0, "2", 3);
  for (TestClient* each : {&sender, &senderMobile, &target, &targetMobile}) each->Receive();
  sender.Send(kMessage);
  server().Tick();
  EXPECT_EQ(sender.Receive(), ".+reply|1|2|M1|#");
  EXPECT_EQ(target.Receive(), kDelivered);
  EXPECT_EQ(targetMobile.Receive(), kDelivered);
  EXPECT_EQ(senderMobile.Receive(), ".+message|2|2026-03-04|05:06:07|hello|font|M1|10|0|#");
  EXPECT_EQ(MessagesTo("2"), "1");
}

TEST_F(NodesTest, MessageForADeviceOfADeadNodeStaysInItsRow) {
  TestClient sender = OnlineOn(0, "1");
  TestClient target = OnlineOn(1, "2");
  server().KillNode(1);
  sender.Receive();
  sender.Send(kMessage);
  server().Tick();
  EXPECT_EQ(sender.Receive(), ".+reply|1|2|M1|#");
  EXPECT_EQ(server().Value("select IsAck3 from Messeng_Text where Msg_ID='M1'"), "1");
}

TEST_F(NodesTest, BroadcastReachesEveryNodeOnceAndNotItsSender) {
  TestClient sender = OnlineOn(0, "1");
  TestClient other = OnlineOn(1, "2");
  sender.Receive();
  sender.Send(".+go_away|1|#");
  EXPECT_EQ(other.Receive(), ".+new_leaving|1|||#");
  EXPECT_EQ(sender.Receive(), "");
}

TEST_F(NodesTest, RequestToAFriendOnAnotherNodeArrivesAtOnceAndLeavesNoRow) {
  server().Run("update Users_ID set IsVerify=1 where UserID='2'");
  TestClient asker = OnlineOn(0, "1");
  TestClient asked = OnlineOn(1, "2");
  asker.Send(".+messengverify|2|1|please|1|1|1|0|#");
  EXPECT_EQ(asked.Receive(), ".+messengverify|2|1|please|1|1|1|0|#");
  EXPECT_EQ(server().Rows("select UserID1 from MessengVerify_Type"),
            std::vector<std::string>{"2m"});
}

TEST_F(NodesTest, RelayAsksTheNodeOfTheTargetAndFallsBackWhereThereIsNone) {
  TestClient asker = OnlineOn(0, "1");
  TestClient asked = OnlineOn(1, "2");
  asker.Receive();
  asker.Send(".+request_remote|2|1|1|#");
  EXPECT_EQ(asked.Receive(), ".+request_remote|1|2026-03-04 05:06:07|1|#");
  EXPECT_EQ(asker.Receive(), "");
  asked.Close();
  asker.Send(".+request_remote|2|1|1|#");
  EXPECT_EQ(asker.Receive(), ".+no_request_remote|2|1|1|#");
}

// --- Two log-ins of one person ---

TEST_F(NodesTest, LogInOnAnotherNodeEndsTheEarlierSession) {
  TestClient earlier = OnlineOn(0, "1");
  TestClient later = OnlineOn(1, "1");
  EXPECT_EQ(earlier.Receive(), ".+busy_force|127.0.0.1|#");
  EXPECT_TRUE(earlier.IsClosed());
  EXPECT_FALSE(later.IsClosed());
  server().AdvanceMs(21'000);  // over a sweep of lost clients
  EXPECT_EQ(server().Value("select UserIcoLine from Users_ID where UserID='1'"), "1");
}

TEST_F(NodesTest, OfTwoLogInsAtTheSameMomentOneStays) {
  server().ConnectToNode(0);
  TestClient one = server().Connect();
  server().ConnectToNode(1);
  TestClient other = server().Connect();
  one.SendQuietly(".+successful_online|1|1|#");
  other.SendQuietly(".+successful_online|1|1|#");
  server().Pump();
  EXPECT_EQ(Sessions("1"), 1);
  EXPECT_NE(one.IsClosed(), other.IsClosed());
}

TEST_F(NodesTest, LogInThatTheOtherNodeKnewNothingOfEndsTheSessionThere) {
  server().bus().SetDeaf(true);
  TestClient earlier = OnlineOn(0, "1");
  server().bus().SetDeaf(false);
  for (int second = 0; second < 10; ++second) server().Tick();
  TestClient later = OnlineOn(1, "1");
  EXPECT_TRUE(earlier.IsClosed());
  EXPECT_EQ(Sessions("1"), 1);
}

TEST_F(NodesTest, SessionLostOnOneNodeLeavesThePresenceOfTheOneElsewhere) {
  TestClient earlier = OnlineOn(0, "1");
  server().bus().SetDeaf(true);
  TestClient later = OnlineOn(1, "1");
  server().bus().SetDeaf(false);
  server().Tick();
  earlier.Close();
  server().AdvanceMs(21'000);
  EXPECT_EQ(server().Value("select UserIcoLine from Users_ID where UserID='1'"), "1");
}

// --- Nodes that die ---

TEST_F(NodesTest, UsersOfADeadNodeAreShownAsAwayAndThoseOfALivingOneAreNot) {
  TestClient here = OnlineOn(0, "1");
  TestClient there = OnlineOn(1, "2");
  server().Run("update Users_ID set Registration_Id='phone' where UserID='2'");
  server().AddUser("3");
  TestClient moved = OnlineOn(1, "3");
  server().KillNode(1);
  TestClient again = OnlineOn(0, "3");
  const auto presences = [&] {
    return server().Rows("select UserIcoLine from Users_ID order by UserID");
  };
  server().AdvanceMs(1000 * (Cluster::kSilentTicks + GoneNodes::kWaitTicks));
  EXPECT_EQ(presences(), (Lines{"1", "1", "1"})) << "it is not known to be dead yet";
  server().AdvanceMs(2000);
  EXPECT_EQ(presences(), (Lines{"1", "3", "1"}));
}

TEST_F(NodesTest, UsersOfANodeThatOnlyLacksTheBusAreShownAsTheyAre) {
  TestClient here = OnlineOn(0, "1");
  TestClient there = OnlineOn(1, "2");
  server().bus().SetDeaf(true);
  server().AdvanceMs(30'000);
  EXPECT_FALSE(Knows(0, "2"));
  EXPECT_EQ(server().Rows("select UserIcoLine from Users_ID order by UserID"), (Lines{"1", "1"}));
}

// --- Two writers ---

// Runs the work in two processes at once, each with a connection of its own.
template <typename Work>
void InTwoProcesses(TestServer& server, const Work& work) {
  std::vector<pid_t> children;
  for (int i = 0; i < 2; ++i) {
    const pid_t child = fork();
    if (child == 0) {
      Host& host = server.host();
      Database database(OpenConfiguredDatabase(host.settings, host.platform, host.paths,
                                               host.AppPath, nullptr, SqlCommit::kTurn));
      database.ShareWithNodes("writer");
      work(database);
      database.EndTurn();
      _exit(database.IsInTrouble() ? 1 : 0);
    }
    children.push_back(child);
  }
  for (const pid_t child : children) {
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }
}

TEST_F(NodesTest, CounterOfTwoWritersLosesNoStep) {
  InTwoProcesses(server(), [](Database& database) {
    for (int i = 0; i < 200; ++i) BumpGlobalCounter(database, "Users_IDVesr");
  });
  EXPECT_EQ(server().Value("select Users_IDVesr from UpDateForm where id=1"), "400");
}

TEST_F(NodesTest, WhatWasReadBeforeALockIsReadAgainBehindIt) {
  Host& host = server().host();
  Database database(OpenConfiguredDatabase(host.settings, host.platform, host.paths, host.AppPath,
                                           &host.clock, SqlCommit::kTurn));
  database.ShareWithNodes("writer");
  const Statement names = Sql("select UserName from Users_ID where UserID='1'");
  const Expr before = database.ReadValue(names);
  server().Run("update Users_ID set UserName='renamed' where UserID='1'");
  const SharedLock alone(database, SharedLock::Kind::kAccounts);
  EXPECT_EQ(database.ReadValue(names).text(), "renamed");
  EXPECT_NE(before.text(), "renamed");
}

TEST_F(NodesTest, AccountsOfTwoWritersHaveNumbersOfTheirOwn) {
  InTwoProcesses(server(), [](Database& database) {
    for (int i = 0; i < 25; ++i) {
      const SharedLock alone(database, SharedLock::Kind::kAccounts);
      CreateAccount(database, false,
                    {.UppeId = "d",
                     .UserIco = "1",
                     .UserName = "new",
                     .FcName = "Name",
                     .UserPaws = "pw",
                     .jod = "",
                     .Tel1 = "",
                     .Constellation = "",
                     .UserState = 1});
    }
  });
  EXPECT_EQ(server().Value("select count(*),count(distinct UserID) from Users_ID "
                           "where UserName='new'"),
            "50|50");
}

// Looks for a row and adds it where it is not there, again and again; what a turn has added is
// committed at its end.
TEST_F(NodesTest, RowThatTwoWritersFindMissingIsAddedOnce) {
  constexpr int kRows = 300;
  InTwoProcesses(server(), [](Database& database) {
    for (int i = 0; i < kRows; ++i) {
      Cursor row(database);
      row.Open(Sql("Select top 1 * from Messeng_Text where Msg_ID='?' and YouID='?'", i, "2"));
      if (row.RecordCount() == 0) {
        row.AddNew();
        row.Set("Msg_ID", i);
        row.Set("YouID", "2");
        row.Set("To_Type", 1);
        row.UpdateOnce({"Msg_ID", "YouID"});
      }
      if (i % 3 == 0) database.EndTurn();
    }
  });
  EXPECT_EQ(server().Value("select count(*),count(distinct Msg_ID) from Messeng_Text"), "300|300");
}

TEST_F(NodesTest, ApplicationsOnTwoNodesAreAnsweredWithDifferentNumbers) {
  std::set<std::string> answers;
  for (int node = 0; node < 2; ++node) {
    server().ConnectToNode(node);
    TestClient applicant = server().ConnectTo(6007);
    applicant.Receive();
    applicant.Send(std::string(".+account_application|d|1|login") + std::to_string(node) +
                   "|Name|pw|job|tel|sign|#");
    answers.insert(applicant.Receive());
  }
  EXPECT_EQ(answers,
            (std::set<std::string>{".+application_success|3|#", ".+application_success|4|#"}));
}

}  // namespace
}  // namespace vnq
