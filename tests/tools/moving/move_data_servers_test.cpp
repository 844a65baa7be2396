// vnqctl export and vnqctl import with a database server on one side: one body, one run an engine.

#include <gtest/gtest.h>

#include <sstream>

#include "tests/tools/schema/server_database.h"
#include "tools/folder/init_command.h"
#include "tools/moving/export_command.h"
#include "tools/moving/import_command.h"

namespace vnq {
namespace {

// The program's folder is the server's; one with an SQLite file lies in it.
class MoveDataServer : public ::testing::TestWithParam<DatabaseEngine> {
 protected:
  void SetUp() override {
    if (!server_.isThere()) GTEST_SKIP() << "no " << EngineName(GetParam()) << " to test with";
    server_.Make();
    server_.NameIn(folder_);
    ASSERT_EQ(RunInit({folder_.path(), false, "en_US"}, out_, err_), 0) << err_.str();
    ASSERT_EQ(RunInit({Sqlite(), true, "en_US"}, out_, err_), 0) << err_.str();
  }

  bool IsPostgres() const { return GetParam() == DatabaseEngine::kPostgres; }
  std::string Sqlite() const { return folder_.path() + "/sqlite"; }

  void DoInSqlite(const std::string& statement) {
    SqliteOptions options;
    options.path = Sqlite() + "/Web/Data/vnq.db";
    const auto driver = OpenSqlite(options);
    ASSERT_TRUE(driver->Execute(statement, {})) << driver->LastError();
  }

  void DoOnServer(const std::string& statement) {
    const auto driver = server_.Open();
    ASSERT_TRUE(driver->Execute(statement, {})) << driver->LastError();
  }

  // The first column of the rows, joined by commas.
  std::string Read(const std::string& statement) {
    const auto driver = server_.Open();
    SqlRows rows;
    EXPECT_TRUE(driver->Query(statement, {}, rows)) << driver->LastError();
    std::string text;
    for (size_t i = 0; i < rows.rowCount(); ++i) {
      const SqlValue& cell = rows.cells[i * rows.columns->size()];
      text += i == 0 ? "" : ",";
      text += cell.kind == SqlValue::Kind::kInteger ? std::to_string(cell.integer) : cell.text;
    }
    return text;
  }

  int Export(const std::string& appPath, const std::string& to) {
    ExportOptions options;
    options.appPath = appPath;
    options.to = folder_.path() + "/" + to;
    err_.str("");
    return RunExport(options, out_, err_);
  }

  int Import(TableImportOptions table = {}) {
    ImportOptions options;
    options.appPath = folder_.path();
    options.from = folder_.path() + "/a.vnqdata";
    options.table = table;
    out_.str("");
    err_.str("");
    return RunImport(options, out_, err_);
  }

