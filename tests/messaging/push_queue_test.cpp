// Who gets a mobile notification, and what it says.
#include "host/outgoing/control_tokens.h"
#include "host/outgoing/mobile_push.h"
#include "tests/harness/said_lines.h"
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

class PushQueueTest : public ServerTest {
 protected:
  PushQueueTest() {
    server.AddUser("1");
    server.AddUser("2", {"Registration_Id=reg"});
  }
  // What is queued; the queue is empty afterwards.
  Lines Queued(const Expr& target, const Expr& source, int kind, const Expr& text = "hello",
               const std::string& senderTag = "1", const Expr& extra = "x") {
    server.InHandler([&](Host& host) {
      QueueMobilePush(host, target, extra, source, static_cast<PushKind>(kind), text, senderTag);
    });
    Lines lines = server.Pushes();
    server.ClearPushes();
    return lines;
  }
  bool IsQueued(const std::string& target, const std::string& source,
                const std::string& senderTag = "1") {
    return !Queued(target, source, 1, "hello", senderTag).empty();
  }
  void SetIcoLine(const std::string& value) {
    server.Run("update Users_ID set UserIcoLine=" + value);
  }
};

// NOLINTNEXTLINE(clang-analyzer-optin.performance.Padding): in the order in which a row is read
struct Wanted {
  int checkIM1;
  const char* icoLine;
  const char* registration;
  bool queued;
};

TEST_F(PushQueueTest, PushToAnotherDependsOnTheSwitchThePresenceAndThePushIdentifier) {
  const Wanted cases[] = {
      {0, "0", "'reg'", true},  {0, "1", "'reg'", false},   {0, "2", "'reg'", true},
      {0, "3", "'reg'", true},  {0, "NULL", "'reg'", true}, {0, "0", "''", false},
      {0, "0", "NULL", false},  {1, "0", "'reg'", true},    {1, "1", "'reg'", true},
      {1, "2", "'reg'", true},  {1, "1", "''", false},      {1, "1", "NULL", false},
      {2, "0", "'reg'", false}, {-1, "0", "'reg'", false},
  };
  for (const Wanted& each : cases) {
    server.host().settings.CheckIM1 = static_cast<int16_t>(each.checkIM1);
    server.Run(std::string("update Users_ID set UserIcoLine=") + each.icoLine +
               ", Registration_Id=" + each.registration + " where UserID='2'");
    for (const char* senderTag : {"1", "1m"}) {
      EXPECT_EQ(IsQueued("2", "1", senderTag), each.queued)
          << each.checkIM1 << " " << each.icoLine << " " << each.registration;
    }
  }
}

TEST_F(PushQueueTest, NoteToOneselfIsPushedFromADesktopEvenWithoutAPushIdentifier) {
  for (int checkIM1 : {0, 1, 2}) {
    server.host().settings.CheckIM1 = static_cast<int16_t>(checkIM1);
    for (const char* state : {"0", "1", "3"}) {
      SetIcoLine(state);
      EXPECT_TRUE(IsQueued("1", "1", "1"));
      EXPECT_TRUE(IsQueued("1", "1", ""));
      EXPECT_FALSE(IsQueued("1", "1", "1m"));
      EXPECT_FALSE(IsQueued("2", "2", "2m"));
    }
  }
}

TEST_F(PushQueueTest, UnknownTargetIsNotPushed) {
  EXPECT_FALSE(IsQueued("77", "1"));
  EXPECT_FALSE(IsQueued("2'", "1"));
  server.host().settings.CheckIM1 = 1;
  EXPECT_FALSE(IsQueued("77", "1"));
}

TEST_F(PushQueueTest, VisitorLinesToOneAgentAreTestedLikePeerMessages) {
  EXPECT_EQ(Queued("2", "v", 3), Lines{"2|x|v|3|hello"});
  EXPECT_EQ(Queued("1", "v", 3), Lines{});
}

TEST_F(PushQueueTest, EveryOtherKindIsQueuedWithoutATest) {
  for (int kind : {2, 4, 6, 0, 5}) {
    EXPECT_EQ(Queued("77", "1", kind), Lines{"77|x|1|" + std::to_string(kind) + "|hello"});
  }
}

TEST_F(PushQueueTest, LabelIsCutToFortyCharacters) {
  const std::string forty(40, 'a');
  EXPECT_EQ(Queued("2", "1", 1, forty), Lines{"2|x|1|1|" + forty});
  EXPECT_EQ(Queued("2", "1", 1, forty + "b"), Lines{"2|x|1|1|" + forty});
}

TEST_F(PushQueueTest, ChineseCharactersCountAsOne) {
  std::string forty;
  for (int i = 0; i < 40; ++i) forty += "中";
  EXPECT_EQ(Queued("2", "1", 1, forty + "文"), Lines{"2|x|1|1|" + forty});
}

TEST_F(PushQueueTest, EmojiCountsAsTwo) {
  const std::string before(38, 'a');
  EXPECT_EQ(Queued("2", "1", 1, before + "😀b"), Lines{"2|x|1|1|" + before + "😀"});
}

TEST_F(PushQueueTest, BarInTheLabelStandsAsItIs) {
  EXPECT_EQ(Queued("2", "1", 1, "a|b"), Lines{"2|x|1|1|a|b"});
}

