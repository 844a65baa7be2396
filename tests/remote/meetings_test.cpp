// Signalling of calls between two people.
#include "tests/harness/people.h"

namespace vnq {
namespace {

// User 1 has called user 2; the row of the call has the id 7.
class Meetings : public People {
 protected:
  Meetings() {
    server.Run(
        "insert into Tab_Chat(ChatId,MyID,YouID,IsVideo,LoginType1,LoginType2,Status,CloseRole) "
        "values(7,'1','2',1,1,0,0,0)");
  }

  std::string Row() {
    return server.Value(
        "select IsVideo,LoginType1,LoginType2,Status,CloseRole,InTime from Tab_Chat");
  }

  // The record of the row with a state: video, login types, state, CloseRole.
  static std::string Record(const std::string& middle) {
    return ".+meeting_message|2|1|" + middle + "|7|#";
  }

  // A connected device of each kind.
  TestClient ann = server.Online("1"), annsPhone = server.Online("1", 3);
  TestClient ben = server.Online("2"), bensPhone = server.Online("2", 3);

  void SetUp() override { Settle(ann, annsPhone, ben, bensPhone); }
};

// --- Invitation ---

TEST_F(Meetings, InvitationRingsOnBothDevicesOfTheOtherParty) {
  EXPECT_TRUE(RunsWhole(ann, ".+meeting_message|2|1|1|||0||7|#"));
  server.Tick();
  EXPECT_EQ(ben.Receive(), Record("1|1|0|0|0"));
  EXPECT_EQ(bensPhone.Receive(), Record("1|1|0|0|0"));
  EXPECT_EQ(ann.Receive() + annsPhone.Receive(), "");
  EXPECT_EQ(Row(), "1|1|0|0|0|NULL");
  EXPECT_EQ(Log(), Lines{});
}

TEST_F(Meetings, InvitationToSomebodyAbsentQueuesThePushAndSendsNothing) {
  RegisterPhone("3");
  ann.Send(".+meeting_message|3|1|0|||0||7|#");
  EXPECT_EQ(Pushes(), Lines{"3||1|1|" + server.Lang("im309")});
  server.Tick();
  EXPECT_EQ(ann.Receive() + annsPhone.Receive() + ben.Receive() + bensPhone.Receive(), "");
}

TEST_F(Meetings, VideoInvitationHasItsOwnLabel) {
  RegisterPhone("3");
  for (const char* isVideo : {"1", "2", "x", ""}) {
    ann.Send(std::string(".+meeting_message|3|1|") + isVideo + "|||0||7|#");
    EXPECT_EQ(Pushes().back(), "3||1|1|" + server.Lang("im310")) << isVideo;
  }
}

TEST_F(Meetings, ZeroInAnyWritingMeansAudio) {
  RegisterPhone("3");
  ann.Send(".+meeting_message|3|1| 0.0 |||0||7|#");
  EXPECT_EQ(Pushes(), Lines{"3||1|1|" + server.Lang("im309")});
}

// --- Answer ---

TEST_F(Meetings, AnswerIsWrittenAndFieldsThatAreEmptyKeepTheirColumns) {
  EXPECT_TRUE(RunsWhole(ben, ".+meeting_message|1|2|0|||1||7|#"));
  EXPECT_EQ(Row(), "0|1|0|1|0|2026-03-04 05:06:07");
}

TEST_F(Meetings, AnswerWritesLoginTypesAndCloseRole) {
  ben.Send(".+meeting_message|1|2|1|3|4|1|5|7|#");
  EXPECT_EQ(Row(), "1|3|4|1|5|2026-03-04 05:06:07");
}

TEST_F(Meetings, OldLoginTypeDecidesTheDeviceAndTheNewOneIsStored) {
  ben.Send(".+meeting_message|1|2|1|2||1||7|#");
  EXPECT_EQ(Row(), "1|2|0|1|0|2026-03-04 05:06:07");
  server.Tick();
  EXPECT_EQ(ann.Receive(), Record("1|2|0|1|0"));
  EXPECT_EQ(annsPhone.Receive(), "");
}

TEST_F(Meetings, OtherLoginTypesMeanTheMobile) {
  server.Run("update Tab_Chat set LoginType1=2");
  ben.Send(".+meeting_message|1|2|1|1||1||7|#");
  server.Tick();
  EXPECT_EQ(ann.Receive(), "");
  EXPECT_EQ(annsPhone.Receive(), Record("1|1|0|1|0"));
}

TEST_F(Meetings, AnswerFromTheMobileStopsTheDesktop) {
  bensPhone.Send(".+meeting_message|1|2|1||2|1||7|#");
  server.Tick();
  EXPECT_EQ(ben.Receive(), Record("1|1|2|2|0"));
  EXPECT_EQ(bensPhone.Receive(), "");
}

TEST_F(Meetings, AnswerFromTheDesktopStopsTheMobile) {
  ben.Send(".+meeting_message|1|2|1||2|1||7|#");
  server.Tick();
  EXPECT_EQ(bensPhone.Receive(), Record("1|1|2|2|0"));
  EXPECT_EQ(ben.Receive(), "");
}

TEST_F(Meetings, SecondAnswerStampsTheRowAgain) {
  ben.Send(".+meeting_message|1|2|1|||1||7|#");
  server.Tick();
  ben.Send(".+meeting_message|1|2|1|||1||7|#");
  EXPECT_EQ(server.Value("select InTime from Tab_Chat"), "2026-03-04 05:06:08");
}

TEST_F(Meetings, AnswerWithoutARowSendsNothing) {
  ben.Send(".+meeting_message|1|2|1|||1||8|#");
  ben.Send(".+meeting_message|1|2|1|||1||x|#");
  server.Tick();
  EXPECT_EQ(ann.Receive() + annsPhone.Receive() + ben.Receive() + bensPhone.Receive(), "");
  EXPECT_EQ(Row(), "1|1|0|0|0|NULL");
}

TEST_F(Meetings, ValueThatAColumnRefusesFailsAlone) {
  ben.Send(".+meeting_message|1|2|x|y||1||7|#");
  EXPECT_EQ(Row(), "1|1|0|1|0|2026-03-04 05:06:07");
}

// --- End ---

TEST_F(Meetings, EndTellsTheOtherPartyTheStoredStateAndTheOwnDeviceTwo) {
  server.Run("update Tab_Chat set Status=1");
  ann.Send(".+meeting_message|2|1|1|||2||7|#");
  server.Tick();
  EXPECT_EQ(ben.Receive(), Record("1|1|0|1|0"));
  EXPECT_EQ(bensPhone.Receive(), Record("1|1|0|1|0"));
  EXPECT_EQ(annsPhone.Receive(), Record("1|1|0|2|0"));
  EXPECT_EQ(ann.Receive(), "");
  EXPECT_EQ(Row(), "1|1|0|1|0|NULL") << "the end changes nothing";
}

TEST_F(Meetings, EndTwiceGivesTheSameRecordsTwice) {
  for (int i = 0; i < 2; ++i) {
    ann.Send(".+meeting_message|2|1|1|||2||7|#");
    server.Tick();
    EXPECT_EQ(ben.Receive(), Record("1|1|0|0|0"));
    EXPECT_EQ(bensPhone.Receive(), Record("1|1|0|0|0"));
    EXPECT_EQ(annsPhone.Receive(), Record("1|1|0|2|0"));
  }
}

TEST_F(Meetings, OtherStatesDoNothing) {
  for (const char* state : {"3", "", "01", " 1"}) {
    ann.Send(std::string(".+meeting_message|2|1|1|||") + state + "||7|#");
  }
  ann.Send(".+meeting_message|2");
  server.Tick();
  EXPECT_EQ(ben.Receive() + bensPhone.Receive() + annsPhone.Receive(), "");
  EXPECT_EQ(Row(), "1|1|0|0|0|NULL");
}

TEST_F(Meetings, OperationForOutsideCallersRingsAsTheCommandDoes) {
  Fields fields = Fields::Split(".+meeting_message|2|1|1|||0||7|#");
  server.form().MeetMesseng(fields, 1);
  EXPECT_EQ(AfterTick(ben), Record("1|1|0|0|0"));
}

// --- .+meeting_force ---

TEST_F(Meetings, ForceGoesOnWithoutTheTargetAndAtOnce) {
  EXPECT_TRUE(RunsWhole(ann, ".+meeting_force|a|2m|b|c|#"));
  EXPECT_EQ(bensPhone.Receive(), ".+meeting_force|a|b|c|#");
  EXPECT_EQ(ben.Receive(), "");
}

TEST_F(Meetings, ForceToSomebodyAbsentOrTooShortIsLost) {
  ann.Send(".+meeting_force|a|3|b|c|#");
  ann.Send(".+meeting_force|a|2|b|#");
  server.Tick();
  EXPECT_EQ(ben.Receive() + bensPhone.Receive() + ann.Receive(), "");
}

}  // namespace
}  // namespace vnq