  ServerDatabase server_{GetParam()};
  AppFolder folder_;
  std::ostringstream out_, err_;
};

TEST_P(MoveDataServer, ArchiveOfTheCopyHasTheSameBytes) {
  DoInSqlite(
      "insert into Messeng_Text(Msg_ID,UserText) values('1',''),('2',char(10)||'王 "
      "😀'),(NULL,NULL)");
  DoInSqlite(
      "insert into ServerLog(Txt) with recursive n(i) as (select 1 union all select i+1 from n"
      " where i<1100) select i from n");
  ASSERT_EQ(Export(Sqlite(), "a.vnqdata"), 0) << err_.str();
  ASSERT_EQ(Import(), 0) << err_.str() << out_.str();
  ASSERT_EQ(Export(folder_.path(), "b.vnqdata"), 0) << err_.str();
  EXPECT_EQ(folder_.ReadBytes("a.vnqdata"), folder_.ReadBytes("b.vnqdata"));
}

TEST_P(MoveDataServer, GroupMessagesKeepTheirNumbersAndTheCounterGoesOn) {
  DoInSqlite("insert into MessengClot_Text(TypeID,Msg_ID) values(4,'a'),(7,'b'),(9,'c')");
  DoInSqlite("delete from MessengClot_Text where TypeID=9");
  ASSERT_EQ(Export(Sqlite(), "a.vnqdata"), 0) << err_.str();
  ASSERT_EQ(Import(), 0) << err_.str() << out_.str();
  EXPECT_EQ(Read("select TypeID from MessengClot_Text order by TypeID"), "4,7");
  DoOnServer("insert into MessengClot_Text(Msg_ID) values('n')");
  EXPECT_EQ(Read("select TypeID from MessengClot_Text order by TypeID"), "4,7,10");
}

TEST_P(MoveDataServer, ReplaceAndAppend) {
  ASSERT_EQ(Export(Sqlite(), "a.vnqdata"), 0) << err_.str();
  DoOnServer("insert into Users_ID(UserID) values('old')");
  EXPECT_EQ(Import(), 1);
  TableImportOptions options;
  options.mode = ImportMode::kAppend;
  EXPECT_EQ(Import(options), 0) << err_.str();
  EXPECT_EQ(Read("select count(*) as c from Users_ID"), "7");
  options.mode = ImportMode::kReplace;
  EXPECT_EQ(Import(options), 0) << err_.str();
  EXPECT_EQ(Read("select count(*) as c from Users_ID"), "6");
  EXPECT_EQ(Read("select count(*) as c from UpDateForm"), "1");
}

TEST_P(MoveDataServer, BadRowLeavesItsTableAndTheOthersArrive) {
  DoInSqlite("insert into Role(ID) values(3000000000)");
  ASSERT_EQ(Export(Sqlite(), "a.vnqdata"), 0) << err_.str();
  EXPECT_EQ(Import(), 1);
  EXPECT_EQ(err_.str(), std::string("table Role, row 3, column ") + (IsPostgres() ? "id" : "ID") +
                            ": 3000000000: beyond the column's range\n");
  EXPECT_EQ(Read("select count(*) as c from Role"), "0");
  EXPECT_EQ(Read("select count(*) as c from Users_ID"), "6");
}

TEST_P(MoveDataServer, RowThatTheServerRefusesIsSkipped) {
  DoInSqlite("insert into MessengClot_Text(TypeID,Msg_ID) values(1,'a'),(2,'b'),(3,'c')");
  DoOnServer("insert into MessengClot_Text(Msg_ID) values('first')");
  ASSERT_EQ(Export(Sqlite(), "a.vnqdata"), 0) << err_.str();
  TableImportOptions options;
  options.mode = ImportMode::kAppend;
  EXPECT_EQ(Import(options), 1);
  EXPECT_EQ(Read("select Msg_ID from MessengClot_Text order by TypeID"), "first");
  options.mode = ImportMode::kReplace;
  ASSERT_EQ(Import(options), 0) << err_.str();
  DoOnServer("delete from MessengClot_Text where TypeID<>2");
  options.mode = ImportMode::kAppend;
  options.skipBadRows = true;
  EXPECT_EQ(Import(options), 1);
  EXPECT_NE(err_.str().find("table MessengClot_Text, row 2, "), std::string::npos) << err_.str();
  EXPECT_EQ(Read("select Msg_ID from MessengClot_Text order by TypeID"), "a,b,c");
}

TEST_P(MoveDataServer, CharactersWithoutAPlaceAreReplacedAndTold) {
  DoInSqlite("insert into Kefu(IP,City) values('1','a'||char(0)||'b')");
  ASSERT_EQ(Export(Sqlite(), "a.vnqdata"), 0) << err_.str();
  EXPECT_EQ(Import(), 0) << err_.str();
  EXPECT_EQ(err_.str(), IsPostgres() ? "note: table Kefu: texts with characters that PostgreSQL has"
                                       " no place for (U+FFFD takes theirs): 1\n"
                                     : "");
  EXPECT_EQ(Read("select City from Kefu"), IsPostgres() ? "a\xEF\xBF\xBD"
                                                          "b"
                                                        : std::string("a\0b", 3));
}

TEST_P(MoveDataServer, TextThatIsTooLongIsTold) {
  const std::string text(256, 'x');
  DoInSqlite("insert into Kefu(IP,City) values('1','" + text + "')");
  if (IsPostgres()) DoOnServer("alter table Kefu alter column City type varchar(255)");
  ASSERT_EQ(Export(Sqlite(), "a.vnqdata"), 0) << err_.str();
  EXPECT_EQ(Import(), 1);
  EXPECT_EQ(err_.str(), std::string("table Kefu, row 1, column ") +
                            (IsPostgres() ? "city" : "City") + ": \"" + text.substr(0, 60) +
                            "\"...: 256 characters, the column holds 255\n");
}

INSTANTIATE_TEST_SUITE_P(Engines, MoveDataServer,
                         testing::Values(DatabaseEngine::kPostgres, DatabaseEngine::kSqlServer),
                         [](const auto& engine) {
                           return engine.param == DatabaseEngine::kPostgres ? "PostgreSql"
                                                                            : "SqlServer";
                         });

}  // namespace
}  // namespace vnq
