// A group message: one row, one acknowledgement row a member, each member's devices.
#include "messaging/messaging.h"
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

// Slots: 1 desktop and 2 mobile of the sender "1", 3 and 4 of the member "2". Member "3" is away.
class ClotMessengTest : public ServerTest {
 protected:
  ClotMessengTest() {
    for (const char* user : {"1", "2", "3"}) {
      server.AddUser(user);
      AddMember("G1", user);
    }
    for (auto [user, state] : {std::pair("1", 1), {"1", 3}, {"2", 1}, {"2", 3}}) {
      devices.push_back(server.Online(user, state));
    }
    for (TestClient& each : devices) each.Receive();
    server.Run("delete from ServerLog");
  }
  void AddMember(const std::string& group, const std::string& user) {
    server.Run("insert into Clot_Form(UpperID,UserID) values('" + group + "','" + user + "')");
  }
  // A record as a member's copy or the sender's other device gets it.
  std::string Record(const std::string& tail, const std::string& group = "G1") {
    return ".+clot_messeng|" + group + "|1|" +
           server.Value("select To_Date||'|'||To_Time from MessengClot_Text") + "|" + tail;
  }
  std::string Marks(const std::string& user) {
    return server.Value(
        "select last_ack_typeid1,last_ack_typeid2,last_ack_typeid3,last_ack_typeid4 from Clot_Form "
        "where UserID='" +
        user + "'");
  }
  Lines Stored() {
    return server.Rows(
        "select Msg_ID,ClotID,MyID,FcName,UserText,FontInfo,To_Type from MessengClot_Text order by "
        "TypeID");
  }
  Lines Acks() { return server.Rows("select Msg_ID,ClotID,MyID,YouID from Msg_Acks"); }
  Lines LogLine() { return {"1 To G1" + server.Lang("im84") + "|1|127.0.0.1|6"}; }

  TestClient& desktop1() { return devices[0]; }
  TestClient& mobile1() { return devices[1]; }

 private:
  std::vector<TestClient> devices;
};

constexpr const char* kMessage = ".+clot_messeng|G1|1|hello|font|M1|6|#";

TEST_F(ClotMessengTest, MessageIsStoredOnceWithOneAcknowledgementRowAMemberButTheSender) {
  desktop1().Send(kMessage);
  EXPECT_EQ(Stored(), Lines{"M1|G1|1|Name 1|hello|font|6"});
  EXPECT_EQ(Acks(), (Lines{"M1|G1|1|2", "M1|G1|1|3"}));
  EXPECT_EQ(server.Rows("select IsReceipt1,IsReceipt2 from Msg_Acks"), (Lines{"0|0", "0|0"}));
  EXPECT_EQ(
      server.Value("select count(*) from MessengClot_Text where To_Date like '____-__-__' and "
                   "To_Time like '__:__:__'"),
      "1");
  EXPECT_EQ(server.Log(), LogLine());
}

TEST_F(ClotMessengTest, MessageFromADesktopReachesMembersAndTheSendersMobile) {
  desktop1().Send(kMessage);
  EXPECT_EQ(server.Waiting(1), ".+reply|2|G1|M1|#");
  EXPECT_EQ(server.Waiting(2), Record("hello|font|M1|6|0|#"));
  EXPECT_EQ(server.Waiting(3), Record("hello|font|M1|7|1|#"));
  EXPECT_EQ(server.Waiting(4), Record("hello|font|M1|7|1|#"));
}

TEST_F(ClotMessengTest, MessageFromAMobileReachesTheSendersDesktop) {
  mobile1().Send(kMessage);
  EXPECT_EQ(server.Waiting(1), Record("hello|font|M1|6|0|#"));
  EXPECT_EQ(server.Waiting(2), ".+reply|2|G1|M1|#");
  EXPECT_EQ(server.Waiting(3), Record("hello|font|M1|7|1|#"));
}

TEST_F(ClotMessengTest, MarkOfTheDeviceThatSentRises) {
  server.Run("insert into MessengClot_Text(TypeID,Msg_ID,ClotID) values(40,'old','G1')");
  desktop1().Send(kMessage);
  EXPECT_EQ(Marks("1"), "41|0|0|0");
  mobile1().Send(".+clot_messeng|G1|1|hello|font|M2|6|#");
  EXPECT_EQ(Marks("1"), "41|42|0|0");
  EXPECT_EQ(Marks("2"), "0|0|0|0");
}

