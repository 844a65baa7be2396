// What slots, receipts and restarts are worth: walls up and down.
#include "tests/harness/said_lines.h"
#include "tests/harness/walls.h"

namespace vnq {
namespace {

class SlotWalls : public ServerTest {
 protected:
  explicit SlotWalls(const std::string& walls) : ServerTest(Options(walls)) {
    server.AddUser("1");
    server.AddUser("2");
  }
  static TestServerOptions Options(const std::string& walls) {
    TestServerOptions options = WithWalls(walls);
    options.settings = DefaultSettings("DataBaseIp=127.99.99.99");
    return options;
  }
  // Peers that come to a port, take a name and vanish.
  void Vanish(uint16_t port, int peers) {
    for (int i = 0; i < peers; ++i) server.ConnectTo(port);
  }
  // The calls of a restart, once the service host has not answered.
  Lines RestartCalls(size_t wanted) {
    const Lines& calls = server.commands().calls;
    for (int i = 0; i < 500 && calls.size() < wanted; ++i) server.loop().Turn(10);
    return calls;
  }
  void SiblingFallsSilent() {
    server.host().SckServer6003.SetTag(1, "VNQUpload");
    server.AdvanceMs(36'000);
  }

  SaidLines said;
};

struct NoSlotWalls : SlotWalls {
  NoSlotWalls() : SlotWalls("") {}
};
struct SweptPorts : SlotWalls {
  SweptPorts() : SlotWalls("sweep_all_ports=yes") {}
};
struct ClearedSlots : SlotWalls {
  ClearedSlots() : SlotWalls("clear_slots=yes") {}
};
struct StoredReceipts : SlotWalls {
  StoredReceipts() : SlotWalls("receipt_when_stored=yes") {}
};
struct BackgroundRestart : SlotWalls {
  BackgroundRestart() : SlotWalls("restart_in_background=yes") {}
};

constexpr uint16_t kUnswept[] = {6001, 6002, 6003, 6007};

SlotArray& SlotsOf(TestServer& server, uint16_t port) {
  Host& host = server.host();
  return port == 6001   ? host.SckServer6001
         : port == 6002 ? host.SckServer6002
         : port == 6003 ? host.SckServer6003
                        : host.SckServer6007;
}

// --- Slots ---

TEST_F(NoSlotWalls, SlotsOfFourPortsStayTakenByThoseWhoVanished) {
  for (const uint16_t port : kUnswept) Vanish(port, 3);
  server.AdvanceMs(60'000);
  for (const uint16_t port : kUnswept) {
    EXPECT_EQ(SlotsOf(server, port).Highest(), 3) << port;
    EXPECT_TRUE(SlotsOf(server, port).IsGone(1)) << port;
  }
}

TEST_F(SweptPorts, SlotsOfFourPortsComeBackWithTheNextSweep) {
  for (const uint16_t port : kUnswept) {
    Vanish(port, 3);
    SlotsOf(server, port).SetTag(2, "name");
  }
  server.AdvanceMs(20'000);
  for (const uint16_t port : kUnswept) {
    EXPECT_EQ(SlotsOf(server, port).State(2), SocketState::kClosed) << port;
    EXPECT_EQ(SlotsOf(server, port).Tag(2), "") << port;
    TestClient next = server.ConnectTo(port);
    EXPECT_TRUE(SlotsOf(server, port).IsConnected(1)) << port;
  }
}

TEST_F(SweptPorts, SiblingThatVanishedIsStillRestarted) {
  Vanish(6003, 1);
  SiblingFallsSilent();
  EXPECT_EQ(RestartCalls(3).size(), 3u);
  EXPECT_EQ(server.host().SckServer6003.State(1), SocketState::kClosed);
}

// The last peer of slot 1 left half a message, a receipt, and, of a fault elsewhere, a tag.
void LeaveRemains(TestServer& server) {
  {
    TestClient last = server.Connect();
    last.Send(".+message|2|1|a|font|id1|1|#");
    last.Send(".+message|2|1|half");
  }
  server.host().SckServer.Close(1);
  server.host().SckServer.SetTag(1, "1");
}

TEST_F(NoSlotWalls, NextConnectionInheritsWhatWasWaiting) {
  LeaveRemains(server);
  TestClient next = server.Connect();
  EXPECT_EQ(server.Tag(1), "1");
  next.Send("|font|id2|1|#");
  server.Tick();
  EXPECT_EQ(next.Receive(), ".+reply|1|2|id1|#.+reply|1|2|id2|#");
}

TEST_F(ClearedSlots, NextConnectionInheritsNothing) {
  LeaveRemains(server);
  TestClient next = server.Connect();
  EXPECT_EQ(server.Tag(1), "");
  next.Send("|font|id2|1|#");
  server.Tick();
  EXPECT_EQ(next.Receive(), "");
  EXPECT_EQ(server.Rows("select Msg_ID from Messeng_Text"), Lines{"id1"});
}

// --- Receipts ---

// A message whose row cannot be written, and one whose row can.
constexpr const char* kUnstorable = ".+message|2|1|it's|font|id'1|1|#";
constexpr const char* kStorable = ".+message|2|1|text|font|id2|1|#";

TEST_F(NoSlotWalls, ReceiptComesWhetherTheRowIsThereOrNot) {
  TestClient client = server.Connect();
  client.Send(kUnstorable);
  client.Send(kStorable);
  server.Tick();
  EXPECT_EQ(client.Receive(), ".+reply|1|2|id'1|#.+reply|1|2|id2|#");
  EXPECT_EQ(server.Rows("select Msg_ID from Messeng_Text"), Lines{"id2"});
}

TEST_F(StoredReceipts, ReceiptComesForARowAlone) {
  TestClient client = server.Connect();
  client.Send(kUnstorable);
  client.Send(kStorable);
  server.Tick();
  EXPECT_EQ(client.Receive(), ".+reply|1|2|id2|#");
  EXPECT_EQ(said.Take(), Lines{"warning: receipt withheld: 1 of what is not in the database: "
                               "receipt_when_stored"});
}

TEST_F(StoredReceipts, EveryKindOfReceiptComesForItsRow) {
  server.Run("insert into Clot_Form(UpperID,UserID,IsAdmin) values('100','1',1)");
  TestClient client = server.Connect();
  client.Send(".+clot_messeng|100|1|text|font|g1|1|#");
  client.Send(".+upload_files|p|1|1|2|1|f|f1|#");
  client.Send(".+upload_files|p|1|1|100|2|f|f2|#");
  server.Tick();
  EXPECT_EQ(client.Receive(), ".+reply|2|100|g1|#.+reply|3|2|f1|#.+reply|4|100|f2|#");
}

TEST_F(StoredReceipts, WhoSendsAgainIsStoredAndAcknowledged) {
  TestClient client = server.Connect();
  client.Send(".+message|2|1|text|font|id1|1|#");
  server.Run("delete from Messeng_Text");
  server.Tick();
  EXPECT_EQ(client.Receive(), "");
  client.Send(".+message|2|1|text|font|id1|1|#");
  server.Tick();
  EXPECT_EQ(client.Receive(), ".+reply|1|2|id1|#");
}

// --- Restarts ---

TEST_F(NoSlotWalls, RestartBlocksTheThreadWhileTheServiceStops) {
  TestClient sibling = server.ConnectTo(6003);
  SiblingFallsSilent();
  const Lines calls = RestartCalls(3);
  ASSERT_EQ(calls.size(), 3u);
  EXPECT_EQ(calls[1], "block 10000");
}

TEST_F(BackgroundRestart, EverythingElseGoesOnWhileTheServiceStops) {
  TestClient sibling = server.ConnectTo(6003);
  SiblingFallsSilent();
  EXPECT_EQ(RestartCalls(3), (Lines{"start systemctl stop VNQ_Site_Service", "wait 10000",
                                    "start systemctl start VNQ_Site_Service"}));
}

}  // namespace
}  // namespace vnq
