// Login.
#include "server/timers.h"
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

constexpr const char* kSuccess = ".+landing_successful|1|0|,/,\\,~,@,+|0|0|#";
constexpr const char* kRefused = ".+landing_restrictions";

class Landing : public ServerTest {
 protected:
  explicit Landing(const TestServerOptions& options = {}) : ServerTest(options) {
    server.AddUser("1");
    server.AddUser("2");
  }

  // What a login of user 1 from an address of its own is answered.
  std::string LogIn(const std::string& record, const std::string& from = {}) {
    clients_.push_back(server.Connect(from));
    clients_.back().Send(record);
    return clients_.back().Receive();
  }
  std::string DesktopLogIn(const std::string& from = {}) {
    return LogIn(".+landing|name1|pw1|10.0.0.1|mac1|x|#", from);
  }
  TestClient& last() { return clients_.back(); }

  std::string Column(const std::string& column, const std::string& userId = "1") {
    return server.Value("select " + column + " from Users_ID where UserID='" + userId + "'");
  }
  void GiveRole(int id, const std::string& columns, const std::string& values) {
    server.Run("insert into Role(ID," + columns + ") values(" + std::to_string(id) + "," + values +
               ")");
    server.Run("insert into Users_Role(UserID,RoleID) values('1'," + std::to_string(id) + ")");
  }
  void GivePermissions(const std::string& permissions) {
    GiveRole(7, "Permissions", "'" + permissions + "'");
  }

 private:
  std::vector<TestClient> clients_;
};

// --- Acceptance ---

TEST_F(Landing, DesktopLoginIsAnsweredAndTagsItsSlotWithTheUserId) {
  EXPECT_EQ(DesktopLogIn(), kSuccess);
  EXPECT_EQ(server.Tag(1), "1");
  EXPECT_FALSE(last().IsClosed());
}

TEST_F(Landing, DesktopLoginRecordsTimeAddressesAndMachine) {
  DesktopLogIn("127.0.0.8");
  EXPECT_EQ(Column("LoginTime,NetworkIP,Mac,LocalIP,PlatForm,Registration_Id,ManuFacturer"),
            "2026-03-04 05:06:07|10.0.0.1|mac1|127.0.0.8|NULL|NULL|NULL");
}

TEST_F(Landing, LoginLeavesPresenceAndTellsNobody) {
  TestClient other = server.Connect();
  server.Run("update Users_ID set UserIcoLine=2 where UserID='1'");
  DesktopLogIn();
  EXPECT_EQ(Column("UserIcoLine"), "2");
  EXPECT_EQ(other.Receive(), "");
}

TEST_F(Landing, LoginIsLoggedUnderTheNameAsItWasTyped) {
  LogIn(".+landing|NAME1|pw1|10.0.0.1|mac1|x|#", "127.0.0.8");
  EXPECT_EQ(server.Log(), Lines{"NAME1" + server.Lang("im53") + "|1|127.0.0.8|1"});
}

TEST_F(Landing, MobileLoginTagsItsSlotWithTheLetterBehindTheUserId) {
  EXPECT_EQ(LogIn(".+landing|name1|pw1|A|reg|maker|0|#"), kSuccess);
  EXPECT_EQ(server.Tag(1), "1m");
}

TEST_F(Landing, MobileLoginRecordsPlatformPushIdentifierAndMaker) {
  server.Run("update Users_ID set NetworkIP='old', Mac='oldmac'");
  LogIn(".+landing|name1|pw1|A|reg|maker|0|#");
  EXPECT_EQ(Column("LoginTime,NetworkIP,Mac,LocalIP,PlatForm,Registration_Id,ManuFacturer"),
            "2026-03-04 05:06:07|old|oldmac|127.0.0.1|A|reg|maker");
}

