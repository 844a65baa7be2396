// A person-to-person message: its row, its deliveries, its log line.
#include "messaging/messaging.h"
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

class UserMessengTest : public ServerTest {
 protected:
  UserMessengTest() {
    for (const char* user : {"1", "2", "3"}) server.AddUser(user);
  }
  Lines Messages() { return server.Rows("select * from Messeng_Text order by rowid"); }
  std::string Flags() {
    return server.Value("select IsAck1,IsAck2,IsAck3,IsAck4 from Messeng_Text");
  }
};

// Two people on both of their devices, everything before taken. Slots: 1 desktop and 2 mobile of
// user 1, 3 and 4 of user 2.
class FourDevices : public UserMessengTest {
 protected:
  FourDevices() {
    for (TestClient* each : {&desktop1, &mobile1, &desktop2, &mobile2}) each->Receive();
    server.Run("delete from ServerLog");
  }
  TestClient desktop1 = server.Online("1");
  TestClient mobile1 = server.Online("1", 3);
  TestClient desktop2 = server.Online("2");
  TestClient mobile2 = server.Online("2", 3);
};

constexpr const char* kStart = "2026-03-04|05:06:07";

// --- The row ---

TEST_F(UserMessengTest, MessageFromADesktopIsStoredWithItsFlags) {
  TestClient client = server.Online("1");
  client.Send(".+message|2|1|hello|font|M1|1|#");
  EXPECT_EQ(Messages(), Lines{std::string("M1|1|2|Name 1|") + kStart + "|hello|font|10|0|1|1|1"});
}

TEST_F(UserMessengTest, MessageFromAMobileIsStoredWithItsFlags) {
  TestClient client = server.Online("1", 3);
  client.Send(".+message|2|1|hello|font|M1|1|#");
  EXPECT_EQ(Flags(), "1|0|1|1");
}

TEST_F(UserMessengTest, NoteToOneselfWantsOnlyTheTargetsCopies) {
  for (int state : {1, 3}) {
    TestClient client = server.Online("1", state);
    client.Send(".+message|1|1|note|font|M1|1|#");
    EXPECT_EQ(Flags(), "0|0|1|1") << state;
    server.Run("delete from Messeng_Text");
  }
}

TEST_F(UserMessengTest, SlotWithoutANameCountsAsADesktop) {
  TestClient client = server.Connect();
  client.Send(".+message|2|1|hello|font|M1|1|#");
  EXPECT_EQ(Flags(), "0|1|1|1");
}

TEST_F(UserMessengTest, UserIdThatEndsInTheLetterCountsAsAMobile) {
  server.AddUser("tom");
  TestClient client = server.Online("tom");
  client.Send(".+message|2|tom|hello|font|M1|1|#");
  EXPECT_EQ(Flags(), "1|0|1|1");
}

TEST_F(UserMessengTest, TypeFiveIsTheFileFormAndEveryOtherTypeTheOrdinaryOne) {
  TestClient client = server.Connect();
  const char* const types[] = {"1", "2", "9", "5", "0", "10", "x", "", "-5", " 5 ", "5.0", "70000"};
  Lines expected;
  for (const char* type : types) {
    client.Send(std::string(".+message|2|1|hello|font|M") + type + "|" + type + "|#");
  }
  EXPECT_EQ(server.Rows("select To_Type from Messeng_Text order by rowid"),
            (Lines{"10", "10", "10", "60", "10", "10", "10", "10", "10", "60", "60", "10"}));
}

TEST_F(UserMessengTest, MessageWithoutATypeIsAnOrdinaryOne) {
  TestClient client = server.Connect();
  client.Send(".+message|2|1|hello|font|M1#");
  EXPECT_EQ(Messages(), Lines{std::string("M1#|1|2|Name 1|") + kStart + "|hello|font|10|0|1|1|1"});
}

TEST_F(UserMessengTest, ClosingMarkInThePlaceOfTheIdIsTheId) {
  TestClient client = server.Connect();
  client.Send(".+message|2|1|hello|font|#");
  EXPECT_EQ(server.Value("select Msg_ID from Messeng_Text"), "#");
  EXPECT_EQ(server.Waiting(1), ".+reply|1|2|#|#");
}

