// The life of a group: creation with its id, its data and picture, and its end.
#include <filesystem>
#include <fstream>

#include "tests/harness/parties.h"

namespace vnq {
namespace {

constexpr char kFont[] = "宋体,10,12681849,False,False,False";
constexpr char kWelcome[] = "The%20group%20is%20ready.%20Welcome!";

class GroupCommands : public PartiesTest {
 protected:
  GroupCommands() {
    root_ = server.folder() + "/root";
    std::filesystem::create_directories(root_ + "/MyPic");
    server.host().ServerRootPath = root_;
    for (char& c : server.host().ServerRootPath) c = c == '/' ? '\\' : c;
  }

  static std::string Create(const std::string& list) {
    return ".+new_group_information|1|Team|about us|Ann|" + list + "|#";
  }
  static std::string Information(const std::string& list,
                                 const std::string& typeId = "Clot000001") {
    return ".+new_group_information|" + typeId + "|Team|about us|Ann|" + list + "|#";
  }
  static std::string Base(const std::string& typeId = "Clot000001") {
    return ".+new_group_base_information|" + typeId + "|Team|about us|Ann|#";
  }
  static std::string Added(const std::string& user, const std::string& typeId = "Clot000001") {
    return ".+messengverify|" + typeId + "|" + user + "||2|1|2|0|#";
  }
  std::string Welcome(bool toMember) {
    return std::string(".+clot_messeng|Clot000001|1|") +
           server.Value("select To_Date,To_Time from MessengClot_Text") + "|" + kWelcome + "|" +
           kFont + "|GUID|" + (toMember ? "4|1" : "3|0") + "|#";
  }
  std::string LogLine(std::string_view key, const std::string& rest) {
    return "1" + server.Lang(key) + rest + "|1|127.0.0.1|1";
  }
  // The id that the next group gets.
  std::string CreatedId() {
    From("1", Create(""));
    return server.Value("select TypeID from Clot_Ro order by rowid desc limit 1");
  }
  void WritePictureFile(const std::string& name) { std::ofstream(root_ + "/" + name) << "picture"; }
  bool Exists(const std::string& name) {
    return std::filesystem::symlink_status(root_ + "/" + name).type() !=
           std::filesystem::file_type::not_found;
  }
  Lines Pictures() {
    return server.Rows("select ClotID,ClotInfo,pic from Clot_Pic order by rowid");
  }