TEST_F(Landing, OneChineseCharacterIsAPlatformToo) {
  LogIn(".+landing|name1|pw1|果|reg|maker|0|#");
  EXPECT_EQ(server.Tag(1), "1m");
  EXPECT_EQ(Column("PlatForm"), "果");
}

TEST_F(Landing, EmptyThirdFieldIsADesktop) {
  EXPECT_EQ(LogIn(".+landing|name1|pw1||mac1|x|#"), kSuccess);
  EXPECT_EQ(server.Tag(1), "1");
  EXPECT_EQ(Column("NetworkIP,Mac"), "|mac1");
}

TEST_F(Landing, OnlyTheLoginsOwnRowChanges) {
  DesktopLogIn();
  EXPECT_EQ(Column("LoginTime,NetworkIP,Mac,LocalIP,LocalIPList,MacList", "2"),
            "NULL|NULL|NULL|NULL|NULL|NULL");
}

class LandingWithSettings : public Landing {
 protected:
  LandingWithSettings()
      : Landing({.settings = DefaultSettings("control_computer=3"), .versionFile = "5|77"}) {}
};

TEST_F(LandingWithSettings, AnswerTellsVerificationComputerControlAndDownloadVersion) {
  server.Run("update Users_ID set IsVerify=2");
  EXPECT_EQ(DesktopLogIn(), ".+landing_successful|1|2|,/,\\,~,@,+|3|77|#");
}

TEST_F(Landing, MissingVerificationReadsAsZero) {
  server.Run("update Users_ID set IsVerify=NULL");
  EXPECT_EQ(DesktopLogIn(), kSuccess);
}

// --- Version gate ---

TEST_F(LandingWithSettings, RecordThatEndsBehindFieldFiveSkipsTheVersionGate) {
  EXPECT_TRUE(DesktopLogIn().starts_with(".+landing_successful|"));
}

TEST_F(LandingWithSettings, VersionEqualToTheLeastPasses) {
  EXPECT_TRUE(LogIn(".+landing|name1|pw1|10.0.0.1|mac1|x|5|#").starts_with(".+landing_successful"));
}

TEST_F(LandingWithSettings, HigherVersionPasses) {
  EXPECT_TRUE(LogIn(".+landing|name1|pw1|10.0.0.1|mac1|x|6|#").starts_with(".+landing_successful"));
}

TEST_F(LandingWithSettings, LowerVersionIsSentAwayAndClosedBeforeAnythingElse) {
  EXPECT_EQ(LogIn(".+landing|name1|pw1|10.0.0.1|mac1|x|4|#"), ".+UpgradedVersion|#");
  EXPECT_TRUE(last().IsClosed());
  EXPECT_EQ(server.State(1), SocketState::kClosed);
  EXPECT_EQ(server.Tag(1), "");
  EXPECT_EQ(server.Log(), Lines{});
  EXPECT_EQ(Column("LoginTime"), "NULL");
}

TEST_F(LandingWithSettings, NegativeVersionIsLower) {
  EXPECT_EQ(LogIn(".+landing|name1|pw1|10.0.0.1|mac1|x|-5|#"), ".+UpgradedVersion|#");
}

TEST_F(LandingWithSettings, MissingAndUnreadableVersionsPass) {
  for (const char* record :
       {".+landing|name1|pw1|10.0.0.1|mac1|x", ".+landing|name1|pw1|10.0.0.1|mac1|x|new|#",
        ".+landing|name1|pw1|10.0.0.1|mac1|x||#",
        ".+landing|name1|pw1|10.0.0.1|mac1|x|9999999999|#"}) {
    EXPECT_TRUE(LogIn(record).starts_with(".+landing_successful|")) << record;
  }
}

// --- Credentials and account ---

