// vnqctl export and vnqctl import with a PostgreSQL server on one side.

#include <sstream>

#include "host/schema.h"
#include "tests/app_folder.h"
#include "tests/platform/postgres_fixture.h"
#include "tools/export_command.h"
#include "tools/import_command.h"
#include "tools/init_command.h"

namespace vnq {
namespace {

class MoveDataPostgres : public PostgresTest {
 protected:
  void SetUp() override {
    PostgresTest::SetUp();
    if (IsSkipped()) return;
    Init("sqlite", true);
    folder_.Write("server/platform.ini", "[database]\ndriver=postgresql\n");
    folder_.Write("server/Web/Data/DataBase.ini",
                  "[server_connection]\nDB_TYPE=postgresql\nDB_SERVER=" + options_.host +
                      "\nDB_PORT=" + options_.port + "\nDB_NAME=" + name_ + "\nDB_USER=vnq\n");
    Init("server", false);
  }

  std::string Path(const std::string& name) const { return folder_.path() + "/" + name; }

  void Init(const std::string& name, bool demo) {
    InitOptions options;
    options.appPath = Path(name);
    options.demo = demo;
    options.localeName = "en_US";
    ASSERT_EQ(RunInit(options, out_, err_), 0) << err_.str();
  }

  void DoInSqlite(const std::string& statement) {
    SqliteOptions options;
    options.path = Path("sqlite/Web/Data/vnq.db");
    Do(*OpenSqlite(options), statement);
  }

  int Export(const std::string& name, const std::string& to) {
    ExportOptions options;
    options.appPath = Path(name);
    options.to = Path(to);
    err_.str("");
    return RunExport(options, out_, err_);
  }

  int Import(TableImportOptions table = {}) {
    ImportOptions options;
    options.appPath = Path("server");
    options.from = Path("a.vnqdata");
    options.table = table;
    out_.str("");
    err_.str("");
    return RunImport(options, out_, err_);
  }

  AppFolder folder_;
  std::ostringstream out_, err_;
};

TEST_F(MoveDataPostgres, ArchiveOfTheCopyHasTheSameBytes) {
  DoInSqlite(
      "insert into Messeng_Text(Msg_ID,UserText) values('1',''),('2',char(10)||'王 "
      "😀'),(NULL,NULL)");
  DoInSqlite(
      "insert into ServerLog(Txt) with recursive n(i) as (select 1 union all select i+1 from n"
      " where i<1700) select i from n");
  DoInSqlite("insert into MessengClot_Text(TypeID,Msg_ID) values(4,'a'),(7,'b'),(9,'c')");
  DoInSqlite("delete from MessengClot_Text where TypeID=9");
  ASSERT_EQ(Export("sqlite", "a.vnqdata"), 0) << err_.str();
  ASSERT_EQ(Import(), 0) << err_.str() << out_.str();
  ASSERT_EQ(Export("server", "b.vnqdata"), 0) << err_.str();
  EXPECT_EQ(folder_.ReadBytes("a.vnqdata"), folder_.ReadBytes("b.vnqdata"));
  Other("insert into MessengClot_Text(Msg_ID) values('n')");
  EXPECT_EQ(OtherReads("select max(TypeID) from MessengClot_Text"), "10");
}

TEST_F(MoveDataPostgres, ReplaceAndAppend) {
  ASSERT_EQ(Export("sqlite", "a.vnqdata"), 0) << err_.str();
  Other("insert into Users_ID(UserID) values('old')");
  EXPECT_EQ(Import(), 1);
  TableImportOptions options;
  options.mode = ImportMode::kAppend;
  EXPECT_EQ(Import(options), 0) << err_.str();
  EXPECT_EQ(OtherReads("select count(*) from Users_ID"), "7");
  options.mode = ImportMode::kReplace;
  EXPECT_EQ(Import(options), 0) << err_.str();
  EXPECT_EQ(OtherReads("select count(*) from Users_ID"), "6");
  EXPECT_EQ(OtherReads("select count(*) from UpDateForm"), "1");
}

TEST_F(MoveDataPostgres, BadRowLeavesItsTableAndTheOthersArrive) {
  DoInSqlite("insert into Role(ID) values(3000000000)");
  ASSERT_EQ(Export("sqlite", "a.vnqdata"), 0) << err_.str();
  EXPECT_EQ(Import(), 1);
  EXPECT_EQ(err_.str(), "table Role, row 3, column id: 3000000000: beyond the column's range\n");
  EXPECT_EQ(OtherReads("select count(*) from Role"), "0");
  EXPECT_EQ(OtherReads("select count(*) from Users_ID"), "6");
}

TEST_F(MoveDataPostgres, RowThatTheServerRefusesIsSkipped) {
  DoInSqlite("insert into Kefu(IP,City) values('1','a'),('2','bb'),('3','c')");
  Other("alter table Kefu add check (length(City)<2)");
  ASSERT_EQ(Export("sqlite", "a.vnqdata"), 0) << err_.str();
  EXPECT_EQ(Import(), 1);
  EXPECT_EQ(OtherReads("select count(*) from Kefu"), "0");
  TableImportOptions options;
  options.mode = ImportMode::kReplace;
  options.skipBadRows = true;
  EXPECT_EQ(Import(options), 1);
  EXPECT_NE(err_.str().find("table Kefu, row 2, "), std::string::npos) << err_.str();
  EXPECT_EQ(OtherReads("select string_agg(IP,',') from Kefu"), "1,3");
}

TEST_F(MoveDataPostgres, CharactersWithoutAPlaceAreReplacedAndTold) {
  DoInSqlite("insert into Kefu(IP,City) values('1','a'||char(0)||'b')");
  ASSERT_EQ(Export("sqlite", "a.vnqdata"), 0) << err_.str();
  EXPECT_EQ(Import(), 0) << err_.str();
  EXPECT_EQ(err_.str(),
            "note: table Kefu: texts with characters that PostgreSQL has no place for (U+FFFD takes"
            " theirs): 1\n");
  EXPECT_EQ(OtherReads("select City from Kefu"),
            "a\xEF\xBF\xBD"
            "b");
}

TEST_F(MoveDataPostgres, TextThatIsTooLongIsTold) {
  DoInSqlite("insert into Kefu(IP,City) values('1','abcd')");
  Other("alter table Kefu alter column City type varchar(3)");
  ASSERT_EQ(Export("sqlite", "a.vnqdata"), 0) << err_.str();
  EXPECT_EQ(Import(), 1);
  EXPECT_EQ(err_.str(),
            "table Kefu, row 1, column city: \"abcd\": 4 characters, the column holds 3\n");
}

}  // namespace
}  // namespace vnq
