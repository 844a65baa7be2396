// vnqctl history: one body, one run an engine.
#include <gmock/gmock.h>

#include <CLI/CLI.hpp>

#include "tests/tools/history/history_folder.h"

namespace vnq {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class HistoryCommand : public HistoryFolder {};

// --- What is shown ---

TEST_P(HistoryCommand, BothDirectionsAreShownInOrderOfTimeWithNames) {
  Peer("M2", "2", "1", "%u4F60%u597D", "0111", "05:06:08");
  Peer("M1", "1", "2", "hello%20Ben", "0100", "05:06:07");
  Peer("M3", "2", "2", "note", "0000", "05:06:09");
  Peer("M4", "9", "2", "gone", "0000", "05:06:10");
  Peer("M5", "1", "3", "not Ben", "0111", "05:06:11");
  EXPECT_EQ(History(),
            "2026-03-04 05:06:07   Ann Lee (1): hello Ben\n"
            "2026-03-04 05:06:08   you to Ann Lee (1): 你好\n"
            "2026-03-04 05:06:09   you to Ben (2): note\n"
            "2026-03-04 05:06:10   then (9): gone\n");
}

TEST_P(HistoryCommand, PeopleGroupsAndNoticesStandInOneOrder) {
  Notice("N1", "1", "2", "title");
  Notice("N2", "2", "3", "mine");
  Notice("N3", "1", "3", "not for Ben");
  Group("G1", "3");
  Peer("M1", "1", "2", "first", "0000");
  EXPECT_EQ(History(),
            "2026-03-04 05:06:07   Ann Lee (1): first\n"
            "2026-03-04 06:00:00 * [Team (Clot000001)] 蔡 (3): t\n"
            "2026-03-04 07:00:00 * notice of Ann Lee (1): title - the content\n"
            "2026-03-04 07:00:00   notice of you: mine - the content\n");
}

TEST_P(HistoryCommand, TokensReadAsTheFoldersLabels) {
  Peer("M1", "1", "2", "plan.pdf", "0000", "05:06:01", 60);
  Peer("M2", "1", "2", "see%20%7Bh@a%2Ep.pdf%7D%20now", "0000", "05:06:02");
  Peer("M3", "1", "2", "%7Bx@room%201%7D", "0000", "05:06:03");
  Peer("M4", "1", "2", "open%7By@end", "0000", "05:06:04");
  Peer("M5", "1", "2", "%7Bz@none%7D", "0000", "05:06:05");
  EXPECT_EQ(History(),
            "2026-03-04 05:06:01   Ann Lee (1): [File] plan.pdf\n"
            "2026-03-04 05:06:02   Ann Lee (1): see [File] a.p.pdf now\n"
            "2026-03-04 05:06:03   Ann Lee (1): [Audio call]\n"
            "2026-03-04 05:06:04   Ann Lee (1): open[Video call]end\n"
            "2026-03-04 05:06:05   Ann Lee (1): {z@none}\n");
}

TEST_P(HistoryCommand, TextThatATerminalWouldObeyIsHarmless) {
  Peer("M1", "1", "2", "a%1B%5B2Jb%0Ac", "0000");
  EXPECT_EQ(History(), "2026-03-04 05:06:07   Ann Lee (1): a\xEF\xBF\xBD[2Jb c\n");
}

TEST_P(HistoryCommand, ConversationIsChosen) {
  Peer("M1", "1", "2", "from%20Ann", "0000");
  Peer("M2", "2", "3", "to%20Cai", "0000", "05:06:08");
  Do("insert into Clot_Ro(TypeID,TypeName) values('Clot000002','Other')");
  Join("Clot000002", "2");
  Group("G1", "1");
  Group("G2", "1", "there", "Clot000002");
  Notice("N1", "1", "2", "title");
  options_.with = "cai";
  EXPECT_EQ(History(), "2026-03-04 05:06:08   you to 蔡 (3): to Cai\n");
  options_.with = "";
  options_.group = "Other";
  EXPECT_EQ(History(), "2026-03-04 06:00:00 * [Other (Clot000002)] Ann Lee (1): there\n");
  options_.group = "clot000001";
  EXPECT_EQ(History(), "2026-03-04 06:00:00 * [Team (Clot000001)] Ann Lee (1): t\n");
  options_.group = "";
  options_.notices = true;
  EXPECT_EQ(History(), "2026-03-04 07:00:00 * notice of Ann Lee (1): title - the content\n");
}

TEST_P(HistoryCommand, SearchFindsChineseAndAnyLetterCase) {
  Peer("M1", "1", "2", "%u660E%u5929%u89C1", "0000", "05:06:01");
  Peer("M2", "1", "2", "Meeting%20tomorrow", "0000", "05:06:02");
  Notice("N1", "1", "2", "Tomorrow");
  options_.search = "天见";
  EXPECT_EQ(History(), "2026-03-04 05:06:01   Ann Lee (1): 明天见\n");
  options_.search = "tomorrow";
  EXPECT_THAT(History(), AllOf(HasSubstr("Meeting"), HasSubstr("notice"), Not(HasSubstr("明天"))));
  options_.search = "the CONTENT";
  EXPECT_THAT(History(), AllOf(HasSubstr("notice"), Not(HasSubstr("Meeting"))));
}

TEST_P(HistoryCommand, SinceAndLimitCutTheList) {
  for (int i = 1; i <= 4; ++i) {
    Peer("M" + std::to_string(i), "1", "2", "m" + std::to_string(i), "0111",
         "05:06:0" + std::to_string(i));
  }
  options_.since = "2026-03-04 05:06:03";
  EXPECT_THAT(History(), AllOf(HasSubstr("m3"), HasSubstr("m4"), Not(HasSubstr("m2"))));
  options_.since = "2026-03-05";
  EXPECT_EQ(History(), "");
  options_.since = "";
  options_.limit = 1;
  EXPECT_THAT(History(), AllOf(HasSubstr("m4"), Not(HasSubstr("m3"))));
  EXPECT_THAT(Unread(), AllOf(HasSubstr("m1"), Not(HasSubstr("m2"))));
}

TEST_P(HistoryCommand, JsonHasEveryFieldOfItsKind) {
  Peer("M1", "1", "2", "say%20%22hi%22", "0110");
  Group("G1", "2");
  Notice("N1", "1", "2", "title");
  Notice("N2", "2", "3", "mine");
  options_.json = true;
  EXPECT_EQ(History(),
            "[\n"
            R"({"kind":"message","Msg_ID":"M1","time":"2026-03-04 05:06:07","from":"1",)"
            R"("from_name":"Ann Lee","to":"2","to_name":"Ben","own":false,"unread":true,)"
            R"("text":"say \"hi\"","UserText":"say%20%22hi%22","To_Type":10,"FontInfo":"font"},)"
            "\n"
            R"({"kind":"group_message","Msg_ID":"G1","time":"2026-03-04 06:00:00","from":"2",)"
            R"("from_name":"Ben","to":"Clot000001","to_name":"Team","own":true,"unread":true,)"
            R"("text":"t","UserText":"t","To_Type":1,"FontInfo":"font","TypeID":1},)"
            "\n"
            R"({"kind":"notice","Msg_ID":"N1","time":"2026-03-04 07:00:00","from":"1",)"
            R"("from_name":"Ann Lee","to":"2","to_name":"Ben","own":false,"unread":true,)"
            R"("text":"title","content":"the content","link":""},)"
            "\n"
            R"({"kind":"notice","Msg_ID":"N2","time":"2026-03-04 07:00:00","from":"2",)"
            R"("from_name":"Ben","to":null,"to_name":null,"own":true,"unread":false,)"
            R"("text":"mine","content":"the content","link":""})"
            "\n]\n");
  options_.since = "2030-01-01";
  EXPECT_EQ(History(), "[]\n");
}