TEST_F(Landing, WrongNameAndWrongPasswordGiveTheSameRefusalAndClose) {
  for (const char* record :
       {".+landing|nobody|pw1|10.0.0.1|mac1|x|#", ".+landing|name1|wrong|10.0.0.1|mac1|x|#",
        ".+landing|name1||x|mac1|#", ".+landing|name1|PW1|10.0.0.1|mac1|x|#"}) {
    EXPECT_EQ(LogIn(record), ".+LoginFailed|#") << record;
    EXPECT_TRUE(last().IsClosed()) << record;
  }
  EXPECT_EQ(server.State(1), SocketState::kClosed);
  EXPECT_EQ(server.Tag(1), "");
  EXPECT_EQ(server.Log(), Lines{});
}

TEST_F(Landing, QuoteInNameOrPasswordEndsInTheRefusal) {
  server.Run(
      "insert into Users_ID(UserID,UserName,UserPaws,UserState) values('3','o''neil','p''w',1)");
  EXPECT_EQ(LogIn(".+landing|o'neil|p'w|10.0.0.1|mac1|x|#"), ".+LoginFailed|#");
  EXPECT_EQ(LogIn(".+landing|name1|' or '1'='1|10.0.0.1|mac1|x|#"), ".+LoginFailed|#");
  EXPECT_EQ(LogIn(".+landing|name1' --|pw1|10.0.0.1|mac1|x|#"), ".+LoginFailed|#");
}

TEST_F(Landing, PasswordIsTrimmedBeforeItIsCompared) {
  EXPECT_EQ(LogIn(".+landing|name1|  pw1 |10.0.0.1|mac1|x|#"), kSuccess);
  EXPECT_EQ(Column("LoginTime"), "2026-03-04 05:06:07");
}

TEST_F(Landing, NameIsNotTrimmed) {
  EXPECT_EQ(LogIn(".+landing|name1 |pw1|10.0.0.1|mac1|x|#"), ".+LoginFailed|#");
}

TEST_F(Landing, AccountInStateZeroIsProhibited) {
  server.Run("update Users_ID set UserState=0 where UserID='1'");
  EXPECT_EQ(DesktopLogIn(), ".+ProhibitLanding|#");
  EXPECT_TRUE(last().IsClosed());
  EXPECT_EQ(server.Tag(1), "");
  EXPECT_EQ(server.Log(), Lines{});
}

TEST_F(Landing, AccountWithoutAStateOrWithAnotherIsAdmitted) {
  server.Run("update Users_ID set UserState=NULL where UserID='1'");
  EXPECT_EQ(DesktopLogIn(), kSuccess);
  server.Run("update Users_ID set UserState=2 where UserID='1'");
  EXPECT_EQ(DesktopLogIn(), kSuccess);
}

TEST_F(Landing, WrongPasswordOfAProhibitedAccountIsAFailedLogin) {
  server.Run("update Users_ID set UserState=0 where UserID='1'");
  EXPECT_EQ(LogIn(".+landing|name1|wrong|10.0.0.1|mac1|x|#"), ".+LoginFailed|#");
}

// --- The other session ---

TEST_F(Landing, EarlierDesktopSessionIsToldTheNewAddressAndClosed) {
  TestClient old = server.Online("1");
  EXPECT_EQ(DesktopLogIn("127.0.0.9"), kSuccess);
  EXPECT_EQ(old.Receive(), ".+busy_force|127.0.0.9|#");
  EXPECT_TRUE(old.IsClosed());
  EXPECT_EQ(server.State(1), SocketState::kClosed);
  EXPECT_EQ(server.Tag(1), "");
  EXPECT_EQ(server.Tag(2), "1");
}

TEST_F(Landing, DesktopAndMobileSessionsOfOneUserLiveSideBySide) {
  TestClient desktop = server.Online("1");
  EXPECT_EQ(LogIn(".+landing|name1|pw1|A|reg|maker|0|#"), kSuccess);
  EXPECT_EQ(desktop.Receive(), "");
  EXPECT_FALSE(desktop.IsClosed());
  EXPECT_EQ(server.Tag(1), "1");
  EXPECT_EQ(server.Tag(2), "1m");
}

