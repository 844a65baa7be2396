// Access files into a database, through the programs of mdbtools and through stand-ins for them.

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <sstream>

#include "tests/harness/app_folder.h"
#include "tests/tools/moving/jet_file.h"
#include "tools/folder/init_command.h"
#include "tools/moving/import_command.h"

namespace vnq {
namespace {

class AccessImport : public ::testing::Test {
 protected:
  void SetUp() override {
    InitOptions options;
    options.appPath = folder_.path() + "/app";
    options.localeName = "zh_CN";
    ASSERT_EQ(RunInit(options, out_, err_), 0) << err_.str();
    path_ = getenv("PATH");
  }
  void TearDown() override { setenv("PATH", path_.c_str(), 1); }

  int Import(TableImportOptions table = {}) {
    ImportOptions options;
    options.appPath = folder_.path() + "/app";
    options.from = folder_.path() + "/old.mdb";
    options.table = table;
    out_.str("");
    err_.str("");
    return RunImport(options, out_, err_);
  }

  // Cells joined by bars, rows by commas.
  std::string Read(const std::string& statement) {
    SqliteOptions options;
    options.path = folder_.path() + "/app/Web/Data/vnq.db";
    const auto driver = OpenSqlite(options);
    SqlRows rows;
    EXPECT_TRUE(driver->Query(statement, {}, rows)) << driver->LastError();
    std::string text;
    for (size_t i = 0; i < rows.cells.size(); ++i) {
      const SqlValue& cell = rows.cells[i];
      if (i > 0) text += i % rows.columns->size() == 0 ? "," : "|";
      text += cell.kind == SqlValue::Kind::kNull      ? "NULL"
              : cell.kind == SqlValue::Kind::kInteger ? std::to_string(cell.integer)
                                                      : cell.text;
    }
    return text;
  }

  bool ErrHas(std::string_view text) const { return err_.str().find(text) != std::string::npos; }

  AppFolder folder_;
  std::ostringstream out_, err_;
  std::string path_;
};

// --- With stand-ins: what they print was recorded from mdbtools 1.0.0 ---

class AccessStandIns : public AccessImport {
 protected:
  void SetUp() override {
    AccessImport::SetUp();
    WriteFile("Standard Jet DB");
    MakeProgram("mdb-schema",
                "printf 'CREATE TABLE [Role]\\n (\\n\\t[ID]\\t\\t\\tLong Integer, \\n"
                "\\t[Plug]\\t\\t\\tText (255)\\n);\\n'");
    MakeProgram("mdb-count", "echo 2");
    MakeProgram("mdb-json", R"(echo '{"ID":1,"Plug":"a"}'; echo '{"ID":2}')");
    setenv("PATH", (folder_.path() + "/bin:/usr/bin:/bin").c_str(), 1);
  }

  void WriteFile(const std::string& kind) {
    folder_.Write("old.mdb", std::string("\0\1\0\0", 4) + kind + std::string(100, '\0'));
  }

  void MakeProgram(const std::string& name, const std::string& script) {
    folder_.Write("bin/" + name,
                  "#!/bin/sh\necho \"$0 $*\" >>" + folder_.path() + "/calls\n" + script + "\n");
    chmod((folder_.path() + "/bin/" + name).c_str(), 0755);
  }