TEST_F(ClotMessengTest, MarkIsTheGroupsOwnLatestMessage) {
  desktop1().Send(kMessage);
  server.Run("insert into MessengClot_Text(TypeID,Msg_ID,ClotID) values(90,'other','G2')");
  desktop1().Send(kMessage);  // a duplicate: nothing newer in this group
  EXPECT_EQ(Marks("1"), "1|0|0|0");
}

TEST_F(ClotMessengTest, MarkPastTheSixteenBitsIsZero) {
  server.Run("insert into MessengClot_Text(TypeID,Msg_ID,ClotID) values(32766,'old','G1')");
  desktop1().Send(kMessage);
  EXPECT_EQ(Marks("1"), "32767|0|0|0");
  desktop1().Send(".+clot_messeng|G1|1|hello|font|M2|6|#");
  EXPECT_EQ(Marks("1"), "0|0|0|0");
}

TEST_F(ClotMessengTest, LastIdOfAGroupIsZeroWithoutMessagesAndWithoutTheGroup) {
  server.InHandler([](Host& host) {
    EXPECT_EQ(LastGroupMessageId(host, "G1"), 0);
    EXPECT_EQ(LastGroupMessageId(host, "none"), 0);
    EXPECT_EQ(LastGroupMessageId(host, "a'b"), 0);
  });
}

TEST_F(ClotMessengTest, DuplicateStoresNothingNewAndIsDeliveredAndAcknowledgedAgain) {
  desktop1().Send(kMessage);
  desktop1().Send(kMessage);
  EXPECT_EQ(Stored().size(), 1u);
  EXPECT_EQ(Acks().size(), 2u);
  const std::string copy = Record("hello|font|M1|7|1|#");
  EXPECT_EQ(server.Waiting(3), copy + copy);
  EXPECT_EQ(server.Waiting(1), ".+reply|2|G1|M1|#.+reply|2|G1|M1|#");
}

TEST_F(ClotMessengTest, SameIdInAnotherGroupIsANewRowAndDeliversTheFirst) {
  AddMember("G2", "2");
  desktop1().Send(kMessage);
  server.Tick();
  desktop1().Send(".+clot_messeng|G2|1|second|font|M1|6|#");
  EXPECT_EQ(Stored(), (Lines{"M1|G1|1|Name 1|hello|font|6", "M1|G2|1|Name 1|second|font|6"}));
  EXPECT_EQ(server.Waiting(3), Record("hello|font|M1|7|1|#"));
  EXPECT_EQ(Acks().size(), 2u);  // the pair of id and member is there already
}

TEST_F(ClotMessengTest, SenderWithoutARowStoresNothingAndIsAcknowledged) {
  desktop1().Send(".+clot_messeng|G1|77|hello|font|M1|6|#");
  EXPECT_EQ(Stored(), Lines{});
  EXPECT_EQ(server.Waiting(1), ".+reply|2|G1|M1|#");
  EXPECT_EQ(server.Waiting(2) + server.Waiting(3) + server.Waiting(4), "");
  EXPECT_EQ(Acks(), (Lines{"M1|G1|77|1", "M1|G1|77|2", "M1|G1|77|3"}));
  EXPECT_EQ(server.Pushes(), Lines{"G1|77|G1|2|"});
}

TEST_F(ClotMessengTest, GroupOfTheSenderAloneWritesNoAcknowledgementRow) {
  AddMember("G3", "1");
  desktop1().Send(".+clot_messeng|G3|1|hello|font|M1|6|#");
  EXPECT_EQ(Acks(), Lines{});
  EXPECT_EQ(server.Waiting(2), Record("hello|font|M1|6|0|#", "G3"));
}

TEST_F(ClotMessengTest, StrangerCanPostAndHasNoMarkAndNoCopy) {
  server.Run("delete from Clot_Form where UserID='1'");
  desktop1().Send(kMessage);
  EXPECT_EQ(Stored().size(), 1u);
  EXPECT_EQ(server.Waiting(2), "");
  EXPECT_EQ(server.Waiting(3), Record("hello|font|M1|7|1|#"));
}

TEST_F(ClotMessengTest, MissingGroupIsStoredAndAcknowledged) {
  desktop1().Send(".+clot_messeng|none|1|hello|font|M1|6|#");
  EXPECT_EQ(Stored(), Lines{"M1|none|1|Name 1|hello|font|6"});
  EXPECT_EQ(server.Waiting(1), ".+reply|2|none|M1|#");
  EXPECT_EQ(Acks(), Lines{});
}

