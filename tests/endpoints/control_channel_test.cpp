// The control channel of sibling services and the console, in plain text.
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

constexpr uint16_t kControlPort = 6003;
constexpr uint16_t kEndpointPort = 6008;
const std::string kGreeting = ".+successful_connection|#";

TestServerOptions WithBroadcastHistory(const char* chats) {
  TestServerOptions options;
  options.settings =
      "[server_connection]\r\nDB_TYPE=access\r\nDataBaseName=\\Web\\Data\\vnq.db\r\n"
      "DataBaseIp=127.0.0.1\r\nchats=" +
      std::string(chats) + "\r\n";
  return options;
}

class ControlChannel : public ServerTest {
 protected:
  explicit ControlChannel(const char* chats = "1") : ServerTest(WithBroadcastHistory(chats)) {
    for (const char* user : {"u1", "u2", "u3"}) server.AddUser(user);
  }

  TestSlots peers() { return server.Slots(6003); }
  TestSlots endpoints() { return server.Slots(6008); }

  TestClient Peer(const std::string& name) {
    TestClient peer = server.ConnectTo(kControlPort);
    EXPECT_EQ(peer.ReceiveBytes(), kGreeting);
    if (!name.empty()) peer.SendBytes(".+landing|" + name + "|#");
    return peer;
  }
  TestClient Endpoint(const std::string& name) {
    TestClient endpoint = server.ConnectTo(kEndpointPort);
    EXPECT_EQ(endpoint.ReceiveBytes(), kGreeting);
    endpoint.SendBytes(".+landing|" + name + "|user|u|#");
    return endpoint;
  }
};

// --- Landing and liveness ---

TEST_F(ControlChannel, ALandingNamesTheSlotWithoutAReply) {
  TestClient peer = Peer("VNQUpload");
  EXPECT_EQ(peer.ReceiveBytes(), "");
  EXPECT_EQ(peers().Tag(1), "VNQUpload");
}

TEST_F(ControlChannel, ALandingClosesEveryOtherHolderOfTheName) {
  TestClient first = Peer("VNQUpload");
  TestClient second = Peer("other");
  peers().SetTag(2, "VNQUpload");
  TestClient third = Peer("VNQUpload");
  EXPECT_TRUE(first.IsClosed());
  EXPECT_TRUE(second.IsClosed());
  EXPECT_FALSE(third.IsClosed());
  EXPECT_EQ(peers().Tag(1), "");
  EXPECT_EQ(peers().Tag(2), "");
  EXPECT_EQ(peers().Tag(3), "VNQUpload");
}

TEST_F(ControlChannel, APeerThatLandsTwiceClosesItsOwnConnectionAndLeavesItsName) {
  TestClient peer = Peer("VNQUpload");
  peer.SendBytes(".+landing|VNQUpload|#");
  EXPECT_TRUE(peer.IsClosed());
  EXPECT_EQ(peers().State(1), SocketState::kClosed);
  EXPECT_EQ(peers().Tag(1), "VNQUpload");
}

TEST_F(ControlChannel, ANewConnectionInAReusedSlotKeepsItsName) {
  TestClient peer = Peer("VNQUpload");
  peer.SendBytes(".+landing|VNQUpload|#");
  TestClient next = Peer("");
  EXPECT_EQ(peers().Highest(), 1);
  EXPECT_EQ(peers().Tag(1), "VNQUpload");
}