TEST_F(Landing, MobileLoginPushesOutTheEarlierMobileSession) {
  TestClient phone = server.Online("1", 3);
  EXPECT_EQ(LogIn(".+landing|name1|pw1|A|reg|maker|0|#", "127.0.0.9"), kSuccess);
  EXPECT_EQ(phone.Receive(), ".+busy_force|127.0.0.9|#");
  EXPECT_TRUE(phone.IsClosed());
}

TEST_F(Landing, OldSessionWhosePeerHasGoneIsSilentlyUntaggedAndClosed) {
  TestClient old = server.Online("1");
  old.Close();
  ASSERT_EQ(server.State(1), SocketState::kClosing);
  EXPECT_EQ(DesktopLogIn(), kSuccess);
  EXPECT_EQ(server.State(1), SocketState::kClosed);
  EXPECT_EQ(server.Tag(1), "");
  server.AdvanceMs(20000);
  EXPECT_EQ(server.Log(), (Lines{"1" + server.Lang("im58") + "|1|127.0.0.1|1",
                                 "name1" + server.Lang("im53") + "|1|127.0.0.1|1"}));
}

TEST_F(Landing, OnlyTheLowestSlotWithTheTagIsTheOtherSessionWhateverItsState) {
  TestClient gone = server.Online("1");
  TestClient alive = server.Connect();
  gone.Close();
  server.Slots(6004).SetTag(2, "1");
  EXPECT_EQ(DesktopLogIn(), kSuccess);
  EXPECT_EQ(alive.Receive(), "");
  EXPECT_EQ(server.Tag(2), "1");
  EXPECT_EQ(server.Tag(3), "1");
}

TEST_F(Landing, WebDeskLoginLosesAgainstARealDesktopWithoutARecord) {
  TestClient desktop = server.Online("1");
  server.Run("update Users_ID set Mac='real' where UserID='1'");
  EXPECT_EQ(LogIn(".+landing|name1|pw1|10.0.0.1|kefu|x|#"), "");
  EXPECT_TRUE(last().IsClosed());
  EXPECT_EQ(server.State(2), SocketState::kClosed);
  EXPECT_EQ(server.Tag(2), "");
  EXPECT_EQ(desktop.Receive(), "");
  EXPECT_FALSE(desktop.IsClosed());
  EXPECT_EQ(Column("LoginTime,Mac"), "NULL|real");
  EXPECT_EQ(server.Log().back(), "name1" + server.Lang("im53") + "|1|127.0.0.1|1");
}

TEST_F(Landing, WebDeskLoginPushesOutAnEarlierWebDesk) {
  TestClient desk = server.Online("1");
  server.Run("update Users_ID set Mac='kefu' where UserID='1'");
  EXPECT_EQ(LogIn(".+landing|name1|pw1|10.0.0.1|kefu|x|#", "127.0.0.9"), kSuccess);
  EXPECT_EQ(desk.Receive(), ".+busy_force|127.0.0.9|#");
  EXPECT_TRUE(desk.IsClosed());
}

TEST_F(Landing, WebDeskLoginWinsAgainstASessionWhosePeerHasGone) {
  TestClient desktop = server.Online("1");
  server.Run("update Users_ID set Mac='real' where UserID='1'");
  desktop.Close();
  EXPECT_EQ(LogIn(".+landing|name1|pw1|10.0.0.1|kefu|x|#"), kSuccess);
  EXPECT_EQ(Column("Mac"), "kefu");
}

TEST_F(Landing, RealDesktopPushesOutAWebDesk) {
  TestClient desk = server.Online("1");
  server.Run("update Users_ID set Mac='kefu' where UserID='1'");
  EXPECT_EQ(DesktopLogIn("127.0.0.9"), kSuccess);
  EXPECT_EQ(desk.Receive(), ".+busy_force|127.0.0.9|#");
}

