// Records that pass through: receipts between clients, nudges.
#include "tests/harness/people.h"

namespace vnq {
namespace {

// --- .+reply_transmission ---

using ReplyTransmission = People;

TEST_F(ReplyTransmission, GoesOnWithoutTheTarget) {
  TestClient ann = server.Online("1"), ben = server.Online("2");
  Settle(ann, ben);
  EXPECT_TRUE(RunsWhole(ann, ".+reply_transmission|a|2|b|#"));
  EXPECT_EQ(ben.Receive(), ".+reply_transmission|a|b|#");
  EXPECT_EQ(Log(), Lines{});
}

TEST_F(ReplyTransmission, ClosingSignIsNotAdded) {
  TestClient ann = server.Online("1"), ben = server.Online("2");
  Settle(ann, ben);
  ann.Send(".+reply_transmission|a|2|b|c|#");
  EXPECT_EQ(ben.Receive(), ".+reply_transmission|a|b|c");
}

TEST_F(ReplyTransmission, MobileIsReachedByItsExactTagOnly) {
  TestClient ann = server.Online("1"), bensPhone = server.Online("2", 3);
  Settle(ann, bensPhone);
  ann.Send(".+reply_transmission|a|2|b|#");
  EXPECT_EQ(bensPhone.Receive(), "");
  ann.Send(".+reply_transmission|a|2m|b|#");
  EXPECT_EQ(bensPhone.Receive(), ".+reply_transmission|a|b|#");
}

TEST_F(ReplyTransmission, ShortRecordIsNotPassedOn) {
  TestClient ann = server.Online("1"), ben = server.Online("2");
  Settle(ann, ben);
  ann.Send(".+reply_transmission|a|2|b");
  EXPECT_EQ(ben.Receive(), "");
}

TEST_F(ReplyTransmission, OnlyTheLowestOfTwoSlotsGetsIt) {
  TestClient ann = server.Online("1"), first = server.Connect(), second = server.Connect();
  server.Slots(6004).SetTag(2, "2");
  server.Slots(6004).SetTag(3, "2");
  ann.Send(".+reply_transmission|a|2|b|#");
  EXPECT_EQ(first.Receive(), ".+reply_transmission|a|b|#");
  EXPECT_EQ(second.Receive(), "");
}

// --- .+jitter_window ---

class JitterWindow : public People {
 protected:
  const std::string record = ".+jitter_window|1|2026-03-04 05:06:07|127.0.0.1";
};

TEST_F(JitterWindow, DesktopAloneIsNudgedWhileItIsConnected) {
  RegisterPhone("2");
  TestClient ann = server.Online("1"), ben = server.Online("2"), bensPhone = server.Online("2", 3);
  Settle(ann, ben, bensPhone);
  server.Run("update Users_ID set UserIcoLine=3 where UserID='2'");
  EXPECT_TRUE(RunsWhole(ann, ".+jitter_window|2|1|#"));
  EXPECT_EQ(ben.Receive(), record);
  EXPECT_EQ(bensPhone.Receive(), "");
  EXPECT_EQ(Pushes(), Lines{});
}

TEST_F(JitterWindow, MobileIsNudgedAndPushedWithoutTheDesktop) {
  RegisterPhone("2");
  TestClient ann = server.Online("1"), bensPhone = server.Online("2", 3);
  Settle(ann, bensPhone);
  ann.Send(".+jitter_window|2|1|#");
  EXPECT_EQ(bensPhone.Receive(), record);
  EXPECT_EQ(Pushes(), Lines{"2||1|1|" + server.Lang("im291")});
}

TEST_F(JitterWindow, AbsentUserIsPushedAndNothingIsSent) {
  RegisterPhone("2");
  TestClient ann = server.Online("1"), cat = server.Online("3");
  Settle(ann, cat);
  ann.Send(".+jitter_window|2|1|#");
  EXPECT_EQ(Pushes(), Lines{"2||1|1|" + server.Lang("im291")});
  EXPECT_EQ(AfterTick(ann) + cat.Receive(), "");
}

TEST_F(JitterWindow, LogNamesBoth) {
  TestClient ann = server.Online("1");
  Settle(ann);
  ann.Send(".+jitter_window|2|1|#");
  EXPECT_EQ(Log(), Lines{"1 To 2" + server.Lang("im36") + "|1|127.0.0.1|20"});
}

TEST_F(JitterWindow, ShortRecordDoesNothing) {
  TestClient ann = server.Online("1");
  Settle(ann);
  ann.Send(".+jitter_window");
  EXPECT_EQ(Log(), Lines{});
  EXPECT_EQ(Pushes(), Lines{});
}

}  // namespace
}  // namespace vnq