TEST_F(UserMessengTest, MessageWithoutAnIdIsNeitherStoredNorDeliveredButLogged) {
  TestClient client = server.Connect();
  TestClient target = server.Online("2");
  server.Run("delete from ServerLog");
  client.Send(".+message|2|1|hello|#");
  EXPECT_EQ(Messages(), Lines{});
  EXPECT_EQ(server.Waiting(1) + server.Waiting(2), "");
  EXPECT_EQ(server.Log(), Lines{"1 To 2" + server.Lang("im103") + "|1|127.0.0.1|5"});
}

TEST_F(UserMessengTest, ShortMessagesRunWhatTheyCan) {
  TestClient client = server.Connect();
  client.Send(".+message|#");    // target "#": no sender, no log line
  client.Send(".+message|2|#");  // sender "#"
  EXPECT_EQ(Messages(), Lines{});
  EXPECT_EQ(server.Log(), Lines{"# To 2" + server.Lang("im103") + "|#|127.0.0.1|5"});
}

TEST_F(UserMessengTest, SenderWithoutANameIsStoredWithAnEmptyOne) {
  server.Run("update Users_ID set FcName=NULL where UserID='1'");
  TestClient client = server.Connect();
  client.Send(".+message|2|1|hello|font|M1|1|#");
  EXPECT_EQ(server.Rows("select FcName,UserText from Messeng_Text"), Lines{"|hello"});
}

TEST_F(UserMessengTest, SenderWithoutARowStoresAndDeliversAnEmptyText) {
  server.OnEveryNode([&](Host& host) { host.BlockKeywords = {"hello"}; });
  TestClient client = server.Connect();
  TestClient target = server.Online("2");
  client.Send(".+message|2|77|hello|font|M1|1|#");
  EXPECT_EQ(Messages(), Lines{std::string("M1|77|2||") + kStart + "||font|10|0|1|1|1"});
  EXPECT_EQ(server.Waiting(2), std::string(".+message|77|") + kStart + "||font|M1|11|1|#");
}

TEST_F(UserMessengTest, TargetIsNotLookedUp) {
  TestClient client = server.Connect();
  client.Send(".+message|nobody|1|hello|font|M1|1|#");
  EXPECT_EQ(server.Value("select YouID from Messeng_Text"), "nobody");
}

TEST_F(UserMessengTest, SameIdToAnotherTargetIsANewRow) {
  TestClient client = server.Connect();
  client.Send(".+message|2|1|hello|font|M1|1|#.+message|3|1|hello|font|M1|1|#");
  EXPECT_EQ(server.Rows("select Msg_ID,YouID from Messeng_Text"), (Lines{"M1|2", "M1|3"}));
}

TEST_F(UserMessengTest, IdZeroIsStoredWithoutAReceiptAndItsSecondUseIsADuplicate) {
  TestClient client = server.Connect();
  client.Send(".+message|2|1|one|font|0|1|#.+message|2|1|two|font|0|1|#");
  EXPECT_EQ(server.Rows("select Msg_ID,UserText from Messeng_Text"), Lines{"0|one"});
  EXPECT_EQ(server.Waiting(1), "");
}

TEST_F(UserMessengTest, FileFormIsStoredUnfiltered) {
  server.OnEveryNode([&](Host& host) { host.BlockKeywords = {"secret"}; });
  server.OnEveryNode([&](Host& host) { host.MaskKeywords = {"a"}; });
  TestClient client = server.Connect();
  client.Send(".+message|2|1|secret a|font|M1|5|#.+message|2|1|secret a|font|M2|1|#");
  EXPECT_EQ(server.Rows("select UserText,To_Type from Messeng_Text order by rowid").front(),
            "secret a|60");
  EXPECT_NE(server.Value("select UserText from Messeng_Text where Msg_ID='M2'"), "secret a");
}

TEST_F(UserMessengTest, QuoteInTextAndFontIsStored) {
  TestClient client = server.Connect();
  client.Send(".+message|2|1|it's|f'f|M1|1|#");
  EXPECT_EQ(server.Rows("select UserText,FontInfo from Messeng_Text"), Lines{"it's|f'f"});
}

TEST_F(UserMessengTest, QuoteInIdOrTargetStoresNothingAndIsAcknowledged) {
  TestClient client = server.Connect();
  client.Send(".+message|2|1|hello|font|M'1|1|#.+message|2'|1|hello|font|M2|1|#");
  EXPECT_EQ(Messages(), Lines{});
  EXPECT_EQ(server.Waiting(1), ".+reply|1|2|M'1|#.+reply|1|2'|M2|#");
}

