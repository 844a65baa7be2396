// The four commands on the members of a standing group.
#include "tests/harness/parties.h"

namespace vnq {
namespace {

constexpr char kGroup[] = "Clot000001";

// 1 acts and administers; 2 and 3 are members; 5 is an outsider.
class GroupMembership : public PartiesTest {
 protected:
  void AddTheGroup() {
    AddUsers({"1", "2", "3", "5"});
    AddGroup(kGroup, {"1:1:Ann", "2:0:Ben", "3:0:Cid"});
    server.Run("insert into MessengClot_Text(TypeID,Msg_ID,ClotID) values(41,'M','Clot000001')");
  }
  void EverybodyOnTwoDevices() {
    AddTheGroup();
    Connect({"1", "1m", "2", "2m", "3", "3m", "5", "5m"});
  }
  void Only(const std::string& tag) {
    AddTheGroup();
    Connect({tag});
  }

  static std::string Command(const std::string& word, const std::string& list) {
    return ".+" + word + "|1|Clot000001|" + list + "|#";
  }
  static std::string Memberships(const std::string& list) {
    return ".+new_group_memberships|1|Clot000001|" + list + "|#";
  }
  static std::string Notice(const std::string& user, const std::string& type2) {
    return ".+messengverify|Clot000001|" + user + "||2|" + type2 + "|2|0|#";
  }
  static std::string Added(const std::string& user) { return Notice(user, "1"); }
  static std::string Removed(const std::string& user) { return Notice(user, "2"); }

  void ExpectCountedAndLogged(std::string_view key) {
    EXPECT_EQ(GlobalCounters(), "0|1");
    EXPECT_EQ(GroupCounters(kGroup), "0|1");
    EXPECT_EQ(Log(), Lines{"1" + server.Lang(key) + kGroup + "|1|127.0.0.1|1"});
  }
};

// --- Turns of the event loop ---

// Ben is no member; all members but Ann are away.
class LongMemberLists : public PartiesTest {
 protected:
  LongMemberLists() {
    Connect({"1", "ben"});
    server.Run("insert into Clot_Ro(TypeID,TypeName) values('Clot000001','Group')");
    for (int i = 100; i < 130; ++i) {
      list_ += std::to_string(i) + ":0:Absent-";
      server.Run("insert into Clot_Form(UpperID,UserID,IsAdmin) values('Clot000001','" +
                 std::to_string(i) + "',0)");
    }
  }

  /// Runs a command of Ann's, with a keep-alive of Ben's behind it that is there when the server
  /// looks. True when the answer has come before the command counted the change, which is the last
  /// thing it does.
  bool IsBenAnsweredMeanwhile(const std::string& command) {
    bool answered = false;
    server.Run("update UpDateForm set Clot_FormVesr=0");
    session("1").SendQuietly(command);
    session("ben").SendQuietly(".+y|#");
    server.InHandler([&](Host& host) {
      while (!answered && !IsCounted(host)) {
        host.loop.Yield();
        answered = !session("ben").ReceiveNow().empty() && !IsCounted(host);
      }
    });
    server.Pump();
    EXPECT_EQ(server.Value("select Clot_FormVesr from UpDateForm where id=1"), "1") << command;
    Hear();
    return answered;
  }

  // As the server's own connection sees it, whatever is committed.
  static bool IsCounted(Host& host) {
    return Is(host.database.ReadValue(Sql("select Clot_FormVesr from UpDateForm where id=1")), "1");
  }

