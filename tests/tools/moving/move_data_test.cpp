// vnqctl export and vnqctl import between folders.

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <sstream>
#include <thread>

#include "host/database/schema.h"
#include "platform/system/instance.h"
#include "tests/harness/app_folder.h"
#include "tools/folder/init_command.h"
#include "tools/moving/archive_writer.h"
#include "tools/moving/export_command.h"
#include "tools/moving/import_command.h"

namespace vnq {
namespace {

class MoveData : public ::testing::Test {
 protected:
  void SetUp() override {
    Init("from", true);
    Init("to", false);
  }

  std::string Path(const std::string& name) const { return folder_.path() + "/" + name; }

  void Init(const std::string& name, bool demo) {
    InitOptions options;
    options.appPath = Path(name);
    options.demo = demo;
    options.localeName = "en_US";
    std::ostringstream out, err;
    ASSERT_EQ(RunInit(options, out, err), 0) << err.str();
  }

  std::unique_ptr<SqlDriver> Open(const std::string& name) const {
    SqliteOptions options;
    options.path = Path(name) + "/Web/Data/vnq.db";
    return OpenSqlite(options);
  }

  void Do(const std::string& name, const std::string& statement) {
    const auto driver = Open(name);
    EXPECT_TRUE(driver->Execute(statement, {})) << driver->LastError();
  }

  // Cells joined by blanks, rows by commas.
  std::string Read(const std::string& name, const std::string& statement) {
    const auto driver = Open(name);
    SqlRows rows;
    EXPECT_TRUE(driver->Query(statement, {}, rows)) << driver->LastError();
    std::string text;
    for (size_t i = 0; i < rows.cells.size(); ++i) {
      const SqlValue& cell = rows.cells[i];
      if (i > 0) text += i % rows.columns->size() == 0 ? "," : " ";
      text += cell.kind == SqlValue::Kind::kNull      ? "NULL"
              : cell.kind == SqlValue::Kind::kInteger ? std::to_string(cell.integer)
                                                      : cell.text;
    }
    return text;
  }

  int Export(const std::string& name = "from", const std::string& to = "a.vnqdata") {
    ExportOptions options;
    options.appPath = Path(name);
    options.to = Path(to);
    out_.str("");
    err_.str("");
    return RunExport(options, out_, err_);
  }

  int Import(TableImportOptions table = {}, const std::string& name = "to",
             const std::string& from = "a.vnqdata") {
    ImportOptions options;
    options.appPath = Path(name);
    options.from = Path(from);
    options.table = table;
    out_.str("");
    err_.str("");
    return RunImport(options, out_, err_);
  }

  static TableImportOptions Mode(ImportMode mode) {
    TableImportOptions options;
    options.mode = mode;
    return options;
  }

  // Writes an archive of one table.
  void WriteArchive(const SourceTable& table, const std::vector<std::vector<SqlValue>>& rows);

  bool OutHas(std::string_view text) const { return out_.str().find(text) != std::string::npos; }
  bool ErrHas(std::string_view text) const { return err_.str().find(text) != std::string::npos; }

