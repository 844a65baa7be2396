// What peers can have the server hold and do is bounded: bytes that they do not take, bytes that
// they send, records that they do not end, and the turns of others that their work takes.
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <new>

#include "host/slots/dispatcher.h"
#include "host/slots/sending.h"
#include "support/base64_text.h"
#include "tests/harness/said_lines.h"
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

constexpr size_t kText = 100'000;

TestServerOptions WithLimits(const LimitSettings& limits) {
  TestServerOptions options;
  options.limits = limits;
  return options;
}

class Bounds : public ::testing::Test {
 protected:
  explicit Bounds(const LimitSettings& limits = {}) : server(WithLimits(limits)) {}

  ConnectionBudget& budget() { return *server.host().budget; }

  // Runs turns until nothing is ready, and gives the most that `value` was in between.
  template <typename Value>
  size_t MostWhilePumping(const Value& value) {
    size_t most = value();
    while (server.loop().Turn(0)) most = std::max<size_t>(most, value());
    return most;
  }

  TestServer server;
  SaidLines said;
};

// --- Bytes on their way out ---

class OutputBound : public Bounds {
 protected:
  static LimitSettings Small() {
    LimitSettings limits;
    limits.connectionOutputMb = 2;
    limits.outputMb = 5;
    return limits;
  }
  OutputBound() : Bounds(Small()) {}

  void Relay(TestClient& from, const std::string& tag) {
    from.Send(".+reply_transmission|1|" + tag + "|" + std::string(kText, 'a') + "|#");
  }
};

