#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <memory>
#include <set>
#include <string>

#include "platform/sql/sql_driver.h"
#include "tools/schema/make_schema.h"
#include "tools/schema/schema_sql.h"

namespace vnq {
namespace {

std::string Lower(std::string_view text) {
  std::string lower(text);
  std::transform(lower.begin(), lower.end(), lower.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return lower;
}

const TableDef* FindTable(std::string_view name) {
  for (const TableDef& table : SchemaTables()) {
    if (table.name == name) return &table;
  }
  return nullptr;
}

/// A database file of its own that goes with the test.
class SchemaDatabase : public ::testing::Test {
 protected:
  void SetUp() override {
    path_ = ::testing::TempDir() + "schema_" +
            ::testing::UnitTest::GetInstance()->current_test_info()->name() + ".db";
    Remove();
    SqliteOptions options;
    options.path = path_;
    options.durability = SqlDurability::kNone;
    options.createFile = true;
    driver_ = OpenSqlite(options);
    Create();
  }

  void TearDown() override {
    driver_.reset();
    Remove();
  }

  void Create() {
    for (const std::string& statement : SchemaStatements(DatabaseEngine::kSqlite)) Run(statement);
  }

  void Run(const std::string& statement) {
    ASSERT_TRUE(driver_->Execute(statement, {})) << statement << ": " << driver_->LastError();
  }

  /// The rows as text, cells joined by blanks, rows by commas; NULL stands for NULL.
  std::string Read(const std::string& statement) {
    SqlRows rows;
    EXPECT_TRUE(driver_->Query(statement, {}, rows)) << statement << ": " << driver_->LastError();
    std::string text;
    const size_t width = rows.columns ? rows.columns->size() : 1;
    for (size_t i = 0; i < rows.cells.size(); ++i) {
      if (i > 0) text += i % width == 0 ? "," : " ";
      text += CellText(rows.cells[i]);
    }
    return text;
  }

  std::unique_ptr<SqlDriver> driver_;

 private:
  static std::string CellText(const SqlValue& value) {
    if (value.kind == SqlValue::Kind::kNull) return "NULL";
    return value.kind == SqlValue::Kind::kInteger ? std::to_string(value.integer) : value.text;
  }

  void Remove() {
    for (const char* suffix : {"", "-wal", "-shm"}) std::remove((path_ + suffix).c_str());
  }

  std::string path_;
};

TEST(Schema, HasEveryTableOnceWithDistinctColumns) {
  std::set<std::string> tables;
  for (const TableDef& table : SchemaTables()) {
    EXPECT_TRUE(tables.insert(Lower(table.name)).second) << table.name;
    std::set<std::string> columns;
    for (const ColumnDef& column : table.columns) {
      EXPECT_TRUE(columns.insert(Lower(column.name)).second) << table.name << "." << column.name;
    }
    EXPECT_FALSE(columns.empty()) << table.name;
  }
  EXPECT_EQ(tables.size(), 46u);
}

TEST(Schema, IndexesNameColumnsOfTheirTable) {
  for (const TableDef& table : SchemaTables()) {
    std::set<std::string> columns;
    for (const ColumnDef& column : table.columns) columns.insert(std::string(column.name));
    std::vector<std::string_view> indexes = table.indexes;
    indexes.insert(indexes.end(), table.historyIndexes.begin(), table.historyIndexes.end());
    for (std::string_view index : indexes) {
      for (size_t begin = 0; begin <= index.size();) {
        const size_t end = std::min(index.find(',', begin), index.size());
        const std::string name(index.substr(begin, end - begin));
        EXPECT_TRUE(columns.count(name)) << table.name << ": " << index;
        begin = end + 1;
      }
    }
  }
}

TEST(Schema, VersionCountersAreIntegersThatBeginAtZero) {
  for (const TableDef& table : SchemaTables()) {
    for (const ColumnDef& column : table.columns) {
      if (!column.name.ends_with("Vesr")) continue;
      EXPECT_EQ(column.kind, ColumnKind::kInteger) << table.name << "." << column.name;
      EXPECT_EQ(column.initial, ColumnDefault::kZero) << table.name << "." << column.name;
    }
  }
}

TEST(Schema, VerificationTypesAreTextButOtherTypesAreIntegers) {
  for (const ColumnDef& column : FindTable("MessengVerify_Type")->columns) {
    EXPECT_EQ(column.kind, ColumnKind::kText) << column.name;
  }
  for (std::string_view name : {"Messeng_Text", "MessengClot_Text", "MessengVerify_Blacklist",
                                "Messeng_Type", "MessengKefu_Type", "PtpFolder"}) {
    for (const ColumnDef& column : FindTable(name)->columns) {
      if (column.name != "To_Type") continue;
      EXPECT_EQ(column.kind, ColumnKind::kInteger) << name;
    }
  }
}

TEST(Schema, OnlyPasswordsAreComparedExactly) {
  std::string exact;
  for (const TableDef& table : SchemaTables()) {
    for (const ColumnDef& column : table.columns) {
      if (column.kind == ColumnKind::kExactText) exact += std::string(column.name) + ";";
    }
  }
  EXPECT_EQ(exact, "UserPaws;");
}

TEST_F(SchemaDatabase, CreatesEveryTableAndIsSafeToRunAgain) {
  Run("insert into Users_ID(UserID) values('1')");
  Create();
  EXPECT_EQ(Read("select count(*) from Users_ID"), "1");
  EXPECT_EQ(
      Read("select count(*) from sqlite_master where type='table' and name not like 'sqlite_%'"),
      std::to_string(SchemaTables().size()));
}

TEST_F(SchemaDatabase, ColumnsStandInTheirOrder) {
  for (const TableDef& table : SchemaTables()) {
    std::string expected;
    for (const ColumnDef& column : table.columns) {
      expected += (expected.empty() ? "" : ",") + std::string(column.name);
    }
    EXPECT_EQ(Read("select name from pragma_table_info('" + std::string(table.name) + "')"),
              expected);
  }
}

TEST_F(SchemaDatabase, EveryTableHasARowid) {
  for (const TableDef& table : SchemaTables()) {
    EXPECT_EQ(Read("select count(rowid) from " + std::string(table.name)), "0") << table.name;
  }
}

TEST_F(SchemaDatabase, EveryColumnMayBeNull) {
  for (const TableDef& table : SchemaTables()) {
    for (const ColumnDef& column : table.columns) {
      Run("insert into " + std::string(table.name) + "(" + std::string(column.name) +
          ") values(null)");
    }
  }
}

TEST_F(SchemaDatabase, RowsMayStandTwice) {
  Run("insert into Users_ID(UserID,UserName) values('1','a')");
  Run("insert into Users_ID(UserID,UserName) values('1','a')");
  EXPECT_EQ(Read("select count(*) from Users_ID where UserID='1'"), "2");
}

TEST_F(SchemaDatabase, FreshMessageRowHasItsFlagsAtZero) {
  Run("insert into Messeng_Text(Msg_ID) values('m')");
  EXPECT_EQ(Read("select IsAck1,IsAck2,IsAck3,IsAck4,To_Date from Messeng_Text"), "0 0 0 0 NULL");
}

TEST_F(SchemaDatabase, GroupMessageGetsIdDateAndTimeFromTheDatabase) {
  Run("insert into MessengClot_Text(Msg_ID) values('m')");
  EXPECT_EQ(Read("select TypeID, To_Date = date('now','localtime') or To_Date is not null,"
                 " length(To_Date), length(To_Time) from MessengClot_Text"),
            "1 1 10 8");
}

TEST_F(SchemaDatabase, GroupMessageIdsNeverRepeat) {
  Run("insert into MessengClot_Text(Msg_ID) values('a')");
  Run("insert into MessengClot_Text(Msg_ID) values('b')");
  Run("delete from MessengClot_Text where Msg_ID='b'");
  Run("insert into MessengClot_Text(Msg_ID) values('c')");
  EXPECT_EQ(Read("select TypeID from MessengClot_Text"), "1,3");
}

TEST_F(SchemaDatabase, TextIgnoresAsciiCaseButPasswordsDoNot) {
  Run("insert into Users_ID(UserID,UserName,UserPaws) values('1','Alice','Secret')");
  EXPECT_EQ(Read("select UserID from Users_ID where UserName='aLICE' and UserPaws='Secret'"), "1");
  EXPECT_EQ(Read("select UserID from Users_ID where UserName='Alice' and UserPaws='secret'"), "");
  EXPECT_EQ(Read("select UserID from Users_ID where UserName='Alice '"), "");
}

TEST_F(SchemaDatabase, IntegerColumnRefusesWhatIsNoNumber) {
  EXPECT_FALSE(driver_->Execute("insert into Clot_Form(IsAdmin) values('x')", {}));
  Run("insert into Clot_Form(IsAdmin) values('1')");
  EXPECT_EQ(Read("select IsAdmin from Clot_Form"), "1");
}

TEST_F(SchemaDatabase, MembersComeInOrderOfInsertion) {
  for (const char* user : {"30", "4", "100", "1"}) {
    Run("insert into Clot_Form(UpperID,UserID) values('Clot000001','" + std::string(user) + "')");
  }
  EXPECT_EQ(Read("select UserID from Clot_Form where UpperID='Clot000001'"), "30,4,100,1");
  EXPECT_EQ(Read("select UserID from Clot_Form where UpperID='Clot000001' and UserID<>'4'"),
            "30,100,1");
}

TEST_F(SchemaDatabase, LookUpsGoThroughAnIndex) {
  for (const char* statement :
       {"select * from Users_ID where UserID='1'", "select * from Users_ID where UserName='a'",
        "select * from Clot_Form where UpperID='g'",
        "select * from Clot_Form where UpperID='g' and UserID='1'",
        "select * from Msg_Acks where Msg_ID='m' and YouID='1'",
        "select max(TypeID) as c from MessengClot_Text where ClotID='g'",
        "select * from Fav_Form where UserID='1' and MyID='2'"}) {
    const std::string plan = Read("explain query plan " + std::string(statement));
    EXPECT_NE(plan.find("USING"), std::string::npos) << statement << ": " << plan;
    EXPECT_NE(plan.find("INDEX"), std::string::npos) << statement << ": " << plan;
  }
}

TEST_F(SchemaDatabase, IndexesForHistoriesLeaveTheServersLookUpsAsTheyAre) {
  const auto plan = [this](const std::string& where) {
    return Read("explain query plan select * from Messeng_Text where " + where);
  };
  const std::string pair = "(YouID='1' and MyID='2') or (MyID='1' and YouID='2')";
  EXPECT_NE(plan(pair).find("SCAN"), std::string::npos) << plan(pair);
  SchemaReport report;
  std::string error;
  for (size_t made : {2u, 0u}) {
    report = {};
    ASSERT_TRUE(MakeSchema(*driver_, DatabaseEngine::kSqlite, report, error,
                           {.indexes = IndexSet::kAlsoHistory}))
        << error;
    EXPECT_EQ(report.made.indexes, made);
  }
  EXPECT_EQ(plan(pair).find("SCAN"), std::string::npos) << plan(pair);
  for (const char* where : {"Msg_ID='m' and YouID='2'", "Msg_ID='m' and IsAck1=1",
                            "Msg_ID='m' and MyID='1' and YouID='2' and IsAck1=1"}) {
    EXPECT_NE(plan(where).find("idx_Messeng_Text_Msg_ID"), std::string::npos) << plan(where);
  }
  for (const char* where : {"YouID='2' or MyID='2'", "YouID='2' and IsAck3=1"}) {
    EXPECT_NE(plan(where).find("idx_Messeng_Text_YouID"), std::string::npos) << plan(where);
  }
}

}  // namespace
}  // namespace vnq