TEST_F(Landing, SecondLoginOnTheSameSlotPushesItselfOut) {
  DesktopLogIn();
  last().Send(".+landing|name1|pw1|10.0.0.2|mac2|x|#");
  EXPECT_EQ(last().Receive(), ".+busy_force|127.0.0.1|#");
  EXPECT_TRUE(last().IsClosed());
  EXPECT_EQ(server.State(1), SocketState::kClosed);
  EXPECT_EQ(server.Tag(1), "");
  EXPECT_EQ(Column("NetworkIP,Mac"), "10.0.0.2|mac2");  // the login is recorded all the same
}

TEST_F(Landing, OfTwoLoginsAtTheSameMomentBothAreAnswered) {
  TestClient one = server.Connect();
  TestClient two = server.Connect();
  one.SendQuietly(".+landing|name1|pw1|10.0.0.1|mac1|x|#");
  two.SendQuietly(".+landing|name1|pw1|10.0.0.2|mac2|x|#");
  server.Pump();
  EXPECT_EQ(one.Receive(), kSuccess);
  EXPECT_EQ(two.Receive(), kSuccess);
  EXPECT_EQ(server.Tag(1), "1");
  EXPECT_EQ(server.Tag(2), "1");
}

// --- The permission list ---

TEST_F(Landing, MutedGroupsStandInFrontOfTheLimits) {
  server.Run(
      "insert into Clot_Silence(MyID,YouID) values('1','Clot000001'),('2','Clot000009'),"
      "('1','Clot000002')");
  EXPECT_EQ(DesktopLogIn(), ".+landing_successful|1|0|Clot000001,Clot000002,,/,\\,~,@,+|0|0|#");
}

TEST_F(Landing, RoleGivesPermissionsPlugsAndLimits) {
  GiveRole(7,
           "Permissions,Plug,PtpSize,PtpType,ClotSize,ClotType,UsersSize,UsersType,PubSize,PubType,"
           "DepartmentPermission,Department",
           "'1,2,','8,9','10','a','20','b','30','c','40','d','all','000001'");
  EXPECT_EQ(DesktopLogIn(),
            ".+landing_successful|1|0|1,2,8,9,10/a,20\\b,30~c,40@d,all+000001|0|0|#");
}

TEST_F(Landing, OfSeveralRolesAllPermissionsAndTheLastLimitsStay) {
  server.Run("insert into Clot_Silence(MyID,YouID) values('1','G')");
  GiveRole(7, "Permissions,Plug,PtpSize,PtpType,PubSize", "'1,','p1,','10','a','x'");
  GiveRole(8, "Permissions,Plug,PtpSize,ClotSize", "'2','p2','11','20'");
  EXPECT_EQ(DesktopLogIn(), ".+landing_successful|1|0|G,1,p1,2p2,11/,20\\,~,@,+|0|0|#");
}

// A read that fails leaves what was there before it.
TEST_F(Landing, LimitThatCannotBeReadStaysAsItWas) {
  GiveRole(7, "PtpSize,PtpType,ClotSize,ClotType", "'10','11','20','21'");
  server.Run("alter table Role rename column PtpSize to Gone");
  EXPECT_EQ(DesktopLogIn(), ".+landing_successful|1|0|,/,20\\21,~,@,+|0|0|#");
  server.Run("alter table Role rename column ClotType to Gone2");
  server.Run("alter table Role rename column DepartmentPermission to Gone3");
  EXPECT_EQ(DesktopLogIn(), kSuccess);
}

TEST_F(Landing, PermissionsThatCannotBeReadAddNothing) {
  GiveRole(7, "Permissions,Plug,PubSize", "'1,','p','x'");
  server.Run("alter table Role rename column Plug to Gone");
  EXPECT_EQ(DesktopLogIn(), ".+landing_successful|1|0|,/,\\,~,x@,+|0|0|#");
}