// --- Unread, and marking ---

TEST_P(HistoryCommand, EachDeviceHasFlagsOfItsOwn) {
  Peer("D", "1", "2", "desktop", "1110", "05:06:01");
  Peer("P", "1", "2", "phone", "1101", "05:06:02");
  Peer("C", "2", "1", "copy%20for%20desktop", "1011", "05:06:03");
  Peer("E", "2", "1", "copy%20for%20phone", "0111", "05:06:04");
  Peer("N", "2", "2", "note", "0011", "05:06:05");
  EXPECT_EQ(Unread(),
            "2026-03-04 05:06:01 * Ann Lee (1): desktop\n"
            "2026-03-04 05:06:03 * you to Ann Lee (1): copy for desktop\n"
            "2026-03-04 05:06:05 * you to Ben (2): note\n");
  EXPECT_EQ(Unread(Device::kMobile),
            "2026-03-04 05:06:02 * Ann Lee (1): phone\n"
            "2026-03-04 05:06:04 * you to Ann Lee (1): copy for phone\n"
            "2026-03-04 05:06:05 * you to Ben (2): note\n");
}

TEST_P(HistoryCommand, MarkingClearsTheDevicesFlagsAndNoOther) {
  Peer("M1", "1", "2", "x", "1111");
  Peer("M2", "2", "1", "x", "1111");
  Peer("M3", "2", "2", "x", "0011");
  Peer("M1", "1", "3", "same id", "1111");
  Peer("M4", "2", "1", "same id", "1111");
  Peer("M4", "2", "3", "same id", "0111");
  const char* all =
      "select Msg_ID,YouID,IsAck1,IsAck2,IsAck3,IsAck4 from Messeng_Text "
      "order by Msg_ID,YouID";
  EXPECT_NE(Take(), "");
  EXPECT_EQ(Rows(all),
            "M1|2|1|1|0|1 M1|3|1|1|1|1 M2|1|0|1|1|1 M3|2|0|0|0|1 M4|1|0|1|1|1 M4|3|0|1|1|1");
  EXPECT_EQ(Take(), "");
  EXPECT_NE(Take(Device::kMobile), "");
  EXPECT_EQ(Rows(all),
            "M1|2|1|1|0|0 M1|3|1|1|1|1 M2|1|0|0|1|1 M3|2|0|0|0|0 M4|1|0|0|1|1 M4|3|0|0|1|1");
}

