// Messages taken back.
#include "tests/harness/people.h"

namespace vnq {
namespace {

class Retract : public People {
 protected:
  void Group(const std::vector<std::string>& members) {
    for (const std::string& member : members) {
      server.Run("insert into Clot_Form(UpperID,UserID) values('g','" + member + "')");
    }
  }
};

TEST_F(Retract, PersonFormReachesBothDevicesAtOnceAndNamesTheSender) {
  TestClient ann = server.Online("1"), annsPhone = server.Online("1", 3);
  TestClient ben = server.Online("2"), bensPhone = server.Online("2", 3);
  Settle(ann, annsPhone, ben, bensPhone);
  EXPECT_TRUE(RunsWhole(ann, ".+retract|0|2|1|M1|x|#"));
  EXPECT_EQ(ben.Receive(), ".+retract|0|1|M1|x|#");
  EXPECT_EQ(bensPhone.Receive(), ".+retract|0|1|M1|x|#");
  server.Tick();
  EXPECT_EQ(ann.Receive() + annsPhone.Receive(), "");
  EXPECT_EQ(Log(), Lines{});
}

TEST_F(Retract, NoRowChanges) {
  TestClient ann = server.Online("1");
  ann.Send(".+message|2|1|t|f|M1|1|#");
  const Lines before = server.Rows("select * from Messeng_Text");
  ann.Send(".+retract|0|2|1|M1|x|#");
  EXPECT_EQ(server.Rows("select * from Messeng_Text"), before);
}

TEST_F(Retract, GroupFormReachesTheOtherMembersDevicesAndNamesTheGroup) {
  Group({"1", "2", "3"});
  TestClient ann = server.Online("1"), annsPhone = server.Online("1", 3);
  TestClient ben = server.Online("2"), bensPhone = server.Online("2", 3);
  TestClient cat = server.Online("3"), dan = server.Online("4");
  Settle(ann, annsPhone, ben, bensPhone, cat, dan);
  ann.Send(".+retract|1|g|1|M1|x|#");
  for (TestClient* member : {&ben, &bensPhone, &cat}) {
    EXPECT_EQ(member->Receive(), ".+retract|1|g|M1|x|#");
  }
  EXPECT_EQ(ann.Receive() + annsPhone.Receive() + dan.Receive(), "");
}

TEST_F(Retract, GroupOfTheSenderAloneSendsNothing) {
  Group({"1"});
  TestClient ann = server.Online("1"), annsPhone = server.Online("1", 3);
  Settle(ann, annsPhone);
  ann.Send(".+retract|1|g|1|M1|x|#");
  EXPECT_EQ(ann.Receive() + annsPhone.Receive(), "");
}

TEST_F(Retract, OtherScopesAreIgnored) {
  Group({"1", "2"});
  TestClient ann = server.Online("1"), ben = server.Online("2");
  Settle(ann, ben);
  for (const char* scope : {"2", "", "00", "0 "}) {
    ann.Send(std::string(".+retract|") + scope + "|2|1|M1|x|#");
    ann.Send(std::string(".+retract|") + scope + "|g|1|M1|x|#");
  }
  EXPECT_EQ(ben.Receive(), "");
}

TEST_F(Retract, MemberWhoHasGoneIsPassedOver) {
  Group({"1", "2", "3"});
  TestClient ann = server.Online("1"), ben = server.Online("2"), cat = server.Online("3");
  Settle(ann, ben, cat);
  ben.Close();
  ann.Send(".+retract|1|g|1|M1|x|#");
  EXPECT_EQ(cat.Receive(), ".+retract|1|g|M1|x|#");
}

TEST_F(Retract, ShortRecordIsNotPassedOn) {
  TestClient ann = server.Online("1"), ben = server.Online("2");
  Settle(ann, ben);
  ann.Send(".+retract|0|2|1|#");
  ann.Send(".+retract|0");
  ann.Send(".+retract");
  EXPECT_EQ(ben.Receive(), "");
}

}  // namespace
}  // namespace vnq
