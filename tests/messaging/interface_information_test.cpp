// Outside applications that speak without a login of their own.
#include "support/base64_text.h"
#include "tests/harness/people.h"

namespace vnq {
namespace {

class InterfaceInformation : public People {
 protected:
  InterfaceInformation() : application(server.Connect()) {
    server.Run("insert into Clot_Ro(TypeID,TypeName) values('Clot000001','Sales')");
    server.Run("insert into Clot_Form(UpperID,UserID) values('Clot000001','1'),('Clot000001','2')");
  }

  std::string TagOfApplication() { return server.Tag(1); }
  std::string Font() { return server.host().DefaultFontInfo; }
  Lines Messages() { return server.Rows("select MyID,YouID,UserText,To_Type from Messeng_Text"); }
  Lines GroupMessages() {
    return server.Rows("select ClotID,MyID,UserText,To_Type from MessengClot_Text");
  }
  Lines Receivers() { return server.Rows("select YouID from Notice_Acks order by YouID"); }

  TestClient application;  // on slot 1
};

// --- What cannot be read ---

TEST_F(InterfaceInformation, ReceiverWhoseIdCannotBeReadAddsNotEvenItsComma) {
  server.Run("alter table Users_ID rename column UserID to Gone");
  application.Send(".+interface_information|name1|name2,name3|title|text|link|3|#");
  EXPECT_EQ(Receivers(), Lines{});
  EXPECT_EQ(Pushes(), Lines{"|0000|title|4|" + server.Lang("im270")});
}

// --- Messages to persons ---

TEST_F(InterfaceInformation, PersonMessageGoesToEachKnownName) {
  TestClient ben = server.Online("2"), cat = server.Online("3");
  Settle(application, ben, cat);
  application.Send(".+interface_information|name1|name2,,nobody,name3|x|a b|link|0|#");
  EXPECT_EQ(Messages(), (Lines{"1|2|a%20b|10", "1|3|a%20b|10"}));
  EXPECT_EQ(server.Value("select count(distinct Msg_ID) from Messeng_Text"), "2");
  server.Tick();
  EXPECT_EQ(application.Receive(), "");
  EXPECT_EQ(ben.Receive(), ".+message|1|2026-03-04|05:06:07|a%20b|" + Font() + "|" +
                               server.Value("select Msg_ID from Messeng_Text where YouID='2'") +
                               "|11|1|#");
  EXPECT_NE(cat.Receive(), "");
}

TEST_F(InterfaceInformation, SlotKeepsTheSendersTag) {
  application.Send(".+interface_information|name1|name2|x|a|link|0|#");
  EXPECT_EQ(TagOfApplication(), "1");
}

TEST_F(InterfaceInformation, SlotKeepsItsOwnTagWhenNoNameIsKnown) {
  application.Send(".+interface_information|name1|nobody|x|a|link|0|#");
  EXPECT_EQ(TagOfApplication(), "");
}

TEST_F(InterfaceInformation, SendersMobileGetsTheCopy) {
  TestClient phone = server.Online("1", 3);
  Settle(phone);
  application.Send(".+interface_information|name1|name2|x|a|link|0|#");
  EXPECT_EQ(AfterTick(phone), ".+message|2|2026-03-04|05:06:07|a|" + Font() + "|" +
                                  server.Value("select Msg_ID from Messeng_Text") + "|10|0|#");
  EXPECT_EQ(server.Rows("select IsAck1,IsAck2,IsAck3,IsAck4 from Messeng_Text"), Lines{"0|1|1|1"});
}

TEST_F(InterfaceInformation, UnknownSenderIsEmptyAndItsTextToo) {
  application.Send(".+interface_information|nobody|name2|x|a|link|0|#");
  EXPECT_EQ(Messages(), Lines{"|2||10"});
  EXPECT_EQ(TagOfApplication(), "");
}

TEST_F(InterfaceInformation, ModeThatIsNoNumberMeansPersons) {
  application.Send(".+interface_information|name1|name2|x|a|link|x|#");
  EXPECT_EQ(Messages(), Lines{"1|2|a|10"});
}

TEST_F(InterfaceInformation, ShortRecordSetsItsFieldsOnceTheArrayHasGrown) {
  application.Send(".+interface_information|name1|name2,name3");
  EXPECT_EQ(server.Rows("select MyID,YouID,FontInfo,length(Msg_ID) from Messeng_Text"),
            (Lines{"1|2||0", "1|3|" + Font() + "|32"}));
}

// --- Messages to groups ---

TEST_F(InterfaceInformation, GroupIsNamedByNameOrNumber) {
  TestClient ben = server.Online("2");
  Settle(ben);
  application.Send(".+interface_information|name1|Sales,Clot000001,nothing|x|a b|link|1|#");
  EXPECT_EQ(GroupMessages(), (Lines{"Clot000001|1|a%20b|1", "Clot000001|1|a%20b|1"}));
  EXPECT_EQ(TagOfApplication(), "1");
  EXPECT_NE(AfterTick(ben), "");
}

TEST_F(InterfaceInformation, Mode11IsAGroupMessageToo) {
  application.Send(".+interface_information|name1|Sales|x|a|link|11|#");
  EXPECT_EQ(GroupMessages(), Lines{"Clot000001|1|a|1"});
}

// --- Notices ---

TEST_F(InterfaceInformation, NoticeToEverybodyGoesToUsersWhoMayLogIn) {
  server.Run("update Users_ID set UserState=0 where UserID='3'");
  TestClient ben = server.Online("2");
  Settle(ben);
  EXPECT_TRUE(RunsWhole(application, ".+interface_information|name1|*|T|C|L|3|#"));
  EXPECT_EQ(Receivers(), (Lines{"1", "2", "4"}));
  EXPECT_EQ(server.Rows("select MyID,Ntitle,Ncontent,Nlink from MessengNotice_Text"),
            Lines{"1|T|C|L"});
  EXPECT_EQ(AfterTick(ben), ".+notification|T|C|L|2026-03-04 05:06:07|" +
                                server.Value("select Msg_ID from MessengNotice_Text") + "|#");
  EXPECT_EQ(Pushes(), Lines{"1,2,4,|0000|T|4|" + server.Lang("im270")})
      << "the list of ids ends in a comma, whose empty element has no row";
}

TEST_F(InterfaceInformation, NoticeByNamesPassesUnknownOnesOver) {
  application.Send(".+interface_information|name1|name3,,nobody,name2,|T|C|L|3|#");
  EXPECT_EQ(Receivers(), (Lines{"2", "3"}));
  EXPECT_EQ(TagOfApplication(), "") << "a notice leaves no tag";
}

TEST_F(InterfaceInformation, NoticeWithoutAnyReceiverHasItsRow) {
  application.Send(".+interface_information|name1|nobody|T|C|L|3|#");
  EXPECT_EQ(server.Value("select count(*) from MessengNotice_Text"), "1");
  EXPECT_EQ(Receivers(), Lines{});
}

TEST_F(InterfaceInformation, NoticeIsLoggedUnderTheSender) {
  Settle(application);
  application.Send(".+interface_information|name1|name2|T|C|L|3|#");
  EXPECT_EQ(Log(), Lines{"1" + server.Lang("im112") + "T|1|127.0.0.1|1"});
}

// --- Visitor lines ---

TEST_F(InterfaceInformation, VisitorLineReachesTheNamedPersons) {
  TestClient ben = server.Online("2"), cat = server.Online("3");
  Settle(ben, cat);
  RegisterPhone("2");
  server.Run("update Users_ID set UserIcoLine=3 where UserID='2'");
  application.Send(".+interface_information|visitor|name2,nobody,name3|x|hello|link|4|#");
  const std::string line = ".+customer_information|visitor|Guest|2026-03-04|05:06:07|hello|#";
  EXPECT_EQ(ben.Receive(), line);
  EXPECT_EQ(cat.Receive(), line);
  EXPECT_EQ(Pushes(), Lines{"2|Guest|visitor|3|hello"});
  EXPECT_EQ(Log(), (Lines{"visitor To 2" + server.Lang("im107") + "|visitor|127.0.0.1|5",
                          "visitor To 3" + server.Lang("im107") + "|visitor|127.0.0.1|5"}));
}

TEST_F(InterfaceInformation, VisitorLineReachesTheAgentsOfAGroup) {
  server.Run("insert into lv_chater_Clot_Form(TypeID,UserID,IsAdmin) values(7,'name2',0)");
  TestClient ben = server.Online("2"), cat = server.Online("3");
  Settle(ben, cat);
  application.Send(".+interface_information|visitor|7|x|hello|link|5|#");
  EXPECT_EQ(ben.Receive(), ".+customer_information|visitor|Group|2026-03-04|05:06:07|hello|#");
  EXPECT_EQ(cat.Receive(), "");
  EXPECT_EQ(Pushes(), Lines{"7|visitor|7|6|hello"});
}

// --- Everything else ---

TEST_F(InterfaceInformation, OtherModesDoNothingAndTheClientStaysConnected) {
  Settle(application);
  for (const char* mode : {"2", "6", "7", "8", "9", "10", "12", "-1", "70000"}) {
    application.Send(std::string(".+interface_information|name1|name2|T|C|L|") + mode + "|#");
  }
  EXPECT_EQ(Messages(), Lines{});
  EXPECT_EQ(GroupMessages(), Lines{});
  EXPECT_EQ(server.Value("select count(*) from MessengNotice_Text"), "0");
  EXPECT_EQ(Log(), Lines{});
  EXPECT_EQ(TagOfApplication(), "");
  application.Send(".+y|#");
  EXPECT_EQ(application.Receive(), ".+y|#");
}

TEST_F(InterfaceInformation, QuotesFindNobody) {
  application.Send(".+interface_information|it's|na'me|T|C|L|0|#");
  EXPECT_EQ(Messages(), Lines{});
  application.Send(".+y|#");
  EXPECT_EQ(application.Receive(), ".+y|#");
}

TEST_F(InterfaceInformation, NoticeToTenThousandLeavesOtherClientsTheNextTurn) {
  server.Run(
      "with recursive n(i) as (select 100 union all select i+1 from n where i<10095) "
      "insert into Users_ID(UserID,UserName,UserState) select i,'u'||i,1 from n");
  TestClient ben = server.Online("2");
  Settle(ben);
  application.SendQuietly(".+interface_information|name1|*|T|C|L|3|#");
  ben.SendQuietly(".+y|#");
  std::string received;
  int turns = 0;
  while (received.empty() && ++turns < 100) {
    server.loop().Turn(0);
    received = ben.ReceiveNow();
  }
  EXPECT_EQ(received, Base64EncodeText(server.page(), ".+y|#"));
  EXPECT_LE(turns, 4);
  server.Pump();
  EXPECT_EQ(server.Value("select count(*) from Notice_Acks"), "10000");
}

}  // namespace
}  // namespace vnq
