// vnqctl init and vnqctl doctor on database servers: one body, one run an engine.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "host/database/schema.h"
#include "tests/tools/schema/server_database.h"
#include "tools/doctor/doctor_command.h"
#include "tools/folder/init_command.h"
#include "tools/schema/upgrade_command.h"

namespace vnq {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class ServerSchema : public ::testing::TestWithParam<DatabaseEngine> {
 protected:
  void SetUp() override {
    if (!server_.isThere()) GTEST_SKIP() << "no " << EngineName(GetParam()) << " to test with";
    server_.Make();
    server_.NameIn(folder_);
  }

  bool IsPostgres() const { return GetParam() == DatabaseEngine::kPostgres; }

  int Init(bool demo = false) {
    out_.str("");
    err_.str("");
    return RunInit({folder_.path(), demo, "en_US"}, out_, err_);
  }
  int Doctor() {
    out_.str("");
    return RunDoctor({folder_.path(), "en_US"}, out_);
  }

  void Execute(std::string_view statement) {
    const auto driver = server_.Open();
    ASSERT_TRUE(driver->Execute(statement, {})) << driver->LastError();
  }
  /// Cells joined by blanks, rows by commas.
  std::string Query(std::string_view statement) { return Query(*server_.Open(), statement); }
  static std::string Query(SqlDriver& driver, std::string_view statement,
                           const std::vector<SqlValue>& values = {}) {
    SqlRows rows;
    EXPECT_TRUE(driver.Query(statement, values, rows)) << driver.LastError();
    std::string text;
    for (size_t i = 0; i < rows.cells.size(); ++i) {
      const SqlValue& cell = rows.cells[i];
      if (i > 0) text += i % rows.columns->size() == 0 ? "," : " ";
      text += cell.kind == SqlValue::Kind::kInteger ? std::to_string(cell.integer) : cell.text;
    }
    return text;
  }

