// The verification engine on group records: who hears, what is parked, which rows and counters
// change. Each row of its table runs with every party on two devices, and with all but the acting
// session absent.
#include <fmt/format.h>

#include "tests/harness/parties.h"

namespace vnq {
namespace {

constexpr char kGroup[] = "Clot000001";

// 1 and 2 are administrators, 3 and 4 plain members, 5 is an outsider.
class VerificationEngine : public PartiesTest {
 protected:
  void AddTheGroup() {
    AddUsers({"1", "2", "3", "4", "5"});
    AddGroup(kGroup, {"1:1:Ann", "2:1:Ben", "3:0:Cid", "4:0:Dan"});
  }
  void EverybodyOnTwoDevices() {
    AddTheGroup();
    Connect({"1", "1m", "2", "2m", "3", "3m", "4", "4m", "5", "5m"});
  }
  void Only(const std::string& tag) {
    AddTheGroup();
    Connect({tag});
  }

  // A group record with its text and the three type fields behind To_Type1.
  static std::string Record(const std::string& user, const std::string& text,
                            const std::string& types) {
    return ".+messengverify|Clot000001|" + user + "|" + text + "|2|" + types + "|#";
  }
  static std::string Memberships(const std::string& list) {
    return ".+new_group_memberships||Clot000001|" + list + "|#";
  }
  // The log line of the last record, in front of it `before`.
  void ExpectLog(const std::string& user, const std::string& group = kGroup) {
    EXPECT_EQ(Log(),
              Lines{user + " To " + group + server.Lang("im264") + "|" + user + "|127.0.0.1|12"});
  }
  void ExpectNoRowsChanged() {
    EXPECT_EQ(Members(kGroup),
              (Lines{"1|1|Ann|0|0|0|0", "2|1|Ben|0|0|0|0", "3|0|Cid|0|0|0|0", "4|0|Dan|0|0|0|0"}));
    EXPECT_EQ(GlobalCounters(), "0|0");
    EXPECT_EQ(GroupCounters(kGroup), "0|0");
    EXPECT_EQ(CountOf("MessengVerify_Blacklist"), 0);
    EXPECT_EQ(CountOf("Fav_Form"), 0);
    EXPECT_EQ(FriendCounters(), Lines{});
  }
};

// --- Relays ---

TEST_F(VerificationEngine, RelaysReachBothDevicesOfTheUserConcerned) {
  EverybodyOnTwoDevices();
  for (const char* types : {"3|1|0", "3|x|", "4|2|0", "1|2|0", "2|2|0"}) {
    server.Run("delete from ServerLog");
    From("1", Record("3", "a text", types));
    const std::string relayed = Record("3", "a text", types);
    EXPECT_EQ(Hear(), (Heard{{"3", relayed}, {"3m", relayed}})) << types;
    ExpectLog("3");
  }
  EXPECT_EQ(Parked(), Lines{});
  ExpectNoRowsChanged();
}

TEST_F(VerificationEngine, RelaysToAnAbsentUserAreParkedForBothDevices) {
  for (const char* types : {"3|1|0", "3|x|", "4|2|0", "1|2|0", "2|2|0"}) {
    if (CountOf("Clot_Ro") == 0) Only("1");
    server.Run("delete from MessengVerify_Type");
    From("1", Record("3", "a text", types));
    EXPECT_EQ(Hear(), Heard{}) << types;
    EXPECT_EQ(Parked(), ParkedFor({"3", "3m"}, std::string("Clot000001|3|a text|2|") + types));
  }
  ExpectNoRowsChanged();
}

// --- Join request ---

TEST_F(VerificationEngine, JoinRequestReachesBothDevicesOfEveryAdministrator) {
  EverybodyOnTwoDevices();
  const std::string record = Record("5", "let me in", "1|1|0");
  From("5", record);
  EXPECT_EQ(Hear(), (Heard{{"1", record}, {"1m", record}, {"2", record}, {"2m", record}}));
  EXPECT_EQ(Parked(), Lines{});
  ExpectNoRowsChanged();
  ExpectLog("5");
}

TEST_F(VerificationEngine, JoinRequestWithoutConnectedAdministratorsParksTwoRowsEach) {
  Only("5");
  From("5", Record("5", "let me in", "1|1|"));
  EXPECT_EQ(Hear(), Heard{});
  EXPECT_EQ(Parked(), ParkedFor({"1", "1m", "2", "2m"}, "Clot000001|5|let me in|2|1|1|"));
  ExpectNoRowsChanged();
}

TEST_F(VerificationEngine, JoinRequestOfABlockedApplicantIsAnsweredAtOnceAndReachesNobodyElse) {
  EverybodyOnTwoDevices();
  server.Run("insert into MessengVerify_Blacklist(MyID,YouID,To_Type) values('Clot000001','5',2)");
  From("5m", Record("5", "let me in", "1|1|0"));
  const std::string refused = ".+messengverify|Clot000001|5||2|1|2|3|#";
  EXPECT_EQ(Hear(), (Heard{{"5", refused}, {"5m", refused}}));
  EXPECT_EQ(Parked(), Lines{});
  EXPECT_EQ(CountOf("MessengVerify_Blacklist"), 1);
  ExpectLog("5");
}

TEST_F(VerificationEngine, RefusalOfABlockedApplicantIsNotParkedForTheOtherDevice) {
  Only("5");
  server.Run("insert into MessengVerify_Blacklist(MyID,YouID,To_Type) values('Clot000001','5',2)");
  From("5", Record("5", "let me in", "1|1|0"));
  EXPECT_EQ(Hear(), (Heard{{"5", ".+messengverify|Clot000001|5||2|1|2|3|#"}}));
  EXPECT_EQ(Parked(), Lines{});
}

TEST_F(VerificationEngine, BlockOfAFriendDoesNotKeepOneOutOfAGroup) {
  Only("5");
  server.Run("insert into MessengVerify_Blacklist(MyID,YouID,To_Type) values('Clot000001','5',1)");
  From("5", Record("5", "", "1|1|0"));
  EXPECT_EQ(Parked().size(), 4u);
}

TEST_F(VerificationEngine, JoinRequestToAGroupWithoutAdministratorGetsNoAnswer) {
  EverybodyOnTwoDevices();
  From("5", ".+messengverify|Clot000777|5||2|1|1|0|#");
  EXPECT_EQ(Hear(), Heard{});
  EXPECT_EQ(Parked(), Lines{});
}

TEST_F(VerificationEngine, TwoIdenticalRequestsToAnAbsentUserGiveTwoRowsForEachDevice) {
  AddUsers({"1"});
  AddGroup(kGroup, {"1:1:Ann"});
  Connect({"5"});
  From("5", Record("5", "", "1|1|0"));
  From("5", Record("5", "", "1|1|0"));
  EXPECT_EQ(Parked(), ParkedFor({"1", "1m", "1", "1m"}, "Clot000001|5||2|1|1|0"));
}

// --- Application accepted ---

TEST_F(VerificationEngine, AcceptedApplicationKeepsTheFourOfTheOtherAdministratorForAllWhoFollow) {
  EverybodyOnTwoDevices();
  server.Run("insert into MessengClot_Text(TypeID,Msg_ID,ClotID) values(41,'M','Clot000001')");
  From("1", Record("5", "welcome", "1|2|1"));

  const std::string four = Record("5", "welcome", "1|2|4");
  const std::string list = Memberships("1:1:Ann-2:1:Ben-3:0:Cid-4:0:Dan-5:0:Name 5-");
  EXPECT_EQ(Hear(), (Heard{{"1m", four},
                           {"2", four},
                           {"2m", four},
                           {"3", list},
                           {"3m", list},
                           {"4", list},
                           {"4m", list},
                           {"5", list + four},
                           {"5m", list + four}}));
  EXPECT_EQ(Parked(), Lines{});
  EXPECT_EQ(Members(kGroup).back(), "5|0|Name 5|41|41|41|41");
  EXPECT_EQ(Members(kGroup).size(), 5u);
  EXPECT_EQ(GlobalCounters(), "0|1");
  EXPECT_EQ(GroupCounters(kGroup), "0|1");
  ExpectLog("5");
}

TEST_F(VerificationEngine, AcceptedApplicationIsParkedForTheAbsentAndTheListIsNot) {
  Only("1");
  From("1", Record("5", "welcome", "1|2|1"));
  EXPECT_EQ(Hear(), Heard{});
  EXPECT_EQ(Parked(), ParkedFor({"2", "2m", "5", "5m", "1m"}, "Clot000001|5|welcome|2|1|2|4"));
  EXPECT_EQ(Members(kGroup).back(), "5|0|Name 5|0|0|0|0");
  EXPECT_EQ(GlobalCounters(), "0|1");
  EXPECT_EQ(GroupCounters(kGroup), "0|1");
}

TEST_F(VerificationEngine, AcceptanceByTheOnlyAdministratorStaysAOne) {
  AddUsers({"1", "3", "5"});
  AddGroup(kGroup, {"1:1:Ann", "3:0:Cid"});
  Connect({"1", "1m", "5"});
  From("1", Record("5", "", "1|2|1"));
  const std::string one = Record("5", "", "1|2|1");
  EXPECT_EQ(Hear(), (Heard{{"1m", one}, {"5", Memberships("1:1:Ann-3:0:Cid-5:0:Name 5-") + one}}));
  EXPECT_EQ(Parked(), ParkedFor({"5m"}, "Clot000001|5||2|1|2|1"));
}

TEST_F(VerificationEngine, ApplicationThatTwoAdministratorsAcceptGivesTwoRows) {
  EverybodyOnTwoDevices();
  From("1", Record("5", "", "1|2|1"));
  From("2", Record("5", "", "1|2|1"));
  EXPECT_EQ(Members(kGroup).size(), 6u);
  EXPECT_EQ(GroupCounters(kGroup), "0|2");
}

TEST_F(VerificationEngine, AcceptedApplicantWithoutUserRowOrNameJoinsWithAnEmptyRemark) {
  Only("1");
  server.Run("update Users_ID set FcName=null where UserID='5'");
  From("1", Record("77", "", "1|2|1"));
  From("1", Record("5", "", "1|2|1"));
  EXPECT_EQ(server.Rows("select UserID,IsAdmin,remark from Clot_Form where rowid>4"),
            (Lines{"77|0|", "5|0|"}));
}

TEST_F(VerificationEngine, NewMembersMarksBeyondTheLimitOf32767AreZero) {
  Only("1");
  server.Run("insert into MessengClot_Text(TypeID,Msg_ID,ClotID) values(32767,'M','Clot000001')");
  From("1", Record("5", "", "1|2|1"));
  server.Run("insert into MessengClot_Text(TypeID,Msg_ID,ClotID) values(32768,'N','Clot000001')");
  From("1", Record("5", "", "1|2|1"));
  EXPECT_EQ(server.Rows("select last_ack_typeid1,last_ack_typeid2,last_ack_typeid3,"
                        "last_ack_typeid4 from Clot_Form where UserID='5'"),
            (Lines{"32767|32767|32767|32767", "0|0|0|0"}));
}

// --- Application refused ---

TEST_F(VerificationEngine, RefusedApplicationTellsAdministratorsFiveAndTheApplicantTwo) {
  EverybodyOnTwoDevices();
  From("1m", Record("5", "sorry", "1|2|2"));
  const std::string five = Record("5", "sorry", "1|2|5"), two = Record("5", "sorry", "1|2|2");
  EXPECT_EQ(Hear(), (Heard{{"1", two}, {"2", five}, {"2m", five}, {"5", two}, {"5m", two}}));
  EXPECT_EQ(Parked(), Lines{});
  ExpectNoRowsChanged();
  ExpectLog("5");
}

TEST_F(VerificationEngine, RefusedApplicationIsParkedForTheAbsent) {
  Only("1");
  From("1", Record("5", "sorry", "1|2|2"));
  EXPECT_EQ(Hear(), Heard{});
  EXPECT_EQ(Parked(), (Lines{"2|Clot000001|5|sorry|2|1|2|5", "2m|Clot000001|5|sorry|2|1|2|5",
                             "5|Clot000001|5|sorry|2|1|2|2", "5m|Clot000001|5|sorry|2|1|2|2",
                             "1m|Clot000001|5|sorry|2|1|2|2"}));
  ExpectNoRowsChanged();
}

TEST_F(VerificationEngine, BlockingRefusalTellsAdministratorsSixAndTheApplicantThree) {
  EverybodyOnTwoDevices();
  From("1", Record("5", "never", "1|2|3"));
  const std::string six = Record("5", "never", "1|2|6"), three = Record("5", "never", "1|2|3");
  EXPECT_EQ(Hear(), (Heard{{"1m", three}, {"2", six}, {"2m", six}, {"5", three}, {"5m", three}}));
  EXPECT_EQ(server.Rows("select * from MessengVerify_Blacklist"),
            Lines{"Clot000001|5|127.0.0.1|" + server.Now().DateAndTime() + "|2"});
  EXPECT_EQ(GlobalCounters(), "0|0");
  ExpectLog("5");
}

TEST_F(VerificationEngine, BlockingRefusalIsParkedForTheAbsentAndBlocksOnce) {
  Only("1");
  From("1", Record("5", "never", "1|2|3"));
  EXPECT_EQ(Hear(), Heard{});
  const Lines parked{"2|Clot000001|5|never|2|1|2|6", "2m|Clot000001|5|never|2|1|2|6",
                     "5|Clot000001|5|never|2|1|2|3", "5m|Clot000001|5|never|2|1|2|3",
                     "1m|Clot000001|5|never|2|1|2|3"};
  EXPECT_EQ(Parked(), parked);
  From("1", Record("5", "never", "1|2|3"));
  EXPECT_EQ(Parked().size(), 10u);
  EXPECT_EQ(CountOf("MessengVerify_Blacklist"), 1);
  EXPECT_EQ(GroupCounters(kGroup), "0|0");
}

// --- Leaving ---

TEST_F(VerificationEngine, LeavingMemberIsToldToAdministratorsAndTheListToTheOthers) {
  EverybodyOnTwoDevices();
  const std::string record = Record("3", "bye", "2|1|0");
  From("3", record);
  const std::string list = Memberships("1:1:Ann-2:1:Ben-4:0:Dan-");
  EXPECT_EQ(Hear(), (Heard{{"1", record},
                           {"1m", record},
                           {"2", record},
                           {"2m", record},
                           {"3m", record},
                           {"4", list},
                           {"4m", list}}));
  EXPECT_EQ(Parked(), Lines{});
  EXPECT_EQ(Members(kGroup), (Lines{"1|1|Ann|0|0|0|0", "2|1|Ben|0|0|0|0", "4|0|Dan|0|0|0|0"}));
  EXPECT_EQ(GlobalCounters(), "0|1");
  EXPECT_EQ(GroupCounters(kGroup), "0|1");
  ExpectLog("3");
}

TEST_F(VerificationEngine, LeavingIsParkedForAbsentAdministratorsAndTheOtherDevice) {
  Only("3m");
  From("3m", Record("3", "bye", "2|1|0"));
  EXPECT_EQ(Hear(), Heard{});
  EXPECT_EQ(Parked(), ParkedFor({"1", "1m", "2", "2m", "3"}, "Clot000001|3|bye|2|2|1|0"));
  EXPECT_EQ(Members(kGroup).size(), 3u);
  EXPECT_EQ(GlobalCounters(), "0|1");
  EXPECT_EQ(GroupCounters(kGroup), "0|1");
}

TEST_F(VerificationEngine, LeavingAdministratorIsNotToldAsOne) {
  EverybodyOnTwoDevices();
  const std::string record = Record("2", "", "2|1|0");
  From("2", record);
  const std::string list = Memberships("1:1:Ann-3:0:Cid-4:0:Dan-");
  EXPECT_EQ(Hear(), (Heard{{"1", record},
                           {"1m", record},
                           {"2m", record},
                           {"3", list},
                           {"3m", list},
                           {"4", list},
                           {"4m", list}}));
}

TEST_F(VerificationEngine, OfTwoRowsOfALeavingMemberOneStays) {
  Only("3");
  server.Run("insert into Clot_Form(UpperID,UserID,IsAdmin) values('Clot000001','3',0)");
  From("3", Record("3", "", "2|1|0"));
  EXPECT_EQ(server.Rows("select rowid,UserID from Clot_Form where UserID='3'"), Lines{"5|3"});
}

TEST_F(VerificationEngine, LastMemberLeavesAGroupThatStandsOn) {
  AddUsers({"3"});
  AddGroup(kGroup, {"3:0:Cid"});
  Connect({"3", "3m", "4", "4m"});
  const std::string record = Record("3", "", "2|1|0");
  From("3", record);
  EXPECT_EQ(Hear(), (Heard{{"3m", record}}));
  EXPECT_EQ(Members(kGroup), Lines{});
  EXPECT_EQ(CountOf("Clot_Ro"), 1);
  EXPECT_EQ(GroupCounters(kGroup), "0|1");
}

// --- What no row of the table takes, and what it takes as it stands ---

TEST_F(VerificationEngine, RecordsThatFitNoRowDoNothingAndAreLogged) {
  EverybodyOnTwoDevices();
  for (const char* types :
       {"3|1|1|0", "1|3|1|0", "1|4|1|0", "1|1|3|0", "1|1|2|0", "1|1|2|4", "2|1|2|4", "2|1|3|0",
        "2|2|2|2", "2|2|3|0", "2|5|2|0", "2|02|1|0", "|||", "0|0|0|0"}) {
    server.Run("delete from ServerLog");
    From("1", std::string(".+messengverify|Clot000001|3||") + types + "|#");
    EXPECT_EQ(Hear(), Heard{}) << types;
    ExpectLog("3");
  }
  EXPECT_EQ(Parked(), Lines{});
  ExpectNoRowsChanged();
}

TEST_F(VerificationEngine, ALongerRecordLosesItsTail) {
  EverybodyOnTwoDevices();
  From("1", ".+messengverify|Clot000001|3|t|2|3|2|0|more|and more|#");
  EXPECT_EQ(Hear()["3"], ".+messengverify|Clot000001|3|t|2|3|2|0|#");
}

// The closing "#" is an element as any other: it stands where the missing field would.
TEST_F(VerificationEngine, AShortRecordGoesOnWithItsClosingSign) {
  EverybodyOnTwoDevices();
  From("1", ".+messengverify|Clot000001|3|t|2|3|2|#");
  EXPECT_EQ(Hear()["3m"], ".+messengverify|Clot000001|3|t|2|3|2|#|#");
}

TEST_F(VerificationEngine, ARecordThatLacksAFieldIsNotSentAndIsParkedWithoutIt) {
  EverybodyOnTwoDevices();
  From("1", ".+messengverify|Clot000001|3|t|2|3|2");
  EXPECT_EQ(Hear(), Heard{});
  EXPECT_EQ(Parked(), Lines{});
  From("1", ".+messengverify|Clot000001|88|t|2|3|2");
  EXPECT_EQ(Parked(), ParkedFor({"88", "88m"}, "Clot000001|88|t|2|3|2|NULL"));
}

TEST_F(VerificationEngine, RecordsOfAnyLengthLeaveTheServerAnswering) {
  EverybodyOnTwoDevices();
  for (const std::string types :
       {"1|1|1|0", "1|1|2|3", "1|2|1|1", "2|1|1|0", "2|1|2|1", "2|2|2|1"}) {
    const std::string record = ".+messengverify|Clot000001|3|t|" + types + "|#";
    for (size_t length = 14; length <= record.size(); ++length) {
      From("1", record.substr(0, length));
      session("1").Receive();
    }
  }
  Hear();
  From("1", ".+y|#");
  EXPECT_EQ(Hear(), (Heard{{"1", ".+y|#"}}));
}

TEST_F(VerificationEngine, AUserIdThatHoldsAnMIsNotKeptWhole) {
  Connect({"ab1m"});
  TestClient odd = server.Connect();
  server.Slots(6004).SetTag(2, "abm1");
  AddGroup(kGroup, {"abm1:1:Odd", "ab1:1:Shortened"});
  odd.Send(Record("5", "", "1|2|2"));
  // The other session is taken to be ab1m; and not abm1 but ab1 is left out as the acting
  // administrator.
  EXPECT_EQ(odd.Receive(), Record("5", "", "1|2|5"));
  EXPECT_EQ(Hear(), (Heard{{"ab1m", Record("5", "", "1|2|2")}}));
  EXPECT_EQ(Parked(), (Lines{"abm1m|Clot000001|5||2|1|2|5", "5|Clot000001|5||2|1|2|2",
                             "5m|Clot000001|5||2|1|2|2"}));
}

TEST_F(VerificationEngine, OnlyTheFirstSlotWithATagGetsARecord) {
  Connect({"1", "3", "5"});
  AddGroup(kGroup, {"1:1:Ann"});
  server.Slots(6004).SetTag(3, "3");
  From("1", Record("3", "", "3|2|0"));
  EXPECT_EQ(Hear(), (Heard{{"3", Record("3", "", "3|2|0")}}));
}

TEST_F(VerificationEngine, AQuoteBreaksOnlyTheStatementsThatHoldIt) {
  Only("1");
  From("1", ".+messengverify|Clot000001|o'neil|it's|2|3|2|0|#");
  EXPECT_EQ(Parked(), ParkedFor({"o'neil", "o'neilm"}, "Clot000001|o'neil|it's|2|3|2|0"));
  From("1", Record("x' or 'a'='a", "", "2|1|0"));
  EXPECT_EQ(Members(kGroup).size(), 4u);
  EXPECT_EQ(GlobalCounters(), "0|1");
}

}  // namespace
}  // namespace vnq