TEST_F(OutputBound, AClientThatDoesNotReadCountsAsGoneAndIsSwept) {
  server.AddUser("1");
  TestClient silent = server.Online("1");
  TestClient writer = server.Connect();
  size_t most = 0;
  for (int i = 0; i < 400 && server.State(1) == SocketState::kConnected; ++i) {
    Relay(writer, "1");
    most = std::max(most, budget().AllUnsent());
  }
  EXPECT_EQ(server.State(1), SocketState::kClosing);
  EXPECT_GT(most, kMegabyte);
  EXPECT_LE(most, 2 * kMegabyte + 2 * kText);
  EXPECT_EQ(budget().AllUnsent(), 0u);
  const Lines lines = said.Take();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_TRUE(
      lines[0].starts_with("warning: a connection is ended that does not take what is sent: "
                           "127.0.0.1, "))
      << lines[0];
  EXPECT_EQ(lines[1], "info: 6004: connection of 1 from 127.0.0.1 ended after 0 s, by the peer");
  server.AdvanceMs(20'000);
  EXPECT_EQ(server.State(1), SocketState::kClosed);
  EXPECT_EQ(server.Value("select UserIcoLine from Users_ID where UserID='1'"), "0");
  EXPECT_TRUE(silent.IsClosed());
}

TEST_F(OutputBound, AClientThatReadsIsSentManyTimesTheBound) {
  TestClient reader = server.Online("1");
  TestClient writer = server.Connect();
  size_t received = 0;
  for (int i = 0; i < 100; ++i) {
    Relay(writer, "1");
    received += reader.ReceiveBytes().size();
  }
  EXPECT_GT(received, 100 * kText);
  EXPECT_EQ(server.State(1), SocketState::kConnected);
  EXPECT_EQ(budget().AllUnsent(), 0u);
}

TEST_F(OutputBound, OverTheBoundOfAllThoseFurthestBehindGo) {
  std::vector<TestClient> silent;
  for (int i = 1; i <= 6; ++i) silent.push_back(server.Online(std::to_string(i)));
  TestClient writer = server.Connect();
  size_t most = 0;
  for (int i = 0; i < 150; ++i) {
    for (int user = 1; user <= 6; ++user) {
      Relay(writer, std::to_string(user));
      most = std::max(most, budget().AllUnsent());
    }
  }
  EXPECT_GT(most, 4 * kMegabyte);
  EXPECT_LE(most, 5 * kMegabyte + 2 * kText);
  Relay(silent[0], "none");
  EXPECT_EQ(server.State(7), SocketState::kConnected) << "the writer, who is behind with nothing";
}

// Each of 60 has more to come than the kernel takes; before, each had a copy of its own.
TEST_F(Bounds, ABroadcastToManyWhoDoNotReadIsHeldOnce) {
  std::vector<TestClient> silent;
  silent.reserve(60);
  for (int i = 0; i < 60; ++i) silent.push_back(server.Connect());
  const std::string text(1'500'000, 'a');
  for (int i = 0; i < 12; ++i) {
    server.InHandler([&](Host& host) { TellEverybody(host, text); });
  }
  const size_t asBytes = 2'000'000;
  EXPECT_GE(budget().AllUnsent(), asBytes);
  // What the kernel took the beginning of is shared all the same; the last bytes may be copies.
  EXPECT_LE(budget().AllUnsent(), 12 * asBytes + 60 * kText);
  for (TestClient& client : silent) client.Close();
  server.AdvanceMs(TcpConnection::kLingerMs);
  EXPECT_EQ(budget().AllUnsent(), 0u);
}

// --- Bytes that came in ---

class InputBound : public Bounds {
 protected:
  static LimitSettings Small() {
    LimitSettings limits;
    limits.inputMb = 1;
    limits.recordMb = 1;
    limits.pendingMb = 2;
    return limits;
  }
  InputBound() : Bounds(Small()) {}
};

// Each text is a keep-alive, whose handler gives a turn with all its bytes in hand.
TEST_F(InputBound, ConnectionsThatSendWithoutEndAreLeftUnread) {
  std::vector<TestClient> senders;
  senders.reserve(20);
  for (int i = 0; i < 20; ++i) senders.push_back(server.Connect());
  const std::string wire =
      Base64EncodeText(server.page(), ".+y|" + std::string(kText - 1, 'a') + "|#");
  size_t most = 0;
  for (int round = 0; round < 10; ++round) {
    for (TestClient& sender : senders) {
      sender.SendBytesQuietly(wire);
      most = std::max(most, budget().AllArrived());
    }
    most = std::max(most, MostWhilePumping([&] { return budget().AllArrived(); }));
  }
  EXPECT_GT(most, kMegabyte / 2);
  EXPECT_LE(most, 2 * kMegabyte + 200'000) << "one read may go over";
  server.Pump();
  EXPECT_EQ(budget().AllArrived(), 0u);
  TestClient other = server.Connect();
  other.Send(".+y|#");
  EXPECT_EQ(other.Receive(), ".+y|#");
}

TEST_F(InputBound, ASmallRecordIsReadThoughOthersHaveFilledTheBound) {
  std::vector<TestClient> senders;
  senders.reserve(40);
  for (int i = 0; i < 40; ++i) senders.push_back(server.Connect());
  TestClient other = server.Connect();
  const std::string wire =
      Base64EncodeText(server.page(), ".+y|" + std::string(kText - 1, 'a') + "|#");
  for (TestClient& sender : senders) sender.SendBytesQuietly(wire);
  while (budget().AllArrived() < 2 * kMegabyte) server.loop().Turn(0);
  other.SendQuietly(".+y|#");
  std::string answer;
  for (int turn = 0; turn < 4 && answer.empty(); ++turn) {
    server.loop().Turn(0);
    answer = other.ReceiveNow();
  }
  EXPECT_EQ(answer, Base64EncodeText(server.page(), ".+y|#"));
  EXPECT_GT(budget().AllArrived(), kMegabyte);
}

TEST_F(InputBound, ARecordWithoutAnEndIsDroppedAtItsLongest) {
  server.AddUser("1");
  TestClient client = server.Connect();
  PendingRecords& pending = server.host().PendingRecord;
  client.Send(".+message|2|1|");
  for (int i = 0; i < 9; ++i) client.Send(std::string(kText, 'a'));
  EXPECT_EQ(pending[1].size(), 14 + 9 * kText);
  for (int i = 0; i < 20; ++i) client.Send(std::string(kText, 'a'));
  EXPECT_EQ(pending[1], "");
  EXPECT_EQ(pending.AllBytes(), 0u);
  client.Send("|font|M1|1|#");
  EXPECT_EQ(server.Rows("select UserText from Messeng_Text"), Lines{});
  EXPECT_EQ(said.Take(), Lines{"warning: an unfinished record is dropped: slot 1, 1100014 bytes"});
  client.Send(".+message|2|1|hello|font|M1|1|#");
  EXPECT_EQ(server.Rows("select UserText from Messeng_Text"), Lines{"hello"});
}

TEST_F(InputBound, OfManyRecordsWithoutAnEndTheLongestIsDropped) {
  std::vector<TestClient> clients;
  PendingRecords& pending = server.host().PendingRecord;
  for (int i = 0; i < 4; ++i) {
    clients.push_back(server.Connect());
    clients.back().Send(".+message|2|1|");
    for (int part = 0; part < 6 + i; ++part) clients.back().Send(std::string(kText, 'a'));
  }
  EXPECT_LE(pending.AllBytes(), 2 * kMegabyte);
  EXPECT_EQ(pending[1].size(), 14 + 6 * kText);
  EXPECT_EQ(pending[2].size(), 14 + 7 * kText);
}

TEST_F(Bounds, ARecordOfNothingButSeparatorsHasAnElementForEach) {
  const std::string record(360'000, '|');
  const Fields fields = Fields::Split(record);
  EXPECT_EQ(fields.size(), record.size() + 1);
  EXPECT_TRUE(Is(fields[record.size()], ""));
}

// --- Turns ---

TEST_F(Bounds, AReadOfManyRecordsLetsOthersRunInBetween) {
  TestClient sender = server.Connect();
  TestClient other = server.Connect();
  std::string records;
  for (int i = 0; i < 1000; ++i) records += ".+reply_transmission|1|nobody|2|#";
  sender.SendQuietly(records);
  other.SendQuietly(".+y|#");
  const auto& row = *server.ClientDispatcher().Find(".+reply_transmission");
  std::string answer;
  for (int turn = 0; turn < 20 && answer.empty(); ++turn) {
    server.loop().Turn(0);
    answer = other.ReceiveNow();
  }
  EXPECT_EQ(answer, Base64EncodeText(server.page(), ".+y|#"));
  EXPECT_LT(server.ClientDispatcher().CountersOf(row).calls, 500u);
  server.Pump();
  EXPECT_EQ(server.ClientDispatcher().CountersOf(row).calls, 1000u);
}

TEST_F(Bounds, ManyLargeReadsLetOthersRunInBetween) {
  std::vector<TestClient> senders;
  senders.reserve(40);
  for (int i = 0; i < 40; ++i) senders.push_back(server.Connect());
  TestClient other = server.Connect();
  for (TestClient& sender : senders) {
    sender.SendQuietly(".+reply_transmission|1|nobody|" + std::string(kText, 'a') + "|#");
  }
  other.SendQuietly(".+y|#");
  const auto& row = *server.ClientDispatcher().Find(".+reply_transmission");
  std::string answer;
  for (int turn = 0; turn < 4 && answer.empty(); ++turn) {
    server.loop().Turn(0);
    answer = other.ReceiveNow();
  }
  EXPECT_EQ(answer, Base64EncodeText(server.page(), ".+y|#"));
  EXPECT_LT(server.ClientDispatcher().CountersOf(row).calls, 20u);
  server.Pump();
  EXPECT_EQ(server.ClientDispatcher().CountersOf(row).calls, 40u);
}

TEST_F(Bounds, LargeReadsOfOneConnectionKeepTheirOrderAndThoseBehindThem) {
  std::vector<TestClient> senders;
  senders.reserve(8);
  for (int i = 0; i < 8; ++i) senders.push_back(server.Connect());
  const auto record = [](int sender, int number, size_t length) {
    return ".+delete_bulletin|" + std::to_string(sender) + "|" + std::to_string(number) +
           std::string(length, ' ') + "|#";
  };
  for (int number = 0; number < 3; ++number) {
    for (size_t i = 0; i < senders.size(); ++i) {
      senders[i].SendQuietly(record(static_cast<int>(i), number, number == 2 ? 0 : kText));
    }
    server.loop().Turn(0);
  }
  for (TestClient& sender : senders) sender.Close();
  server.Pump();
  for (int i = 0; i < 8; ++i) {
    const std::string user = std::to_string(i);
    const Lines texts =
        server.Rows("select trim(Txt) from ServerLog where UserID='" + user + "' order by rowid");
    const std::string text = user + server.Lang("im99");
    EXPECT_EQ(texts, (Lines{text + "0", text + "1", text + "2"}));
  }
}

TEST_F(Bounds, TheMoreHandlersGoRoundTheShorterIsATurn) {
  EXPECT_EQ(Dispatcher::RecordsPerTurn(0), 64);
  EXPECT_EQ(Dispatcher::RecordsPerTurn(128), 64);
  EXPECT_EQ(Dispatcher::RecordsPerTurn(1024), 8);
  EXPECT_EQ(Dispatcher::RecordsPerTurn(EventLoop::kMaxHandlers), 2);
  EXPECT_EQ(Dispatcher::RecordsPerTurn(3 * EventLoop::kMaxHandlers), 1);
}

TEST_F(Bounds, TheNextReadOfTheSameConnectionWaitsForTheWholeOfTheFirst) {
  TestClient sender = server.Connect();
  std::string records;
  Lines users;
  for (int i = 0; i < 200; ++i) {
    records += ".+delete_bulletin|" + std::to_string(i) + "|a|#";
    users.push_back(std::to_string(i));
  }
  users.push_back("last");
  sender.SendQuietly(records);
  server.loop().Turn(0);
  sender.SendQuietly(".+delete_bulletin|last|a|#");
  sender.Close();
  EXPECT_EQ(server.Rows("select UserID from ServerLog order by rowid"), users);
  EXPECT_EQ(server.State(1), SocketState::kClosing);
}

TEST_F(Bounds, AHandlerOfAnotherPeerFindsRoomThoughThousandsWait) {
  TestClient client = server.Connect();
  EventLoop& loop = server.loop();
  for (size_t i = 0; i < EventLoop::kMaxHandlers; ++i) {
    loop.StartHandler([&loop] { loop.Suspend(); });
  }
  server.Pump();
  ASSERT_EQ(loop.LiveHandlers(), EventLoop::kMaxHandlers);
  client.Send(".+y|#");
  EXPECT_EQ(client.Receive(), ".+y|#");
}

// --- Slots of peers who have gone ---

// Turns of the loop until nothing is ready.
int TurnsOf(TestServer& server) {
  int turns = 0;
  while (server.loop().Turn(0)) ++turns;
  return turns;
}

// Takes slots by peers that are gone at once, and has the sweep close them.
void Storm(TestServer& server, SlotArray& slots, int connections) {
  for (int i = 1; i <= connections; ++i) {
    int pair[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, pair), 0);
    close(pair[1]);
    slots.Accept(AcceptedSocket(pair[0], "127.0.0.9"));
    if (i % 100 == 0) server.Pump();
  }
  server.AdvanceMs(20'000);
  ASSERT_EQ(slots.Highest(), connections);
}

TEST_F(Bounds, AfterAStormCommandsVisitConnectedSlotsOnly) {
  Storm(server, server.host().SckServer, 2000);
  TestClient client = server.Connect();
  TestClient other = server.Connect();
  for (const char* record : {".+stealth|9|#", ".+phone_log|9|#", ".+customer|9|v|City|t|#"}) {
    client.SendQuietly(record);
    EXPECT_LT(TurnsOf(server), 30) << record;
  }
  EXPECT_TRUE(other.Receive().starts_with(".+new_is_offline|9|#"));
}

TEST_F(Bounds, AfterAStormLandingAgainGivesNoTurnForEachClosedSlot) {
  SlotArray& slots = server.host().SckServer6008;
  Storm(server, slots, 500);
  TestClient computer = server.ConnectTo(6008);
  computer.SendBytesQuietly(".+landing|pc|1||#");
  EXPECT_LT(TurnsOf(server), 20);
  EXPECT_EQ(slots.Tag(1), "pc");
}

// --- Memory that cannot be had ---

void HandleWithoutMemory(Host&, Fields&, SlotIndex, const std::string&) {
  throw std::bad_alloc();
}
void HandleAnswer(Host& host, Fields& fields, SlotIndex slot, const std::string&) {
  SendRecord(host, slot, fields[1]);
}
constexpr CommandRow kRows[] = {
    {".+large", "", HandleWithoutMemory, {}, "", "", ""},
    {".+small", "", HandleAnswer, {}, "", "", ""},
};

TEST_F(Bounds, ARecordThatThereIsNoMemoryForIsLostAloneAndSaidOnce) {
  TestClient client = server.Connect();
  Dispatcher dispatcher(kRows, &Host::SckServer, true, &Host::PendingRecord);
  server.InHandler(
      [&](Host& host) { dispatcher.Run(host, ".+small|a|#.+large|#.+small|b|#.+large|#", 1, ""); });
  EXPECT_EQ(client.Receive(), "ab");
  EXPECT_EQ(said.Take(), Lines{"warning: memory is short: something that a client sent is lost"});
}

TEST_F(Bounds, UnloadClosesEverySlotThoughFarewellsFail) {
  server.AddUser("1");
  TestClient client = server.Online("1");
  server.loop().SetSettle([] { throw std::bad_alloc(); }, [] { return false; });
  server.loop().StartHandler([&] { server.form().Unload(); });
  server.Pump();
  EXPECT_EQ(server.State(1), SocketState::kClosed);
  EXPECT_TRUE(client.IsClosed());
}

}  // namespace
}  // namespace vnq