TEST_F(Landing, MutedGroupThatCannotBeReadAddsNotEvenItsComma) {
  server.Run("insert into Clot_Silence(MyID,YouID) values('1','G')");
  server.Run("alter table Clot_Silence rename column YouID to Gone");
  EXPECT_EQ(DesktopLogIn(), kSuccess);
}

TEST_F(Landing, RolesOfOthersAndRolesThatDoNotExistGiveNothing) {
  server.Run("insert into Role(ID,Permissions) values(7,'1')");
  server.Run("insert into Users_Role(UserID,RoleID) values('2',7),('1',99)");
  EXPECT_EQ(DesktopLogIn(), kSuccess);
}

// --- Restrictions ---

TEST_F(Landing, AddressInTheListIsAdmitted) {
  GivePermissions("1,19,2");
  server.Run("update Users_ID set LocalIPList='10.0.0.1,127.0.0.8'");
  EXPECT_EQ(DesktopLogIn("127.0.0.8"), ".+landing_successful|1|0|1,19,2,/,\\,~,@,+|0|0|#");
}

TEST_F(Landing, AddressOutsideTheListIsRefusedWithARecordWithoutClosing) {
  GivePermissions("19");
  server.Run("update Users_ID set LocalIPList='10.0.0.1,127.0.0.80'");
  EXPECT_EQ(DesktopLogIn("127.0.0.8"), kRefused);
  EXPECT_TRUE(last().IsClosed());
  EXPECT_EQ(server.State(1), SocketState::kClosed);
  EXPECT_EQ(server.Tag(1), "");
  EXPECT_EQ(Column("LoginTime,Mac"), "NULL|NULL");
  EXPECT_EQ(server.Log(), Lines{"name1" + server.Lang("im53") + "|1|127.0.0.8|1"});
}

TEST_F(Landing, RefusedLoginHasAlreadyPushedOutTheOtherSession) {
  GivePermissions("19");
  server.Run("update Users_ID set LocalIPList='10.0.0.1'");
  TestClient old = server.Online("1");
  EXPECT_EQ(DesktopLogIn(), kRefused);
  EXPECT_EQ(old.Receive(), ".+busy_force|127.0.0.1|#");
  EXPECT_TRUE(old.IsClosed());
}

TEST_F(Landing, RangeOfAddressesIncludesItsEnds) {
  GivePermissions("19");
  server.Run("update Users_ID set LocalIPList='127.0.0.8-127.0.0.10'");
  for (const char* from : {"127.0.0.8", "127.0.0.9", "127.0.0.10"}) {
    EXPECT_TRUE(DesktopLogIn(from).starts_with(".+landing_successful|")) << from;
  }
  for (const char* from : {"127.0.0.7", "127.0.0.11"}) {
    EXPECT_EQ(DesktopLogIn(from), kRefused) << from;
  }
}

TEST_F(Landing, EntryWithMoreThanOneDashMatchesNothing) {
  GivePermissions("19");
  server.Run("update Users_ID set LocalIPList='127.0.0.1-127.0.0.9-127.0.0.10'");
  EXPECT_EQ(DesktopLogIn("127.0.0.8"), kRefused);
}

TEST_F(Landing, EmptyAddressListHoldsTheLastAddress) {
  GivePermissions("19");
  server.Run("update Users_ID set LocalIP='127.0.0.8'");
  EXPECT_TRUE(DesktopLogIn("127.0.0.8").starts_with(".+landing_successful|"));
  EXPECT_EQ(DesktopLogIn("127.0.0.9"), kRefused);
  EXPECT_EQ(Column("LocalIP,LocalIPList"), "127.0.0.8|NULL");
}

TEST_F(Landing, FirstLoginEverUnderAnAddressRestrictionIsRefused) {
  GivePermissions("19");
  EXPECT_EQ(DesktopLogIn(), kRefused);
}

