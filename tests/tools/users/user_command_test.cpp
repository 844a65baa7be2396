#include "tools/users/user_command.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sstream>

#include <CLI/CLI.hpp>

#include "platform/sql/sql_driver.h"
#include "tests/harness/app_folder.h"
#include "tests/harness/as_nobody.h"
#include "tools/folder/init_command.h"

namespace vnq {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class UserCommand : public ::testing::Test {
 protected:
  UserCommand() {
    unsetenv("VNQ_PASSWORD");
    options_.appPath = folder_.path();
    options_.user.name = "zoe";
    options_.password = "pw zoe";
    std::ostringstream said;
    EXPECT_EQ(RunInit({folder_.path(), false, "zh_CN"}, said, said), 0) << said.str();
    Execute("insert into Users_Ro values('000001','000000','Company','','')");
    Execute("insert into Role(ID,DefaultRole) values(7,1)");
  }

  std::unique_ptr<SqlDriver> Database() {
    SqliteOptions options;
    options.path = folder_.path() + "/Web/Data/vnq.db";
    return OpenSqlite(options);
  }
  void Execute(const std::string& statement) {
    const auto driver = Database();
    EXPECT_TRUE(driver->Execute(statement, {})) << driver->LastError();
  }
  /// Cells joined by '|', rows by line ends.
  std::string Query(const std::string& statement) {
    const auto driver = Database();
    SqlRows rows;
    EXPECT_TRUE(driver->Query(statement, {}, rows)) << driver->LastError();
    std::string text;
    for (size_t i = 0; i < rows.cells.size(); ++i) {
      const SqlValue& cell = rows.cells[i];
      if (i > 0) text += i % rows.columns->size() == 0 ? "\n" : "|";
      text += cell.kind == SqlValue::Kind::kInteger ? std::to_string(cell.integer) : cell.text;
    }
    return text;
  }

  static std::ostringstream& Fresh(std::ostringstream& stream) {
    stream.str("");
    return stream;
  }

  int Add() { return RunUserAdd(options_, Fresh(out_), Fresh(err_)); }
  int Add(const std::string& name) {
    options_.user.name = name;
    return Add();
  }
  int Import(const std::string& csv, bool isWatched = false) {
    folder_.Write("users.csv", csv);
    options_.csvFile = folder_.path() + "/users.csv";
    options_.import.isWatched = isWatched;
    return Add();
  }
  int List(bool json = false) {
    options_.json = json;
    return RunUserList(options_, Fresh(out_), Fresh(err_));
  }
  int Passwd(const std::string& user, const std::string& password) {
    options_.names = {user};
    options_.password = password;
    return RunUserPasswd(options_, Fresh(out_), Fresh(err_));
  }
  int Enable(const std::vector<std::string>& users, bool isEnabled) {
    options_.names = users;
    return RunUserEnable(options_, isEnabled, Fresh(out_), Fresh(err_));
  }
  std::string Out() const { return out_.str(); }
  std::string Err() const { return err_.str(); }

