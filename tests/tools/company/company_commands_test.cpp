// The everyday of a company: departments, roles, groups, words, people.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "tests/harness/app_folder.h"
#include "tests/harness/lines.h"
#include "tests/harness/own_address.h"
#include "tests/harness/real_process.h"
#include "tests/harness/shell_run.h"
#include "tests/harness/sqlite_test_database.h"
#include "tools/folder/init_command.h"

namespace vnq {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class CompanyCommands : public testing::Test {
 protected:
  CompanyCommands() {
    std::ostringstream said;
    EXPECT_EQ(RunInit({folder_.path(), true, "en_US.UTF-8"}, said, said), 0) << said.str();
  }

  // By the variable, as people use it who work on one folder.
  ShellRun Ctl(const std::string& command) {
    return RunInShell("VNQ_APP_PATH=" + folder_.path() + " " VNQ_CTL_PROGRAM " " + command);
  }
  std::string Done(const std::string& command) {
    const ShellRun run = Ctl(command);
    EXPECT_EQ(run.exitCode, 0) << command << ": " << run.output;
    return run.output;
  }
  std::string Refused(const std::string& command) {
    const ShellRun run = Ctl(command);
    EXPECT_EQ(run.exitCode, 1) << command << ": " << run.output;
    return run.output;
  }
  Lines Rows(const std::string& select) {
    return SqliteFile(folder_.path() + "/Web/Data/vnq.db").Rows(select);
  }
  void Run(const std::string& statements) {
    SqliteFile(folder_.path() + "/Web/Data/vnq.db").Run(statements);
  }
  int Counter(const std::string& name) {
    return std::stoi(Rows("select " + name + " from UpDateForm where id=1")[0]);
  }