TEST_P(HistoryCommand, OnlyWhatWasShownIsMarked) {
  Peer("M1", "1", "2", "apples", "0111");
  Peer("M2", "1", "2", "pears", "0111");
  options_.search = "pears";
  EXPECT_THAT(Take(), HasSubstr("pears"));
  EXPECT_EQ(Rows("select Msg_ID,IsAck3 from Messeng_Text order by Msg_ID"), "M1|1 M2|0");
}

TEST_P(HistoryCommand, NoticeIsMarkedForOneReceiverAndDevice) {
  Notice("N1", "1", "2", "title");
  Do("insert into Notice_Acks(Msg_ID,MyID,YouID,IsAck1,IsAck2) values('N1','1','3',1,1)");
  EXPECT_EQ(Take(), "2026-03-04 07:00:00 * notice of Ann Lee (1): title - the content\n");
  EXPECT_EQ(Rows("select YouID,IsAck1,IsAck2 from Notice_Acks order by YouID"), "2|0|1 3|1|1");
  EXPECT_EQ(Take(), "");
  EXPECT_NE(Take(Device::kMobile), "");
  EXPECT_EQ(Rows("select YouID,IsAck1,IsAck2 from Notice_Acks order by YouID"), "2|0|0 3|1|1");
}

TEST_P(HistoryCommand, GroupsMarkRisesForOneMemberAndDevice) {
  Group("G1", "1", "one");
  Group("G2", "2", "own");
  Do("update Clot_Form set last_ack_typeid2=2 where UserID='2'");  // posted from the phone
  Group("G3", "3", "three");
  EXPECT_EQ(Take(),
            "2026-03-04 06:00:00 * [Team (Clot000001)] Ann Lee (1): one\n"
            "2026-03-04 06:00:00 * [Team (Clot000001)] you: own\n"
            "2026-03-04 06:00:00 * [Team (Clot000001)] 蔡 (3): three\n");
  const char* marks =
      "select UserID,last_ack_typeid1,last_ack_typeid2,last_ack_typeid3,"
      "last_ack_typeid4 from Clot_Form order by UserID";
  EXPECT_EQ(Rows(marks), "1|0|0|0|0 2|3|2|0|0 3|0|0|0|0");
  EXPECT_EQ(Take(), "");
  EXPECT_EQ(Take(Device::kMobile), "2026-03-04 06:00:00 * [Team (Clot000001)] 蔡 (3): three\n");
  EXPECT_EQ(Rows(marks), "1|0|0|0|0 2|3|3|0|0 3|0|0|0|0");
}