TEST_F(PushQueueTest, TokenIsShownAsItsLabel) {
  const std::pair<const char*, const char*> labels[] = {
      {"{a@", "im283"}, {"{b@", "im284"}, {"{c@", "im285"}, {"{d@", "im286"},
      {"{e@", "im287"}, {"{f@", "im288"}, {"{i@", "im289"}, {"{h@", "im283"},
      {"{k@", "im298"}, {"{o@", "im299"}, {"{x@", "im309"}, {"{y@", "im310"}};
  for (const auto& [token, key] : labels) {
    ASSERT_NE(server.Lang(key), "") << key;
    EXPECT_EQ(Queued("2", "1", 1, std::string("text ") + token + "more}"),
              Lines{"2|x|1|1|" + server.Lang(key)});
  }
}

TEST_F(PushQueueTest, OfSeveralTokensTheFirstOfTheTableWins) {
  EXPECT_EQ(Queued("2", "1", 1, "{y@ {x@ {k@ {b@"), Lines{"2|x|1|1|" + server.Lang("im284")});
  EXPECT_EQ(Queued("2", "1", 1, "{h@ {i@"), Lines{"2|x|1|1|" + server.Lang("im289")});
}

TEST_F(PushQueueTest, MissingValueQueuesNothing) {
  const Expr failed = Expr::Failed();
  EXPECT_EQ(Queued(failed, "1", 2), Lines{});
  EXPECT_EQ(Queued("2", failed, 2), Lines{});
  EXPECT_EQ(Queued("2", "1", 2, failed), Lines{});
  EXPECT_EQ(Queued("2", "1", 2, "hello", "1", failed), Lines{});
}

TEST_F(PushQueueTest, PeerMessageQueuesItsUnescapedText) {
  TestClient client = server.Online("1");
  client.Send(".+message|2|1|%u4F60%20x|font|M1|1|#");
  EXPECT_EQ(server.Pushes(), Lines{"2||1|1|你 x"});
}

TEST_F(PushQueueTest, PeerMessageQueuesWhatTheFilterLeft) {
  server.OnEveryNode([&](Host& host) { host.MaskKeywords = {"bad"}; });
  TestClient client = server.Online("1");
  client.Send(".+message|2|1|bad|font|M1|1|#");
  EXPECT_EQ(server.Pushes(), Lines{"2||1|1|***"});
}

TEST_F(PushQueueTest, FileFormQueuesItsLabel) {
  TestClient client = server.Online("1");
  client.Send(".+message|2|1|a.txt|font|M1|5|#");
  EXPECT_EQ(server.Pushes(), Lines{"2||1|1|" + server.Lang("im283")});
}

TEST_F(PushQueueTest, ResendIsPushedAgain) {
  TestClient client = server.Online("1");
  client.Send(".+message|2|1|a|font|M1|1|#.+message|2|1|a|font|M1|1|#");
  EXPECT_EQ(server.Pushes(), (Lines{"2||1|1|a", "2||1|1|a"}));
}

TEST_F(PushQueueTest, MessageToAnOnlineUserIsNotPushedAndToAnAwayOneIs) {
  TestClient client = server.Online("1");
  TestClient target = server.Online("2");
  client.Send(".+message|2|1|a|font|M1|1|#");
  EXPECT_EQ(server.Pushes(), Lines{});
  target.Send(".+go_away|2|#");
  client.Send(".+message|2|1|b|font|M2|1|#");
  EXPECT_EQ(server.Pushes(), Lines{"2||1|1|b"});
}

TEST_F(PushQueueTest, WithTheTimerOffNothingIsQueued) {
  server.host().settings.pushIntervalMs = 0;
  for (int i = 0; i < 100; ++i) {
    server.InHandler(
        [](Host& host) { QueueMobilePush(host, "2", "", "1", PushKind::kGroup, "text", "1"); });
  }
  EXPECT_TRUE(server.host().PushQueue.empty());
}

TEST_F(PushQueueTest, WhatIsQueuedForOnePushIsBounded) {
  const std::string group(100'000, 'g');
  server.InHandler([&](Host& host) {
    for (int i = 0; i < 100; ++i) {
      QueueMobilePush(host, group, "", "1", PushKind::kGroup, "text", "1");
    }
  });
  EXPECT_EQ(server.Pushes().size(), 41u) << "of 4 MB in all";
  server.ClearPushes();
  server.InHandler(
      [](Host& host) { QueueMobilePush(host, "2", "", "1", PushKind::kGroup, "text", "1"); });
  EXPECT_EQ(server.Pushes(), Lines{"2||1|2|text"});
}

TEST_F(PushQueueTest, APushThatIsNotAnsweredWellIsSaidOnceAndCounted) {
  SaidLines said;
  server.host().PushUrl = "http://" + server.address() + ":9/push";  // nobody listens
  for (int i = 0; i < 3; ++i) {
    server.InHandler([](Host& host) {
      host.PushQueue.Add("a");
      host.PushQueue.Add("b");
      SendQueuedPush(host);
    });
    while (server.host().PushQueue.failures() <= static_cast<uint64_t>(i)) server.Pump();
  }
  EXPECT_EQ(said.Take(), Lines{"warning: push: 2 notifications are lost, no answer"});
  server.AdvanceMs(RepeatedWarning::kRoundMs);
  EXPECT_EQ(said.Take(), Lines{"warning: push: 2 more within a minute"});
}

TEST_F(PushQueueTest, OnlyAnAnswerOfSuccessIsAPushThatWasSent) {
  SaidLines said;
  vnq::PushQueue& queue = server.host().PushQueue;
  queue.NoteResult(3, true, 200);
  EXPECT_EQ(said.Take(), Lines{});
  EXPECT_EQ(queue.sent(), 1U);
  queue.NoteResult(3, true, 500);
  EXPECT_EQ(said.Take(), Lines{"warning: push: 3 notifications are lost, the answer was 500"});
  EXPECT_EQ(queue.failures(), 1U);
}

}  // namespace
}  // namespace vnq