  AppFolder folder_;
  UserOptions options_;
  std::ostringstream out_, err_;
};

// --- add ---

TEST_F(UserCommand, AddMakesWhatAnAcceptedApplicationMakes) {
  options_.user.displayName = "Zoe Long";
  options_.user.job = "Pilot";
  options_.user.telephone = "555";
  options_.user.constellation = "Leo";
  ASSERT_EQ(Add(), 0) << Err();
  EXPECT_EQ(Out(), "1\n");
  EXPECT_EQ(Query("select UppeId,UserIco,UserID,FcName,UserPaws,UserName,age,Tel1,Tel2,"
                  "Constellation,remark,Jod,UserIcoLine,UserState from Users_ID"),
            "000001|0|1|Zoe Long|pw zoe|zoe||555||Leo||Pilot|0|1");
  EXPECT_EQ(Query("select * from Users_Pic"), "1|0");
  EXPECT_EQ(Query("select * from PtpFolder"), "1|VNQ|0|3|1|zoe");
  EXPECT_EQ(Query("select * from Col_Ro"), "VNQ|1");
  EXPECT_EQ(Query("select * from Users_Role"), "1|7");
  EXPECT_EQ(Query("select Users_IDVesr from UpDateForm"), "1");
}

TEST_F(UserCommand, AddTakesTheNumberAboveTheHighest) {
  Execute("insert into Users_ID(UserID) values('9'),('10')");
  EXPECT_EQ(Add(), 0);
  EXPECT_EQ(Out(), "11\n");
}

TEST_F(UserCommand, AddRefusesATakenNameInAnyLetterCase) {
  ASSERT_EQ(Add(), 0);
  EXPECT_EQ(Add("ZOE"), 1);
  EXPECT_THAT(Err(), HasSubstr("the login name ZOE is taken by zoe"));
  EXPECT_EQ(Query("select count(*) from Users_ID"), "1");
}

TEST_F(UserCommand, AddTakesThePasswordWithoutBlanksAtItsEnds) {
  options_.password = "  a b ";
  ASSERT_EQ(Add(), 0);
  EXPECT_EQ(Query("select UserPaws from Users_ID"), "a b");
}

TEST_F(UserCommand, AddRefusesWhatCouldNeverLogIn) {
  for (const char* name : {"", "o'neil", "a|b", "a.+b", "a\nb", "Zo\xC3\xAB\xF0\x9F\x98\x80"}) {
    EXPECT_EQ(Add(name), 1) << name;
    EXPECT_THAT(Err(), StartsWith("vnqctl user: the login name")) << name;
  }
  for (const char* password : {"   ", "it's", "a|b", "a.+b"}) {
    options_.password = password;
    EXPECT_EQ(Add("zoe"), 1) << password;
    EXPECT_THAT(Err(), StartsWith("vnqctl user: the password")) << password;
  }
  EXPECT_EQ(Query("select count(*) from Users_ID"), "0");
}

TEST_F(UserCommand, AddWithADepartmentThatIsNotThereSaysWhereTheUserWent) {
  options_.user.department = "777";
  EXPECT_EQ(Add(), 0);
  EXPECT_EQ(Err(), "note: there is no department 777; zoe belongs to 000001\n");
  EXPECT_EQ(Query("select UppeId from Users_ID"), "000001");
}

TEST_F(UserCommand, AddMayLeaveTheAccountDisabled) {
  options_.user.isEnabled = false;
  EXPECT_EQ(Add(), 0);
  EXPECT_EQ(Query("select UserState from Users_ID"), "0");
}

TEST_F(UserCommand, AddThatFailsHalfWayLeavesNothing) {
  Execute("drop table Col_Ro");
  EXPECT_EQ(Add(), 1);
  EXPECT_THAT(Err(), HasSubstr("nothing was changed"));
  EXPECT_THAT(Err(), HasSubstr("Col_Ro"));
  EXPECT_EQ(Query("select count(*) from Users_ID"), "0");
  EXPECT_EQ(Query("select Users_IDVesr from UpDateForm"), "0");
}

TEST_F(UserCommand, AddReadsThePasswordFromAFileOrTheEnvironment) {
  options_.password.clear();
  options_.passwordFile = folder_.path() + "/password";
  folder_.Write("password", "from file\n");
  EXPECT_EQ(Add("zoe"), 0);
  options_.passwordFile.clear();
  setenv("VNQ_PASSWORD", "from environment", 1);
  EXPECT_EQ(Add("max"), 0);
  unsetenv("VNQ_PASSWORD");
  EXPECT_EQ(Query("select UserPaws from Users_ID"), "from file\nfrom environment");
}

TEST_F(UserCommand, AddAsksForThePasswordWithoutEcho) {
  options_.password.clear();
  int terminal = -1;
  const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
  ASSERT_GE(child, 0);
  if (child == 0) _exit(RunUserAdd(options_, out_, err_));
  std::string shown;
  char buffer[256];
  for (ssize_t count = 0; shown.find("Password: ") == std::string::npos;) {
    count = read(terminal, buffer, sizeof buffer);
    if (count <= 0) break;
    shown.append(buffer, static_cast<size_t>(count));
  }
  ASSERT_EQ(write(terminal, "typed\n", 6), 6);
  for (ssize_t count = 0; (count = read(terminal, buffer, sizeof buffer)) > 0;) {
    shown.append(buffer, static_cast<size_t>(count));
  }
  int status = 0;
  waitpid(child, &status, 0);
  close(terminal);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(shown.find("typed"), std::string::npos);
  EXPECT_EQ(Query("select UserPaws from Users_ID"), "typed");
}

// --- add --csv ---

TEST_F(UserCommand, ImportAddsEveryLineAndPrintsTheIds) {
  EXPECT_EQ(Import("zoe,pw1,Zoe Long,000001,Pilot\nmax,pw2\n"), 0) << Err();
  EXPECT_EQ(Out(), "1\tzoe\n2\tmax\n");
  EXPECT_EQ(Err(), "");
  EXPECT_EQ(Query("select UserID,UserName,UserPaws,FcName,Jod from Users_ID"),
            "1|zoe|pw1|Zoe Long|Pilot\n2|max|pw2|max|");
  EXPECT_EQ(Query("select count(*) from Users_Role"), "2");
}

TEST_F(UserCommand, ImportTakesColumnsByTheirHeading) {
  EXPECT_EQ(Import("FcName,UserPaws,UserName\nZoe Long,pw1,zoe\n"), 0) << Err();
  EXPECT_EQ(Query("select UserName,UserPaws,FcName from Users_ID"), "zoe|pw1|Zoe Long");
}

TEST_F(UserCommand, ImportReportsEachBadLineAndGoesOn) {
  EXPECT_EQ(Import("name,password\n"
                   "zoe,pw1\n"
                   "\n"
                   "nopassword\n"
                   "Zoe,pw2\n"
                   "\"open,pw\n"
                   "a|b,pw\n"
                   "x,y,z\n"
                   "max,pw3\n"),
            1);
  EXPECT_EQ(Out(), "1\tzoe\n2\tmax\n");
  EXPECT_THAT(Err(), StartsWith("line 4: the password is empty\n"
                                "line 5: the login name Zoe is taken by zoe\n"
                                "line 6: a quote is not closed\n"
                                "line 7: the login name: "));
  EXPECT_THAT(Err(), HasSubstr("line 8: more cells than columns\n"));
  EXPECT_THAT(Err(), HasSubstr("added 2, bad lines 5\n"));
}

TEST_F(UserCommand, ImportOfAnUnknownColumnAddsNobody) {
  EXPECT_EQ(Import("name,password,shoe\nzoe,pw1,43\n"), 1);
  EXPECT_THAT(Err(), StartsWith("line 1: there is no column \"shoe\"; there are: name,password,"));
  EXPECT_EQ(Query("select count(*) from Users_ID"), "0");
}

TEST_F(UserCommand, ImportOfAHeadingThatIsUnknownAddsNobodyCalledLikeIt) {
  EXPECT_EQ(Import("login,password\nzoe,pw1\n"), 1);
  EXPECT_THAT(Err(), StartsWith("line 1: there is no column \"login\"; there are: name,password,"));
  EXPECT_EQ(Import("User Name;Pwd\nzoe;pw1\n"), 1);
  EXPECT_THAT(Err(), StartsWith("line 1: there is no column \"User Name\""));
  EXPECT_EQ(Import("department,password\n1,pw1\n"), 1);
  EXPECT_THAT(Err(), StartsWith("line 1: the heading has no column \"name\""));
  EXPECT_EQ(Import("name,password,Name\nzoe,pw1,max\n"), 1);
  EXPECT_THAT(Err(), StartsWith("line 1: the column \"Name\" stands there twice"));
  EXPECT_EQ(Query("select count(*) from Users_ID"), "0");
}

TEST_F(UserCommand, ImportTakesALineForAnAccountWhereThereIsNoHeading) {
  options_.import.mayHaveHeading = false;
  EXPECT_EQ(Import("zoe,password\nname,pw2\n"), 0) << Err();
  EXPECT_EQ(Query("select UserName,UserPaws from Users_ID"), "zoe|password\nname|pw2");
}

TEST_F(UserCommand, ImportReadsSemicolonsAndTabsToo) {
  EXPECT_EQ(Import("name;password;job\nzoe;a,b;Pilot\n"), 0) << Err();
  EXPECT_EQ(Import("max\tpw2\tMax, the short\n"), 0) << Err();
  EXPECT_EQ(Import("Name \t Password\nlee\tpw4\n"), 0) << Err();
  EXPECT_EQ(Import("ann;pw3;Ann Lee\n"), 0) << Err();
  EXPECT_EQ(Query("select UserName,UserPaws,FcName from Users_ID"),
            "zoe|a,b|zoe\nmax|pw2|Max, the short\nlee|pw4|lee\nann|pw3|Ann Lee");
}

TEST_F(UserCommand, ImportAsADryRunSaysWhatItWouldAddAndAddsNobody) {
  ASSERT_EQ(Import("zoe,pw1\n"), 0) << Err();
  options_.import.isDryRun = true;
  EXPECT_EQ(Import("name,password,department\nmax,pw2,777\nzoe,pw3\nMAX,pw4\nann,\n"), 1);
  EXPECT_EQ(Out(), "would add\tmax\n");
  EXPECT_EQ(Err(),
            "line 2: note: there is no department 777; max belongs to 000001\n"
            "line 3: the login name zoe is taken by zoe\n"
            "line 4: the login name MAX is taken by a line above\n"
            "line 5: the password is empty\n"
            "vnqctl user: " +
                options_.csvFile + ": would add 1, bad lines 3\n");
  EXPECT_EQ(Query("select UserName from Users_ID"), "zoe");
  EXPECT_EQ(Query("select count(*) from Users_Pic"), "1");
  options_.import.isDryRun = false;
  EXPECT_EQ(Import("max,pw2\n"), 0) << Err();
  EXPECT_EQ(Out(), "2\tmax\n");
}

TEST_F(UserCommand, DatabaseThatMayNotBeReadIsNotTakenForMissing) {
  chmod((folder_.path() + "/Web/Data/vnq.db").c_str(), 0);
  const std::string said = AsNobody([&] {
    options_.names = {"zoe"};
    RunUserList(options_, Fresh(out_), Fresh(err_));
    return Err();
  });
  EXPECT_THAT(said, HasSubstr("vnqctl user: " + folder_.path() +
                              "/Web/Data/vnq.db cannot be read by"
                              " user "));
  EXPECT_THAT(said, Not(HasSubstr("vnqctl init")));
}

TEST_F(UserCommand, ImportShowsAProgressBarToWhoeverWatches) {
  EXPECT_EQ(Import("zoe,pw1\nmax,pw2\n", true), 0);
  EXPECT_THAT(Err(), HasSubstr("50 %  1 of 2"));
}

TEST_F(UserCommand, ImportOfAMissingFileIsNamed) {
  options_.csvFile = folder_.path() + "/none.csv";
  EXPECT_EQ(Add(), 1);
  EXPECT_THAT(Err(), HasSubstr("cannot read " + options_.csvFile));
}

TEST_F(UserCommand, ImportOfAThousandUsersIsQuick) {
  std::string csv;
  for (int i = 1; i <= 1000; ++i) csv += "user" + std::to_string(i) + ",pw\n";
  EXPECT_EQ(Import(csv), 0);
  EXPECT_EQ(Query("select count(*),max(clng(UserID)) from Users_ID"), "1000|1000");
}

// --- list ---

TEST_F(UserCommand, ListAlignsItsColumnsInOrderOfTheIds) {
  Execute(
      "insert into Users_ID(UserID,UserName,FcName,UppeId,UserState,IsManager,UserIcoLine)"
      " values('10','zoe','Zoe Long','000001',1,1,1),('9','张敏','张敏','000001',0,0,3),"
      "('guest','guest',NULL,NULL,NULL,NULL,NULL)");
  EXPECT_EQ(List(), 0);
  EXPECT_EQ(Out(),
            "UserID  login name  name      department  state     manager  presence\n"
            "9       张敏        张敏      000001      disabled  no       phone\n"
            "10      zoe         Zoe Long  000001      enabled   yes      online\n"
            "guest   guest                             enabled   no       offline\n");
}

TEST_F(UserCommand, ListAsJsonNamesTheColumns) {
  Execute(
      "insert into Users_ID(UserID,UserName,FcName,UppeId,UserState,IsManager,UserIcoLine)"
      " values('1','a\"b\\c','张敏' || char(9),'000001',1,NULL,0)");
  EXPECT_EQ(List(true), 0);
  EXPECT_EQ(Out(),
            "[\n{\"UserID\":\"1\",\"UserName\":\"a\\\"b\\\\c\",\"FcName\":\"张敏\\u0009\","
            "\"UppeId\":\"000001\",\"Jod\":\"\",\"Tel1\":\"\",\"UserState\":1,"
            "\"IsManager\":null,\"UserIcoLine\":0,\"LoginTime\":\"\"}\n]\n");
}

TEST_F(UserCommand, ListOfNobodyIsAHeadingOrAnEmptyArray) {
  EXPECT_EQ(List(), 0);
  EXPECT_THAT(Out(), StartsWith("UserID  login name"));
  EXPECT_EQ(List(true), 0);
  EXPECT_EQ(Out(), "[]\n");
}

TEST_F(UserCommand, ListTellsNoPassword) {
  ASSERT_EQ(Add(), 0);
  List();
  EXPECT_THAT(Out(), Not(HasSubstr("pw zoe")));
  List(true);
  EXPECT_THAT(Out(), Not(HasSubstr("pw zoe")));
}

// --- passwd, enable, disable ---

TEST_F(UserCommand, PasswdSetsThePasswordByNameOrId) {
  ASSERT_EQ(Add(), 0);
  EXPECT_EQ(Passwd("ZOE", " new "), 0) << Err();
  EXPECT_EQ(Query("select UserPaws from Users_ID"), "new");
  EXPECT_EQ(Passwd("1", "newer"), 0) << Err();
  EXPECT_EQ(Query("select UserPaws from Users_ID"), "newer");
}

TEST_F(UserCommand, PasswdRefusesWhatCouldNeverLogInAndUnknownUsers) {
  ASSERT_EQ(Add(), 0);
  EXPECT_EQ(Passwd("zoe", "it's"), 1);
  EXPECT_EQ(Passwd("nobody", "new"), 1);
  EXPECT_EQ(Err(), "vnqctl user: there is no user nobody\n");
  EXPECT_EQ(Query("select UserPaws from Users_ID"), "pw zoe");
}

TEST_F(UserCommand, EnableAndDisableSetTheState) {
  ASSERT_EQ(Add("zoe"), 0);
  ASSERT_EQ(Add("max"), 0);
  EXPECT_EQ(Enable({"zoe", "2"}, false), 0);
  EXPECT_EQ(Query("select UserState from Users_ID"), "0\n0");
  EXPECT_EQ(Enable({"max"}, true), 0);
  EXPECT_EQ(Query("select UserState from Users_ID"), "0\n1");
}

TEST_F(UserCommand, UnknownUserIsNamedAndTheOthersAreDone) {
  ASSERT_EQ(Add("zoe"), 0);
  EXPECT_EQ(Enable({"nobody", "zoe", "o'neil"}, false), 1);
  EXPECT_EQ(Err(), "vnqctl user: there is no user nobody\nvnqctl user: there is no user o'neil\n");
  EXPECT_EQ(Query("select UserState from Users_ID"), "0");
}

TEST_F(UserCommand, NameOfSeveralUsersIsRefusedWithTheirIds) {
  Execute("insert into Users_ID(UserID,UserName) values('1','zoe'),('2','zoe')");
  EXPECT_EQ(Enable({"zoe"}, true), 1);
  EXPECT_EQ(Err(), "vnqctl user: several users are called zoe: 1, 2\n");
  EXPECT_EQ(Enable({"2"}, true), 0);
  EXPECT_EQ(Query("select UserID from Users_ID where UserState=1"), "2");
}

// --- The folder and the command line ---

TEST_F(UserCommand, MissingFolderOrDatabaseIsNamed) {
  options_.appPath = folder_.path() + "/none";
  EXPECT_EQ(List(), 1);
  EXPECT_THAT(Err(), HasSubstr("/none: no such folder"));
  options_.appPath = folder_.path();
  std::filesystem::remove(folder_.path() + "/Web/Data/vnq.db");
  EXPECT_EQ(List(), 1);
  EXPECT_THAT(Err(), HasSubstr("vnq.db"));
  EXPECT_FALSE(folder_.Has("Web/Data/vnq.db"));
}

TEST_F(UserCommand, ServerDatabaseWithoutItsSettingsIsNamed) {
  folder_.Write("Web/Data/DataBase.ini", "[server_connection]\nDB_TYPE=mssql\n");
  EXPECT_EQ(List(), 1);
  EXPECT_THAT(Err(), HasSubstr("DataBase.ini: [server_connection] DB_SERVER= is empty"));
  EXPECT_THAT(Err(), HasSubstr("DB_TYPE=mssql"));
}

TEST_F(UserCommand, JetFileIsAnsweredWithTheCommandToRun) {
  folder_.Write("Web/Data/vnq.db", std::string("\0\1\0\0Standard Jet DB\0", 20));
  EXPECT_EQ(List(), 1);
  EXPECT_THAT(Err(), HasSubstr("vnqctl import --from " + folder_.path() + "/Web/Data/vnq.db"));
  EXPECT_THAT(Err(), Not(HasSubstr("makes what is missing")));
}

TEST_F(UserCommand, BadArgumentsAreRefused) {
  const std::vector<std::vector<std::string>> refused = {
      {"user"},
      {"user", "add", "--app-path", "x"},
      {"user", "add", "zoe"},
      {"user", "add", "zoe", "--csv", "f", "--app-path", "x"},
      {"user", "add", "zoe", "--password", "a", "--password-file", "f", "--app-path", "x"},
      {"user", "passwd", "--app-path", "x"},
      {"user", "enable", "--app-path", "x"},
      {"user", "rename", "--app-path", "x"},
  };
  for (const auto& words : refused) {
    CLI::App app;
    int exitCode = 0;
    AddUserCommand(app, exitCode);
    std::vector<std::string> arguments(words.rbegin(), words.rend());
    EXPECT_THROW(app.parse(arguments), CLI::ParseError) << testing::PrintToString(words);
  }
}

TEST_F(UserCommand, CommandLineReachesTheAccounts) {
  CLI::App app;
  int exitCode = -1;
  AddUserCommand(app, exitCode);
  testing::internal::CaptureStdout();
  std::vector<std::string> words = {
      "user",           "add", "zoe",        "--password",  "pw", "--disabled",
      "--display-name", "Zoe", "--app-path", folder_.path()};
  std::reverse(words.begin(), words.end());
  app.parse(words);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "1\n");
  EXPECT_EQ(exitCode, 0);
  EXPECT_EQ(Query("select UserName,FcName,UserPaws,UserState from Users_ID"), "zoe|Zoe|pw|0");
}

}  // namespace
}  // namespace vnq