TEST_P(HistoryCommand, GroupsMarkStopsInFrontOfWhatWasNotShown) {
  for (const char* id : {"G1", "G2", "G3", "G4"})
    Group(id, "1", std::string(id) == "G3" ? "b" : "a");
  options_.search = ": a";  // of no message
  EXPECT_EQ(Take(), "");
  options_.search = "a";
  Take();
  EXPECT_EQ(Rows("select last_ack_typeid1 from Clot_Form where UserID='2'"), "2");
  options_.search = "";
  Take();
  EXPECT_EQ(Rows("select last_ack_typeid1 from Clot_Form where UserID='2'"), "4");
}

TEST_P(HistoryCommand, MarkingTheWholeHistoryLowersNoMark) {
  for (const char* id : {"G1", "G2", "G3"}) Group(id, "1");
  Do("update Clot_Form set last_ack_typeid1=9 where UserID='2'");
  options_.markRead = true;
  EXPECT_THAT(History(), Not(HasSubstr("*")));
  EXPECT_EQ(Rows("select last_ack_typeid1 from Clot_Form where UserID='2'"), "9");
}

TEST_P(HistoryCommand, ReceiptThatADeviceOwesMakesAGroupMessageUnread) {
  Group("G1", "1", "one");
  Group("G2", "1", "two");
  Do("update Clot_Form set last_ack_typeid1=2,last_ack_typeid2=2");
  Do("update Msg_Acks set IsReceipt1=1,IsReceipt2=1 where Msg_ID='G1'");
  EXPECT_EQ(Take(), "2026-03-04 06:00:00 * [Team (Clot000001)] Ann Lee (1): one\n");
  EXPECT_EQ(Rows("select Msg_ID,YouID,IsReceipt1,IsReceipt2 from Msg_Acks order by Msg_ID,YouID"),
            "G1|2|0|1 G1|3|1|1 G2|2|0|0 G2|3|0|0");
  EXPECT_EQ(Take(), "");
}

TEST_P(HistoryCommand, MarkThatTheServerCouldNotKeepIsStoodInForByTheOwnLastMessage) {
  BeginTypeIdsBehind(40000);
  for (const char* id : {"G1", "G2", "G3", "G4"})
    Group(id, std::string(id) == "G3" ? "2" : "1", id);
  EXPECT_EQ(Take(), "2026-03-04 06:00:00 * [Team (Clot000001)] Ann Lee (1): G4\n");
  EXPECT_EQ(Rows("select last_ack_typeid1 from Clot_Form where UserID='2'"), "40004");
  EXPECT_EQ(Take(), "");
}

TEST_P(HistoryCommand, JoiningLateBringsNoOldMessages) {
  BeginTypeIdsBehind(40000);
  Do("insert into Clot_Form(UpperID,UserID) values('Clot000001','4')");
  Do("insert into Users_ID(UserID,UserName,FcName) values('4','dee','Dee')");
  Group("G1", "1", "old");
  Group("G2", "1", "new");
  Do("insert into Msg_Acks(Msg_ID,ClotID,MyID,YouID) values('G2','Clot000001','1','4')");
  options_.user = "4";
  EXPECT_EQ(Unread(), "2026-03-04 06:00:00 * [Team (Clot000001)] Ann Lee (1): new\n");
}

TEST_P(HistoryCommand, LostOutputMarksNothing) {
  Peer("M1", "1", "2", "x", "0111");
  options_.onlyUnread = options_.markRead = true;
  std::ostringstream out, err;
  out.setstate(std::ios::failbit);
  EXPECT_EQ(RunHistory(options_, out, err), 1);
  EXPECT_EQ(err.str(), "vnqctl history: the output is lost; nothing was marked as read\n");
  EXPECT_EQ(Rows("select IsAck3 from Messeng_Text"), "1");
}