TEST_F(ControlChannel, ALandingWithAnEmptyNameClosesEveryNamelessSlotItsOwnToo) {
  TestClient named = Peer("VNQUpload");
  TestClient nameless = Peer("");
  TestClient serving = Peer("");
  serving.SendBytes(".+landing||#");
  EXPECT_FALSE(named.IsClosed());
  EXPECT_TRUE(nameless.IsClosed());
  EXPECT_TRUE(serving.IsClosed());
  EXPECT_EQ(peers().Tag(3), "");
  server.AdvanceMs(10'000);
  EXPECT_EQ(server.host().HeartbeatAge[3], 0) << "a slot without a name does not age";
}

TEST_F(ControlChannel, EveryReadClearsTheAge) {
  TestClient peer = Peer("VNQUpload");
  for (const char* read : {".+x|#", "anything", ".+unknown|#"}) {
    server.AdvanceMs(4'000);
    EXPECT_EQ(server.host().HeartbeatAge[1], 4);
    peer.SendBytes(read);
    EXPECT_EQ(server.host().HeartbeatAge[1], 0) << read;
  }
  EXPECT_EQ(peer.ReceiveBytes(), "");
}

TEST_F(ControlChannel, AReadWithTwoRecordsDoesBothInOrder) {
  TestClient peer = Peer("VNQUpload");
  server.AdvanceMs(3'000);
  peer.SendBytes(".+x|#.+y|#");
  EXPECT_EQ(peer.ReceiveBytes(), ".+y|#");
  EXPECT_EQ(server.host().HeartbeatAge[1], 0);
  peer.SendBytes(".+y|#.+y|#");
  EXPECT_EQ(peer.ReceiveBytes(), ".+y|#.+y|#");
}

TEST_F(ControlChannel, NothingIsCarriedOverAndTheClosingIsNotNeeded) {
  TestClient peer = Peer("");
  peer.SendBytes(".+landing|half");
  EXPECT_EQ(peers().Tag(1), "half");
  peer.SendBytes("+y|#");
  peer.SendBytes(".");
  peer.SendBytes("+y|#");
  EXPECT_EQ(peer.ReceiveBytes(), "");
}

TEST_F(ControlChannel, ALineEndBelongsToTheField) {
  TestClient peer = Peer("");
  peer.SendBytes(".+landing|a\r\n");
  EXPECT_EQ(peers().Tag(1), "a\r\n");
}

TEST_F(ControlChannel, AReadThatBeginsWithoutAPrefixRunsItsLaterRecords) {
  TestClient peer = Peer("");
  peer.SendBytes("noise.+y|#");
  EXPECT_EQ(peer.ReceiveBytes(), ".+y|#");
}

TEST_F(ControlChannel, OtherCommandsAreIgnored) {
  TestClient peer = Peer("");
  for (const char* read : {".+Landing|a|#", ".+message|1|2|t|f|1|1|#", ".+", "|", ".+|#", "#"}) {
    peer.SendBytes(read);
  }
  EXPECT_EQ(peer.ReceiveBytes(), "");
  EXPECT_EQ(peers().Tag(1), "");
  EXPECT_FALSE(peer.IsClosed());
}

// --- Users ---

TEST_F(ControlChannel, AFailedDownloadIsToldToItsUser) {
  TestClient user = server.Online("u1");
  TestClient peer = Peer("VNQDownload");
  peer.SendBytes(".+failed|u1|file|why|#");
  EXPECT_EQ(user.Receive(), ".+download_myfailed|file|why|#");
  peer.SendBytes(".+failed|u2|file|why|#");
  peer.SendBytes(".+failed|u1|file");
  EXPECT_EQ(user.Receive(), "");
}

TEST_F(ControlChannel, DisconnectedUsersAreToldClosedAndAnnounced) {
  TestClient one = server.Online("u1");
  TestClient two = server.Online("u2");
  TestClient other = server.Online("u3");
  TestClient nobody = server.Connect();
  one.Receive(), two.Receive(), other.Receive();
  TestClient peer = Peer("console");
  peer.SendBytes(".+disconnect|a|u1|u2|#");
  EXPECT_EQ(one.Receive(), ".+disconnect|a");
  EXPECT_EQ(two.Receive(), ".+disconnect|a");
  EXPECT_TRUE(one.IsClosed());
  EXPECT_TRUE(two.IsClosed());
  EXPECT_EQ(server.Tag(1), "");
  EXPECT_EQ(other.Receive(), ".+new_is_offline|u1|u2||#");
  EXPECT_EQ(nobody.Receive(), ".+new_is_offline|u1|u2||#");
  EXPECT_EQ(server.Value("select UserIcoLine from Users_ID where UserID='u1'"), "1");
}

TEST_F(ControlChannel, AUserWhoIsOfflineIsLeftOutAndWithNobodyNothingIsAnnounced) {
  TestClient other = server.Online("u3");
  TestClient one = server.Online("u1");
  one.Receive(), other.Receive();
  TestClient peer = Peer("console");
  peer.SendBytes(".+disconnect|a|u2|#");
  EXPECT_EQ(other.Receive(), "");
  peer.SendBytes(".+disconnect|a|u2|u1|#");
  EXPECT_EQ(other.Receive(), ".+new_is_offline|u1||#");
}

TEST_F(ControlChannel, AUserWhoIsConnectedTwiceLosesOnlyTheFirstSlot) {
  TestClient first = server.Connect();
  TestClient second = server.Connect();
  server.Slots(6004).SetTag(1, "u1");
  server.Slots(6004).SetTag(2, "u1");
  TestClient peer = Peer("console");
  peer.SendBytes(".+disconnect|a|u1|#");
  EXPECT_TRUE(first.IsClosed());
  EXPECT_FALSE(second.IsClosed());
  EXPECT_EQ(second.Receive(), ".+new_is_offline|u1||#");
}

TEST_F(ControlChannel, ABroadcastReachesEveryClientAndIsKept) {
  TestClient one = server.Online("u1");
  TestClient nobody = server.Connect();
  one.Receive();
  TestClient peer = Peer("console");
  peer.SendBytes(".+broadcast|title|it's late|font|#");
  EXPECT_EQ(one.Receive(), ".+broadcast|title|it's late|font|#");
  EXPECT_EQ(nobody.Receive(), ".+broadcast|title|it's late|font|#");
  EXPECT_EQ(server.Rows("select To_Txt,FontInfo from ToInfo"), Lines{"it's late|font"});
  EXPECT_EQ(peer.ReceiveBytes(), "");
}

TEST_F(ControlChannel, AShortBroadcastIsNotSentAndItsFieldsAreKept) {
  TestClient one = server.Online("u1");
  TestClient peer = Peer("console");
  peer.SendBytes(".+broadcast|title|text");
  EXPECT_EQ(one.Receive(), "");
  EXPECT_EQ(server.Rows("select To_Txt,FontInfo from ToInfo"), Lines{"text|NULL"});
}

TEST_F(ControlChannel, RecordsToClientsAreInTheCodePage) {
  TestClient one = server.Online("u1");
  TestClient peer = Peer("console");
  peer.SendBytes(server.page().ToBytes(".+broadcast|t|你好|f|#"));
  EXPECT_EQ(one.Receive(), ".+broadcast|t|你好|f|#");
}

class ControlChannelWithoutHistory : public ControlChannel {
 protected:
  ControlChannelWithoutHistory() : ControlChannel("0") {}
};

TEST_F(ControlChannelWithoutHistory, ABroadcastIsNotKept) {
  TestClient one = server.Online("u1");
  TestClient peer = Peer("console");
  peer.SendBytes(".+broadcast|t|x|f|#");
  EXPECT_EQ(one.Receive(), ".+broadcast|t|x|f|#");
  EXPECT_TRUE(server.Rows("select * from ToInfo").empty());
}

// --- Endpoints ---

TEST_F(ControlChannel, AComputerOrderedDownIsClosedAndItsUserAnnounced) {
  TestClient user = server.Online("u2");
  TestClient endpoint = Endpoint("e1");
  TestClient peer = Peer("VNQPcTelnet");
  peer.SendBytes(".+control_computer|e1+u1+3|#");
  EXPECT_EQ(endpoint.ReceiveBytes(), ".+control_computer|3|#");
  EXPECT_TRUE(endpoint.IsClosed());
  EXPECT_EQ(endpoints().Tag(1), "");
  EXPECT_EQ(user.Receive(), ".+new_is_offline|u1||#");
}

TEST_F(ControlChannel, SeveralComputersAreOrderedDownAndMissingOnesPassedOver) {
  TestClient user = server.Online("u3");
  TestClient one = Endpoint("e1");
  TestClient two = Endpoint("e2");
  TestClient peer = Peer("VNQPcTelnet");
  peer.SendBytes(".+control_computer|e1+u1+ 2 ||e9+u9+1|e2+u2+-1|#");
  EXPECT_EQ(one.ReceiveBytes(), ".+control_computer|2|#");
  EXPECT_EQ(two.ReceiveBytes(), ".+control_computer|-1|#");
  EXPECT_EQ(user.Receive(), ".+new_is_offline|u1|u2||#");
}

TEST_F(ControlChannel, ACodeThatIsNoNumberLeavesTheOneBeforeAndTheOtherStepsRun) {
  TestClient user = server.Online("u2");
  TestClient one = Endpoint("e1");
  TestClient two = Endpoint("e2");
  TestClient peer = Peer("VNQPcTelnet");
  peer.SendBytes(".+control_computer|e1+u1+x|#");
  EXPECT_EQ(one.ReceiveBytes(), ".+control_computer|0|#");
  EXPECT_TRUE(one.IsClosed());
  EXPECT_EQ(user.Receive(), ".+new_is_offline|u1||#");
  TestClient again = Endpoint("e1");
  peer.SendBytes(".+control_computer|e1+u1+7|e2+u2+99999|#");
  EXPECT_EQ(again.ReceiveBytes(), ".+control_computer|7|#");
  EXPECT_EQ(two.ReceiveBytes(), ".+control_computer|7|#");
}

TEST_F(ControlChannel, AnOrderWithTooFewPartsSendsNothingAndClosesAllTheSame) {
  TestClient user = server.Online("u2");
  TestClient one = Endpoint("e1");
  TestClient two = Endpoint("e2");
  TestClient peer = Peer("VNQPcTelnet");
  peer.SendBytes(".+control_computer|e1+u1|e2|#");
  EXPECT_EQ(one.ReceiveBytes(), "");
  EXPECT_TRUE(one.IsClosed());
  EXPECT_TRUE(two.IsClosed());
  EXPECT_EQ(user.Receive(), ".+new_is_offline|u1||#");
}

TEST_F(ControlChannel, UsbOrdersLeaveTheComputerConnectedAndAnnounceNobody) {
  TestClient user = server.Online("u2");
  TestClient one = Endpoint("e1");
  TestClient two = Endpoint("e2");
  TestClient peer = Peer("VNQPcTelnet");
  peer.SendBytes(".+control_usb|e1+u1+1|e2+u2+x|#");
  EXPECT_EQ(one.ReceiveBytes(), ".+control_usb|1|#");
  EXPECT_EQ(two.ReceiveBytes(), ".+control_usb|1|#");
  peer.SendBytes(".+control_usb|e1+u1|#");
  EXPECT_EQ(one.ReceiveBytes(), "");
  EXPECT_FALSE(one.IsClosed());
  EXPECT_EQ(endpoints().Tag(1), "e1");
  EXPECT_EQ(user.Receive(), "");
}

TEST_F(ControlChannel, DesktopAndInformationRequestsGoToTheirComputer) {
  TestClient one = Endpoint("e1");
  TestClient two = Endpoint("e2");
  TestClient peer = Peer("VNQPcTelnet");
  for (const std::string word :
       {".+remote_desktop", ".+close_remote_desktop", ".+computer_information"}) {
    peer.SendBytes(word + "|e2|#");
    EXPECT_EQ(two.ReceiveBytes(), word + "|#");
    peer.SendBytes(word + "|e9|#" + word);
  }
  EXPECT_EQ(one.ReceiveBytes(), "");
  EXPECT_EQ(two.ReceiveBytes(), "");
}

TEST_F(ControlChannel, AComputersAnswerComesBackToTheConsole) {
  TestClient endpoint = Endpoint("e1");
  TestClient console = Peer("VNQPcTelnet");
  console.SendBytes(".+computer_information|e1|#");
  EXPECT_EQ(endpoint.ReceiveBytes(), ".+computer_information|#");
  endpoint.SendBytes(".+submit_information|1|2|3|4|5|6|7|8|9|10|11|12|13|14|15|#");
  EXPECT_EQ(console.ReceiveBytes(), ".+submit_information|1|2|3|4|5|6|7|8|9|10|11|12|13|14|15|#");
}

TEST_F(ControlChannel, ShortRecordsOfEveryCommandAreHarmless) {
  TestClient one = server.Online("u1");
  TestClient endpoint = Endpoint("e1");
  TestClient peer = Peer("VNQPcTelnet");
  for (const std::string word :
       {".+landing", ".+x", ".+y", ".+failed", ".+disconnect", ".+control_computer",
        ".+control_usb", ".+remote_desktop", ".+close_remote_desktop", ".+computer_information",
        ".+broadcast"}) {
    peer.SendBytes(word);
    peer.SendBytes(word + "|");
  }
  EXPECT_FALSE(endpoint.IsClosed());
  EXPECT_EQ(one.Receive(), "");
}

}  // namespace
}  // namespace vnq