  bool Called(const std::string& words) const {
    return folder_.ReadBytes("calls").find(words) != std::string::npos;
  }
};

TEST_F(AccessStandIns, RowsOfBothKindsOfFilesArrive) {
  for (const char* kind : {"Standard Jet DB", "Standard ACE DB"}) {
    WriteFile(kind);
    TableImportOptions replace;
    replace.mode = ImportMode::kReplace;
    EXPECT_EQ(Import(replace), 0) << err_.str();
    EXPECT_EQ(Read("select ID,Plug from Role"), "1|a,2|NULL");
  }
}

TEST_F(AccessStandIns, DatesAreAskedForInOneForm) {
  ASSERT_EQ(Import(), 0) << err_.str();
  EXPECT_TRUE(
      Called("mdb-json --date-format %Y-%m-%d %H:%M:%S --datetime-format"
             " %Y-%m-%d %H:%M:%S " +
             folder_.path() + "/old.mdb Role\n"))
      << folder_.ReadBytes("calls");
}

TEST_F(AccessStandIns, OldFilesAreReadInTheConfiguredCodePage) {
  MakeProgram("mdb-json", R"(echo "{\"ID\":1,\"Plug\":\"$MDB_JET3_CHARSET $LC_ALL\"}")");
  MakeProgram("mdb-count", "echo 1");
  ASSERT_EQ(Import(), 0) << err_.str();
  EXPECT_EQ(Read("select Plug from Role"), "CP936 C.UTF-8");
}

TEST_F(AccessStandIns, MissingProgramIsNamedWithItsPackage) {
  setenv("PATH", (folder_.path() + "/none").c_str(), 1);
  EXPECT_EQ(Import(), 1);
  EXPECT_TRUE(ErrHas("read by mdb-schema, which is not there; the Debian package mdbtools has it"))
      << err_.str();
}

TEST_F(AccessStandIns, FailureOfAProgramIsTold) {
  MakeProgram("mdb-json", "echo 'Error: it is torn' >&2; exit 1");
  EXPECT_EQ(Import(), 1);
  EXPECT_TRUE(ErrHas("old.mdb: table Role: mdb-json: Error: it is torn (exit code 1)"))
      << err_.str();
}

TEST_F(AccessStandIns, ProgramThatCrashesIsTold) {
  MakeProgram("mdb-schema", "kill -SEGV $$");
  EXPECT_EQ(Import(), 1);
  EXPECT_TRUE(ErrHas("old.mdb: mdb-schema: signal 11")) << err_.str();
}

TEST_F(AccessStandIns, LineThatIsNoRowIsTold) {
  MakeProgram("mdb-json", R"(echo '{"ID":1}'; echo '{"ID"')");
  EXPECT_EQ(Import(), 1);
  EXPECT_TRUE(ErrHas("old.mdb: table Role, row 2: mdb-json: no name of a column")) << err_.str();
  EXPECT_EQ(Read("select count(*) from Role"), "0");
}

TEST_F(AccessStandIns, OtherNumberOfRowsThanTheFileStatesIsAFinding) {
  MakeProgram("mdb-count", "echo 3");
  EXPECT_EQ(Import(), 1);
  EXPECT_TRUE(ErrHas("table Role: the file states 3 rows, and 2 can be read")) << err_.str();
  EXPECT_EQ(Read("select count(*) from Role"), "2");
}

TEST_F(AccessStandIns, TextThatMayHaveLostItsEndIsAFinding) {
  MakeProgram("mdb-count", "echo 1");
  MakeProgram("mdb-json",
              R"(printf '{"ID":1,"Plug":"'; head -c 199999 /dev/zero | tr '\0' x; echo '"}')");
  EXPECT_EQ(Import(), 1);
  EXPECT_TRUE(ErrHas("table Role, row 1, column Plug: a text of this length may have lost its end"))
      << err_.str();
}

TEST_F(AccessStandIns, RowThatDoesNotFitIsTold) {
  MakeProgram("mdb-schema", "printf 'CREATE TABLE [Role]\\n (\\n\\t[ID]\\t\\t\\tDouble\\n);\\n'");
  MakeProgram("mdb-json", R"(echo '{"ID":1}'; echo '{"ID":1.5}')");
  EXPECT_EQ(Import(), 1);
  EXPECT_TRUE(ErrHas("table Role, row 2, column ID: \"1.5\": no whole number")) << err_.str();
}

// --- With the programs themselves ---

class AccessPrograms : public AccessImport {
 protected:
  void SetUp() override {
    AccessImport::SetUp();
    if (system("command -v mdb-json >/dev/null") != 0) GTEST_SKIP() << "mdbtools is not installed";
  }

  void Write(const std::vector<jet::Table>& tables) {
    folder_.Write("old.mdb", jet::File(tables).bytes());
  }
};

TEST_F(AccessPrograms, TypesComeToBeWhatTheColumnsHold) {
  Write({{"Users_ID",
          {{"UserID", jet::kLong},
           {"username", jet::kText},
           {"FcName", jet::kMemo},
           {"IsVerify", jet::kBoolean},
           {"UserState", jet::kDouble},
           {"IsManager", jet::kShort},
           {"LoginTime", jet::kDate},
           {"age", jet::kCurrency},
           {"Mac", jet::kGuid},
           {"Effigy", jet::kOle}},
          {{jet::Long(7), jet::Text("alice"), jet::Memo("王\r\n\"小\\明\""), jet::True(),
            jet::Double(1), jet::Short(-1), jet::Date(45000.5), jet::Currency(125000), jet::Guid(),
            jet::Inline("\1\2")}}}});
  EXPECT_EQ(Import(), 0) << err_.str();
  EXPECT_EQ(
      Read("select UserID,UserName,FcName,IsVerify,UserState,IsManager,LoginTime,age,Mac like "
           "'{%}',Effigy from Users_ID"),
      "7|alice|王\r\n\"小\\明\"|1|1|-1|2023-03-15 12:00:00|12.5|1|NULL");
  EXPECT_EQ(err_.str(),
            "note: table Users_ID: column Effigy is left out: its type is OLE, which no column here"
            " can hold\n");
}

TEST_F(AccessPrograms, NullStaysNull) {
  Write({{"Role",
          {{"ID", jet::kLong}, {"Plug", jet::kText}, {"DefaultRole", jet::kBoolean}},
          {{jet::Null(), jet::Null(), jet::Null()}, {jet::Long(0), jet::Text("0"), jet::True()}}}});
  EXPECT_EQ(Import(), 0) << err_.str();
  EXPECT_EQ(Read("select ID,Plug,DefaultRole from Role"), "NULL|NULL|0,0|0|1");
}

// The programs tell these apart from nothing, so the import cannot either.
TEST_F(AccessPrograms, EmptyTextComesAsNullAndTextEndsAtItsFirstNul) {
  Write(
      {{"Role",
        {{"ID", jet::kLong}, {"Plug", jet::kText}},
        {{jet::Long(1), jet::Text("")}, {jet::Long(2), jet::Text(std::string_view("a\0b", 3))}}}});
  EXPECT_EQ(Import(), 0) << err_.str();
  EXPECT_EQ(Read("select ID,Plug from Role"), "1|NULL,2|a");
}

TEST_F(AccessPrograms, RowsOfManyPagesKeepTheirNumbersAndTheCounterGoesOn) {
  jet::Table table{"MessengClot_Text",
                   {{"TypeID", jet::kLong},
                    {"UserText", jet::kMemo},
                    {"To_Date", jet::kDate},
                    {"To_Time", jet::kDate}},
                   {}};
  for (int32_t i = 1; i <= 500; ++i) {
    table.rows.push_back({jet::Long(i * 10), jet::Memo("text " + std::to_string(i)),
                          jet::Date(45000 + i), jet::Date(0.25)});
  }
  Write({table});
  EXPECT_EQ(Import(), 0) << err_.str();
  EXPECT_EQ(Read("select count(*),min(TypeID),max(TypeID) from MessengClot_Text"), "500|10|5000");
  EXPECT_EQ(Read("select UserText,To_Date,To_Time from MessengClot_Text where TypeID=20"),
            "text 2|2023-03-17|06:00:00");
  EXPECT_EQ(Read("select seq from sqlite_sequence"), "5000");
}

TEST_F(AccessPrograms, TablesAndColumnsOfOthersAreLeftOut) {
  Write(
      {{"名 前", {{"列", jet::kText}}, {{jet::Text("v")}}},
       {"--help", {{"c", jet::kText}}, {}},
       {"kefu", {{"ip", jet::kText}, {"Other", jet::kText}}, {{jet::Text("1"), jet::Text("2")}}}});
  EXPECT_EQ(Import(), 0) << err_.str();
  EXPECT_TRUE(ErrHas("note: table 名 前 is left out (rows: 1)")) << err_.str();
  EXPECT_TRUE(ErrHas("note: table --help is left out (rows: 0)")) << err_.str();
  EXPECT_TRUE(ErrHas("note: table kefu: column Other is left out")) << err_.str();
  EXPECT_EQ(Read("select IP,City from Kefu"), "1|NULL");
}

TEST_F(AccessPrograms, TornFileIsRefused) {
  Write({{"Role", {{"ID", jet::kLong}}, {{jet::Long(1)}}}});
  const std::string whole = folder_.ReadBytes("old.mdb");
  for (size_t pages = 1; pages * 4096 < whole.size(); ++pages) {
    folder_.Write("old.mdb", whole.substr(0, pages * 4096));
    EXPECT_EQ(Import(), 1) << pages;
    EXPECT_TRUE(ErrHas("old.mdb") || ErrHas("the file states")) << pages << err_.str();
  }
}

TEST_F(AccessPrograms, FileWithTheMarkAloneIsRefused) {
  folder_.Write("old.mdb", std::string("\0\1\0\0Standard Jet DB\0\1\0\0\0", 24));
  EXPECT_EQ(Import(), 1);
  EXPECT_TRUE(ErrHas("old.mdb: mdb-schema: ")) << err_.str();
}

}  // namespace
}  // namespace vnq
