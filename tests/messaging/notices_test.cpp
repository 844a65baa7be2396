// Notices to many receivers.
#include "tests/harness/people.h"

namespace vnq {
namespace {

class Notices : public People {
 protected:
  std::string Id() { return server.Value("select Msg_ID from MessengNotice_Text"); }
  Lines Acks() { return server.Rows("select Msg_ID,MyID,YouID,IsAck1,IsAck2 from Notice_Acks"); }
  std::string Record() { return ".+notification|T|C|L|2026-03-04 05:06:07|" + Id() + "|#"; }
};

TEST_F(Notices, EmptyElementIsPassedOverAndBothReceiversGetIt) {
  TestClient ann = server.Online("1"), ben = server.Online("2"), cat = server.Online("3");
  Settle(ann, ben, cat);
  EXPECT_TRUE(RunsWhole(ann, ".+notification|1|2,,3|T|C|L|#"));
  EXPECT_EQ(Acks(), (Lines{Id() + "|1|2|1|1", Id() + "|1|3|1|1"}));
  server.Tick();
  EXPECT_EQ(ann.Receive(), "") << "no receipt follows";
  EXPECT_EQ(ben.Receive(), Record());
  EXPECT_EQ(cat.Receive(), Record());
}

TEST_F(Notices, RowHoldsTheNoticeUnderAnIdOfTheServersOwn) {
  TestClient ann = server.Online("1");
  ann.Send(".+notification|1|2|T|C|L|#");
  EXPECT_EQ(Id().size(), 32u);
  EXPECT_EQ(server.Rows("select MyID,Ntitle,Ncontent,Nlink,TO_IP,To_Date from MessengNotice_Text"),
            Lines{"1|T|C|L|127.0.0.1|2026-03-04 05:06:07"});
}

TEST_F(Notices, BothDevicesOfAReceiverGetIt) {
  TestClient ann = server.Online("1"), ben = server.Online("2"), bensPhone = server.Online("2", 3);
  Settle(ann, ben, bensPhone);
  ann.Send(".+notification|1|2|T|C|L|#");
  server.Tick();
  EXPECT_EQ(ben.Receive(), Record());
  EXPECT_EQ(bensPhone.Receive(), Record());
}

TEST_F(Notices, ReceiverNamedTwiceHasOneRowAndGetsItTwice) {
  TestClient ann = server.Online("1"), ben = server.Online("2");
  Settle(ann, ben);
  ann.Send(".+notification|1|2,2|T|C|L|#");
  EXPECT_EQ(Acks(), Lines{Id() + "|1|2|1|1"});
  EXPECT_EQ(AfterTick(ben), Record() + Record());
}

TEST_F(Notices, PushNamesAllReceiversAndIsNotAskedFor) {
  TestClient ann = server.Online("1");
  ann.Send(".+notification|1|2,,3|T|C|L|#");
  EXPECT_EQ(Pushes(), Lines{"2,,3|0000|T|4|" + server.Lang("im270")});
}

TEST_F(Notices, LogNamesSenderAndTitle) {
  TestClient ann = server.Online("1");
  Settle(ann);
  ann.Send(".+notification|1|2|T|C|L|#");
  EXPECT_EQ(Log(), Lines{"1" + server.Lang("im112") + "T|1|127.0.0.1|1"});
}

TEST_F(Notices, NoticeForNobodyStillHasItsRow) {
  TestClient ann = server.Online("1");
  ann.Send(".+notification|1||T|C|L|#");
  EXPECT_EQ(server.Value("select count(*) from MessengNotice_Text"), "1");
  EXPECT_EQ(Acks(), Lines{});
}

TEST_F(Notices, ReceiverWithAQuoteHasNoRowAndTheNextOneHas) {
  TestClient ann = server.Online("1"), ben = server.Online("2");
  Settle(ann, ben);
  ann.Send(".+notification|1|it's,2|T's|C|L|#");
  EXPECT_EQ(Acks(), Lines{Id() + "|1|2|1|1"});
  EXPECT_EQ(AfterTick(ben), ".+notification|T's|C|L|2026-03-04 05:06:07|" + Id() + "|#");
}

TEST_F(Notices, ShortRecordStoresWhatItBrings) {
  TestClient ann = server.Online("1");
  Settle(ann);
  ann.Send(".+notification|1|2");
  EXPECT_EQ(server.Rows("select MyID,Ntitle,Ncontent,Nlink from MessengNotice_Text"),
            Lines{"1|NULL|NULL|NULL"});
  EXPECT_EQ(Acks(), Lines{Id() + "|1|2|1|1"});
  EXPECT_EQ(Pushes(), Lines{});
  EXPECT_EQ(Log(), Lines{});
}

}  // namespace
}  // namespace vnq