TEST_F(ClotMessengTest, TypeIsStoredAsItStandsAndReadsAsZeroWhenItIsNoNumber) {
  for (const char* type : {"1", "5", "60", "-3", "x", ""}) {
    desktop1().Send(std::string(".+clot_messeng|G1|1|a|font|M") + type + "|" + type + "|#");
  }
  EXPECT_EQ(server.Rows("select To_Type from MessengClot_Text order by TypeID"),
            (Lines{"1", "5", "60", "-3", "0", "0"}));
}

TEST_F(ClotMessengTest, EveryTypeIsFiltered) {
  server.OnEveryNode([&](Host& host) { host.MaskKeywords = {"bad"}; });
  desktop1().Send(".+clot_messeng|G1|1|bad|font|M1|5|#");
  EXPECT_EQ(server.Value("select UserText from MessengClot_Text"), "***");
}

TEST_F(ClotMessengTest, PushNamesTheGroupAndIsQueuedWithoutATest) {
  desktop1().Send(".+clot_messeng|G1|1|%u4F60%20x|font|M1|6|#");
  EXPECT_EQ(server.Pushes(), Lines{"G1|1|G1|2|你 x"});
}

TEST_F(ClotMessengTest, UnfinishedMessageIsLoggedWhenItArrivesAndNotAgainWhenItIsCompleted) {
  desktop1().Send(".+clot_messeng|G1|1|hel");
  EXPECT_EQ(server.Log(), LogLine());
  EXPECT_EQ(Stored(), Lines{});
  EXPECT_EQ(server.Waiting(1), "");
  desktop1().Send("lo|font|M1|6|#");
  EXPECT_EQ(Stored(), Lines{"M1|G1|1|Name 1|hello|font|6"});
  EXPECT_EQ(server.Waiting(1), ".+reply|2|G1|M1|#");
  EXPECT_EQ(server.Log(), LogLine());
}

TEST_F(ClotMessengTest, UnfinishedMessageWithoutASenderIsNotLogged) {
  desktop1().Send(".+clot_messeng|G1");
  EXPECT_EQ(server.Log(), Lines{});
}

TEST_F(ClotMessengTest, MessageWithoutAnIdIsNeitherStoredNorDelivered) {
  desktop1().Send(".+clot_messeng|G1|1|hello|#");
  EXPECT_EQ(Stored(), Lines{});
  EXPECT_EQ(Acks(), Lines{});
  for (SlotIndex slot = 1; slot <= 4; ++slot) EXPECT_EQ(server.Waiting(slot), "");
  EXPECT_EQ(server.Log(), LogLine());
}

TEST_F(ClotMessengTest, QuotesStandInFreeTextAndFailWhereTheyAreLookedUp) {
  desktop1().Send(".+clot_messeng|G1|1|it's|f'f|M1|6|#");
  EXPECT_EQ(Stored(), Lines{"M1|G1|1|Name 1|it's|f'f|6"});
  desktop1().Send(".+clot_messeng|G1|1|hello|font|M'2|6|#.+clot_messeng|G'1|1|hello|font|M3|6|#");
  EXPECT_EQ(Stored().size(), 1u);
}

TEST_F(ClotMessengTest, SenderWithoutANameIsStoredWithAnEmptyOne) {
  server.Run("update Users_ID set FcName=NULL");
  desktop1().Send(kMessage);
  EXPECT_EQ(Stored(), Lines{"M1|G1|1||hello|font|6"});
}

TEST_F(ClotMessengTest, GroupHeaderIsNotTouched) {
  server.Run(
      "insert into Clot_Ro(TypeID,TypeName,Users_IDVesr,Users_FormVesr) values('G1','g',3,4)");
  desktop1().Send(kMessage);
  EXPECT_EQ(server.Value("select Users_IDVesr,Users_FormVesr from Clot_Ro"), "3|4");
}

TEST_F(ClotMessengTest, LargeGroupIsServedInOneGo) {
  for (int i = 100; i < 300; ++i) AddMember("G1", std::to_string(i));
  desktop1().Send(kMessage);
  EXPECT_EQ(Acks().size(), 202u);
}

}  // namespace
}  // namespace vnq
