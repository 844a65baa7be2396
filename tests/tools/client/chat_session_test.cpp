#include "tools/client/chat_session.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/text_codecs.h"
#include "tools/client/chat_console.h"
#include "tools/client/chat_text.h"

namespace vnq {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;
using State = ChatSession::State;

class ChatSessionTest : public testing::Test, public ChatSink {
 protected:
  void SendRecord(const std::string& record) override { sent_.push_back(record); }
  void Show(const std::string& line) override { shown_.push_back(line); }
  void Complain(const std::string& line) override { complaints_.push_back(line); }

  void Begin() { session_.Begin("secret", "10.1.2.3", now_); }
  void Hear(std::string_view record) { session_.OnRecord(record, now_); }

  void LogIn() {
    Begin();
    Hear(".+SuccessfulConnection|#");
    Hear(".+landing_successful|10001|0|,/,\\,~,@,+|0|0|#");
    Hear(".+SynchronousSuccessfully|#");
    sent_.clear();
    shown_.clear();
  }

  void Pass(int64_t ms) { session_.Tick(now_ += ms); }

  // The Msg_ID of a message that was sent.
  static std::string IdOf(const std::string& record) { return RecordFields(record)[5]; }

  std::vector<std::string> sent_, shown_, complaints_;
  KnownNames names_;
  int64_t now_ = 1000;
  ChatSession session_{{"wang", "pc-1"}, names_, *this};
  ChatConsole console_{session_, names_, *this};
};

TEST_F(ChatSessionTest, GreetingIsAnsweredWithTheLogInThatTheVersionGateLetsPass) {
  Begin();
  EXPECT_THAT(sent_, IsEmpty());
  Hear(".+SuccessfulConnection|#");
  EXPECT_THAT(sent_, ElementsAre(".+landing|wang|secret|10.1.2.3|pc-1||#"));
}

TEST_F(ChatSessionTest, AdmittedLogInReportsOnlineAndIsReadyAtTheServersWord) {
  Begin();
  Hear(".+SuccessfulConnection|#");
  sent_.clear();
  Hear(".+landing_successful|10001|0|,/,\\,~,@,+|0|0|#");
  EXPECT_THAT(sent_, ElementsAre(".+successful_online|10001|1|#"));
  EXPECT_EQ(session_.state(), State::kReporting);
  Hear(".+SynchronousSuccessfully|#");
  EXPECT_EQ(session_.state(), State::kReady);
  EXPECT_THAT(shown_, ElementsAre("* logged in as wang (10001)"));
}

TEST_F(ChatSessionTest, EachRefusalHasItsSentence) {
  const std::pair<const char*, const char*> refusals[] = {
      {".+UpgradedVersion|#", "newer client version"},
      {".+LoginFailed|#", "no user wang with this password"},
      {".+ProhibitLanding|#", "account wang is disabled"},
      {".+landing_restrictions", "address 10.1.2.3, machine pc-1"},
      {".+busy_force|10.9.9.9|#", "logged in elsewhere (10.9.9.9)"},
      {".+forced_disconnection|The server stops|#", "The server stops"},
      {".+disconnect|go%20home", "An administrator has ended the session: go home"}};
  for (const auto& [record, words] : refusals) {
    complaints_.clear();
    Begin();
    Hear(".+SuccessfulConnection|#");
    Hear(record);
    EXPECT_EQ(session_.state(), State::kClosed) << record;
    EXPECT_THAT(complaints_, ElementsAre(HasSubstr(words)));
    EXPECT_EQ(session_.PasswordRefused(), std::string_view(record) == ".+LoginFailed|#");
  }
}

TEST_F(ChatSessionTest, CloseWithoutAnAnswerIsNamed) {
  Begin();
  Hear(".+SuccessfulConnection|#");
  session_.OnPeerClosed();
  EXPECT_THAT(complaints_, ElementsAre(HasSubstr("without an answer to the log-in")));
}

TEST_F(ChatSessionTest, SilentServerEndsTheLogIn) {
  Begin();
  Pass(ChatSession::kLoginWaitMs - 1);
  EXPECT_EQ(session_.state(), State::kGreeting);
  Pass(1);
  EXPECT_EQ(session_.state(), State::kClosed);
  EXPECT_THAT(complaints_, ElementsAre(HasSubstr("does not answer")));
}

TEST_F(ChatSessionTest, TextGoesOutEscapedWithAnIdOfItsOwn) {
  LogIn();
  session_.SetTarget(KnownNames::Kind::kUser, "10002");
  EXPECT_TRUE(session_.SendText("你好 😀|.+"));
  EXPECT_TRUE(session_.SendText("again"));
  ASSERT_THAT(sent_, SizeIs(2));
  EXPECT_THAT(sent_[0], StartsWith(".+message|10002|10001|%u4F60%u597D%20%uD83D%uDE00%7C.%2B|"));
  EXPECT_THAT(sent_[0], testing::EndsWith("|1|#"));
  EXPECT_THAT(IdOf(sent_[0]), SizeIs(32));
  EXPECT_NE(IdOf(sent_[0]), IdOf(sent_[1]));
}

TEST_F(ChatSessionTest, ReceiptNamesTheMessage) {
  LogIn();
  session_.SetTarget(KnownNames::Kind::kUser, "10002");
  session_.SendText("first words");
  EXPECT_EQ(session_.WithoutReceipt(), 1U);
  Hear(".+reply|1|10002|" + IdOf(sent_[0]) + "|#");
  EXPECT_EQ(session_.WithoutReceipt(), 0U);
  EXPECT_THAT(shown_, ElementsAre("* delivered to the server: \"first words\" for 10002"));
}

TEST_F(ChatSessionTest, ReceiptOfAnotherConnectionIsPassedOver) {
  LogIn();
  Hear(".+reply|1|10002|0123|#");
  EXPECT_THAT(shown_, IsEmpty());
}

TEST_F(ChatSessionTest, GroupTextIsConfirmedLikeAnyOther) {
  LogIn();
  session_.SetTarget(KnownNames::Kind::kGroup, "5");
  session_.SendText("hi");
  ASSERT_THAT(sent_, ElementsAre(StartsWith(".+clot_messeng|5|10001|hi|")));
  Hear(".+reply|2|5|" + IdOf(sent_[0]) + "|#");
  EXPECT_EQ(session_.WithoutReceipt(), 0U);
}

TEST_F(ChatSessionTest, TextWithoutTargetOrSessionIsNotSent) {
  EXPECT_FALSE(session_.SendText("x"));
  LogIn();
  EXPECT_FALSE(session_.SendText("x"));
  session_.SetTarget(KnownNames::Kind::kUser, "10002");
  EXPECT_FALSE(session_.SendText(std::string(ChatSession::kMaxTextBytes + 1, 'x')));
  EXPECT_THAT(sent_, IsEmpty());
  EXPECT_THAT(complaints_, SizeIs(3));
}

TEST_F(ChatSessionTest, WhatHasNoReceiptIsSentAgainWithTheSameId) {
  LogIn();
  session_.SetTarget(KnownNames::Kind::kUser, "10002");
  session_.SendText("lost");
  const std::string record = sent_[0];
  session_.OnPeerClosed();
  LogIn();
  Begin();
  Hear(".+SuccessfulConnection|#");
  Hear(".+landing_successful|10001|0||0|0|#");
  sent_.clear();
  Hear(".+SynchronousSuccessfully|#");
  EXPECT_THAT(sent_, ElementsAre(record));
}

TEST_F(ChatSessionTest, ArrivingMessageIsShownWithTimeNameAndText) {
  names_.Learn(KnownNames::Kind::kUser, "10002", "李");
  LogIn();
  Hear(".+message|10002|2024-05-06|07:08:09|" + EscapeText("你好 😀") + "|f|ID1|11|1|#");
  EXPECT_THAT(shown_, ElementsAre("* 2024-05-06", "07:08:09 李 (10002): 你好 😀"));
}

TEST_F(ChatSessionTest, DateIsShownOnlyWhenItChanges) {
  LogIn();
  Hear(".+message|7|2024-05-06|07:08:09|a|f|ID1|11|1|#");
  Hear(".+message|7|2024-05-06|07:08:10|b|f|ID2|11|1|#");
  EXPECT_THAT(shown_, SizeIs(3));
}

TEST_F(ChatSessionTest, CopyOfTheOwnOtherDeviceIsRecognised) {
  LogIn();
  for (const char* type : {"10", "60", "1"}) {
    shown_.clear();
    Hear(std::string(".+message|7|d|t|x|f|ID") + type + "|" + type + "|0|#");
    EXPECT_THAT(shown_.back(), HasSubstr("you to 7 (from your other device): x"));
  }
  for (const char* type : {"11", "61", "2"}) {
    Hear(std::string(".+message|7|d|t|x|f|ID") + type + "|" + type + "|0|#");
    EXPECT_THAT(shown_.back(), HasSubstr("t 7: x"));
  }
}

TEST_F(ChatSessionTest, MessageOfTheOlderStoreHasNoKindOfCopy) {
  LogIn();
  Hear(".+message|7|2024-05-06|07:08:09|x|f|@#");
  EXPECT_EQ(shown_.back(), "07:08:09 7: x");
}

TEST_F(ChatSessionTest, RepeatedDeliveryIsShownOnce) {
  LogIn();
  Hear(".+message|7|2024-05-06|07:08:09|x|f|ID1|11|1|#");
  Hear(".+message|7|2024-05-06|07:08:09|x|f|ID1|11|1|#");
  EXPECT_THAT(shown_, SizeIs(2));
}

TEST_F(ChatSessionTest, GroupMessageNamesGroupAndSender) {
  LogIn();
  Hear(".+clot_messeng|5|7|2024-05-06|07:08:09|x|f|ID1|2|1|#");
  EXPECT_EQ(shown_.back(), "07:08:09 [5] 7: x");
  Hear(".+clot_messeng|5|10001|2024-05-06|07:08:10|x|f|ID2|1|0|#");
  EXPECT_EQ(shown_.back(), "07:08:10 [5] you (from your other device): x");
}

TEST_F(ChatSessionTest, EscapeSequencesOfASenderDoNotReachTheTerminal) {
  LogIn();
  Hear(".+message|7|d|t|" + EscapeText("\x1B]0;x\x07") + "|f|ID1|11|1|#");
  EXPECT_EQ(shown_.back(), "t 7: \uFFFD]0;x\uFFFD");
}

TEST_F(ChatSessionTest, PresenceIsToldInWordsAndKept) {
  LogIn();
  Hear(".+new_online|7|1.2.3.4|1.2.3.4|#");
  Hear(".+new_leaving|7|||#");
  Hear(".+phone_line|8|#");
  Hear(".+new_is_offline|9|#");
  EXPECT_THAT(shown_,
              ElementsAre("* 7 is online", "* 7 is away", "* 8 is on the phone", "* 9 is offline"));
  shown_.clear();
  session_.ShowPresence();
  EXPECT_THAT(shown_, ElementsAre("* 7: away", "* 8: on the phone", "* 9: offline"));
}

TEST_F(ChatSessionTest, UsersWhoWereDisconnectedTogetherAreAllOffline) {
  LogIn();
  Hear(".+new_is_offline|7|8||#");
  EXPECT_THAT(shown_, ElementsAre("* 7 is offline", "* 8 is offline"));
}

TEST_F(ChatSessionTest, KeepAliveGoesOutWhenDueAndItsEchoIsSilent) {
  LogIn();
  Pass(ChatSession::kKeepAliveMs - 1);
  EXPECT_THAT(sent_, IsEmpty());
  Pass(1);
  EXPECT_THAT(sent_, ElementsAre(".+y|#"));
  Hear(".+y|#");
  Pass(ChatSession::kEchoWaitMs);
  EXPECT_EQ(session_.state(), State::kReady);
  EXPECT_THAT(shown_, IsEmpty());
}

TEST_F(ChatSessionTest, ServerWithoutEchoIsGivenUp) {
  LogIn();
  Pass(ChatSession::kKeepAliveMs);
  Pass(ChatSession::kEchoWaitMs - 1);
  EXPECT_EQ(session_.state(), State::kReady);
  Pass(1);
  EXPECT_EQ(session_.state(), State::kClosed);
  EXPECT_THAT(complaints_, ElementsAre(HasSubstr("keep-alive")));
}

TEST_F(ChatSessionTest, LeavingSaysGoodbyeAndTheCloseBehindItIsSilent) {
  LogIn();
  session_.Leave();
  EXPECT_THAT(sent_, ElementsAre(".+offline|10001|#"));
  session_.OnPeerClosed();
  EXPECT_THAT(complaints_, IsEmpty());
  EXPECT_EQ(session_.state(), State::kClosed);
}

TEST_F(ChatSessionTest, RecordsWithMissingFieldsDoNoHarm) {
  LogIn();
  for (const char* word :
       {".+message", ".+clot_messeng", ".+reply", ".+notification", ".+messengverify", ".+retract",
        ".+offline_file", ".+new_online", ".+new_group_memberships", ".+modify_account",
        ".+customer_information", ".+meeting_message", ".+jitter_window", ".+y", "", "|", ".+"}) {
    std::string record = word;
    for (int fields = 0; fields < 11; ++fields, record += "|") Hear(record);
  }
  EXPECT_EQ(session_.state(), State::kReady);
}

TEST_F(ChatSessionTest, GroupNewsAndProfilesTeachNames) {
  LogIn();
  Hear(".+new_group_information|5|项目组|r|s|10001:1:-|#");
  Hear(".+modify_account|7|job|李四|1|2|3|4|5|6|7|8|9|#");
  EXPECT_THAT(shown_, ElementsAre("* new group 项目组 (5)", "* 李四 (7) has a new profile"));
}

TEST_F(ChatSessionTest, UnknownRecordIsShownOnlyWhenAskedFor) {
  LogIn();
  Hear(".+something|x|#");
  EXPECT_THAT(shown_, IsEmpty());
  ChatSession verbose({"wang", "pc-1", true}, names_, *this);
  verbose.Begin("secret", "10.1.2.3", 0);
  verbose.OnRecord(".+something|x|#", 0);
  EXPECT_THAT(shown_, ElementsAre("* record .+something|x|#"));
}

class ChatConsoleTest : public ChatSessionTest {};

TEST_F(ChatConsoleTest, ToNamesTheTargetByIdOrByKnownName) {
  LogIn();
  names_.Learn(KnownNames::Kind::kUser, "10002", "Li Si");
  console_.Line("/to Li Si");
  console_.Line("hi");
  console_.Line("/to 10003 hello there");
  ASSERT_THAT(sent_, SizeIs(2));
  EXPECT_THAT(sent_[0], StartsWith(".+message|10002|10001|hi|"));
  EXPECT_THAT(sent_[1], StartsWith(".+message|10003|10001|hello%20there|"));
  EXPECT_FALSE(console_.Failed());
}

TEST_F(ChatConsoleTest, DoubledSlashIsAText) {
  LogIn();
  console_.Line("/to 7");
  console_.Line("//to be");
  EXPECT_THAT(sent_, ElementsAre(StartsWith(".+message|7|10001|%2Fto%20be|")));
}

TEST_F(ChatConsoleTest, PresenceCommandsSendTheirRecord) {
  LogIn();
  console_.Line("/away");
  console_.Line("/back");
  console_.Line("/hide");
  EXPECT_THAT(sent_, ElementsAre(".+go_away|10001|#", ".+on_line|10001|#", ".+stealth|10001|#"));
}

TEST_F(ChatConsoleTest, RetractTakesTextsBackFromTheLastOn) {
  LogIn();
  console_.Line("/to 7 first");
  console_.Line("/group 5 second");
  const std::string first = IdOf(sent_[0]), second = IdOf(sent_[1]);
  sent_.clear();
  console_.Line("/retract");
  console_.Line("/retract");
  EXPECT_THAT(sent_, ElementsAre(".+retract|1|5|10001|" + second + "||#",
                                 ".+retract|0|7|10001|" + first + "||#"));
  EXPECT_EQ(shown_.back(), "* taken back: \"first\" for 7");
  EXPECT_EQ(session_.WithoutReceipt(), 0u);
  EXPECT_FALSE(console_.Failed());
  console_.Line("/retract");
  EXPECT_THAT(complaints_, ElementsAre(HasSubstr("nothing to take back")));
}

TEST_F(ChatConsoleTest, TextThatWasTakenBackIsNotSentAgain) {
  LogIn();
  console_.Line("/to 7 first");
  console_.Line("/retract");
  session_.OnPeerClosed();
  LogIn();
  EXPECT_THAT(shown_, IsEmpty());
}

TEST_F(ChatConsoleTest, NudgeGoesToTheNamedUserOrTheTarget) {
  LogIn();
  names_.Learn(KnownNames::Kind::kUser, "8", "Li Si");
  console_.Line("/nudge Li Si");
  console_.Line("/to 7");
  console_.Line("/nudge");
  EXPECT_THAT(sent_, ElementsAre(".+jitter_window|8|10001|#", ".+jitter_window|7|10001|#"));
}

TEST_F(ChatConsoleTest, GroupCannotBeNudged) {
  LogIn();
  console_.Line("/group 5");
  console_.Line("/nudge");
  EXPECT_THAT(sent_, IsEmpty());
  EXPECT_TRUE(console_.Failed());
}

TEST_F(ChatConsoleTest, NoticeGoesToAllItsReceivers) {
  LogIn();
  names_.Learn(KnownNames::Kind::kUser, "8", "Li");
  console_.Line("/notice 7,,Li Meeting at 3");
  console_.Line("/notice 7 a|b");
  EXPECT_THAT(sent_, ElementsAre(".+notification|10001|7,8|Meeting at 3|||#",
                                 ".+notification|10001|7|a%7Cb|||#"));
  EXPECT_EQ(shown_.front(), "* notice for 7, Li (8): Meeting at 3");
}

TEST_F(ChatConsoleTest, RetractionNamesTheTextThatWasSeen) {
  LogIn();
  Hear(".+message|7|2026-01-02|03:04:05|hello%20you|f|M1|11|1|#");
  Hear(".+clot_messeng|5|7|2026-01-02|03:04:05|to%20all|f|M2|2|1|#");
  shown_.clear();
  Hear(".+retract|0|7|M1||#");
  Hear(".+retract|1|5|M2||#");
  Hear(".+retract|0|7|M3||#");
  EXPECT_THAT(shown_, ElementsAre("* 7 has taken back a message: \"hello you\"",
                                  "* a message in group 5 was taken back: \"to all\"",
                                  "* 7 has taken back a message"));
}

TEST_F(ChatConsoleTest, WithoutASessionNothingIsTakenBackNudgedOrPosted) {
  for (const char* line : {"/retract", "/nudge 7", "/notice 7 T", "/create T", "/invite 7",
                           "/leave", "/friend add 7"}) {
    complaints_.clear();
    console_.Line(line);
    EXPECT_THAT(complaints_, ElementsAre(HasSubstr("no session"))) << line;
  }
  EXPECT_TRUE(console_.Failed());
}

TEST_F(ChatConsoleTest, GroupsAreThoseThatRecordsHaveShown) {
  console_.Line("/groups");
  EXPECT_THAT(shown_, ElementsAre(HasSubstr("no record has shown a group")));
  LogIn();
  Hear(".+new_group_base_information|Clot000001|Team|r|s|#");
  shown_.clear();
  console_.Line("/groups");
  EXPECT_THAT(shown_, ElementsAre("* group Team (Clot000001)"));
}

TEST_F(ChatConsoleTest, CreatedGroupHasItsMakerForAdministrator) {
  LogIn();
  console_.Line("/create My team");
  EXPECT_THAT(sent_, ElementsAre(".+new_group_information|10001|My team||10001|10001:1:wang-|#"));
}

TEST_F(ChatConsoleTest, InvitedUsersJoinTheTargetGroupUnderTheirKnownNames) {
  LogIn();
  names_.Learn(KnownNames::Kind::kUser, "8", "O'Li-Si: x");
  console_.Line("/group Clot000001");
  console_.Line("/invite 7,,8");
  EXPECT_THAT(sent_, ElementsAre(".+add_group_members|10001|Clot000001|7:0:-8:0:O Li Si  x-|#"));
}

TEST_F(ChatConsoleTest, LeavingTellsTheTargetGroupAndForgetsItAsTarget) {
  LogIn();
  console_.Line("/group Clot000001");
  console_.Line("/leave");
  EXPECT_THAT(sent_, ElementsAre(".+messengverify|Clot000001|10001||2|2|1|0|#"));
  console_.Line("/leave");
  EXPECT_THAT(complaints_, ElementsAre(HasSubstr("which group")));
  EXPECT_THAT(sent_, SizeIs(1));
}

TEST_F(ChatConsoleTest, EachStepOfAFriendshipHasItsRecord) {
  LogIn();
  names_.Learn(KnownNames::Kind::kUser, "8", "Li Si");
  for (const char* line : {"/friend add 7 hello | there", "/friend accept Li Si",
                           "/friend refuse 7", "/friend block 7", "/friend delete 7"}) {
    console_.Line(line);
  }
  EXPECT_THAT(
      sent_,
      ElementsAre(".+messengverify|7|10001|hello%20%7C%20there|1|1|1|0|#",
                  ".+messengverify|8|10001||1|1|2|1|#", ".+messengverify|7|10001||1|1|2|2|#",
                  ".+messengverify|7|10001||1|1|2|3|#", ".+messengverify|7|10001||1|2|1|0|#"));
}

TEST_F(ChatConsoleTest, GroupAndFriendLinesThatCannotBeDoneSendNothing) {
  LogIn();
  for (const char* line : {"/create", "/create a|b", "/create Ann's", "/invite 7", "/leave",
                           "/friend", "/friend add", "/friend marry 7", "/friend add a|b"}) {
    complaints_.clear();
    console_.Line(line);
    EXPECT_THAT(complaints_, SizeIs(1)) << line;
  }
  console_.Line("/group Clot000001");
  for (const char* line : {"/invite", "/invite ,", "/invite a:b", "/invite a-b", "/invite 7,a'b"}) {
    complaints_.clear();
    console_.Line(line);
    EXPECT_THAT(complaints_, SizeIs(1)) << line;
  }
  EXPECT_THAT(sent_, IsEmpty());
  EXPECT_TRUE(console_.Failed());
}

TEST_F(ChatConsoleTest, MemberListsTeachNames) {
  LogIn();
  Hear(".+new_group_information|Clot000001|Team|r|s|7:1:Li-8:0:Wang:x-9|#");
  Hear(".+new_group_memberships||Clot000001|11:0:Zhao-|#");
  EXPECT_EQ(names_.Label(KnownNames::Kind::kUser, "7"), "Li (7)");
  EXPECT_EQ(names_.Label(KnownNames::Kind::kUser, "8"), "Wang (8)");
  EXPECT_EQ(names_.Label(KnownNames::Kind::kUser, "11"), "Zhao (11)");
}

TEST_F(ChatConsoleTest, RequestsForTheProgramComeBack) {
  EXPECT_EQ(console_.Line("/quit").kind, ConsoleRequest::Kind::kQuit);
  EXPECT_EQ(console_.Line("/reconnect").kind, ConsoleRequest::Kind::kReconnect);
  EXPECT_EQ(console_.Line("/wait 3").seconds, 3);
  EXPECT_EQ(console_.Line("  ").kind, ConsoleRequest::Kind::kNone);
  EXPECT_FALSE(console_.Failed());
}

TEST_F(ChatConsoleTest, LinesThatCannotBeDoneAreNamedAndRemembered) {
  LogIn();
  for (const char* line :
       {"/nothing", "/to", "/to a|b", "/wait x", "/wait -1", "/name 7", "text", "/retract",
        "/nudge", "/nudge a|b", "/notice", "/notice 7", "/notice , T"}) {
    complaints_.clear();
    console_.Line(line);
    EXPECT_THAT(complaints_, SizeIs(1)) << line;
  }
  EXPECT_TRUE(console_.Failed());
  EXPECT_THAT(sent_, IsEmpty());
}

TEST_F(ChatConsoleTest, HelpListsEveryCommand) {
  console_.Line("/help");
  EXPECT_THAT(shown_, AllOf(SizeIs(20), testing::Contains(StartsWith("* /to USERID"))));
}

TEST_F(ChatConsoleTest, GivenNameIsListed) {
  console_.Line("/name 7 老王");
  shown_.clear();
  console_.Line("/names");
  EXPECT_THAT(shown_, ElementsAre("* user 老王 (7)"));
}

TEST_F(ChatSessionTest, WhatWasMissedIsFramedAndShownOnce) {
  LogIn();
  Hear(".+message|10002|2026-03-04|05:06:07|live|f|M1|11|1|#");
  shown_.clear();
  session_.ShowMissed({".+message|10002|2026-03-04|05:06:07|live|f|M1|11|0|#",
                       ".+message|10002|2026-03-04|05:06:08|missed|f|M2|11|0|#"},
                      now_);
  EXPECT_THAT(shown_,
              ElementsAre("* while you were away:", "05:06:08 10002: missed", "* that was all"));
  shown_.clear();
  Hear(".+message|10002|2026-03-04|05:06:08|missed|f|M2|11|1|#");
  session_.ShowMissed({".+message|10002|2026-03-04|05:06:08|missed|f|M2|11|0|#"}, now_);
  session_.ShowMissed({}, now_);
  EXPECT_THAT(shown_, IsEmpty());
}

// --- What came from others, and what waits ---

TEST_F(ChatSessionTest, TextsFromOthersThanTheTargetAreUnreadUntilTheyAreTalkedTo) {
  LogIn();
  console_.Line("/to 10002");
  Hear(".+message|10002|2026-03-04|10:00:00|a|f|m1|11|1|#");
  EXPECT_EQ(session_.Unread(), 0U);
  Hear(".+message|10003|2026-03-04|10:00:01|b|f|m2|11|1|#");
  Hear(".+message|10003|2026-03-04|10:00:01|c|f|m3|11|1|#");
  Hear(".+clot_messeng|Clot000001|10003|2026-03-04|10:00:02|d|f|m4|2|1|#");
  Hear(".+message|10004|2026-03-04|10:00:03|mine|f|m5|10|0|#");
  EXPECT_EQ(session_.Unread(), 3U);
  shown_.clear();
  console_.Line("/unread");
  EXPECT_THAT(shown_, ElementsAre("* 2 from 10003", "* 1 from [Clot000001]"));
  console_.Line("/to 10003");
  EXPECT_EQ(session_.Unread(), 1U);
  console_.Line("/group Clot000001");
  shown_.clear();
  console_.Line("/unread");
  EXPECT_THAT(shown_, ElementsAre("* nothing has come from others"));
}

TEST_F(ChatSessionTest, TextsWithoutASessionAreSentInTheirOrderByTheNextOne) {
  ChatSession session({"wang", "pc-1", false, false, true}, names_, *this);
  const auto logIn = [&] {
    session.Begin("secret", "10.1.2.3", now_);
    for (const char* record : {".+SuccessfulConnection|#", ".+landing_successful|10001|0||0|0|#"}) {
      session.OnRecord(record, now_);
    }
    sent_.clear();
    session.OnRecord(".+SynchronousSuccessfully|#", now_);
  };
  session.SetTarget(KnownNames::Kind::kUser, "10002");
  EXPECT_FALSE(session.SendText("nobody has logged in yet"));
  logIn();
  session.OnPeerClosed();
  EXPECT_TRUE(session.MayComeBack());
  EXPECT_TRUE(session.SendText("one"));
  EXPECT_TRUE(session.SendText("two"));
  EXPECT_THAT(sent_, IsEmpty());
  EXPECT_EQ(session.WithoutReceipt(), 2U);
  shown_.clear();
  logIn();
  EXPECT_THAT(sent_, ElementsAre(HasSubstr("|one|"), HasSubstr("|two|")));
  EXPECT_THAT(shown_, testing::Contains("* sent: \"one\" for 10002"));
}

TEST_F(ChatSessionTest, OnlyWhatNobodyWantedIsWorthAnotherTry) {
  for (const char* record : {".+LoginFailed|#", ".+ProhibitLanding|#", ".+landing_restrictions",
                             ".+UpgradedVersion|#", ".+busy_force|a|#", ".+disconnect|a"}) {
    Begin();
    Hear(".+SuccessfulConnection|#");
    Hear(record);
    EXPECT_FALSE(session_.MayComeBack()) << record;
  }
  LogIn();
  Hear(".+forced_disconnection|The server stops|#");
  EXPECT_TRUE(session_.MayComeBack());
}

TEST_F(ChatSessionTest, TabOffersCommandsAndBehindThemKnownNamesAndIds) {
  names_.Learn(KnownNames::Kind::kUser, "10002", "Ben Carter");
  names_.Learn(KnownNames::Kind::kUser, "10003", "");
  names_.Learn(KnownNames::Kind::kGroup, "Clot000001", "Team");
  EXPECT_THAT(console_.Completions("/gr"), ElementsAre("/group ", "/groups"));
  EXPECT_THAT(console_.Completions("/to "), ElementsAre("/to Ben Carter", "/to 10003"));
  EXPECT_THAT(console_.Completions("/to Be"), ElementsAre("/to Ben Carter"));
  EXPECT_THAT(console_.Completions("/group T"), ElementsAre("/group Team"));
  EXPECT_THAT(console_.Completions("/friend add 100"),
              ElementsAre("/friend add 10002", "/friend add 10003"));
  EXPECT_THAT(console_.Completions("/who x"), IsEmpty());
  EXPECT_THAT(console_.Completions("hello /t"), IsEmpty());
}

}  // namespace
}  // namespace vnq