TEST_F(UserMessengTest, QuoteInTheSenderStoresAnEmptyText) {
  TestClient client = server.Connect();
  client.Send(".+message|2|1'|hello|font|M1|1|#");
  EXPECT_EQ(server.Rows("select MyID,FcName,UserText from Messeng_Text"), Lines{"1'||"});
}

// --- Deliveries ---

TEST_F(FourDevices, MessageFromADesktopReachesThreeDevicesAndTheReceiptTheFourth) {
  desktop1.Send(".+message|2|1|hello|font|M1|1|#");
  EXPECT_EQ(server.Waiting(1), ".+reply|1|2|M1|#");
  EXPECT_EQ(server.Waiting(2), std::string(".+message|2|") + kStart + "|hello|font|M1|10|0|#");
  EXPECT_EQ(server.Waiting(3), std::string(".+message|1|") + kStart + "|hello|font|M1|11|1|#");
  EXPECT_EQ(server.Waiting(4), std::string(".+message|1|") + kStart + "|hello|font|M1|11|1|#");
  EXPECT_EQ(desktop2.Receive(), "");  // nothing leaves before the tick
  server.Tick();
  EXPECT_EQ(desktop1.Receive(), ".+reply|1|2|M1|#");
  EXPECT_EQ(mobile1.Receive(), std::string(".+message|2|") + kStart + "|hello|font|M1|10|0|#");
  EXPECT_EQ(desktop2.Receive(), std::string(".+message|1|") + kStart + "|hello|font|M1|11|1|#");
  EXPECT_EQ(mobile2.Receive(), std::string(".+message|1|") + kStart + "|hello|font|M1|11|1|#");
}

TEST_F(FourDevices, MessageFromAMobileReachesTheSendersDesktop) {
  mobile1.Send(".+message|2|1|hello|font|M1|1|#");
  EXPECT_EQ(server.Waiting(1), std::string(".+message|2|") + kStart + "|hello|font|M1|10|0|#");
  EXPECT_EQ(server.Waiting(2), ".+reply|1|2|M1|#");
}

TEST_F(FourDevices, NoteToOneselfFromADesktopReachesTheOwnMobileOnly) {
  desktop1.Send(".+message|1|1|note|font|M1|1|#");
  EXPECT_EQ(server.Waiting(1), ".+reply|1|1|M1|#");
  EXPECT_EQ(server.Waiting(2), std::string(".+message|1|") + kStart + "|note|font|M1|11|1|#");
  EXPECT_EQ(server.Waiting(3) + server.Waiting(4), "");
  EXPECT_EQ(server.Log(), Lines{});
}

TEST_F(FourDevices, NoteToOneselfFromAMobileReachesTheOwnDesktopOnly) {
  mobile1.Send(".+message|1|1|note|font|M1|1|#");
  EXPECT_EQ(server.Waiting(1), std::string(".+message|1|") + kStart + "|note|font|M1|11|1|#");
  EXPECT_EQ(server.Waiting(2), ".+reply|1|1|M1|#");
  EXPECT_EQ(server.Log(), Lines{});
}

TEST_F(FourDevices, ResendLeavesOneRowAndIsDeliveredAndAcknowledgedAgain) {
  const std::string record = ".+message|2|1|hello|font|M1|1|#";
  const std::string copy = std::string(".+message|1|") + kStart + "|hello|font|M1|11|1|#";
  desktop1.Send(record);
  desktop1.Send(record);
  EXPECT_EQ(Messages().size(), 1u);
  EXPECT_EQ(server.Waiting(1), ".+reply|1|2|M1|#.+reply|1|2|M1|#");
  EXPECT_EQ(server.Waiting(3), copy + copy);
  EXPECT_EQ(server.Waiting(4), copy + copy);
  EXPECT_EQ(server.Log().size(), 2u);
}

TEST_F(FourDevices, ResendWithAnotherTextDeliversTheStoredOne) {
  desktop1.Send(".+message|2|1|first|font|M1|1|#");
  server.Tick();
  desktop2.Receive();
  desktop1.Send(".+message|2|1|second|other|M1|5|#");
  EXPECT_EQ(server.Waiting(3), "");  // now of the file form, and no file is there
  EXPECT_EQ(server.Value("select UserText,FontInfo,To_Type from Messeng_Text"), "first|font|10");
}

