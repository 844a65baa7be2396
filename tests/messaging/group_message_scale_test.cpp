// One message to a large group, and the marks that a group message leaves.
#include <fmt/format.h>

#include "tests/harness/parties.h"

namespace vnq {
namespace {

constexpr char kGroup[] = "Clot000001";

// --- A thousand members ---

constexpr int kMembers = 1000;
constexpr int kConnected = 200;  // the first of them, each on two devices

class LargeGroup : public PartiesTest {
 protected:
  LargeGroup() {
    server.AddUser("1");
    std::string rows = "insert into Clot_Ro(TypeID) values('Clot000001');begin;";
    for (int i = 1; i <= kMembers; ++i) {
      rows += fmt::format("insert into Clot_Form(UpperID,UserID,remark) values('{}','{}','m');",
                          kGroup, i);
    }
    server.Run(rows + "commit");
    clients_.reserve(2 * kConnected);
    for (int i = 1; i <= kConnected; ++i) {
      AddClient(fmt::format("{}", i));
      AddClient(fmt::format("{}m", i));
    }
  }

  // Element 0 is the desktop of member 1, element 1 that member's mobile, and so on.
  std::vector<TestClient> clients_;

 private:
  void AddClient(const std::string& tag) {
    clients_.push_back(server.Connect());
    server.Slots(6004).SetTag(server.Slots(6004).Highest(), tag);
  }
};

TEST_F(LargeGroup, OneMessageIsStoredAndQueuedToEveryMemberInOnePass) {
  clients_[0].SendQuietly(".+clot_messeng|Clot000001|1|hello|font|M1|0|#");
  server.Pump();

  EXPECT_EQ(server.Rows("select TypeID,Msg_ID,ClotID,MyID,FcName,UserText,FontInfo,To_Type from "
                        "MessengClot_Text"),
            Lines{"1|M1|Clot000001|1|Name 1|hello|font|0"});
  Lines acknowledgements;
  for (int i = 2; i <= kMembers; ++i)
    acknowledgements.push_back(fmt::format("M1|{}|1|{}|0|0", kGroup, i));
  EXPECT_EQ(server.Rows("select Msg_ID,ClotID,MyID,YouID,IsReceipt1,IsReceipt2 from Msg_Acks "
                        "order by rowid"),
            acknowledgements);
  EXPECT_EQ(server.Value("select count(*) from Clot_Form where last_ack_typeid1<>0"), "1");
  EXPECT_EQ(
      server.Value("select last_ack_typeid1,last_ack_typeid2 from Clot_Form where UserID='1'"),
      "1|0");
  EXPECT_EQ(server.host().ReplyBuffer[2 * kConnected].empty(), false);

  server.Tick();
  const std::string when = server.Value("select To_Date,To_Time from MessengClot_Text");
  const std::string record = ".+clot_messeng|Clot000001|1|" + when + "|hello|font|M1|";
  EXPECT_EQ(clients_[0].Receive(), ".+reply|2|Clot000001|M1|#");
  EXPECT_EQ(clients_[1].Receive(), record + "0|0|#");
  for (size_t i = 2; i < clients_.size(); ++i)
    EXPECT_EQ(clients_[i].Receive(), record + "1|1|#") << i;
}

// --- Marks ---

class GroupMarks : public PartiesTest {
 protected:
  GroupMarks() {
    AddUsers({"1", "2"});
    AddGroup(kGroup, {"1:1:Ann", "2:0:Ben"});
    server.Run("insert into MessengClot_Text(TypeID,Msg_ID,ClotID) values(40,'M','Clot000001')");
  }
  static std::string Message(const std::string& sender, const std::string& id,
                             const std::string& group = kGroup) {
    return ".+clot_messeng|" + group + "|" + sender + "|hi|font|" + id + "|0|#";
  }
};

// The flag that a message leaves is the other device's, the mark that it raises is the sending
// one's.
TEST_F(GroupMarks, TheSendingDeviceRaisesItsMarkAndTheOtherDeviceOnlyGetsACopy) {
  Connect({"1", "1m"});
  From("1", Message("1", "A"));
  EXPECT_EQ(Members(kGroup), (Lines{"1|1|Ann|41|0|0|0", "2|0|Ben|0|0|0|0"}));
  const Heard copy = HearAfterTick();
  EXPECT_EQ(copy.at("1"), ".+reply|2|Clot000001|A|#");
  EXPECT_TRUE(copy.at("1m").ends_with("|hi|font|A|0|0|#"));
  From("1m", Message("1", "B"));
  EXPECT_EQ(Members(kGroup), (Lines{"1|1|Ann|41|42|0|0", "2|0|Ben|0|0|0|0"}));
}

TEST_F(GroupMarks, NumbersBeyond32767AreWrittenAsZero) {
  Connect({"1", "1m"});
  server.Run("insert into MessengClot_Text(TypeID,Msg_ID,ClotID) values(32766,'M','Clot000009')");
  From("1", Message("1", "A"));
  From("1m", Message("1", "B"));
  EXPECT_EQ(server.Rows("select TypeID from MessengClot_Text where ClotID='Clot000001'"),
            (Lines{"40", "32767", "32768"}));
  EXPECT_EQ(Members(kGroup).front(), "1|1|Ann|32767|0|0|0");
  From("1", Message("1", "C"));
  EXPECT_EQ(Members(kGroup).front(), "1|1|Ann|0|0|0|0");
}

TEST_F(GroupMarks, AResentMessageRaisesTheMarkToTheNewestOfTheGroup) {
  Connect({"1", "2"});
  From("1", Message("1", "A"));
  From("2", Message("2", "B"));
  From("1", Message("1", "A"));
  EXPECT_EQ(Members(kGroup), (Lines{"1|1|Ann|42|0|0|0", "2|0|Ben|42|0|0|0"}));
  EXPECT_EQ(server.Rows("select Msg_ID,YouID from Msg_Acks order by rowid"), (Lines{"A|2", "B|1"}));
}

TEST_F(GroupMarks, BothRowsOfADoubleMemberAreMarked) {
  Connect({"1"});
  server.Run("insert into Clot_Form(UpperID,UserID) values('Clot000001','1')");
  From("1", Message("1", "A"));
  EXPECT_EQ(server.Rows("select last_ack_typeid1 from Clot_Form order by UserID"),
            (Lines{"41", "41", "0"}));
}

TEST_F(GroupMarks, AStrangersMessageReachesTheMembersAndMarksNobody) {
  Connect({"2", "5", "5m"});
  From("5", Message("5", "A"));
  EXPECT_EQ(Members(kGroup), (Lines{"1|1|Ann|0|0|0|0", "2|0|Ben|0|0|0|0"}));
  EXPECT_EQ(CountOf("Msg_Acks"), 2);
  const Heard heard = HearAfterTick();
  EXPECT_EQ(heard.size(), 2u);
  EXPECT_TRUE(heard.at("2").ends_with("|hi|font|A|1|1|#"));
  EXPECT_EQ(heard.at("5"), ".+reply|2|Clot000001|A|#");
}

TEST_F(GroupMarks, ASenderWithoutUserRowIsAcknowledgedThoughNothingIsStored) {
  Connect({"1", "2"});
  server.Run("delete from Users_ID where UserID='1'");
  From("1", Message("1", "A"));
  EXPECT_EQ(CountOf("MessengClot_Text"), 1);
  EXPECT_EQ(HearAfterTick(), (Heard{{"1", ".+reply|2|Clot000001|A|#"}}));
}

TEST_F(GroupMarks, AGroupOfTheSenderAloneHasNoAcknowledgements) {
  AddGroup("Clot000002", {"1:1:Ann"});
  Connect({"1"});
  From("1", Message("1", "A", "Clot000002"));
  EXPECT_EQ(CountOf("Msg_Acks"), 0);
  EXPECT_EQ(Members("Clot000002"), Lines{"1|1|Ann|41|0|0|0"});
}

TEST_F(GroupMarks, ANewMemberWhoJoinsBehindAMessageHasAllFourMarks) {
  Connect({"1", "5"});
  From("1", Message("1", "A"));
  From("1", ".+messengverify|Clot000001|5||2|1|2|1|#");
  From("1", ".+add_group_members|1|Clot000001|6:0:Fay-|#");
  EXPECT_EQ(Members(kGroup), (Lines{"1|1|Ann|41|0|0|0", "2|0|Ben|0|0|0|0", "5|0|Name 5|41|41|41|41",
                                    "6|0|Fay|41|41|41|41"}));
}

}  // namespace
}  // namespace vnq