  AppFolder folder_;
  std::ostringstream out_, err_;
};

void MoveData::WriteArchive(const SourceTable& table,
                            const std::vector<std::vector<SqlValue>>& rows) {
  ArchiveWriter writer;
  ASSERT_TRUE(writer.Open(Path("a.vnqdata")) && writer.BeginTable(table));
  for (const auto& row : rows) ASSERT_TRUE(writer.AddRow(row));
  ASSERT_TRUE(writer.EndTable() && writer.Close());
}

SourceTable RoleTable() {
  return {"Role",
          {{"ID", SqlColumnType::kInteger, ""}, {"Permissions", SqlColumnType::kText, ""}},
          0,
          0};
}

TEST_F(MoveData, EveryTableArrivesAsItWas) {
  Do("from",
     "insert into Messeng_Text(Msg_ID,UserText,To_Type) values('1',char(0,55296,10)||'x',3)");
  Do("from", "insert into Messeng_Text(Msg_ID,UserText) values('',NULL)");
  ASSERT_EQ(Export(), 0) << err_.str();
  ASSERT_EQ(Import(), 0) << err_.str();
  for (const TableDef& table : SchemaTables()) {
    const std::string all = "select * from " + std::string(table.name);
    EXPECT_EQ(Read("to", all), Read("from", all)) << table.name;
  }
  EXPECT_EQ(err_.str(), "");
}

TEST_F(MoveData, ArchiveOfTheCopyHasTheSameBytes) {
  for (int i = 0; i < 3; ++i) Do("from", "insert into MessengClot_Text(Msg_ID) values('m')");
  Do("from", "delete from MessengClot_Text where TypeID=3");
  ASSERT_EQ(Export(), 0) << err_.str();
  ASSERT_EQ(Import(), 0) << err_.str();
  ASSERT_EQ(Export("to", "b.vnqdata"), 0) << err_.str();
  EXPECT_EQ(folder_.ReadBytes("a.vnqdata"), folder_.ReadBytes("b.vnqdata"));
}

TEST_F(MoveData, RowsOfManyPagesComeInOrderOfInsertion) {
  Do("from",
     "insert into ServerLog(Txt) with recursive n(i) as (select 1 union all select i+1 from n where"
     " i<1700) select i from n");
  Do("from", "delete from ServerLog where Txt='500'");
  ASSERT_EQ(Export(), 0) << err_.str();
  EXPECT_TRUE(OutHas("ServerLog                1699\n")) << out_.str();
  ASSERT_EQ(Import(), 0) << err_.str();
  EXPECT_EQ(Read("to", "select group_concat(Txt) from ServerLog"),
            Read("from", "select group_concat(Txt) from ServerLog"));
}

TEST_F(MoveData, CountsAreTold) {
  ASSERT_EQ(Export(), 0);
  EXPECT_TRUE(OutHas("table                    rows\nUsers_ID                 6\n")) << out_.str();
  EXPECT_TRUE(OutHas("a.vnqdata: tables 46, rows ")) << out_.str();
  ASSERT_EQ(Import(), 0);
  EXPECT_TRUE(
      OutHas("table                    in the file  before  now\n"
             "Users_ID                 6            0       6    done\n"))
      << out_.str();
}

TEST_F(MoveData, GroupMessagesKeepTheirNumbersAndTheCounterGoesOn) {
  for (int i = 0; i < 5; ++i) Do("from", "insert into MessengClot_Text(Msg_ID) values('m')");
  Do("from", "delete from MessengClot_Text where TypeID in (2,5)");
  ASSERT_EQ(Export(), 0) << err_.str();
  ASSERT_EQ(Import(), 0) << err_.str();
  EXPECT_EQ(Read("to", "select TypeID from MessengClot_Text"), "1,3,4");
  Do("to", "insert into MessengClot_Text(Msg_ID) values('n')");
  EXPECT_EQ(Read("to", "select max(TypeID) from MessengClot_Text"), "6");
}

TEST_F(MoveData, CounterOfAnEmptyTableGoesOnToo) {
  Do("from", "insert into MessengClot_Text(TypeID,Msg_ID) values(70,'m')");
  Do("from", "delete from MessengClot_Text");
  ASSERT_EQ(Export(), 0) << err_.str();
  ASSERT_EQ(Import(), 0) << err_.str();
  Do("to", "insert into MessengClot_Text(Msg_ID) values('n')");
  EXPECT_EQ(Read("to", "select TypeID from MessengClot_Text"), "71");
}

TEST_F(MoveData, RowsThatInitMakesAreReplaced) {
  Do("from", "update UpDateForm set Users_IDVesr=12");
  Do("from", "update OtherForm set Logo=3");
  ASSERT_EQ(Export(), 0);
  ASSERT_EQ(Import(Mode(ImportMode::kAppend)), 0) << err_.str();
  EXPECT_EQ(Read("to", "select id,Users_IDVesr from UpDateForm"), "1 12");
  EXPECT_EQ(Read("to", "select ID,Logo from OtherForm"), "1 3");
}

TEST_F(MoveData, RowThatInitMakesStaysWhereNothingReplacesIt) {
  Do("from", "delete from UpDateForm");
  ASSERT_EQ(Export(), 0);
  ASSERT_EQ(Import(Mode(ImportMode::kReplace)), 0) << err_.str();
  EXPECT_EQ(Read("to", "select count(*) from UpDateForm"), "1");
}

TEST_F(MoveData, TableWithRowsIsRefusedBeforeAnythingIsWritten) {
  Do("to", "insert into Kefu(IP) values('1'),('2')");
  Do("from", "insert into Kefu(IP) values('3')");
  ASSERT_EQ(Export(), 0);
  EXPECT_EQ(Import(), 1);
  EXPECT_TRUE(ErrHas("nothing was imported, for there are rows in: Kefu (2); --replace"))
      << err_.str();
  EXPECT_EQ(Read("to", "select count(*) from Users_ID"), "0");
  EXPECT_EQ(out_.str(), "");
}

TEST_F(MoveData, TableWithRowsIsLeftAloneWhereTheFileHasNone) {
  Do("to", "insert into Kefu(IP) values('1')");
  ASSERT_EQ(Export(), 0);
  EXPECT_EQ(Import(), 0) << err_.str();
  EXPECT_EQ(Read("to", "select IP from Kefu"), "1");
}

TEST_F(MoveData, ReplaceDeletesTheRowsThatAreThere) {
  Do("to", "insert into Kefu(IP) values('1')");
  Do("to", "insert into Users_ID(UserID) values('old')");
  ASSERT_EQ(Export(), 0);
  ASSERT_EQ(Import(Mode(ImportMode::kReplace)), 0) << err_.str();
  EXPECT_EQ(Read("to", "select count(*) from Kefu"), "0");
  EXPECT_EQ(Read("to", "select count(*) from Users_ID where UserID='old'"), "0");
  EXPECT_TRUE(OutHas("Users_ID                 6            1       6    done")) << out_.str();
}

TEST_F(MoveData, AppendKeepsTheRowsThatAreThere) {
  Do("to", "insert into Users_ID(UserID) values('old')");
  ASSERT_EQ(Export(), 0);
  ASSERT_EQ(Import(Mode(ImportMode::kAppend)), 0) << err_.str();
  EXPECT_EQ(Read("to", "select count(*) from Users_ID"), "7");
  EXPECT_TRUE(OutHas("Users_ID                 6            1       7    done")) << out_.str();
}

TEST_F(MoveData, DryRunWritesNothing) {
  ASSERT_EQ(Export(), 0);
  TableImportOptions options;
  options.dryRun = true;
  EXPECT_EQ(Import(options), 0) << err_.str();
  EXPECT_TRUE(OutHas("Users_ID                 6            fits\n")) << out_.str();
  EXPECT_EQ(Read("to", "select count(*) from Users_ID"), "0");
  EXPECT_FALSE(folder_.Has("to/.vnq_main_service.lock"));
}

TEST_F(MoveData, DryRunFindsBadRows) {
  WriteArchive(RoleTable(), {{SqlValue::Text("x"), SqlValue::Null()}});
  TableImportOptions options;
  options.dryRun = true;
  EXPECT_EQ(Import(options), 1);
  EXPECT_TRUE(OutHas("does not fit: bad rows 1")) << out_.str();
}

TEST_F(MoveData, BadRowIsToldAndItsTableIsAsItWas) {
  Do("to", "insert into Role(ID) values(9)");
  WriteArchive(RoleTable(), {{SqlValue::Integer(1), SqlValue::Text("1,2")},
                             {SqlValue::Text("two"), SqlValue::Null()},
                             {SqlValue::Text("three"), SqlValue::Null()}});
  EXPECT_EQ(Import(Mode(ImportMode::kReplace)), 1);
  EXPECT_EQ(err_.str(),
            "table Role, row 2, column ID: \"two\": no whole number\n"
            "table Role, row 3, column ID: \"three\": no whole number\n");
  EXPECT_TRUE(OutHas("Role   3            1       1    failed, the table is as it was"))
      << out_.str();
  EXPECT_EQ(Read("to", "select ID from Role"), "9");
}

TEST_F(MoveData, BadRowsCanBeSkippedAndAreCounted) {
  WriteArchive(RoleTable(), {{SqlValue::Integer(1), SqlValue::Text("1,2")},
                             {SqlValue::Text("two"), SqlValue::Null()},
                             {SqlValue::Text(" 3 "), SqlValue::Integer(7)}});
  TableImportOptions options;
  options.skipBadRows = true;
  EXPECT_EQ(Import(options), 1);
  EXPECT_TRUE(OutHas("Role   3            0       2    done but for bad rows 1")) << out_.str();
  EXPECT_EQ(Read("to", "select ID,Permissions from Role"), "1 1,2,3 7");
}

TEST_F(MoveData, RowThatTheDatabaseRefusesIsABadRow) {
  SourceTable table = {"MessengClot_Text", {{"TypeID", SqlColumnType::kInteger, ""}}, 0, 0};
  WriteArchive(table, {{SqlValue::Integer(5)}, {SqlValue::Integer(5)}, {SqlValue::Integer(6)}});
  EXPECT_EQ(Import(), 1);
  EXPECT_TRUE(ErrHas("table MessengClot_Text, row 2, ")) << err_.str();
  EXPECT_TRUE(ErrHas("UNIQUE")) << err_.str();
  EXPECT_EQ(Read("to", "select count(*) from MessengClot_Text"), "0");
  TableImportOptions options;
  options.skipBadRows = true;
  EXPECT_EQ(Import(options), 1);
  EXPECT_EQ(Read("to", "select TypeID from MessengClot_Text"), "5,6");
}

TEST_F(MoveData, ManyBadRowsAreToldInFew) {
  std::vector<std::vector<SqlValue>> rows(30, {SqlValue::Text("x"), SqlValue::Null()});
  WriteArchive(RoleTable(), rows);
  EXPECT_EQ(Import(), 1);
  EXPECT_TRUE(ErrHas("row 20, ")) << err_.str();
  EXPECT_FALSE(ErrHas("row 21, ")) << err_.str();
  EXPECT_TRUE(ErrHas("table Role: and 10 more bad rows\n")) << err_.str();
}

TEST_F(MoveData, ColumnsMeetByNameAndOthersAreToldOrTakeDefaults) {
  SourceTable table = {"ROLE",
                       {{"permissions", SqlColumnType::kText, ""},
                        {"Unknown", SqlColumnType::kText, ""},
                        {"id", SqlColumnType::kText, ""}},
                       0,
                       0};
  WriteArchive(table, {{SqlValue::Text("p"), SqlValue::Text("u"), SqlValue::Text("4")}});
  EXPECT_EQ(Import(), 0) << err_.str();
  EXPECT_EQ(err_.str(),
            "note: table ROLE: column Unknown is left out: the database has none of that name\n");
  EXPECT_EQ(Read("to", "select ID,Permissions,DefaultRole,Plug from Role"), "4 p 0 NULL");
}

TEST_F(MoveData, NumberThatIsMissingIsGivenByTheDatabase) {
  SourceTable table = {
      "MessengClot_Text",
      {{"TypeID", SqlColumnType::kInteger, ""}, {"Msg_ID", SqlColumnType::kText, ""}},
      0,
      0};
  WriteArchive(table, {{SqlValue::Integer(5), SqlValue::Text("a")},
                       {SqlValue::Null(), SqlValue::Text("b")}});
  EXPECT_EQ(Import(), 0) << err_.str();
  EXPECT_EQ(Read("to", "select TypeID,Msg_ID from MessengClot_Text"), "5 a,6 b");
}

TEST_F(MoveData, TableWithoutACommonColumnFails) {
  WriteArchive({"Role", {{"Other", SqlColumnType::kText, ""}}, 0, 0}, {{SqlValue::Text("x")}});
  EXPECT_EQ(Import(), 1);
  EXPECT_TRUE(ErrHas("table Role: no column of the source is in the database")) << err_.str();
}

TEST_F(MoveData, TableThatTheDatabaseLacksIsNamedAndNothingIsWritten) {
  ASSERT_EQ(Export(), 0);
  Do("to", "drop table Kefu");
  EXPECT_EQ(Import(), 1);
  EXPECT_TRUE(ErrHas("the database has no table Kefu; vnqctl init --app-path ")) << err_.str();
  EXPECT_EQ(Read("to", "select count(*) from Users_ID"), "0");
}

TEST_F(MoveData, TableThatTheDatabaseLacksIsNotExported) {
  Do("from", "drop table Kefu");
  ASSERT_EQ(Export(), 0);
  EXPECT_EQ(err_.str(), "note: the database has no table Kefu\n");
  EXPECT_EQ(Import(), 0) << err_.str();
}

TEST_F(MoveData, TableOutsideTheSchemaIsLeftOut) {
  ArchiveWriter writer;
  ASSERT_TRUE(writer.Open(Path("a.vnqdata")) && writer.BeginTable(RoleTable()));
  ASSERT_TRUE(writer.EndTable());
  ASSERT_TRUE(writer.BeginTable({"Elsewhere", {{"c", SqlColumnType::kText, ""}}, 0, 0}));
  ASSERT_TRUE(writer.EndTable() && writer.Close());
  EXPECT_EQ(Import(), 0);
  EXPECT_TRUE(ErrHas("note: table Elsewhere is left out (rows: 0)")) << err_.str();
}

TEST_F(MoveData, ArchiveWithNothingForTheSchemaIsRefused) {
  WriteArchive({"Elsewhere", {{"c", SqlColumnType::kText, ""}}, 0, 0}, {});
  EXPECT_EQ(Import(), 1);
  EXPECT_TRUE(ErrHas("no table of the schema in it")) << err_.str();
}

TEST_F(MoveData, DamagedArchiveIsRefusedBeforeAnythingIsWritten) {
  ASSERT_EQ(Export(), 0);
  std::string bytes = folder_.ReadBytes("a.vnqdata");
  folder_.Write("a.vnqdata", bytes.substr(0, bytes.size() - 40));
  EXPECT_EQ(Import(), 1);
  EXPECT_TRUE(ErrHas("a.vnqdata: ")) << err_.str();
  EXPECT_EQ(Read("to", "select count(*) from Users_ID"), "0");
}

TEST_F(MoveData, ImportIsRefusedWhileAServerRunsAndExportIsNot) {
  ASSERT_EQ(Export(), 0);
  InstanceLock from, to;
  std::string error;
  ASSERT_EQ(from.Acquire(Path("from/.vnq_main_service.lock"), error), InstanceLock::Result::kHeld);
  ASSERT_EQ(to.Acquire(Path("to/.vnq_main_service.lock"), error), InstanceLock::Result::kHeld);
  EXPECT_EQ(Export(), 0) << err_.str();
  EXPECT_EQ(Import(), 1);
  EXPECT_EQ(err_.str(),
            "vnqctl import: the server runs on " + Path("to") + "; stop it before an import\n");
}

TEST_F(MoveData, FolderThatIsNotThereIsNamed) {
  EXPECT_EQ(Export("none"), 1);
  EXPECT_TRUE(ErrHas("no such folder")) << err_.str();
  EXPECT_EQ(Import({}, "none"), 1);
  EXPECT_TRUE(ErrHas("no such folder")) << err_.str();
}

TEST_F(MoveData, FileThatIsNotThereIsNamed) {
  EXPECT_EQ(Import({}, "to", "none.vnqdata"), 1);
  EXPECT_TRUE(ErrHas("none.vnqdata: No such file or directory")) << err_.str();
}

// Kills its own process after some rows.
class DeadlySource : public TableSource {
 public:
  const std::vector<SourceTable>& Tables() const override { return tables_; }
  bool ReadRows(size_t, const RowSink& sink, std::string&) override {
    const std::vector<SqlValue> row = {SqlValue::Integer(1)};
    for (int i = 0; i < 700; ++i) sink(row);
    raise(SIGKILL);
    return false;
  }

