// Friend requests, their answers and the end of a friendship. 1 asks, 2 is asked.
#include "tests/harness/parties.h"

namespace vnq {
namespace {

constexpr char kFont[] = "宋体,10,12681849,False,False,False";
constexpr char kGreeting[] = "We%20are%20friends%20now.%20Hello!";

class Friends : public PartiesTest {
 protected:
  void BothOnTwoDevices() { Connect({"1", "1m", "2", "2m"}); }
  void Only(const std::string& tag) {
    AddUsers({"1", "2"});
    Connect({tag});
  }
  void AskedWants(const std::string& isVerify) {
    AddUsers({"1", "2"});
    server.Run("update Users_ID set IsVerify=" + isVerify + " where UserID='2'");
  }

  // A friend record with the three type fields behind To_Type1.
  static std::string Record(const std::string& party, const std::string& self,
                            const std::string& text, const std::string& types) {
    return ".+messengverify|" + party + "|" + self + "|" + text + "|1|" + types + "|#";
  }
  // A greeting as it leaves for a target's device, or for the other device of the one whose name it
  // bears. The text is what the language file holds, escaped.
  std::string Greeting(const std::string& otherParty, bool toTarget) {
    return ".+message|" + otherParty + "|" + server.Now().Date() + "|05:06:07|" + greeting() + "|" +
           kFont + "|GUID|" + (toTarget ? "11|1" : "10|0") + "|#";
  }
  std::string greeting() { return server.Value("select UserText from Messeng_Text"); }
  // Messeng_Text: MyID|YouID|To_Type|IsAck1|2|3|4.
  Lines Messages() {
    return server.Rows(
        "select MyID,YouID,To_Type,IsAck1,IsAck2,IsAck3,IsAck4 from Messeng_Text order by rowid");
  }
  Lines Friendships() { return server.Rows("select UserID,MyID from Fav_Form order by rowid"); }
  Lines Blocks() { return server.Rows("select * from MessengVerify_Blacklist order by rowid"); }
  std::string VerificationLog(const std::string& user, const std::string& party) {
    return user + " To " + party + server.Lang("im264") + "|" + user + "|127.0.0.1|12";
  }
  std::string MessageLog(const std::string& sender, const std::string& target) {
    return sender + " To " + target + server.Lang("im103") + "|" + sender + "|127.0.0.1|5";
  }
  void ExpectNothingWritten() {
    EXPECT_EQ(Friendships(), Lines{});
    EXPECT_EQ(FriendCounters(), Lines{});
    EXPECT_EQ(Messages(), Lines{});
    EXPECT_EQ(GlobalCounters(), "0|0");
  }
};

// --- A request that needs no consent ---

TEST_F(Friends, RequestToOneWhoWantsNoAskingMakesTheFriendshipAtOnce) {
  BothOnTwoDevices();
  From("1", Record("2", "1", "hi", "1|1|0"));
  const std::string toAsked = Record("2", "1", "hi", "1|1|1"),
                    toAsker = Record("1", "2", "hi", "1|1|1");
  EXPECT_EQ(Hear(), (Heard{{"1", toAsker}, {"1m", toAsker}, {"2", toAsked}, {"2m", toAsked}}));
  EXPECT_EQ(greeting(), kGreeting);
  EXPECT_EQ(HearAfterTick(), (Heard{{"1", Greeting("2", true)},
                                    {"1m", Greeting("2", false) + Greeting("2", true)},
                                    {"2", Greeting("1", true)},
                                    {"2m", Greeting("1", true) + Greeting("1", false)}}));
  EXPECT_EQ(Friendships(), (Lines{"1|2", "2|1"}));
  EXPECT_EQ(FriendCounters(), (Lines{"1|1", "2|1"}));
  EXPECT_EQ(Messages(), (Lines{"1|2|10|0|1|1|1", "2|1|10|0|1|1|1"}));
  EXPECT_EQ(Parked(), Lines{});
  EXPECT_EQ(GlobalCounters(), "0|0");
  EXPECT_EQ(Log(), (Lines{MessageLog("1", "2"), MessageLog("2", "1"), VerificationLog("1", "2")}));
}

TEST_F(Friends, RequestFromAMobileToAnAbsentUserIsGrantedAndThatUsersGreetingDropped) {
  Only("1m");
  From("1m", Record("2", "1", "hi", "1|1|0"));
  EXPECT_EQ(Hear(), (Heard{{"1m", Record("1", "2", "hi", "1|1|1")}}));
  EXPECT_EQ(HearAfterTick(), Heard{});
  EXPECT_EQ(Friendships(), (Lines{"1|2", "2|1"}));
  EXPECT_EQ(FriendCounters(), (Lines{"1|1", "2|1"}));
  EXPECT_EQ(Messages(), Lines{"1|2|10|1|0|1|1"});
  EXPECT_EQ(Parked(), Lines{});
  EXPECT_EQ(Log(), (Lines{MessageLog("1", "2"), VerificationLog("1", "2")}));
}

// Only an exact desktop tag makes the greeting of the user asked.
TEST_F(Friends, UserAskedWhoIsOnAMobileOnlySendsNoGreeting) {
  Connect({"1", "2m"});
  From("1", Record("2", "1", "", "1|1|0"));
  EXPECT_EQ(Messages().size(), 1u);
  EXPECT_EQ(Hear()["2m"], Record("2", "1", "", "1|1|1"));
}

TEST_F(Friends, RequestForAFriendshipThatExistsAddsNoRowButRaisesBothCountersAndGreetsAgain) {
  BothOnTwoDevices();
  From("1", Record("2", "1", "", "1|1|0"));
  From("1", Record("2", "1", "", "1|1|0"));
  EXPECT_EQ(Friendships(), (Lines{"1|2", "2|1"}));
  EXPECT_EQ(FriendCounters(), (Lines{"1|2", "2|2"}));
  EXPECT_EQ(Messages().size(), 4u);
  EXPECT_EQ(server.Value("select count(distinct Msg_ID) from Messeng_Text"), "4");
}

TEST_F(Friends, HalfAFriendshipIsMended) {
  BothOnTwoDevices();
  server.Run("insert into Fav_Form values('2','1')");
  From("1", Record("2", "1", "", "1|1|0"));
  EXPECT_EQ(Friendships(), (Lines{"2|1", "1|2"}));
}

TEST_F(Friends, BlockIsNotLookedAtWhenNoConsentIsNeeded) {
  BothOnTwoDevices();
  server.Run("insert into MessengVerify_Blacklist(MyID,YouID,To_Type) values('2','1',1)");
  From("1", Record("2", "1", "", "1|1|0"));
  EXPECT_EQ(Friendships().size(), 2u);
}

TEST_F(Friends, RequestToAnUnknownUserEndsInSilence) {
  Connect({"1", "1m"});
  From("1", Record("2", "1", "", "1|1|0"));
  EXPECT_EQ(Hear(), Heard{});
  EXPECT_EQ(Parked(), Lines{});
  ExpectNothingWritten();
  EXPECT_EQ(Log(), Lines{VerificationLog("1", "2")});
}

TEST_F(Friends, GrantedRequestOfAnUnknownAskerRunsOnWithoutThatCounter) {
  BothOnTwoDevices();
  From("1", Record("2", "77", "", "1|1|0"));
  EXPECT_EQ(Friendships(), (Lines{"77|2", "2|77"}));
  EXPECT_EQ(FriendCounters(), Lines{"2|1"});
}

// --- A request that needs consent ---

TEST_F(Friends, RequestThatNeedsConsentIsPutToBothDevices) {
  AskedWants("1");
  BothOnTwoDevices();
  const std::string record = Record("2", "1", "please", "1|1|x");
  From("1", record);
  EXPECT_EQ(Hear(), (Heard{{"2", record}, {"2m", record}}));
  EXPECT_EQ(Parked(), Lines{});
  ExpectNothingWritten();
  EXPECT_EQ(Log(), Lines{VerificationLog("1", "2")});
}

TEST_F(Friends, RequestThatNeedsConsentIsParkedForBothDevicesOfAnAbsentUser) {
  AskedWants("1");
  Only("1");
  From("1", Record("2", "1", "please", "1|1|0"));
  EXPECT_EQ(Hear(), Heard{});
  EXPECT_EQ(Parked(), ParkedFor({"2", "2m"}, "2|1|please|1|1|1|0"));
  ExpectNothingWritten();
}

TEST_F(Friends, BlockedAskerIsRefusedByTheServerAndTheUserAskedNeverHears) {
  AskedWants("1");
  BothOnTwoDevices();
  server.Run("insert into MessengVerify_Blacklist(MyID,YouID,To_Type) values('2','1',1)");
  From("1", Record("2", "1", "please", "1|1|0"));
  const std::string refused = ".+messengverify|1|2||1|1|2|3|#";
  EXPECT_EQ(Hear(), (Heard{{"1", refused}, {"1m", refused}}));
  EXPECT_EQ(Parked(), Lines{});
  ExpectNothingWritten();
}

TEST_F(Friends, RefusalOfABlockedAskerIsNotParkedForTheOtherDevice) {
  AskedWants("1");
  Only("1m");
  server.Run("insert into MessengVerify_Blacklist(MyID,YouID,To_Type) values('2','1',1)");
  From("1m", Record("2", "1", "please", "1|1|0"));
  EXPECT_EQ(Hear(), (Heard{{"1m", ".+messengverify|1|2||1|1|2|3|#"}}));
  EXPECT_EQ(Parked(), Lines{});
  ExpectNothingWritten();
}

TEST_F(Friends, BlocksOfAGroupAndOfTheOtherDirectionDoNotCount) {
  AskedWants("1");
  Only("1");
  server.Run(
      "insert into MessengVerify_Blacklist(MyID,YouID,To_Type) values('2','1',2),('1','2',1)");
  From("1", Record("2", "1", "", "1|1|0"));
  EXPECT_EQ(Parked().size(), 2u);
}

TEST_F(Friends, RequestToOneWhoTakesNoneChangesNothingAndSendsNothing) {
  for (const char* isVerify : {"2", "-1", "null"}) {
    AskedWants(isVerify);
    if (CountOf("ServerLog") == 0) BothOnTwoDevices();
    From("1", Record("2", "1", "", "1|1|0"));
    EXPECT_EQ(Hear(), Heard{}) << isVerify;
    EXPECT_EQ(Parked(), Lines{});
    ExpectNothingWritten();
  }
}

// --- Answers: 2 answers 1 ---

TEST_F(Friends, AcceptanceReachesTheAskerAndTheOtherDeviceOfWhoAnswers) {
  BothOnTwoDevices();
  const std::string accepted = Record("1", "2", "yes", "1|2|1");
  From("2", accepted);
  EXPECT_EQ(Hear(),
            (Heard{{"1", accepted}, {"1m", accepted}, {"2m", Record("2", "1", "yes", "1|1|1")}}));
  EXPECT_EQ(HearAfterTick(), (Heard{{"1", Greeting("2", true)},
                                    {"1m", Greeting("2", true) + Greeting("2", false)},
                                    {"2", Greeting("1", true)},
                                    {"2m", Greeting("1", false) + Greeting("1", true)}}));
  EXPECT_EQ(Friendships(), (Lines{"1|2", "2|1"}));
  EXPECT_EQ(FriendCounters(), (Lines{"1|1", "2|1"}));
  EXPECT_EQ(Messages(), (Lines{"2|1|10|0|1|1|1", "1|2|10|0|1|1|1"}));
  EXPECT_EQ(Parked(), Lines{});
  EXPECT_EQ(GlobalCounters(), "0|0");
  EXPECT_EQ(Log(), (Lines{MessageLog("2", "1"), MessageLog("1", "2"), VerificationLog("2", "1")}));
}

TEST_F(Friends, AcceptanceForAnAbsentAskerIsNotParked) {
  Only("2");
  From("2", Record("1", "2", "yes", "1|2|1"));
  EXPECT_EQ(Hear(), Heard{});
  EXPECT_EQ(HearAfterTick(), Heard{});
  EXPECT_EQ(Friendships(), (Lines{"1|2", "2|1"}));
  EXPECT_EQ(FriendCounters(), (Lines{"1|1", "2|1"}));
  EXPECT_EQ(Messages(), Lines{"2|1|10|0|1|1|1"});
  EXPECT_EQ(Parked(), Lines{});
}

TEST_F(Friends, AnAnswerToARequestThatNeverWasIsCarriedOut) {
  AskedWants("2");
  BothOnTwoDevices();
  From("2", Record("1", "2", "", "1|2|1"));
  EXPECT_EQ(Friendships(), (Lines{"1|2", "2|1"}));
}

TEST_F(Friends, RefusalReachesTheAskerAndSwapsTheUsersForTheOtherDeviceAndTheLog) {
  BothOnTwoDevices();
  const std::string refused = Record("1", "2", "no", "1|2|2");
  From("2", refused);
  EXPECT_EQ(Hear(),
            (Heard{{"1", refused}, {"1m", refused}, {"2m", Record("2", "1", "no", "1|1|2")}}));
  EXPECT_EQ(Parked(), Lines{});
  EXPECT_EQ(Blocks(), Lines{});
  ExpectNothingWritten();
  EXPECT_EQ(Log(), Lines{VerificationLog("1", "2")});
}

TEST_F(Friends, RefusalIsParkedForAnAbsentAskerAndSwappedForTheOtherDevice) {
  Only("2");
  From("2", Record("1", "2", "no", "1|2|2"));
  EXPECT_EQ(Hear(), Heard{});
  EXPECT_EQ(Parked(), (Lines{"1|1|2|no|1|1|2|2", "1m|1|2|no|1|1|2|2", "2m|2|1|no|1|1|1|2"}));
  ExpectNothingWritten();
}

TEST_F(Friends, BlockingRefusalReachesTheSameSessionsAndBlocks) {
  BothOnTwoDevices();
  const std::string refused = Record("1", "2", "no", "1|2|3");
  From("2m", refused);
  EXPECT_EQ(Hear(),
            (Heard{{"1", refused}, {"1m", refused}, {"2", Record("2", "1", "no", "1|1|3")}}));
  EXPECT_EQ(Blocks(), Lines{"2|1|127.0.0.1|" + server.Now().DateAndTime() + "|1"});
  EXPECT_EQ(Log(), Lines{VerificationLog("1", "2")});
  ExpectNothingWritten();
}

TEST_F(Friends, BlockingRefusalIsParkedForTheAbsentAndBlockingTwiceAddsOneRow) {
  Only("2");
  const Lines parked{"1|1|2|no|1|1|2|3", "1m|1|2|no|1|1|2|3", "2m|2|1|no|1|1|1|3"};
  From("2", Record("1", "2", "no", "1|2|3"));
  EXPECT_EQ(Parked(), parked);
  From("2", Record("1", "2", "no", "1|2|3"));
  EXPECT_EQ(Parked().size(), 6u);
  EXPECT_EQ(Blocks(), Lines{"2|1|127.0.0.1|" + server.Now().DateAndTime() + "|1"});
}

// --- The end of a friendship: 1 deletes 2 ---

TEST_F(Friends, DeletionReachesTheFriendAndTheOtherDeviceSwapped) {
  BothOnTwoDevices();
  server.Run("insert into Fav_Form values('1','2'),('2','1'),('2','3')");
  const std::string record = Record("2", "1", "bye", "2|7|8");
  From("1", record);
  EXPECT_EQ(Hear(),
            (Heard{{"2", record}, {"2m", record}, {"1m", Record("1", "2", "bye", "2|7|8")}}));
  EXPECT_EQ(HearAfterTick(), Heard{});
  EXPECT_EQ(Friendships(), Lines{"2|3"});
  EXPECT_EQ(FriendCounters(), (Lines{"1|1", "2|1"}));
  EXPECT_EQ(Messages(), Lines{});
  EXPECT_EQ(Parked(), Lines{});
  EXPECT_EQ(GlobalCounters(), "0|0");
  EXPECT_EQ(Log(), Lines{VerificationLog("1", "2")});
}

TEST_F(Friends, DeletionOfAnAbsentFriendLeavesOnlyTheRaisedCounter) {
  Only("1");
  server.Run("insert into Fav_Form values('1','2'),('2','1')");
  From("1", Record("2", "1", "bye", "2|1|1"));
  EXPECT_EQ(Hear(), Heard{});
  EXPECT_EQ(Friendships(), Lines{});
  EXPECT_EQ(FriendCounters(), (Lines{"1|1", "2|1"}));
  EXPECT_EQ(Parked(), Lines{});
}

TEST_F(Friends, DeletingTwiceRaisesTheCountersAndSendsTwice) {
  BothOnTwoDevices();
  server.Run("insert into Fav_Form values('1','2'),('2','1')");
  const std::string record = Record("2", "1", "", "2|1|1");
  From("1", record);
  Hear();
  From("1", record);
  EXPECT_EQ(Hear(), (Heard{{"2", record}, {"2m", record}, {"1m", Record("1", "2", "", "2|1|1")}}));
  EXPECT_EQ(FriendCounters(), (Lines{"1|2", "2|2"}));
}

TEST_F(Friends, OfDoubleRowsOneGoes) {
  Only("1");
  server.Run("insert into Fav_Form values('1','2'),('1','2'),('2','1')");
  From("1", Record("2", "1", "", "2|1|1"));
  EXPECT_EQ(server.Rows("select rowid,* from Fav_Form"), Lines{"2|1|2"});
}

TEST_F(Friends, ACounterThatIsNullStaysNull) {
  Only("1");
  server.Run("update Users_ID set Fav_FormVesr=null where UserID='2'");
  From("1", Record("2", "1", "", "1|1|0"));
  EXPECT_EQ(server.Value("select Fav_FormVesr from Users_ID where UserID='2'"), "NULL");
  EXPECT_EQ(Friendships().size(), 2u);
}

TEST_F(Friends, AQuoteInANameBreaksTheStatementsThatHoldItAndNothingElse) {
  BothOnTwoDevices();
  server.Run("insert into Fav_Form values('1','2'),('2','1')");
  From("1", Record("x' or 'a'='a", "1", "it's", "2|1|1"));
  EXPECT_EQ(Friendships().size(), 2u);
  EXPECT_EQ(FriendCounters(), Lines{"1|1"});
  EXPECT_EQ(Hear(), (Heard{{"1m", Record("1", "x' or 'a'='a", "it's", "2|1|1")}}));
}

}  // namespace
}  // namespace vnq