  std::string root_;
};

// --- Creation ---

TEST_F(GroupCommands, CreationWithEverybodyOnTwoDevices) {
  Connect({"1", "1m", "2", "2m", "3", "3m", "9", "9m"});
  const std::string list = "1:1:Ann-2:0:Ben-3:0:Cid-";
  From("1", Create(list));
  // Kept: the other session of the creator gets creator, name and remark where actor, group and
  // list stand elsewhere.
  EXPECT_EQ(Hear(), (Heard{{"1", Information(list)},
                           {"1m", Information(list) + ".+new_group_memberships|1|Team|about us|#"},
                           {"2", Information(list) + Added("2")},
                           {"2m", Information(list) + Added("2")},
                           {"3", Information(list) + Added("3")},
                           {"3m", Information(list) + Added("3")},
                           {"9", Base()},
                           {"9m", Base()}}));
  EXPECT_EQ(HearAfterTick(), (Heard{{"1m", Welcome(false)},
                                    {"2", Welcome(true)},
                                    {"2m", Welcome(true)},
                                    {"3", Welcome(true)},
                                    {"3m", Welcome(true)}}));
  EXPECT_EQ(server.Rows("select * from Clot_Ro"),
            Lines{"Clot000001|Team|about us|2026-03-04|Ann|0|0"});
  EXPECT_EQ(Pictures(), Lines{"Clot000001|0|NULL"});
  // The marks stay at their default, but for the one that the first message raises.
  EXPECT_EQ(Members("Clot000001"),
            (Lines{"1|1|Ann|1|0|0|0", "2|0|Ben|0|0|0|0", "3|0|Cid|0|0|0|0"}));
  EXPECT_EQ(
      server.Rows("select ClotID,MyID,FcName,UserText,FontInfo,To_Type from MessengClot_Text"),
      Lines{std::string("Clot000001|1|Name 1|") + kWelcome + "|" + kFont + "|3"});
  EXPECT_EQ(server.Rows("select ClotID,MyID,YouID from Msg_Acks order by rowid"),
            (Lines{"Clot000001|1|2", "Clot000001|1|3"}));
  EXPECT_EQ(GlobalCounters(), "1|1");
  EXPECT_EQ(Parked(), Lines{});
  EXPECT_EQ(Log(), Lines{LogLine("im64", "Team")});
}

TEST_F(GroupCommands, CreationWithAbsentMembersParksTheirNoticesOnly) {
  AddUsers({"1", "2", "3"});
  Connect({"1m"});
  From("1m", Create("1:1:Ann-2:0:Ben-3:0:Cid-"));
  EXPECT_EQ(Hear(), (Heard{{"1m", Information("1:1:Ann-2:0:Ben-3:0:Cid-")}}));
  EXPECT_EQ(HearAfterTick(), Heard{});
  EXPECT_EQ(
      server.Rows("select UserID1,ClotID,UserID2,UserText,To_Type1,To_Type2,To_Type3,To_Type4 "
                  "from MessengVerify_Type order by rowid"),
      (Lines{"2|Clot000001|2||2|1|2|0", "2m|Clot000001|2||2|1|2|0", "3|Clot000001|3||2|1|2|0",
             "3m|Clot000001|3||2|1|2|0"}));
  EXPECT_EQ(Members("Clot000001"),
            (Lines{"1|1|Ann|0|1|0|0", "2|0|Ben|0|0|0|0", "3|0|Cid|0|0|0|0"}));
}

// Whom "each member but the creator" leaves out is decided by the acting slot's tag, not by
// field 1.
TEST_F(GroupCommands, CreatorIsWhoSendsNotWhoIsNamed) {
  Connect({"1", "2"});
  From("2", Create("1:1:Ann-2:0:Ben-"));
  EXPECT_EQ(Hear(), (Heard{{"1", Information("1:1:Ann-2:0:Ben-") + Added("1")},
                           {"2", Information("1:1:Ann-2:0:Ben-")}}));
}

TEST_F(GroupCommands, LastEntryWithoutItsClosingSignIsPassedOver) {
  Connect({"1", "2"});
  From("1", Create("1:1:Ann-2:0:Ben"));
  EXPECT_EQ(Members("Clot000001").size(), 1u);
  EXPECT_EQ(Hear(), (Heard{{"1", Information("1:1:Ann-2:0:Ben")}, {"2", Base()}}));
}

TEST_F(GroupCommands, EmptyMemberListTellsEverybodyTheBaseAndItsFirstMessageReachesNobody) {
  Connect({"1", "1m", "2"});
  TestClient stranger = server.Connect();
  From("1", Create(""));
  EXPECT_EQ(Hear(), (Heard{{"1", Base()},
                           {"1m", ".+new_group_memberships|1|Team|about us|#" + Base()},
                           {"2", Base()}}));
  EXPECT_EQ(stranger.Receive(), Base());
  EXPECT_EQ(HearAfterTick(), Heard{});
  EXPECT_EQ(Members("Clot000001"), Lines{});
  EXPECT_EQ(CountOf("MessengClot_Text"), 1);
  EXPECT_EQ(CountOf("Msg_Acks"), 0);
  EXPECT_EQ(GlobalCounters(), "1|1");
}

TEST_F(GroupCommands, AnEntryWithoutColonHasNoRowAndIsToldAllTheSame) {
  Connect({"1", "2"});
  From("1", Create("2-1:x:Ann-"));
  EXPECT_EQ(Members("Clot000001"), Lines{});
  EXPECT_EQ(Hear(), (Heard{{"1", Information("2-1:x:Ann-")},
                           {"2", Information("2-1:x:Ann-") + Added("2")}}));
}

TEST_F(GroupCommands, EmptyEntriesBelongToNobody) {
  Connect({"1"});
  TestClient stranger = server.Connect();
  From("1", Create("--1:1:Ann-"));
  EXPECT_EQ(Members("Clot000001"), Lines{"1|1|Ann|1|0|0|0"});
  EXPECT_EQ(stranger.Receive(), Base());
}

TEST_F(GroupCommands, NamesWithSeparatorsDoWhatTheyDoAndNoMore) {
  Connect({"1", "2"});
  From("1", Create("1:1:Ann, the: first-2:0:O'Neil-"));
  EXPECT_EQ(Members("Clot000001"), Lines{"1|1|Ann, the|1|0|0|0"});
  EXPECT_EQ(Hear()["2"], Information("1:1:Ann, the: first-2:0:O'Neil-") + Added("2"));
}

TEST_F(GroupCommands, AGroupWhoseHeaderFailedGetsEverythingElse) {
  Connect({"1"});
  From("1", ".+new_group_information|1|Ann's|r|s|1:1:Ann-|#");
  EXPECT_EQ(CountOf("Clot_Ro"), 0);
  EXPECT_EQ(Pictures(), Lines{"Clot000001|0|NULL"});
  EXPECT_EQ(Members("Clot000001"), Lines{"1|1|Ann|1|0|0|0"});
  EXPECT_EQ(GlobalCounters(), "1|1");
  EXPECT_EQ(Hear(), (Heard{{"1", ".+new_group_information|Clot000001|Ann's|r|s|1:1:Ann-|#"}}));
  EXPECT_EQ(Log(), Lines{LogLine("im64", "Ann's")});
}

TEST_F(GroupCommands, FirstGroupOfAnEmptyTableIsNumberOne) {
  Connect({"1"});
  EXPECT_EQ(CreatedId(), "Clot000001");
  EXPECT_EQ(CreatedId(), "Clot000002");
}

TEST_F(GroupCommands, BehindClot000999ComesClot001000AndThenClot000001ForEver) {
  Connect({"1"});
  server.Run("insert into Clot_Ro(TypeID) values('Clot000998')");
  EXPECT_EQ(CreatedId(), "Clot000999");
  EXPECT_EQ(CreatedId(), "Clot001000");
  EXPECT_EQ(CreatedId(), "Clot000001");
  EXPECT_EQ(CreatedId(), "Clot000001");
  EXPECT_EQ(server.Value("select count(*) from Clot_Ro where TypeID='Clot000001'"), "2");
}

TEST_F(GroupCommands, AGreatestIdWithoutNumberCountsAsZero) {
  Connect({"1"});
  server.Run("insert into Clot_Ro(TypeID) values('Zebra')");
  EXPECT_EQ(CreatedId(), "Clot000001");
}

// --- Data ---

TEST_F(GroupCommands, ChangedDataIsWrittenAndToldToEveryConnectedClient) {
  Connect({"1", "1m", "9"});
  TestClient stranger = server.Connect();
  AddGroup("Clot000001", {"1:1:Ann"});
  From("1", ".+modify_group_information|1|Clot000001|New|text|Ben|#");
  const std::string record = ".+modify_group_information|Clot000001|New|text|Ben|#";
  EXPECT_EQ(Hear(), (Heard{{"1", record}, {"1m", record}, {"9", record}}));
  EXPECT_EQ(stranger.Receive(), record);
  EXPECT_EQ(server.Rows("select * from Clot_Ro"), Lines{"Clot000001|New|text|NULL|Ben|1|0"});
  EXPECT_EQ(GlobalCounters(), "1|0");
  EXPECT_EQ(Log(), Lines{LogLine("im66", "Clot000001")});
}

TEST_F(GroupCommands, ChangedDataOfAnUnknownGroupStillCountsAndReachesAll) {
  Connect({"1", "9"});
  From("1", ".+modify_group_information|1|Clot000777|New|text|Ben|#");
  const std::string record = ".+modify_group_information|Clot000777|New|text|Ben|#";
  EXPECT_EQ(Hear(), (Heard{{"1", record}, {"9", record}}));
  EXPECT_EQ(GlobalCounters(), "1|0");
  EXPECT_EQ(CountOf("Clot_Ro"), 0);
}

TEST_F(GroupCommands, OfTwoHeadersWithOneIdNoneIsChanged) {
  Connect({"1"});
  AddGroup("Clot000001", {});
  AddGroup("Clot000001", {});
  From("1", ".+modify_group_information|1|Clot000001|New|text|Ben|#");
  EXPECT_EQ(server.Rows("select TypeName,Users_IDVesr from Clot_Ro"),
            (Lines{"Group Clot000001|0", "Group Clot000001|0"}));
  EXPECT_EQ(GlobalCounters(), "1|0");
}

// The column takes a quote that no statement could carry.
TEST_F(GroupCommands, AQuoteInANewNameIsWritten) {
  Connect({"1"});
  AddGroup("Clot000001", {});
  From("1", ".+modify_group_information|1|Clot000001|Ann's|x|y|#");
  EXPECT_EQ(server.Value("select TypeName from Clot_Ro"), "Ann's");
}

// --- Picture ---

TEST_F(GroupCommands, ChangedPictureIsWrittenWithoutRecordOrCounter) {
  Connect({"1", "2"});
  AddGroup("Clot000001", {"1:1:Ann", "2:0:Ben"});
  WritePictureFile("MyPic/Clot000001.jpg");
  From("1", ".+modify_group_photos|1|Clot000001|7|#");
  From("1", ".+modify_group_photos|1|Clot000001|8|#");
  EXPECT_EQ(Pictures(), Lines{"Clot000001|NULL|8"});
  EXPECT_EQ(Hear(), Heard{});
  EXPECT_EQ(GlobalCounters(), "0|0");
  EXPECT_EQ(GroupCounters("Clot000001"), "0|0");
  EXPECT_TRUE(Exists("MyPic/Clot000001.jpg"));
  EXPECT_EQ(Log(), (Lines{LogLine("im69", "Clot000001/7"), LogLine("im69", "Clot000001/8")}));
}

TEST_F(GroupCommands, TwoPictureRowsLeadToAThird) {
  Connect({"1"});
  server.Run("insert into Clot_Pic values('Clot000001',0,'a'),('Clot000001',0,'b')");
  From("1", ".+modify_group_photos|1|Clot000001|c|#");
  EXPECT_EQ(Pictures(), (Lines{"Clot000001|0|a", "Clot000001|0|b", "Clot000001|NULL|c"}));
}

TEST_F(GroupCommands, ClearedPictureTakesTheValueOfTheClientAndLosesItsFile) {
  Connect({"1"});
  server.Run("insert into Clot_Pic values('Clot000001',0,'a')");
  WritePictureFile("MyPic/Clot000001.jpg");
  WritePictureFile("MyPic/Clot000002.jpg");
  From("1", ".+clear_group_photos|1|Clot000001|0|#");
  EXPECT_EQ(Pictures(), Lines{"Clot000001|0|0"});
  EXPECT_FALSE(Exists("MyPic/Clot000001.jpg"));
  EXPECT_TRUE(Exists("MyPic/Clot000002.jpg"));
  EXPECT_EQ(Hear(), Heard{});
  EXPECT_EQ(GlobalCounters(), "0|0");
  EXPECT_EQ(Log(), Lines{LogLine("im70", "Clot000001/0")});
}

TEST_F(GroupCommands, ClearingWithoutAFileOnlyWritesTheRow) {
  Connect({"1"});
  From("1", ".+clear_group_photos|1|Clot000001|0|#");
  EXPECT_EQ(Pictures(), Lines{"Clot000001|NULL|0"});
}

TEST_F(GroupCommands, DeletionNeverLeavesThePictureFolder) {
  Connect({"1"});
  WritePictureFile("secret.jpg");
  WritePictureFile("MyPic/kept.jpg");
  std::filesystem::create_directories(root_ + "/MyPic/sub.jpg");
  std::filesystem::create_symlink(root_ + "/secret.jpg", root_ + "/MyPic/link.jpg");
  const std::string absolute = root_ + "/secret";
  for (const std::string& id : {std::string("../secret"), std::string("..\\secret"), absolute,
                                std::string("..\\MyPic\\kept"), std::string("sub.jpg/../kept"),
                                std::string("*"), std::string("sub"), std::string("link")}) {
    From("1", ".+clear_group_photos|1|" + id + "|0|#");
    From("1", ".+messengverify|" + id + "|1||2|2|2|1|#");
  }
  EXPECT_TRUE(Exists("secret.jpg"));
  EXPECT_TRUE(Exists("MyPic/kept.jpg"));
  EXPECT_TRUE(Exists("MyPic/sub.jpg"));
  EXPECT_FALSE(Exists("MyPic/link.jpg"));
}

// --- The end ---

class Disbanding : public GroupCommands {
 protected:
  void AddTheGroup() {
    AddUsers({"1", "2", "3"});
    AddGroup("Clot000001", {"1:1:Ann", "2:1:Ben", "3:0:Cid"});
    AddGroup("Clot000002", {"1:1:Ann"});
    for (const char* group : {"Clot000001", "Clot000002"}) {
      const std::string id = std::string("'") + group + "'";
      server.Run("insert into Clot_Pic(ClotID) values(" + id +
                 ");"
                 "insert into ClotFile(ClotID) values(" +
                 id +
                 ");"
                 "insert into MessengClot_Text(ClotID) values(" +
                 id +
                 ");"
                 "insert into Msg_Acks(ClotID) values(" +
                 id + ")");
    }
    WritePictureFile("MyPic/Clot000001.jpg");
  }
  void ExpectGone() {
    for (const char* select :
         {"select TypeID from Clot_Ro", "select distinct UpperID from Clot_Form",
          "select ClotID from Clot_Pic", "select ClotID from ClotFile",
          "select ClotID from MessengClot_Text"}) {
      EXPECT_EQ(server.Rows(select), Lines{"Clot000002"}) << select;
    }
    EXPECT_EQ(CountOf("Msg_Acks"), 2);
    EXPECT_FALSE(Exists("MyPic/Clot000001.jpg"));
    EXPECT_EQ(GlobalCounters(), "1|1");
    EXPECT_EQ(Log(), (Lines{LogLine("im65", "Clot000001"),
                            "1 To Clot000001" + server.Lang("im264") + "|1|127.0.0.1|12"}));
  }
  static constexpr char kRecord[] = ".+messengverify|Clot000001|1|over|2|2|2|1|#";
};

TEST_F(Disbanding, IsToldToAllMembersAndTheOtherDeviceButNotToWhoDidIt) {
  AddTheGroup();
  Connect({"1", "1m", "2", "2m", "3", "3m", "9"});
  From("1", kRecord);
  EXPECT_EQ(
      Hear(),
      (Heard{{"1m", kRecord}, {"2", kRecord}, {"2m", kRecord}, {"3", kRecord}, {"3m", kRecord}}));
  EXPECT_EQ(Parked(), Lines{});
  ExpectGone();
}

TEST_F(Disbanding, IsParkedForTheAbsent) {
  AddTheGroup();
  Connect({"1"});
  From("1", kRecord);
  EXPECT_EQ(Hear(), Heard{});
  EXPECT_EQ(Parked(), ParkedFor({"2", "2m", "3", "3m", "1m"}, "Clot000001|1|over|2|2|2|1"));
  ExpectGone();
}

TEST_F(Disbanding, OfAQuotedIdDeletesNothing) {
  AddTheGroup();
  Connect({"1"});
  From("1", ".+messengverify|x' or 'a'='a|1||2|2|2|1|#");
  EXPECT_EQ(CountOf("Clot_Ro"), 2);
  EXPECT_EQ(CountOf("Clot_Form"), 4);
  EXPECT_EQ(GlobalCounters(), "1|1");
}

TEST_F(GroupCommands, WithAnyNumberOfFieldsLeaveTheServerAnswering) {
  Connect({"1", "1m"});
  AddGroup("Clot000001", {"1:1:Ann", "2:0:Ben"});
  for (const char* command :
       {"new_group_information", "modify_group_information", "modify_group_photos",
        "clear_group_photos", "modify_group_members", "add_group_members", "del_group_members",
        "set_group_administrator"}) {
    std::string record = std::string(".+") + command;
    for (const char* field : {"", "|1", "|Clot000001", "|a-b:1-", "|x", "|1:1:Ann-", "|#"}) {
      record += field;
      From("1", record);
    }
  }
  Hear();
  From("1", ".+y|#");
  EXPECT_EQ(Hear(), (Heard{{"1", ".+y|#"}}));
}

}  // namespace
}  // namespace vnq