  AppFolder folder_;
};

TEST_F(CompanyCommands, ADepartmentIsMadeRenamedAndRemoved) {
  const int before = Counter("Users_RoVesr");
  EXPECT_EQ(Done("department add Sales"), "000004\n");
  EXPECT_EQ(Done("department add 'East Sales' --parent Sales"), "000005\n");
  Done("department rename 000005 West");
  EXPECT_EQ(Rows("select TypeID,ParentID,TypeName from Users_Ro where TypeID>'000003'"),
            Lines({"000004|000001|Sales", "000005|000004|West"}));
  EXPECT_THAT(Refused("department remove Sales"),
              HasSubstr("0 people and 1 departments in it; --move-to another one"));
  Done("department remove Sales --move-to 000002");
  EXPECT_EQ(Rows("select ParentID from Users_Ro where TypeName='West'"), Lines({"000002"}));
  EXPECT_EQ(Counter("Users_RoVesr"), before + 4);
  EXPECT_THAT(Done("department list"), HasSubstr("000005  000002  West"));
}

TEST_F(CompanyCommands, ADepartmentWithPeopleIsNotRemovedBeforeTheyHaveAnother) {
  EXPECT_THAT(Refused("department remove 000002"), HasSubstr("has 2 people"));
  const int before = Counter("Users_IDVesr");
  Done("department remove 000002 --move-to 000003");
  EXPECT_EQ(Rows("select count(*) from Users_ID where UppeId='000002'"), Lines({"0"}));
  EXPECT_EQ(Rows("select UppeId,Users_IDVesr from Users_ID where UserName='alice'"),
            Lines({"000003|1"}));
  EXPECT_EQ(Counter("Users_IDVesr"), before + 1);
}

TEST_F(CompanyCommands, WhatIsNotThereOrCannotTravelIsNamed) {
  EXPECT_EQ(Refused("department rename Nobody x"),
            "vnqctl department: there is no department Nobody\n");
  EXPECT_EQ(Refused("department add \"it's\""),
            "vnqctl department: the name: no ' can stand in it\n");
  EXPECT_THAT(Refused("department add 'a|b'"), HasSubstr("no \"|\""));
  EXPECT_THAT(Refused("group remove none"), HasSubstr("there is no group none"));
  EXPECT_THAT(Refused("role set 77 --permissions 1"), HasSubstr("there is no role 77"));
  EXPECT_THAT(Refused("user set nobody --job x"), HasSubstr("there is no user nobody"));
  EXPECT_THAT(Refused("keyword remove none"), HasSubstr("there is no word none"));
  Run("insert into Users_Ro(TypeID,ParentID,TypeName) values('000009','000001','Twice'),"
      "('000010','000001','Twice')");
  EXPECT_THAT(Refused("department remove Twice"),
              HasSubstr("several are called Twice: 000009, 000010; name one of these"));
}

TEST_F(CompanyCommands, RolesHaveNumbersAndPeople) {
  EXPECT_EQ(Done("role add --permissions 1,3,19 --default"), "3\n");
  EXPECT_EQ(Rows("select ID,DefaultRole,Permissions from Role order by ID"),
            Lines({"1|0|", "2|0|3", "3|1|1,3,19"}));
  Done("role give 3 alice ben");
  Done("role give 3 ben");
  EXPECT_EQ(Rows("select UserID from Users_Role where RoleID=3 order by UserID"),
            Lines({"1", "2"}));
  Done("role take 3 alice");
  Done("role set 3 --permissions 2");
  EXPECT_THAT(Done("role list"), HasSubstr("3   yes      2            1"));
  EXPECT_THAT(Refused("role add --permissions 1,,2"), HasSubstr("numbers joined by commas"));
  Done("role remove 3");
  EXPECT_EQ(Rows("select count(*) from Users_Role where RoleID=3"), Lines({"0"}));
}

TEST_F(CompanyCommands, AGroupGetsTheRowsThatTheServerWrites) {
  const int before = Counter("Clot_RoVesr");
  EXPECT_EQ(Done("group add Plans --creator carol --member alice,ben"), "Clot000002\n");
  EXPECT_EQ(Rows("select TypeName,Sender,Remark from Clot_Ro where TypeID='Clot000002'"),
            Lines({"Plans|Carol Jones|"}));
  EXPECT_EQ(Rows("select ClotInfo from Clot_Pic where ClotID='Clot000002'"), Lines({"0"}));
  EXPECT_EQ(Rows("select UserID,IsAdmin,remark,last_ack_typeid1 from Clot_Form "
                 "where UpperID='Clot000002' order by UserID"),
            Lines({"1|0|Alice Martin|0", "2|0|Ben Carter|0", "3|1|Carol Jones|0"}));
  EXPECT_EQ(Counter("Clot_RoVesr"), before + 1);
  Done("group rename Plans 'New plans'");
  Run("insert into MessengClot_Text(Msg_ID,ClotID,MyID) values('m','Clot000002','1')");
  Done("group leave Clot000002 ben");
  Done("group join Clot000002 ben --admin");
  EXPECT_EQ(Rows("select IsAdmin,last_ack_typeid4 from Clot_Form where UpperID='Clot000002' "
                 "and UserID='2'"),
            Lines({"1|1"}));
  EXPECT_EQ(
      Rows("select TypeName,Users_IDVesr,Users_FormVesr from Clot_Ro where TypeID='Clot000002'"),
      Lines({"New plans|1|2"}));
  EXPECT_THAT(Done("group members 'New plans' --json"),
              HasSubstr(R"("user":"3","name":"Carol Jones")"));
  Done("group remove 'New plans'");
  for (const char* table : {"Clot_Form where UpperID", "Clot_Pic where ClotID",
                            "MessengClot_Text where ClotID", "Clot_Ro where TypeID"}) {
    EXPECT_EQ(Rows(std::string("select count(*) from ") + table + "='Clot000002'"), Lines({"0"}));
  }
}

TEST_F(CompanyCommands, WordsStandInOneRowAKindAndARunningServerReadsThemAgain) {
  RealProcess server(
      {VNQ_SERVER_PROGRAM, "--app-path", folder_.path(), "--bind", AddressOfThisProcess(218)});
  ASSERT_TRUE(server.WaitForWords("ready")) << server.standardError();
  EXPECT_EQ(Done("keyword add bad worse bad"),
            "the server has read 2 masked and 0 blocking words\n");
  EXPECT_EQ(Done("keyword add --block awful"),
            "the server has read 2 masked and 1 blocking words\n");
  EXPECT_EQ(Rows("select col_type,col_keyword from vnq_keyword order by col_type"),
            Lines({"0|bad,worse", "1|awful"}));
  Done("keyword rename worse worst");
  Done("keyword remove awful");
  EXPECT_EQ(Done("keyword list"), "word   kind\nbad    mask\nworst  mask\n");
  EXPECT_THAT(Refused("keyword add 'a,b'"), HasSubstr("no comma"));
  EXPECT_TRUE(server.WaitForWords("keyword lists read again: 2 masked, 0 blocking"));
}

TEST_F(CompanyCommands, APersonIsShownChangedAndRemovedWithAllThatHangsOnIt) {
  Done("user set ben --manager yes --department 000002 --name 'Ben C' --job Boss --phone 42");
  EXPECT_EQ(
      Rows("select IsManager,UppeId,FcName,Jod,Tel1,Users_IDVesr from Users_ID where UserID='2'"),
      Lines({"1|000002|Ben C|Boss|42|1"}));
  const std::string shown = Done("user show ben");
  EXPECT_THAT(shown, HasSubstr("groups         Clot000001"));
  EXPECT_EQ(shown.find("ben-pw-2"), std::string::npos);
  EXPECT_THAT(Done("user show ben --json"), HasSubstr(R"("login name":"ben","name":"Ben C")"));
  EXPECT_THAT(Refused("user set ben"), HasSubstr("nothing to set"));
  EXPECT_EQ(Ctl("user set ben --manager perhaps").exitCode, 2);
  Run("insert into Fav_Form(UserID,MyID) values('1','2'),('2','1')");
  Done("user delete ben");
  EXPECT_EQ(Rows("select Fav_FormVesr from Users_ID where UserID='1'"), Lines({"1"}));
  EXPECT_EQ(Rows("select Users_FormVesr from Clot_Ro"), Lines({"1"}));
  for (const char* where :
       {"Users_ID where UserID", "Users_Pic where UserID", "Users_Role where UserID",
        "Clot_Form where UserID", "Fav_Form where UserID", "Fav_Form where MyID",
        "PtpFolder where MyID", "Col_Ro where MyID"}) {
    EXPECT_EQ(Rows(std::string("select count(*) from ") + where + "='2'"), Lines({"0"})) << where;
  }
}

TEST_F(CompanyCommands, LogoutEndsTheSessionOnTheRunningServer) {
  const std::string address = AddressOfThisProcess(219);
  EXPECT_THAT(Refused("user logout alice"), StartsWith("vnqctl user: no server answers in "));
  RealProcess server({VNQ_SERVER_PROGRAM, "--app-path", folder_.path(), "--bind", address});
  ASSERT_TRUE(server.WaitForWords("ready")) << server.standardError();
  EXPECT_EQ(Done("user logout alice"), "0 sessions ended\n");
  const std::string chat =
      "mkfifo " + folder_.path() +
      "/f; (VNQ_PASSWORD=alice-pw-1 " VNQ_CTL_PROGRAM " chat --server " + address +
      " --user alice --state-file " + folder_.path() + "/names < " + folder_.path() + "/f > " +
      folder_.path() +
      "/said 2>&1 &) ; "
      "exec 7> " +
      folder_.path() + "/f; for i in $(seq 100); do grep -q 'logged in' " + folder_.path() +
      "/said && break; sleep 0.1; done; " VNQ_CTL_PROGRAM " user logout alice --app-path " +
      folder_.path() +
      " --text 'See you'; "
      "for i in $(seq 50); do grep -q 'See you' " +
      folder_.path() + "/said && break; sleep 0.1; done; cat " + folder_.path() + "/said";
  const ShellRun run = RunInShell(chat);
  EXPECT_THAT(run.output, HasSubstr("1 sessions ended\n"));
  EXPECT_THAT(run.output, HasSubstr("See you"));
  EXPECT_EQ(Rows("select UserIcoLine from Users_ID where UserName='alice'"), Lines({"0"}));
}

// --- The database: upgrade and retention ---

TEST_F(CompanyCommands, AnUpgradeMakesWhatIsMissingOnceAndATrialNothing) {
  EXPECT_EQ(Done("upgrade"), "nothing is missing, schema version 1\n");
  Run("drop table Kefu; alter table Users_ID drop column say; drop index idx_Clot_Form_UpperID;"
      "drop table vnq_schema");
  const std::string tried = Done("upgrade --dry-run");
  EXPECT_THAT(tried, HasSubstr("alter table Users_ID add column say TEXT COLLATE NOCASE;\n"));
  EXPECT_THAT(tried, HasSubstr("create table if not exists Kefu ("));
  EXPECT_THAT(tried, HasSubstr("insert into vnq_schema(version) values(1);\n"
                               "not done yet: 5 statements, schema version 1\n"));
  EXPECT_EQ(Done("upgrade --dry-run"), tried);
  EXPECT_THAT(Done("upgrade"), HasSubstr("\ndone: 5 statements, schema version 1\n"));
  EXPECT_EQ(Done("upgrade --json"), "[]\n");
  EXPECT_EQ(Rows("select version from vnq_schema"), Lines({"1"}));
  EXPECT_EQ(Rows("select count(*) from Users_ID where say is null"),
            Rows("select count(*) from Users_ID"));
}

TEST_F(CompanyCommands, InitNotesTheVersionOfADatabaseThatHasNone) {
  Run("drop table vnq_schema");
  EXPECT_THAT(Done("init"), HasSubstr("vnq.db: schema version 1\n"));
  EXPECT_THAT(Done("init"), HasSubstr("everything is there already\n"));
}

TEST_F(CompanyCommands, ADatabaseOfANewerVersionIsLeftAlone) {
  Run("update vnq_schema set version=2; drop table Kefu");
  const std::string why =
      "the database is of schema version 2, and this program knows it up to 1; install the";
  EXPECT_THAT(Refused("upgrade"), StartsWith("vnqctl upgrade: " + why));
  EXPECT_THAT(Refused("upgrade --dry-run"), StartsWith("vnqctl upgrade: " + why));
  EXPECT_THAT(Refused("init"), HasSubstr(why));
  EXPECT_EQ(Rows("select count(*) from sqlite_master where name='Kefu'"), Lines({"0"}));
}

TEST_F(CompanyCommands, AColumnThatSqliteCannotAddStaysMissingAndSoDoesTheVersion) {
  Run("alter table MessengClot_Text drop column To_Date; delete from vnq_schema");
  EXPECT_THAT(Done("upgrade"), HasSubstr("column To_Date is missing"));
  EXPECT_EQ(Rows("select count(*) from vnq_schema"), Lines({"0"}));
}

TEST_F(CompanyCommands, RetentionDeletesWhatTheSettingsKeepNoLongerAndATrialOnlyCounts) {
  Run("insert into Messeng_Text(Msg_ID,To_Date) values('old','2001-01-01'),('new','2999-01-01');"
      "insert into LeaveFile(Msg_ID,ToDate) values('old','2001-01-01')");
  EXPECT_THAT(Done("retention run"), StartsWith("the settings keep everything: [delete_chats]"));
  Done("setting set delete_chats.options 1");
  Done("setting set delete_offline_files.options 2");
  const std::string tried = Done("retention run --dry-run --json");
  EXPECT_THAT(tried, HasSubstr(R"({"table":"Messeng_Text","rows":"1"})"));
  EXPECT_THAT(tried, HasSubstr(R"({"table":"LeaveFile","rows":"1"})"));
  EXPECT_EQ(Rows("select count(*) from LeaveFile"), Lines({"1"}));
  EXPECT_THAT(Done("retention run"), testing::EndsWith("deleted\n"));
  EXPECT_EQ(Rows("select Msg_ID from Messeng_Text"), Lines({"new"}));
  EXPECT_EQ(Rows("select count(*) from LeaveFile"), Lines({"0"}));
}

}  // namespace
}  // namespace vnq