TEST_F(Landing, MachineInTheListIsAdmittedAndAnotherIsRefused) {
  GivePermissions("20");
  server.Run("update Users_ID set MacList='mac0,mac1'");
  EXPECT_TRUE(DesktopLogIn().starts_with(".+landing_successful|"));
  EXPECT_EQ(LogIn(".+landing|name1|pw1|10.0.0.1|mac2|x|#"), kRefused);
  EXPECT_EQ(LogIn(".+landing|name1|pw1|10.0.0.1|MAC1|x|#"), kRefused);
}

TEST_F(Landing, EmptyMachineListAdmitsEveryMachineAndStaysEmpty) {
  GivePermissions("20");
  EXPECT_TRUE(DesktopLogIn().starts_with(".+landing_successful|"));
  EXPECT_EQ(Column("MacList"), "NULL");
  EXPECT_TRUE(LogIn(".+landing|name1|pw1|10.0.0.1|other|x|#").starts_with(".+landing_successful|"));
}

TEST_F(Landing, MobileIsRestrictedByItsPushIdentifier) {
  GivePermissions("20");
  server.Run("update Users_ID set MacList='mac1'");
  EXPECT_EQ(LogIn(".+landing|name1|pw1|A|reg|maker|0|#"), kRefused);
  EXPECT_EQ(server.Tag(1), "");
}

TEST_F(Landing, BothRestrictionsMustAdmit) {
  GivePermissions("20,19");
  server.Run("update Users_ID set MacList='mac1', LocalIPList='127.0.0.8'");
  EXPECT_TRUE(DesktopLogIn("127.0.0.8").starts_with(".+landing_successful|"));
  EXPECT_EQ(DesktopLogIn("127.0.0.9"), kRefused);
}

TEST_F(Landing, MutedGroupWithTheNumberOfARestrictionRestricts) {
  server.Run("insert into Clot_Silence(MyID,YouID) values('1','19')");
  server.Run("update Users_ID set LocalIPList='10.0.0.1'");
  EXPECT_EQ(DesktopLogIn(), kRefused);
}

TEST_F(Landing, NumberThatOnlyContainsARestrictionDoesNotRestrict) {
  GivePermissions("119,190,1920, 19");
  server.Run("update Users_ID set LocalIPList='10.0.0.1', MacList='other'");
  EXPECT_TRUE(DesktopLogIn().starts_with(".+landing_successful|"));
}

// --- First use ---

TEST_F(Landing, FirstLoginBindsItsAddress) {
  DesktopLogIn("127.0.0.8");
  EXPECT_EQ(Column("LocalIP,LocalIPList"), "127.0.0.8|127.0.0.8");
}

TEST_F(Landing, LoginWithAnEarlierAddressLeavesTheEmptyListAsItIs) {
  server.Run("update Users_ID set LocalIP='10.0.0.5'");
  DesktopLogIn("127.0.0.8");
  EXPECT_EQ(Column("LocalIP,LocalIPList"), "127.0.0.8|NULL");
}

TEST_F(Landing, FirstLoginDoesNotBindItsMachine) {
  DesktopLogIn();
  EXPECT_EQ(Column("Mac,MacList"), "mac1|NULL");
}

TEST_F(Landing, MachineListIsWrittenOnlyWhenListAndMachineAreEmpty) {
  LogIn(".+landing|name1|pw1|10.0.0.1||x|#");
  EXPECT_EQ(Column("MacList"), "");
  server.Run("update Users_ID set MacList=NULL");
  LogIn(".+landing|name1|pw1|||x|#");  // no address of its own: not even then
  EXPECT_EQ(Column("MacList"), "NULL");
}

TEST_F(Landing, GoneClientOfAnAcceptedLoginIsSweptLater) {
  DesktopLogIn();
  last().Close();
  server.Everywhere(ErrTimerTick);
  EXPECT_EQ(server.Tag(1), "");
  EXPECT_EQ(server.Log().back(), "1" + server.Lang("im14") + "|1|127.0.0.1|16");
}

}  // namespace
}  // namespace vnq
