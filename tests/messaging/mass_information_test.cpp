// One text for many persons or groups.
#include "support/base64_text.h"
#include "tests/harness/people.h"

namespace vnq {
namespace {

class MassInformation : public People {
 protected:
  Lines Messages() {
    return server.Rows("select MyID,YouID,UserText,FontInfo,To_Type from Messeng_Text");
  }
  std::string MsgId(const std::string& target) {
    return server.Value("select Msg_ID from Messeng_Text where YouID='" + target + "'");
  }
  std::string Font() { return server.host().DefaultFontInfo; }
};

TEST_F(MassInformation, EachPersonGetsAMessageOfItsOwn) {
  TestClient ann = server.Online("1"), ben = server.Online("2"), cat = server.Online("3");
  Settle(ann, ben, cat);
  EXPECT_TRUE(RunsWhole(ann, ".+mass_information|2*3*|1|hello|1|#"));
  EXPECT_EQ(Messages(), (Lines{"1|2|hello|" + Font() + "|10", "1|3|hello|" + Font() + "|10"}));
  EXPECT_NE(MsgId("2"), MsgId("3"));
  EXPECT_EQ(MsgId("2").size(), 32u);
  server.Tick();
  EXPECT_EQ(ann.Receive(), "") << "no receipt follows";
  const std::string head = ".+message|1|2026-03-04|05:06:07|hello|" + Font() + "|";
  EXPECT_EQ(ben.Receive(), head + MsgId("2") + "|11|1|#");
  EXPECT_EQ(cat.Receive(), head + MsgId("3") + "|11|1|#");
}

TEST_F(MassInformation, EmptyElementsAreSkipped) {
  TestClient ann = server.Online("1");
  ann.Send(".+mass_information|*2**|1|hello|1|#");
  EXPECT_EQ(Messages(), Lines{"1|2|hello|" + Font() + "|10"});
}

TEST_F(MassInformation, OtherModesGoToGroupsThoughPersonsHaveTheSameIds) {
  server.Run("insert into Clot_Form(UpperID,UserID) values('2','1'),('2','3')");
  TestClient ann = server.Online("1"), ben = server.Online("2"), cat = server.Online("3");
  Settle(ann, ben, cat);
  ann.Send(".+mass_information|2|1|hello|2|#");
  EXPECT_EQ(Messages(), Lines{});
  EXPECT_EQ(server.Rows("select ClotID,MyID,UserText,To_Type from MessengClot_Text"),
            Lines{"2|1|hello|1"});
  server.Tick();
  EXPECT_EQ(ben.Receive(), "");
  EXPECT_EQ(cat.Receive(), ".+clot_messeng|2|1|" +
                               server.Value("select To_Date||'|'||To_Time from MessengClot_Text") +
                               "|hello|" + Font() + "|" +
                               server.Value("select Msg_ID from MessengClot_Text") + "|2|1|#");
}

TEST_F(MassInformation, ModeThatIsNoNumberMeansGroups) {
  TestClient ann = server.Online("1");
  ann.Send(".+mass_information|2|1|hello|x|#");
  EXPECT_EQ(Messages(), Lines{});
  EXPECT_EQ(server.Value("select ClotID from MessengClot_Text"), "2");
}

TEST_F(MassInformation, TagOfTheSlotDecidesTheSendersDevice) {
  TestClient ann = server.Online("1"), phone = server.Online("1", 3);
  Settle(ann, phone);
  phone.Send(".+mass_information|2|1|hello|1|#");
  server.Tick();
  EXPECT_EQ(ann.Receive(),
            ".+message|2|2026-03-04|05:06:07|hello|" + Font() + "|" + MsgId("2") + "|10|0|#");
  EXPECT_EQ(server.Rows("select IsAck1,IsAck2,IsAck3,IsAck4 from Messeng_Text"), Lines{"1|0|1|1"});
}

TEST_F(MassInformation, TextPassesTheKeywordFilter) {
  server.OnEveryNode([&](Host& host) { host.MaskKeywords = {"bad"}; });
  TestClient ann = server.Online("1");
  ann.Send(".+mass_information|2|1|a%20bad%20word|1|#");
  EXPECT_EQ(server.Value("select UserText from Messeng_Text"), "a%20***%20word");
}

TEST_F(MassInformation, LongerRecordIsCutToAMessage) {
  TestClient ann = server.Online("1");
  ann.Send(".+mass_information|2|1|hello|1|5|5|5|5|5|#");
  EXPECT_EQ(Messages(), Lines{"1|2|hello|" + Font() + "|10"});
}

TEST_F(MassInformation, ShortRecordIsCompletedFromItsSecondReceiverOn) {
  TestClient ann = server.Online("1");
  ann.Send(".+mass_information|g*h|1|hello");
  EXPECT_EQ(server.Rows("select ClotID,FontInfo,length(Msg_ID) from MessengClot_Text"),
            (Lines{"g||0", "h|" + Font() + "|32"}));
}

TEST_F(MassInformation, ThousandReceiversDoNotHoldUpAnotherClient) {
  std::string receivers;
  for (int i = 0; i < 1000; ++i) receivers += "r" + std::to_string(i) + "*";
  TestClient ann = server.Online("1"), ben = server.Online("2");
  Settle(ann, ben);
  ann.SendQuietly(".+mass_information|" + receivers + "|1|hello|1|#");
  ben.SendQuietly(".+y|#");
  const std::string echo = Base64EncodeText(server.page(), ".+y|#");
  int turns = 0;
  std::string received;
  while (received.empty() && ++turns < 100) {
    server.loop().Turn(0);
    received = ben.ReceiveNow();
  }
  EXPECT_EQ(received, echo);
  EXPECT_LE(turns, 6);
  EXPECT_LT(Messages().size(), 10u) << "the mass message is still under way";
  server.Pump();
  EXPECT_EQ(Messages().size(), 1000u);
  EXPECT_EQ(server.Value("select count(distinct Msg_ID) from Messeng_Text"), "1000");
}

}  // namespace
}  // namespace vnq