 private:
  std::vector<SourceTable> tables_ = {{"Role", {{"ID", SqlColumnType::kInteger, ""}}, 1000, 0}};
};

TEST_F(MoveData, KilledInMidTableItIsAsItWas) {
  Do("to", "insert into Role(ID) values(8),(9)");
  const pid_t child = fork();
  if (child == 0) {
    const auto driver = Open("to");
    ExistingSchema schema;
    std::string error;
    DeadlySource source;
    std::ostringstream err;
    if (!schema.Read(*driver, DatabaseEngine::kSqlite, error)) _exit(1);
    for (const TableDef& table : SchemaTables()) {
      if (table.name != "Role") continue;
      TableImportOptions options = Mode(ImportMode::kReplace);
      TableImport({*driver, DatabaseEngine::kSqlite}, table, *schema.Find("Role"), options, err)
          .Run(source, 0);
    }
    _exit(2);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status)) << WEXITSTATUS(status);
  EXPECT_EQ(Read("to", "select ID from Role"), "8,9");
}

// --- What is not a regular file ---

TEST_F(MoveData, ExportWritesIntoAPipeInsteadOfReplacingIt) {
  ASSERT_EQ(mkfifo(Path("pipe").c_str(), 0600), 0);
  std::string received;
  std::thread reader([&] {
    std::ifstream pipe(Path("pipe"), std::ios::binary);
    received.assign(std::istreambuf_iterator<char>(pipe), {});
  });
  EXPECT_EQ(Export("from", "pipe"), 0) << err_.str();
  reader.join();
  EXPECT_TRUE(std::filesystem::is_fifo(Path("pipe")));
  ASSERT_EQ(Export(), 0);
  EXPECT_EQ(received, folder_.ReadBytes("a.vnqdata"));
}

TEST_F(MoveData, ExportToADeviceThatIsFullFailsAndLeavesIt) {
  std::filesystem::create_symlink("/dev/full", Path("full"));
  EXPECT_EQ(Export("from", "full"), 1);
  EXPECT_TRUE(ErrHas("vnqctl export: " + Path("full") + ": No space left on device"));
  EXPECT_TRUE(std::filesystem::is_character_file("/dev/full"));
  EXPECT_TRUE(std::filesystem::is_symlink(Path("full")));
}

TEST_F(MoveData, ExportReplacesWhatALinkLeadsToAndKeepsTheLink) {
  std::filesystem::create_directories(Path("store"));
  std::filesystem::create_symlink("store/old", Path("link"));
  std::filesystem::create_symlink("link", Path("store/../second"));
  for (const char* step : {"nothing is there yet", "a file is there"}) {
    EXPECT_EQ(Export("from", "second"), 0) << step << err_.str();
    EXPECT_TRUE(std::filesystem::is_symlink(Path("second"))) << step;
    EXPECT_TRUE(std::filesystem::is_symlink(Path("link"))) << step;
    EXPECT_TRUE(std::filesystem::is_regular_file(Path("store/old"))) << step;
  }
  const std::filesystem::directory_iterator files(Path("store"));
  EXPECT_EQ(std::distance(begin(files), end(files)), 1);
}

TEST_F(MoveData, LockFileOfAnotherUserIsNoObstacle) {
  ASSERT_EQ(Export(), 0);
  folder_.Write("to/.vnq_main_service.lock", "");
  ASSERT_EQ(chmod(Path("to/.vnq_main_service.lock").c_str(), 0444), 0);
  EXPECT_EQ(Import(Mode(ImportMode::kReplace)), 0) << err_.str();
}

}  // namespace
}  // namespace vnq