  ServerDatabase server_{GetParam()};
  AppFolder folder_;
  std::ostringstream out_, err_;
};

std::string NameOf(const ::testing::TestParamInfo<DatabaseEngine>& engine) {
  return engine.param == DatabaseEngine::kPostgres ? "PostgreSQL" : "SqlServer";
}

INSTANTIATE_TEST_SUITE_P(Servers, ServerSchema,
                         ::testing::Values(DatabaseEngine::kPostgres, DatabaseEngine::kSqlServer),
                         NameOf);

TEST_P(ServerSchema, InitMakesEveryTableAndTheTwoRows) {
  ASSERT_EQ(Init(), 0) << err_.str();
  EXPECT_THAT(out_.str(),
              HasSubstr("made database " + server_.name() + ": tables 46, indexes 37, rows 2"));
  EXPECT_THAT(out_.str(), Not(HasSubstr("left as it is")));
  for (const TableDef& table : SchemaTables()) {
    const std::string name(table.name);
    const bool hasRow = name == "UpDateForm" || name == "OtherForm";
    EXPECT_EQ(Query("select count(*) as c from " + name), hasRow ? "1" : "0") << name;
  }
  EXPECT_EQ(Query("select * from UpDateForm"), "1 0 0 0 0 0 0 0 0");
}

TEST_P(ServerSchema, RunningInitAgainMakesNothing) {
  ASSERT_EQ(Init(), 0) << err_.str();
  Execute("update UpDateForm set Users_IDVesr=7");
  ASSERT_EQ(Init(), 0) << err_.str();
  EXPECT_THAT(out_.str(), HasSubstr("everything is there already"));
  EXPECT_EQ(Query("select Users_IDVesr from UpDateForm"), "7");
}

TEST_P(ServerSchema, InitMakesWhatWasTakenAway) {
  ASSERT_EQ(Init(), 0) << err_.str();
  Execute("drop table Kefu");
  Execute(IsPostgres() ? "drop index idx_Users_ID_UserID"
                       : "drop index idx_Users_ID_UserID on Users_ID");
  Execute("delete from OtherForm");
  ASSERT_EQ(Init(), 0) << err_.str();
  EXPECT_THAT(out_.str(), HasSubstr("tables 1, indexes 1, rows 1"));
}

TEST_P(ServerSchema, UpgradeAddsAColumnAndLeavesANewerVersionAlone) {
  ASSERT_EQ(Init(), 0) << err_.str();
  Execute("alter table Users_ID drop column say");
  const UpgradeOptions options{.appPath = folder_.path()};
  EXPECT_EQ(RunUpgrade(options, out_, err_), 0) << err_.str();
  EXPECT_THAT(out_.str(), HasSubstr("\ndone: 1 statements, schema version 1\n"));
  EXPECT_EQ(Query("select count(say) as c from Users_ID"), "0");
  Execute("update vnq_schema set version=2");
  EXPECT_EQ(RunUpgrade(options, out_, err_), 1);
  EXPECT_THAT(err_.str(), HasSubstr("the database is of schema version 2, and this program"));
}

TEST_P(ServerSchema, DoctorFindsAColumnThatIsTooShortForStoredHashes) {
  ASSERT_EQ(Init(), 0) << err_.str();
  folder_.Write("platform.ini",
                folder_.ReadBytes("platform.ini") + "\n[protection]\nhash_passwords=yes\n");
  Doctor();
  EXPECT_THAT(out_.str(), Not(HasSubstr("UserPaws")));
  Execute("alter table Users_ID drop column UserPaws");
  Execute(IsPostgres() ? "alter table Users_ID add UserPaws varchar(64)"
                       : "alter table Users_ID add UserPaws nvarchar(64) null");
  EXPECT_EQ(Doctor(), 1);
  EXPECT_THAT(out_.str(),
              HasSubstr("/platform.ini: [protection] hash_passwords=yes: column UserPaws of table "
                        "Users_ID takes 64 characters, and a stored hash has 90; alter table "
                        "Users_ID alter column UserPaws "));
}

TEST_P(ServerSchema, DatabaseFillsInIdDateAndTime) {
  ASSERT_EQ(Init(), 0) << err_.str();
  Execute("insert into MessengClot_Text(Msg_ID) values('a')");
  Execute("insert into MessengClot_Text(Msg_ID) values('b')");
  const std::string rows = Query("select TypeID,To_Date,To_Time from MessengClot_Text order by 1");
  const std::string row = " [0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}";
  EXPECT_THAT(rows, testing::MatchesRegex("1" + row + ",2" + row));
  Execute("insert into Messeng_Text(Msg_ID) values('a')");
  EXPECT_EQ(Query("select IsAck1,IsAck2,IsAck3,IsAck4,To_Type from Messeng_Text"), "0 0 0 0 ");
}

TEST_P(ServerSchema, TablesThatDifferAreLeftAndPointedOut) {
  Execute("create table kefu (ip varchar(20), city integer)");
  ASSERT_EQ(Init(), 0) << err_.str();
  EXPECT_THAT(out_.str(), HasSubstr("tables 45"));
  EXPECT_THAT(
      out_.str(),
      HasSubstr(IsPostgres()
                    ? "left as it is: table Kefu: column IP: character varying(20) is shorter than"
                      " text\nleft as it is: table Kefu: column City is integer, text is expected\n"
                    : "left as it is: table Kefu: column IP: varchar holds only the server's code"
                      " page, nvarchar is expected\nleft as it is: table Kefu: column City is int,"
                      " nvarchar(255) is expected\n"));
  EXPECT_EQ(Doctor(), 1);
  EXPECT_THAT(out_.str(), AllOf(HasSubstr("warning: table Kefu: column IP: "),
                                HasSubstr("error: table Kefu: column City is int")));
}

TEST_P(ServerSchema, FailureLeavesNothingBehindAndNamesItsCause) {
  Execute("create table OtherForm (Logo integer default 0)");
  EXPECT_EQ(Init(), 1);
  EXPECT_THAT(out_.str(), AllOf(HasSubstr("left as it is: table OtherForm: column ID is missing\n"),
                                Not(HasSubstr("made database"))));
  EXPECT_THAT(err_.str(), AllOf(HasSubstr("database " + server_.name() + ": "),
                                HasSubstr("from OtherForm where ID=1")));
  EXPECT_EQ(Query("select count(*) as c from INFORMATION_SCHEMA.TABLES where TABLE_SCHEMA=" +
                  std::string(IsPostgres() ? "'public'" : "'dbo'")),
            "1");
}

TEST_P(ServerSchema, DemoAddsItsAccountsOnce) {
  ASSERT_EQ(Init(true), 0) << err_.str();
  EXPECT_THAT(out_.str(), HasSubstr("4       wangfang    wangfang-pw-4  王芳"));
  ASSERT_EQ(Init(true), 0) << err_.str();
  EXPECT_EQ(Query("select count(*) as c from Users_ID"), "6");
  EXPECT_EQ(Query("select UserID from Clot_Form where UpperID='clot000001'"), "1,2,4,5");
}

TEST_P(ServerSchema, DoctorFindsNothingWrong) {
  ASSERT_EQ(Init(true), 0) << err_.str();
  EXPECT_EQ(Doctor(), 0);
  EXPECT_THAT(out_.str(), AllOf(HasSubstr("ok: database: "), HasSubstr("ok: schema: all 46 tables"),
                                HasSubstr("ok: texts in the database: Chinese and emoji")));
  EXPECT_EQ(Query("select count(*) as c from Users_ID"), "6");
}

TEST_P(ServerSchema, DoctorNamesAServerThatIsNotThere) {
  server_.NameIn(folder_);
  std::string ini = folder_.ReadBytes("Web/Data/DataBase.ini");
  ini.replace(ini.find("DB_PORT=") + 8, server_.port().size(), "1");
  folder_.Write("Web/Data/DataBase.ini", ini);
  EXPECT_EQ(Doctor(), 1);
  EXPECT_THAT(out_.str(), HasSubstr("[server_connection] DB_SERVER=" + server_.address() +
                                    " DB_PORT=1 DB_NAME=" + server_.name() + " DB_USER=vnq: "));
  EXPECT_THAT(out_.str(), HasSubstr("check that the server runs and that DB_SERVER and DB_PORT"));
}

TEST_P(ServerSchema, MissingDatabaseIsAnsweredWithWhatMakesIt) {
  server_.NameIn(folder_, "no.such", "vnq", "geheim");
  EXPECT_EQ(Init(), 1);
  EXPECT_THAT(err_.str(),
              AllOf(HasSubstr("DataBase.ini: [server_connection] DB_SERVER="),
                    HasSubstr(" DB_NAME=no.such DB_USER=vnq: "),
                    HasSubstr("the database is missing, or the user may not open it; make it"
                              " with: create"),
                    Not(HasSubstr("geheim"))));
}

TEST_P(ServerSchema, RefusedLoginIsAnsweredWithWhatToCheck) {
  server_.NameIn(folder_, "strict", "wrong");  // whom the test server lets in by password
  EXPECT_EQ(Init(), 1);
  EXPECT_THAT(err_.str(), HasSubstr("the login is refused; check DB_USER and DB_PWD"));
  EXPECT_THAT(err_.str(), Not(HasSubstr("wrong")));
}

class PostgresSchema : public ServerSchema {};

INSTANTIATE_TEST_SUITE_P(Servers, PostgresSchema, ::testing::Values(DatabaseEngine::kPostgres),
                         NameOf);

// The index holds what comparisons fold the column to, or no look-up would ever use it.
TEST_P(PostgresSchema, LookUpsGoThroughTheIndexes) {
  ASSERT_EQ(Init(), 0) << err_.str();
  const auto driver = server_.Open();
  ASSERT_TRUE(driver->Execute("set enable_seqscan=off", {})) << driver->LastError();
  const SqlValue text = SqlValue::Text("x"), number = SqlValue::Integer(1);
  struct LookUp {
    std::string statement;
    std::vector<SqlValue> values;
    std::string index;
  };
  for (const LookUp& one : {
           LookUp{"select * from Users_ID where UserName=?", {text}, "idx_users_id_username"},
           LookUp{"select * from Clot_Form where UpperID=? and UserID=?",
                  {text, text},
                  "idx_clot_form_u"},
           LookUp{"select * from Msg_Acks where Msg_ID=? and YouID=?",
                  {text, text},
                  "idx_msg_acks_msg_id_youid"},
           LookUp{"select * from Tab_Chat where ChatId=?", {number}, "idx_tab_chat_chatid"},
       }) {
    EXPECT_THAT(Query(*driver, "explain " + one.statement, one.values), HasSubstr(one.index));
  }
}

TEST_P(PostgresSchema, PlainIndexOfAnotherProgramIsNotEnough) {
  Execute("create table Col_Ro (TypeName text, MyID text)");
  Execute("create index theirs on Col_Ro (MyID)");
  ASSERT_EQ(Init(), 0) << err_.str();
  EXPECT_THAT(out_.str(), HasSubstr("tables 45, indexes 37"));
}

TEST_P(PostgresSchema, OtherEncodingIsPointedOut) {
  ServerDatabase latin(DatabaseEngine::kPostgres);
  latin.Make("encoding 'LATIN1' locale 'C' template template0");
  latin.NameIn(folder_);
  EXPECT_EQ(Init(), 0) << err_.str();
  EXPECT_THAT(out_.str(), HasSubstr("its encoding is LATIN1"));
  EXPECT_EQ(Doctor(), 1);
  EXPECT_THAT(out_.str(), AllOf(HasSubstr("warning: database " + latin.name() + ": its encoding"),
                                HasSubstr("error: a row with Chinese text cannot be added")));
}

TEST_P(PostgresSchema, SqlAsciiIsAsGood) {
  ServerDatabase ascii(DatabaseEngine::kPostgres);
  ascii.Make("encoding 'SQL_ASCII' locale 'C' template template0");
  ascii.NameIn(folder_);
  EXPECT_EQ(Init(), 0) << err_.str();
  EXPECT_THAT(out_.str(), Not(HasSubstr("encoding")));
  EXPECT_EQ(Doctor(), 0) << out_.str();
}

}  // namespace
}  // namespace vnq