TEST_F(FourDevices, SameIdToTwoTargetsDeliversTheFirstRowToBoth) {
  TestClient third = server.Online("3");
  desktop1.Send(".+message|2|1|for two|font|M1|1|#");
  desktop1.Send(".+message|3|1|for three|font|M1|1|#");
  EXPECT_EQ(server.Waiting(5), std::string(".+message|1|") + kStart + "|for two|font|M1|11|1|#");
}

TEST_F(FourDevices, SendersOwnSlotDecidesAndNotTheSenderThatTheRecordNames) {
  desktop1.Send(".+message|3|2|hello|font|M1|1|#");
  EXPECT_EQ(server.Waiting(2), std::string(".+message|3|") + kStart + "|hello|font|M1|10|0|#");
  EXPECT_EQ(server.Waiting(3) + server.Waiting(4), "");
}

TEST_F(FourDevices, FileFormReachesTheDevicesInItsOwnKinds) {
  server.Run(
      "insert into LeaveFile(Msg_ID,UserID1,UserID2,TypePath,PcSize,ToDate,SendTy,FilPath) "
      "values('M1','2','1','a.txt','12','2026-03-04',0,'p/a')");
  desktop1.Send(".+message|2|1|a.txt|font|M1|5|#");
  EXPECT_EQ(server.Waiting(2),
            std::string(".+message|2|") + kStart + "|%7Ba%40a.txt%7D|font|M1|1|0|#");
  EXPECT_EQ(server.Waiting(3), ".+offline_file|2|1|a.txt|12|2026-03-04|M1|p/a|#");
  EXPECT_EQ(server.Waiting(4),
            std::string(".+message|1|") + kStart + "|%7Ba%40a.txt%7D|font|M1|2|1|#");
}

TEST_F(FourDevices, FileFormFromAMobileReachesTheSendersDesktop) {
  mobile1.Send(".+message|2|1|a.txt|font|M1|5|#");
  EXPECT_EQ(server.Waiting(1),
            std::string(".+message|2|") + kStart + "|%7Bh%40a.txt%7D|font|M1|1|0|#");
  EXPECT_EQ(server.Waiting(3), "");  // no file record yet
}

TEST_F(UserMessengTest, LetterInTheMiddleOfATagIsLostForTheSendersOtherDevice) {
  server.AddUser("amy");
  TestClient desktop = server.Online("amy");
  TestClient mobile = server.Online("amy", 3);
  TestClient stray = server.Connect();
  server.Slots(6004).SetTag(3, "aym");
  desktop.Send(".+message|2|amy|hello|font|M1|1|#");
  EXPECT_EQ(server.Waiting(2), "");
  EXPECT_EQ(server.Waiting(3), std::string(".+message|2|") + kStart + "|hello|font|M1|10|0|#");
}

TEST_F(UserMessengTest, TargetThatIsNowhereCostsNothingAndTheRowStays) {
  TestClient client = server.Online("1");
  client.Send(".+message|2|1|hello|font|M1|1|#");
  EXPECT_EQ(Messages().size(), 1u);
  server.Tick();
  TestClient target = server.Online("2");
  server.Tick();
  EXPECT_EQ(target.Receive(), "");
}

// --- Log ---

TEST_F(FourDevices, MessageIsLoggedUnderTheNamedSenderAndTheSlotsAddress) {
  TestClient client = server.Connect("127.0.0.8");
  client.Send(".+message|2|1|hello|font|M1|1|#");
  EXPECT_EQ(server.Log(), Lines{"1 To 2" + server.Lang("im103") + "|1|127.0.0.8|5"});
}

// --- Interleaving ---

TEST_F(FourDevices, MessagesOfManySendersAtTheSameMomentAreAllStoredAndDelivered) {
  std::vector<TestClient> senders;
  for (int i = 0; i < 20; ++i) senders.push_back(server.Connect());
  for (size_t i = 0; i < senders.size(); ++i) {
    senders[i].SendQuietly(".+message|2|1|text|font|M" + std::to_string(i) + "|1|#");
  }
  server.Tick();
  EXPECT_EQ(Messages().size(), 20u);
  const std::string got = desktop2.Receive();
  for (size_t i = 0; i < senders.size(); ++i) {
    EXPECT_NE(got.find("|M" + std::to_string(i) + "|11|1|#"), std::string::npos);
    EXPECT_EQ(senders[i].Receive(), ".+reply|1|2|M" + std::to_string(i) + "|#");
  }
}

}  // namespace
}  // namespace vnq