TEST_P(HistoryCommand, UnknownNamesAreTold) {
  options_.user = "zoe";
  EXPECT_EQ(History(), "");
  EXPECT_EQ(error_, "vnqctl history: --user zoe: there is no such user\n");
  options_.user = "2";
  options_.with = "zoe";
  History();
  EXPECT_EQ(error_, "vnqctl history: --with zoe: there is no such user\n");
  options_.with = "";
  options_.group = "Nobody";
  History();
  EXPECT_EQ(error_, "vnqctl history: --group Nobody: there is no such group\n");
  Do("insert into Users_ID(UserID,UserName) values('8','ben')");
  options_.user = "ben";
  History();
  EXPECT_THAT(error_, HasSubstr("--user ben: several users have this name"));
}

INSTANTIATE_TEST_SUITE_P(Engines, HistoryCommand,
                         testing::Values(DatabaseEngine::kSqlite, DatabaseEngine::kPostgres,
                                         DatabaseEngine::kSqlServer),
                         [](const auto& engine) {
                           switch (engine.param) {
                             case DatabaseEngine::kSqlite:
                               return "Sqlite";
                             case DatabaseEngine::kPostgres:
                               return "PostgreSql";
                             case DatabaseEngine::kSqlServer:
                               break;
                           }
                           return "SqlServer";
                         });

// --- On SQLite alone ---

class HistoryFailure : public HistoryFolder {};

TEST_P(HistoryFailure, StepThatFailsMarksNothingAtAll) {
  Peer("M1", "1", "2", "x", "0111");
  Notice("N1", "1", "2", "title");
  Do("create trigger t before update on Notice_Acks begin select raise(abort,'no'); end");
  EXPECT_NE(Take(), "");
  EXPECT_EQ(exitCode_, 1);
  EXPECT_THAT(error_, HasSubstr("nothing was marked as read"));
  EXPECT_EQ(Rows("select IsAck3 from Messeng_Text"), "1");
}

TEST_P(HistoryFailure, FolderThatIsNoneIsTold) {
  options_.appPath = "/nowhere";
  History();
  EXPECT_THAT(error_, HasSubstr("/nowhere"));
}

INSTANTIATE_TEST_SUITE_P(Engines, HistoryFailure, testing::Values(DatabaseEngine::kSqlite),
                         [](const auto&) { return "Sqlite"; });

// --- The command line ---

int Parse(std::vector<std::string> arguments) {
  CLI::App app("vnqctl", "vnqctl");
  int exitCode = 0;
  AddHistoryCommand(app, exitCode);
  std::vector<std::string> all = {"history", "--app-path", "/nowhere", "--user", "ben"};
  all.insert(all.end(), arguments.begin(), arguments.end());
  std::reverse(all.begin(), all.end());
  try {
    app.parse(all);
  } catch (const CLI::ParseError& error) {
    return 2;
  }
  return exitCode;
}

TEST(HistoryArguments, ThoseThatMeanNothingAreRefused) {
  EXPECT_EQ(Parse({}), 1);
  EXPECT_EQ(Parse({"--since", "2026-03-04 05:06", "--device", "mobile", "--limit", "3"}), 1);
  EXPECT_EQ(Parse({"--since", "yesterday"}), 2);
  EXPECT_EQ(Parse({"--since", "2026-02-30"}), 2);
  EXPECT_EQ(Parse({"--since", "12:30"}), 2);
  EXPECT_EQ(Parse({"--device", "tablet"}), 2);
  EXPECT_EQ(Parse({"--limit", "0"}), 2);
  EXPECT_EQ(Parse({"--with", "a", "--group", "b"}), 2);
  EXPECT_EQ(Parse({"--notices", "--group", "b"}), 2);
  EXPECT_EQ(Parse({"--serve"}), 2) << "requests say whose history they want";
}

}  // namespace
}  // namespace vnq
