// How much a peer may do: the walls of rates and lengths, up and down.
#include <sys/socket.h>

#include <chrono>

#include "support/base64_text.h"
#include "tests/harness/said_lines.h"
#include "tests/harness/walls.h"

namespace vnq {
namespace {

class Amounts : public ServerTest {
 protected:
  explicit Amounts(const std::string& walls) : ServerTest(WithWalls(walls)) {
    for (const char* user : {"1", "2"}) server.AddUser(user);
  }
  SaidLines said;
};

struct NoLimits : Amounts {
  NoLimits() : Amounts("") {}
};
struct ConnectionRate : Amounts {
  ConnectionRate() : Amounts("connections_per_minute=3\nunlimited_from=127.0.0.8\n") {}
};
struct RecordRate : Amounts {
  RecordRate() : Amounts("records_per_second=2") {}
};
struct AddressRate : Amounts {
  AddressRate() : Amounts("address_records_per_second=2\nunlimited_from=127.0.0.8\n") {}
};
struct LongestRecord : Amounts {
  LongestRecord() : Amounts("longest_record=60") {}
};
struct LongestList : Amounts {
  LongestList() : Amounts("longest_list=3") {}
};
struct UnreadTimeout : Amounts {
  UnreadTimeout() : Amounts("unread_timeout_s=1") {}
};

std::string KeepAlives(int count) {
  std::string records;
  for (int i = 0; i < count; ++i) records += ".+y|#";
  return records;
}

TEST_F(NoLimits, AnyNumberOfConnectionsAndRecordsIsServed) {
  for (int i = 0; i < 40; ++i) EXPECT_FALSE(server.ConnectTo(6004).IsClosed());
  TestClient client = server.Connect();
  client.Send(KeepAlives(500));
  EXPECT_EQ(client.Receive(), KeepAlives(500));
  client.Send(".+message|2|1|" + std::string(50'000, 'x') + "|font|id1|1|#");
  server.Tick();
  EXPECT_EQ(client.Receive(), ".+reply|1|2|id1|#");
  EXPECT_EQ(said.Take(), Lines{});
}

TEST_F(ConnectionRate, AddressHasSoManyAMinuteAndAnotherItsOwn) {
  for (const uint16_t port : std::initializer_list<uint16_t>{6004, 6001, 6002}) {
    EXPECT_FALSE(server.ConnectTo(port).IsClosed());
  }
  EXPECT_TRUE(server.ConnectTo(6004).IsClosed());
  EXPECT_FALSE(TestClient(server, 6004, "127.0.0.9").IsClosed());
  for (int i = 0; i < 10; ++i) EXPECT_FALSE(TestClient(server, 6004, "127.0.0.8").IsClosed());
  server.AdvanceMs(20'000);
  EXPECT_FALSE(server.ConnectTo(6004).IsClosed());
  EXPECT_TRUE(server.ConnectTo(6004).IsClosed());
  EXPECT_EQ(said.Take().front(),
            "warning: connection refused: port 6004 from 127.0.0.1: connections_per_minute");
}

TEST_F(RecordRate, TenSecondsWorthAtOnceIsServedAndMoreEndsTheConnection) {
  TestClient client = server.Connect();
  client.Send(KeepAlives(20));
  EXPECT_EQ(client.Receive(), KeepAlives(20));
  client.Send(KeepAlives(1));
  EXPECT_EQ(client.Receive(), "");
  EXPECT_TRUE(client.IsClosed());
  EXPECT_EQ(server.State(1), SocketState::kClosing);
  EXPECT_EQ(said.Take(), Lines{"warning: record refused: 1 at once from 127.0.0.1: "
                               "records_per_second; its connection ends"});
}

TEST_F(RecordRate, PresenceIsSweptAsThatOfAnyPeerWhoHasGone) {
  TestClient client = server.Online("1");
  client.Send(KeepAlives(20));
  EXPECT_TRUE(client.IsClosed());
  EXPECT_EQ(server.Value("select UserIcoLine from Users_ID where UserID='1'"), "1");
  server.AdvanceMs(20'000);
  EXPECT_EQ(server.Value("select UserIcoLine from Users_ID where UserID='1'"), "0");
  EXPECT_EQ(server.State(1), SocketState::kClosed);
}

TEST_F(RecordRate, RateIsTheConnectionsAndFillsUpAgain) {
  TestClient one = server.Connect();
  TestClient other = server.Connect();
  one.Send(KeepAlives(20));
  other.Send(KeepAlives(20));
  EXPECT_FALSE(other.IsClosed());
  server.AdvanceMs(1000);
  one.Send(KeepAlives(2));
  EXPECT_FALSE(one.IsClosed());
  EXPECT_EQ(said.Take(), Lines{});
}

TEST_F(RecordRate, NextConnectionOfASlotHasAnAllowanceOfItsOwn) {
  {
    TestClient client = server.Connect();
    client.Send(KeepAlives(20));
  }
  server.AdvanceMs(20'000 - 1000);
  server.AdvanceMs(1000);
  TestClient next = server.Connect();
  EXPECT_EQ(server.host().SckServer.Highest(), 1);
  next.Send(KeepAlives(20));
  EXPECT_FALSE(next.IsClosed());
}

TEST_F(AddressRate, ConnectionsOfAnAddressShareOneAllowance) {
  TestClient one = server.Connect();
  TestClient other = server.Connect();
  TestClient elsewhere = server.Connect("127.0.0.9");
  TestClient console = server.Connect("127.0.0.8");
  one.Send(KeepAlives(20));
  EXPECT_FALSE(one.IsClosed());
  other.Send(KeepAlives(1));
  EXPECT_TRUE(other.IsClosed());
  elsewhere.Send(KeepAlives(20));
  EXPECT_FALSE(elsewhere.IsClosed());
  console.Send(KeepAlives(300));
  EXPECT_FALSE(console.IsClosed());
}

TEST_F(LongestRecord, LongerOneIsDroppedWholeOrInPieces) {
  TestClient client = server.Connect();
  client.Send(".+message|2|1|" + std::string(40, 'x') + "|font|id1|1|#");
  client.Send(".+message|2|1|" + std::string(30, 'x'));
  client.Send(std::string(30, 'x'));
  client.Send("|font|id2|1|#");
  client.Send(".+message|2|1|short|font|id3|1|#");
  server.Tick();
  EXPECT_EQ(client.Receive(), ".+reply|1|2|id3|#");
  EXPECT_EQ(server.Rows("select Msg_ID from Messeng_Text"), Lines{"id3"});
  EXPECT_EQ(said.Take(), Lines{"warning: record refused: 67 bytes from 127.0.0.1: longest_record"});
}

TEST_F(LongestList, LongerListsAreDroppedAndThoseOfTheLengthRun) {
  TestClient client = server.Connect();
  client.Send(".+mass_information|2*2*2*2|1|text|1|#");
  client.Send(".+notification|1|2,2,2,2|t|c|l|#");
  EXPECT_EQ(server.Value("select count(*) from Messeng_Text"), "0");
  EXPECT_EQ(server.Value("select count(*) from MessengNotice_Text"), "0");
  client.Send(".+mass_information|2*2*2|1|text|1|#");
  client.Send(".+notification|1|2,2,2|t|c|l|#");
  EXPECT_EQ(server.Value("select count(*) from Messeng_Text"), "3");
  EXPECT_EQ(server.Value("select count(*) from MessengNotice_Text"), "1");
  EXPECT_EQ(said.Take(),
            Lines{"warning: record refused: .+mass_information from 127.0.0.1: longest_list"});
}

// --- A peer that takes nothing ---

// Sends to a peer that never reads until the kernel takes no more, then waits in real time.
bool IsGoneWithin(TestServer& server, int tenths) {
  SlotArray& slots = server.host().SckServer;
  const std::string block(64 * 1024, 'x');
  for (int i = 0; i < 200; ++i) slots.Send(1, block);
  for (int i = 0; i < tenths && slots.IsConnected(1); ++i) server.loop().Turn(100);
  return slots.IsGone(1);
}

TEST_F(UnreadTimeout, PeerThatTakesNothingIsGoneSoonAfterItsTime) {
  TestClient client = server.Connect();
  EXPECT_TRUE(IsGoneWithin(server, 150));
}

TEST_F(NoLimits, PeerThatTakesNothingStays) {
  TestClient client = server.Connect();
  EXPECT_FALSE(IsGoneWithin(server, 25));
}

}  // namespace
}  // namespace vnq
