// Requests for remote assistance, their answers and the orders of a session.
#include "tests/harness/people.h"

namespace vnq {
namespace {

class RemoteAssistance : public People {
 protected:
  static constexpr const char* kNow = "2026-03-04 05:06:07";
  static constexpr const char* kId = "1772600767";  // that moment's seconds, unshifted

  Lines Requests() {
    return server.Rows("select ChatId,MyID,YouID,Status,CloseRole,ip from remote_chat");
  }
  std::string LogLine(const std::string& key, const std::string& behind = "") {
    return "1 To 2" + server.Lang(key) + behind + "|1|127.0.0.1|27";
  }
};

// --- .+request_remote ---

TEST_F(RemoteAssistance, RequestInModeOneReachesTheDesktopAndLeavesNothing) {
  RegisterPhone("2");
  TestClient ann = server.Online("1"), ben = server.Online("2"), bensPhone = server.Online("2", 3);
  Settle(ann, ben, bensPhone);
  server.Run("update Users_ID set UserIcoLine=3 where UserID='2'");
  EXPECT_TRUE(RunsWhole(ann, ".+request_remote|2|1|1|#"));
  EXPECT_EQ(ben.Receive(), std::string(".+request_remote|1|") + kNow + "|1|#");
  EXPECT_EQ(Requests(), Lines{});
  EXPECT_EQ(Pushes(), Lines{});
  EXPECT_EQ(AfterTick(bensPhone) + ann.Receive(), "");
  EXPECT_EQ(Log(), Lines{LogLine("im38")});
}

TEST_F(RemoteAssistance, RequestInModeTwoLeavesARowAndReachesTheMobile) {
  RegisterPhone("2");
  TestClient ann = server.Online("1"), ben = server.Online("2"), bensPhone = server.Online("2", 3);
  Settle(ann, ben, bensPhone);
  server.Run("update Users_ID set UserIcoLine=3 where UserID='2'");
  EXPECT_TRUE(RunsWhole(ann, ".+request_remote|2|1|2|#"));
  EXPECT_EQ(ben.Receive(), std::string(".+request_remote|1|") + kNow + "|2|#");
  EXPECT_EQ(Requests(), Lines{std::string(kId) + "|1|2|0|0|127.0.0.1"});
  EXPECT_EQ(Pushes(), Lines{"2||1|1|" + server.Lang("im312")});
  EXPECT_EQ(bensPhone.Receive(), "") << "the mobile's record waits for the flush";
  EXPECT_EQ(AfterTick(bensPhone), std::string(".+request_remote|2|1|0|0|") + kId + "|#");
}

TEST_F(RemoteAssistance, SecondRequestWhileOnePendsStoresNothingAndReachesNoMobile) {
  RegisterPhone("2");
  TestClient ann = server.Online("1"), ben = server.Online("2"), bensPhone = server.Online("2", 3);
  Settle(ann, ben, bensPhone);
  server.Run("update Users_ID set UserIcoLine=3 where UserID='2'");
  ann.Send(".+request_remote|2|1|2|#");
  AfterTick(bensPhone);
  ann.Send(".+request_remote|2|1|2|#");
  EXPECT_EQ(Requests().size(), 1u);
  EXPECT_EQ(Pushes().size(), 2u) << "the push is made all the same";
  EXPECT_EQ(AfterTick(bensPhone), "");
}

TEST_F(RemoteAssistance, RequestThatWasClosedMakesRoomForTheNext) {
  TestClient ann = server.Online("1"), ben = server.Online("2");
  ann.Send(".+request_remote|2|1|2|#");
  server.Run("update remote_chat set Status=1");
  server.Tick();
  ann.Send(".+request_remote|2|1|2|#");
  EXPECT_EQ(server.Rows("select ChatId,Status from remote_chat"),
            (Lines{std::string(kId) + "|1", "1772600768|0"}));
}

TEST_F(RemoteAssistance, RequestToSomebodyAbsentIsRefusedOnTheOwnSlot) {
  RegisterPhone("2");
  TestClient ann = server.Online("1"), annsPhone = server.Online("1", 3);
  TestClient bensPhone = server.Online("2", 3);
  Settle(ann, annsPhone, bensPhone);
  annsPhone.Send(".+request_remote|2|1|2|#");
  EXPECT_EQ(annsPhone.Receive(), ".+no_request_remote|2|1|2|#");
  EXPECT_EQ(AfterTick(bensPhone) + ann.Receive(), "");
  EXPECT_EQ(Requests(), Lines{});
  EXPECT_EQ(Pushes(), Lines{});
  EXPECT_EQ(Log(), Lines{LogLine("im38")});
}

TEST_F(RemoteAssistance, TwoRequestsOfOneSecondShareAnId) {
  TestClient ann = server.Online("1"), ben = server.Online("2"), cat = server.Online("3");
  ann.Send(".+request_remote|2|1|2|#.+request_remote|3|1|2|#");
  EXPECT_EQ(Requests(), (Lines{std::string(kId) + "|1|2|0|0|127.0.0.1",
                               std::string(kId) + "|1|3|0|0|127.0.0.1"}));
}

// --- .+reply_request_remote ---

TEST_F(RemoteAssistance, AnswerGoesToTheOwnOtherDeviceAndBothOfTheRequester) {
  TestClient ann = server.Online("1"), annsPhone = server.Online("1", 3);
  TestClient ben = server.Online("2"), bensPhone = server.Online("2", 3);
  Settle(ann, annsPhone, ben, bensPhone);
  EXPECT_TRUE(RunsWhole(ann, ".+reply_request_remote|2|1|yes|#"));
  const std::string tail = std::string(kNow) + "|127.0.0.1|yes|#";
  EXPECT_EQ(annsPhone.Receive(), ".+reply_request_my_remote|2|" + tail);
  EXPECT_EQ(ben.Receive(), ".+reply_request_remote|1|" + tail);
  EXPECT_EQ(bensPhone.Receive(), ".+reply_request_remote|1|" + tail);
  EXPECT_EQ(ann.Receive(), "");
  EXPECT_EQ(Log(), Lines{LogLine("im41", "yes")});
}

TEST_F(RemoteAssistance, AnswerFromTheMobileReachesTheOwnDesktop) {
  TestClient ann = server.Online("1"), annsPhone = server.Online("1", 3);
  Settle(ann, annsPhone);
  annsPhone.Send(".+reply_request_remote|2|1|no|#");
  EXPECT_EQ(ann.Receive(), std::string(".+reply_request_my_remote|2|") + kNow + "|127.0.0.1|no|#");
  EXPECT_EQ(annsPhone.Receive(), "");
}

TEST_F(RemoteAssistance, AnswerToSomebodyAbsentIsLost) {
  TestClient ann = server.Online("1");
  Settle(ann);
  ann.Send(".+reply_request_remote|2|1|no|#");
  EXPECT_EQ(AfterTick(ann), "");
  EXPECT_EQ(Log().size(), 1u);
}

// --- .+remote_control ---

TEST_F(RemoteAssistance, ControlReachesTheDesktopOnly) {
  TestClient ann = server.Online("1"), ben = server.Online("2"), bensPhone = server.Online("2", 3);
  Settle(ann, ben, bensPhone);
  EXPECT_TRUE(RunsWhole(ann, ".+remote_control|2|1|start|#"));
  EXPECT_EQ(ben.Receive(), std::string(".+remote_control|1|") + kNow + "|127.0.0.1|start|#");
  EXPECT_EQ(bensPhone.Receive(), "");
  EXPECT_EQ(Log(), Lines{LogLine("im42", "start")});
}

TEST_F(RemoteAssistance, ControlOfSomebodyOnMobileAloneIsLost) {
  TestClient ann = server.Online("1"), bensPhone = server.Online("2", 3);
  Settle(ann, bensPhone);
  ann.Send(".+remote_control|2|1|start|#");
  EXPECT_EQ(AfterTick(bensPhone) + ann.Receive(), "");
}

TEST_F(RemoteAssistance, ShortRecordsDoNothing) {
  TestClient ann = server.Online("1"), ben = server.Online("2");
  Settle(ann, ben);
  for (const char* word : {"request_remote", "reply_request_remote", "remote_control"}) {
    ann.Send(std::string(".+") + word);
    ann.Send(std::string(".+") + word + "|2");
  }
  EXPECT_EQ(ben.Receive() + AfterTick(ann), "");
  EXPECT_EQ(Log(), Lines{});
  EXPECT_EQ(Requests(), Lines{});
}

}  // namespace
}  // namespace vnq