  std::string list_;
};

TEST_F(LongMemberLists, HoldNobodyUpWhileAllMembersAreAway) {
  for (const char* command : {".+add_group_members|1|Clot000001|200:0:New-|#",
                              ".+del_group_members|1|Clot000001|100,101|#",
                              ".+set_group_administrator|1|Clot000001|102:1|#"}) {
    EXPECT_TRUE(IsBenAnsweredMeanwhile(command)) << command;
  }
  EXPECT_TRUE(IsBenAnsweredMeanwhile(".+modify_group_members|1|Clot000001|" + list_ + "|#"));
  EXPECT_TRUE(IsBenAnsweredMeanwhile(".+new_group_information|1|New|about|Ann|" + list_ + "|#"));
}

TEST_F(LongMemberLists, TellMembersWhoComeInTheTurnBeforeTheSend) {
  session("1").SendQuietly(".+modify_group_members|1|Clot000001|100:0:Back-|#");
  server.InHandler([&](Host& host) {
    host.loop.Yield();
    host.SckServer.SetTag(host.SckServer.FirstConnected("ben"), "100");
  });
  server.Pump();
  EXPECT_EQ(Hear(), (Heard{{"ben", ".+new_group_memberships|1|Clot000001|100:0:Back-|#"}}));
}

// --- Replacing the list ---

TEST_F(GroupMembership, ReplacedListTellsKeptAndNewMembersTheListAndRemovedOnesTheNotice) {
  EverybodyOnTwoDevices();
  const std::string list = "2:0:Ben-5:1:Eve-";
  From("1", Command("modify_group_members", list));
  EXPECT_EQ(Hear(), (Heard{{"1m", Memberships(list)},
                           {"2", Memberships(list)},
                           {"2m", Memberships(list)},
                           {"3", Removed("3")},
                           {"3m", Removed("3")},
                           {"5", Memberships(list) + Added("5")},
                           {"5m", Memberships(list) + Added("5")}}));
  EXPECT_EQ(Members(kGroup), (Lines{"1|1|Ann|0|0|0|0", "2|0|Ben|0|0|0|0", "5|1|Eve|41|41|41|41"}));
  EXPECT_EQ(Parked(), Lines{});
  ExpectCountedAndLogged("im67");
}

TEST_F(GroupMembership, ReplacedListParksTheNoticesOfTheAbsent) {
  Only("1");
  From("1", Command("modify_group_members", "2:0:Ben-5:1:Eve-"));
  EXPECT_EQ(Hear(), Heard{});
  EXPECT_EQ(Parked(), (Lines{"5|Clot000001|5||2|1|2|0", "5m|Clot000001|5||2|1|2|0",
                             "3|Clot000001|3||2|2|2|0", "3m|Clot000001|3||2|2|2|0"}));
  EXPECT_EQ(Members(kGroup).size(), 3u);
  ExpectCountedAndLogged("im67");
}

TEST_F(GroupMembership, ListEqualToThePresentMembersChangesNoRowsAndStillCounts) {
  EverybodyOnTwoDevices();
  const std::string list = "2:1:New name-3:0:Cid-";
  From("1", Command("modify_group_members", list));
  const std::string record = Memberships(list);
  EXPECT_EQ(Hear(),
            (Heard{{"1m", record}, {"2", record}, {"2m", record}, {"3", record}, {"3m", record}}));
  EXPECT_EQ(Members(kGroup), (Lines{"1|1|Ann|0|0|0|0", "2|0|Ben|0|0|0|0", "3|0|Cid|0|0|0|0"}));
  ExpectCountedAndLogged("im67");
}

TEST_F(GroupMembership, EmptyListRemovesAllButTheActingUser) {
  EverybodyOnTwoDevices();
  From("1", Command("modify_group_members", ""));
  EXPECT_EQ(Hear(), (Heard{{"1m", Memberships("")},
                           {"2", Removed("2")},
                           {"2m", Removed("2")},
                           {"3", Removed("3")},
                           {"3m", Removed("3")}}));
  EXPECT_EQ(Members(kGroup), Lines{"1|1|Ann|0|0|0|0"});
}

TEST_F(GroupMembership, ListThatNamesTheActingUserAddsASecondRowAndTellsThemSo) {
  Only("1");
  const std::string list = "1:1:Ann-2:0:Ben-3:0:Cid-";
  From("1", Command("modify_group_members", list));
  EXPECT_EQ(Hear(), (Heard{{"1", Memberships(list) + Added("1")}}));
  EXPECT_EQ(Parked(), ParkedFor({"1m"}, "Clot000001|1||2|1|2|0"));
  EXPECT_EQ(Members(kGroup).size(), 4u);
  EXPECT_EQ(Members(kGroup)[1], "1|1|Ann|41|41|41|41");
}

TEST_F(GroupMembership, EntryOfTheListThatIsNotClosedDoesNotCount) {
  Only("1");
  From("1", Command("modify_group_members", "2:0:Ben-3:0:Cid"));
  EXPECT_EQ(Members(kGroup), (Lines{"1|1|Ann|0|0|0|0", "2|0|Ben|0|0|0|0"}));
}

TEST_F(GroupMembership, DoubleRowsAndNullsOfTheTableArePutUpWith) {
  Only("1");
  server.Run("insert into Clot_Form(UpperID,UserID) values('Clot000001','3'),('Clot000001',null)");
  From("1", Command("modify_group_members", "2:0:Ben-"));
  EXPECT_EQ(server.Rows("select UserID from Clot_Form order by rowid"), (Lines{"1", "2", "NULL"}));
  EXPECT_EQ(Parked(), ParkedFor({"3", "3m", "3", "3m"}, "Clot000001|3||2|2|2|0"));
}

// --- Adding ---

TEST_F(GroupMembership, AddedMembersAreToldTheListOfAllAndThenTheNotice) {
  EverybodyOnTwoDevices();
  From("1", Command("add_group_members", "5:0:Eve-"));
  const std::string record = Memberships("1:1:Ann-2:0:Ben-3:0:Cid-5:0:Eve-");
  EXPECT_EQ(Hear(), (Heard{{"1", record},
                           {"1m", record + record},
                           {"2", record},
                           {"2m", record},
                           {"3", record},
                           {"3m", record},
                           {"5", record + Added("5")},
                           {"5m", record + Added("5")}}));
  EXPECT_EQ(Members(kGroup).back(), "5|0|Eve|41|41|41|41");
  EXPECT_EQ(Parked(), Lines{});
  ExpectCountedAndLogged("im295");
}

TEST_F(GroupMembership, AddedAbsentMembersFindTheNoticeParked) {
  Only("1m");
  From("1m", Command("add_group_members", "5:0:Eve-6:1:Fay"));
  EXPECT_EQ(Hear(), (Heard{{"1m", Memberships("1:1:Ann-2:0:Ben-3:0:Cid-5:0:Eve-6:1:Fay-")}}));
  EXPECT_EQ(Parked(), (Lines{"5|Clot000001|5||2|1|2|0", "5m|Clot000001|5||2|1|2|0",
                             "6|Clot000001|6||2|1|2|0", "6m|Clot000001|6||2|1|2|0"}));
  EXPECT_EQ(Members(kGroup).back(), "6|1|Fay|41|41|41|41");
  ExpectCountedAndLogged("im295");
}

TEST_F(GroupMembership, PresentMemberWhoIsAddedHasTwoRowsAndIsToldTwice) {
  EverybodyOnTwoDevices();
  From("1", Command("add_group_members", "2:0:Ben-"));
  const std::string record = Memberships("1:1:Ann-2:0:Ben-3:0:Cid-2:0:Ben-");
  EXPECT_EQ(Hear()["2"], record + record + Added("2"));
  EXPECT_EQ(Members(kGroup).size(), 4u);
}

TEST_F(GroupMembership, EmptyEntriesOfAnAdditionArePassedOver) {
  Only("1");
  From("1", Command("add_group_members", "--5:0:Eve--"));
  EXPECT_EQ(Members(kGroup).size(), 4u);
  EXPECT_EQ(Parked(), ParkedFor({"5", "5m"}, "Clot000001|5||2|1|2|0"));
}

TEST_F(GroupMembership, MarksOfAMemberAddedBeyondTheLimitAreZero) {
  Only("1");
  server.Run("insert into MessengClot_Text(TypeID,Msg_ID,ClotID) values(40000,'N','Clot000001')");
  From("1", Command("add_group_members", "5:0:Eve-"));
  EXPECT_EQ(Members(kGroup).back(), "5|0|Eve|0|0|0|0");
}

// A remark ends at ":" and "-"; a quote fails the insert of that entry alone, and the notices go
// out regardless.
TEST_F(GroupMembership, NamesWithSeparatorsAndQuotesBreakNoStatement) {
  Only("1");
  From("1", Command("add_group_members",
                    "5:0:Eve, the: rest-6:0:O'Neil-7:1);delete from Clot_Form;:x-8:0:a\"b`%_-"));
  EXPECT_EQ(server.Rows("select UserID,IsAdmin,remark from Clot_Form where rowid>3"),
            (Lines{"5|0|Eve, the", "8|0|a\"b`%_"}));
  EXPECT_EQ(server.Rows("select UserID1 from MessengVerify_Type order by rowid"),
            (Lines{"5", "5m", "6", "6m", "7", "7m", "8", "8m"}));
}

// --- Removing ---

TEST_F(GroupMembership, RemovedMemberGetsTheNoticeAndTheListLacksTheActingUser) {
  EverybodyOnTwoDevices();
  From("1", Command("del_group_members", "3,"));
  const std::string record = Memberships("2:0:Ben-");
  EXPECT_EQ(Hear(), (Heard{{"1m", record},
                           {"2", record},
                           {"2m", record},
                           {"3", Removed("3")},
                           {"3m", Removed("3")}}));
  EXPECT_EQ(Members(kGroup), (Lines{"1|1|Ann|0|0|0|0", "2|0|Ben|0|0|0|0"}));
  EXPECT_EQ(Parked(), Lines{});
  ExpectCountedAndLogged("im296");
}

TEST_F(GroupMembership, RemovedAbsentMembersFindTheNoticeParkedForBothDevices) {
  Only("1");
  From("1", Command("del_group_members", "2,3"));
  EXPECT_EQ(Hear(), Heard{});
  EXPECT_EQ(Parked(), (Lines{"2|Clot000001|2||2|2|2|0", "2m|Clot000001|2||2|2|2|0",
                             "3|Clot000001|3||2|2|2|0", "3m|Clot000001|3||2|2|2|0"}));
  EXPECT_EQ(Members(kGroup), Lines{"1|1|Ann|0|0|0|0"});
  ExpectCountedAndLogged("im296");
}

TEST_F(GroupMembership, RemovalOfAStrangerIsNotifiedAllTheSame) {
  EverybodyOnTwoDevices();
  From("1", Command("del_group_members", "5"));
  EXPECT_EQ(Hear()["5"], Removed("5"));
  EXPECT_EQ(Members(kGroup).size(), 3u);
}

TEST_F(GroupMembership, EmptyRemovalTakesOnlyTheMemberWithoutName) {
  for (const char* list : {"", ","}) {
    if (CountOf("Clot_Ro") == 0) Only("1");
    server.Run("insert into Clot_Form(UpperID,UserID) values('Clot000001','')");
    From("1", Command("del_group_members", list));
    EXPECT_EQ(Members(kGroup).size(), 3u) << '"' << list << '"';
  }
  EXPECT_EQ(Parked(), Lines{});
}

TEST_F(GroupMembership, AQuoteInARemovalRemovesNobodyAndIsNotified) {
  Only("1");
  From("1", Command("del_group_members", "2,x') or ('1'='1"));
  EXPECT_EQ(Members(kGroup).size(), 3u);
  EXPECT_EQ(server.Rows("select distinct UserID2 from MessengVerify_Type order by UserID2"),
            (Lines{"2", "x') or ('1'='1"}));
  EXPECT_EQ(GlobalCounters(), "0|1");
}

// --- Administrators ---

TEST_F(GroupMembership, RightGivenIsWrittenToldAndRelayedAsFour) {
  EverybodyOnTwoDevices();
  From("1", Command("set_group_administrator", "3:1"));
  const std::string record = Memberships("2:0:Ben-3:1:Cid-");
  EXPECT_EQ(Hear(), (Heard{{"1m", record},
                           {"2", record},
                           {"2m", record},
                           {"3", record + Notice("3", "4")},
                           {"3m", record + Notice("3", "4")}}));
  EXPECT_EQ(Members(kGroup).back(), "3|1|Cid|0|0|0|0");
  EXPECT_EQ(Parked(), Lines{});
  ExpectCountedAndLogged("im297");
}

TEST_F(GroupMembership, RightTakenFromAnAbsentMemberIsParkedAsThree) {
  Only("1");
  server.Run("update Clot_Form set IsAdmin=1 where UserID='3'");
  From("1", Command("set_group_administrator", "3:0"));
  EXPECT_EQ(Hear(), Heard{});
  EXPECT_EQ(Parked(), ParkedFor({"3", "3m"}, "Clot000001|3||2|3|2|0"));
  EXPECT_EQ(Members(kGroup).back(), "3|0|Cid|0|0|0|0");
  ExpectCountedAndLogged("im297");
}

TEST_F(GroupMembership, RightOfTwoIsWrittenAndRelayedToNobody) {
  EverybodyOnTwoDevices();
  From("1", Command("set_group_administrator", "3:2"));
  const std::string record = Memberships("2:0:Ben-3:2:Cid-");
  EXPECT_EQ(Hear(),
            (Heard{{"1m", record}, {"2", record}, {"2m", record}, {"3", record}, {"3m", record}}));
  EXPECT_EQ(Members(kGroup).back(), "3|2|Cid|0|0|0|0");
  EXPECT_EQ(Parked(), Lines{});
}

// Kept: a number below 0 reaches other rows of the engine's table.
TEST_F(GroupMembership, RightOfMinusOneIsRelayedAsARemoval) {
  EverybodyOnTwoDevices();
  From("1", Command("set_group_administrator", "3:-1"));
  EXPECT_EQ(Hear()["3"], Memberships("2:0:Ben-3:-1:Cid-") + Removed("3"));
}

TEST_F(GroupMembership, RightThatIsNoNumberIsNotWrittenAndTheListStillGoesOut) {
  EverybodyOnTwoDevices();
  for (const char* entry : {"3:x", "3", "", "3:1 or 1=1", "3:0,UserID=9"}) {
    From("1", Command("set_group_administrator", entry));
    EXPECT_EQ(Hear()["3"], Memberships("2:0:Ben-3:0:Cid-")) << entry;
  }
  EXPECT_EQ(Members(kGroup), (Lines{"1|1|Ann|0|0|0|0", "2|0|Ben|0|0|0|0", "3|0|Cid|0|0|0|0"}));
  EXPECT_EQ(GlobalCounters(), "0|5");
}

TEST_F(GroupMembership, UnknownGroupIsCountedGloballyAndTellsTheNotice) {
  EverybodyOnTwoDevices();
  From("1", ".+add_group_members|1|Clot000777|5:0:Eve-|#");
  EXPECT_EQ(server.Rows("select * from Clot_Form where UpperID='Clot000777'"),
            Lines{"Clot000777|5|0|Eve|0|0|0|0"});
  EXPECT_EQ(GlobalCounters(), "0|1");
  EXPECT_EQ(GroupCounters(kGroup), "0|0");
}

// The second command deletes a row in the first turn that the first one gives while it tells the
// members; the first goes on with the rows that it had read, and the two tell the third member by
// turns.
TEST_F(GroupMembership, WalkOverTheMembersOutlivesTheRemovalOfOne) {
  EverybodyOnTwoDevices();
  session("1").SendQuietly(Command("set_group_administrator", "3:1"));
  session("2").SendQuietly(".+del_group_members|2|Clot000001|3|#");
  server.Pump();
  const Heard heard = Hear();
  const std::string record = Memberships("2:0:Ben-3:1:Cid-");
  EXPECT_EQ(heard.at("3"), record + Removed("3") + Notice("3", "4"));
  EXPECT_EQ(heard.at("3m"), record + Removed("3") + Notice("3", "4"));
  EXPECT_EQ(heard.at("1"), ".+new_group_memberships|2|Clot000001|1:1:Ann-|#");
  EXPECT_EQ(Members(kGroup), (Lines{"1|1|Ann|0|0|0|0", "2|0|Ben|0|0|0|0"}));
  EXPECT_EQ(GlobalCounters(), "0|2");
}

TEST_F(GroupMembership, WithoutTheOneCounterRowTheRestIsDone) {
  Only("1");
  server.Run("insert into UpDateForm(id,Clot_FormVesr) select id,Clot_FormVesr from UpDateForm");
  From("1", Command("del_group_members", "3"));
  EXPECT_EQ(server.Rows("select Clot_FormVesr from UpDateForm"), (Lines{"0", "0"}));
  EXPECT_EQ(GroupCounters(kGroup), "0|1");
}

}  // namespace
}  // namespace vnq
