#include "tools/schema/schema_differences.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/harness/app_folder.h"
#include "tools/schema/make_schema.h"
#include "tools/schema/schema_sql.h"

namespace vnq {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> Lines(const std::vector<SchemaDifference>& differences) {
  std::vector<std::string> lines;
  for (const SchemaDifference& difference : differences) lines.push_back(difference.line);
  return lines;
}

class SchemaDifferencesOnSqlite : public ::testing::Test {
 protected:
  SchemaDifferencesOnSqlite() {
    SqliteOptions options;
    options.path = folder_.path() + "/d.db";
    options.createFile = true;
    driver_ = OpenSqlite(options);
  }

  void Run(std::string_view statement) {
    ASSERT_TRUE(driver_->Execute(statement, {})) << driver_->LastError();
  }
  std::vector<std::string> Differences() {
    ExistingSchema schema;
    std::string error;
    EXPECT_TRUE(schema.Read(*driver_, DatabaseEngine::kSqlite, error)) << error;
    missing_ = MissingTables(schema).size();
    return Lines(SchemaDifferences(schema, DatabaseEngine::kSqlite));
  }

  AppFolder folder_;
  std::unique_ptr<SqlDriver> driver_;
  size_t missing_ = 0;
};

TEST_F(SchemaDifferencesOnSqlite, OwnSchemaHasNone) {
  SchemaReport report;
  std::string error;
  ASSERT_TRUE(MakeSchema(*driver_, DatabaseEngine::kSqlite, report, error)) << error;
  EXPECT_THAT(Differences(), IsEmpty());
  EXPECT_EQ(missing_, 0u);
}

TEST_F(SchemaDifferencesOnSqlite, EmptyDatabaseLacksEveryTable) {
  EXPECT_THAT(Differences(), IsEmpty());
  EXPECT_EQ(missing_, SchemaTables().size());
}

TEST_F(SchemaDifferencesOnSqlite, ColumnsThatDifferAreNamed) {
  Run("create table users_pic (\"UserID\" varchar(20) collate nocase, pic text default 0,"
      " extra text not null, harmless text not null default 'x')");
  Run("create index own_name on Users_Pic (userid)");
  EXPECT_THAT(Differences(),
              ElementsAre("table Users_Pic: column pic is text, integer is expected",
                          "table Users_Pic: column extra must not be null and has no default, rows"
                          " without it are refused"));
}

TEST_F(SchemaDifferencesOnSqlite, MissingDefaultsAreNamed) {
  Run("create table ToInfo (To_Txt text collate nocase, FontInfo text collate nocase,"
      " To_Date text collate nocase)");
  Run("create table OtherForm (ID integer, Logo integer)");
  EXPECT_THAT(
      Differences(),
      ElementsAre("table ToInfo: column To_Date has no default, the current date is expected",
                  "table OtherForm: column Logo has no default, 0 is expected"));
}

TEST_F(SchemaDifferencesOnSqlite, CollationThatTellsCaseIsNamed) {
  Run("create table Kefu (IP text collate nocase, City text, constraint c check (City <> 'x'))");
  EXPECT_THAT(Differences(),
              ElementsAre("table Kefu: column City: collation binary tells upper from lower case,"
                          " nocase is expected"));
}

TEST_F(SchemaDifferencesOnSqlite, MissingIndexIsNamed) {
  Run("create table Col_Ro (TypeName text collate nocase, MyID text collate nocase)");
  EXPECT_THAT(Differences(), ElementsAre("table Col_Ro: no index on MyID"));
  Run("create index partial on Col_Ro (MyID) where TypeName='x'");
  EXPECT_THAT(Differences(), ElementsAre("table Col_Ro: no index on MyID"));
}

TEST_F(SchemaDifferencesOnSqlite, IndexOnAMissingColumnCannotBeMade) {
  Run("create table Col_Ro (TypeName text collate nocase)");
  SchemaReport report;
  std::string error;
  ASSERT_TRUE(MakeSchema(*driver_, DatabaseEngine::kSqlite, report, error)) << error;
  EXPECT_THAT(report.differences,
              ElementsAre("table Col_Ro: column MyID is missing",
                          "table Col_Ro: no index on MyID; none can be made: column MyID is"
                          " missing"));
}

TEST_F(SchemaDifferencesOnSqlite, IndexOfAnyNameServes) {
  Run("create table Col_Ro (TypeName text collate nocase, MyID text collate nocase)");
  Run("create index theirs on Col_Ro (MyID,TypeName)");
  SchemaReport report;
  std::string error;
  ASSERT_TRUE(MakeSchema(*driver_, DatabaseEngine::kSqlite, report, error)) << error;
  EXPECT_THAT(report.differences, IsEmpty());
  EXPECT_EQ(report.made.tables, SchemaTables().size() - 1);
}

TEST_F(SchemaDifferencesOnSqlite, GroupMessageIdsMustGrowByThemselves) {
  Run("create table MessengClot_Text (TypeID integer)");
  EXPECT_THAT(Differences(),
              Contains("table MessengClot_Text: column TypeID is not assigned by the database"));
}

/// A driver that answers with the catalogue that a test made up.
class CatalogueDriver : public SqlDriver {
 public:
  /// table, column, type, length, collation, not null, default
  void Add(std::string table, std::string column, std::string type, int64_t length,
           std::string collation) {
    for (SqlValue& cell :
         std::vector<SqlValue>{SqlValue::Text(std::move(table)), SqlValue::Integer(++position_),
                               SqlValue::Text(std::move(column)), SqlValue::Text(std::move(type)),
                               SqlValue::Integer(length), SqlValue::Text(std::move(collation)),
                               SqlValue::Integer(0), SqlValue::Integer(1), SqlValue::Integer(0)}) {
      columns_.cells.push_back(cell);
    }
  }

  bool Query(std::string_view statement, std::span<const SqlValue>, SqlRows& rows) override {
    rows = statement.find("sys.indexes") == statement.npos ? columns_ : SqlRows{};
    return true;
  }
  bool Execute(std::string_view, std::span<const SqlValue>) override { return false; }
  bool Insert(const SqlRows&, std::span<const SqlAssignment>) override { return false; }
  bool UpdateRow(SqlRows&, size_t, std::span<const SqlAssignment>) override { return false; }
  bool DeleteRow(const SqlRows&, size_t) override { return false; }
  bool SyncCommitted() override { return true; }
  const std::string& LastError() const override { return error_; }

 private:
  SqlRows columns_;
  int64_t position_ = 0;
  std::string error_ = "not made for this";
};

class SchemaDifferencesOnSqlServer : public ::testing::Test {
 protected:
  std::vector<std::string> Differences() {
    ExistingSchema schema;
    std::string error;
    EXPECT_TRUE(schema.Read(driver_, DatabaseEngine::kSqlServer, error)) << error;
    return Lines(SchemaDifferences(schema, DatabaseEngine::kSqlServer));
  }
  CatalogueDriver driver_;
};

TEST_F(SchemaDifferencesOnSqlServer, CodePageColumnsAreNamed) {
  driver_.Add("Kefu", "IP", "varchar", 50, "Chinese_PRC_CI_AS");
  driver_.Add("Kefu", "City", "varchar", 255, "Latin1_General_100_CI_AS_SC_UTF8");
  EXPECT_THAT(Differences(),
              ElementsAre("table Kefu: column IP: varchar holds only the server's code page,"
                          " nvarchar is expected"));
}

TEST_F(SchemaDifferencesOnSqlServer, ShortAndCaseSensitiveColumnsAreNamed) {
  driver_.Add("kefu", "ip", "nvarchar", 20, "Chinese_PRC_CI_AS");
  driver_.Add("kefu", "city", "nvarchar", -1, "Chinese_PRC_CS_AS");
  EXPECT_THAT(Differences(),
              ElementsAre("table Kefu: column IP: nvarchar(20) is shorter than nvarchar(255)",
                          "table Kefu: column City: collation chinese_prc_cs_as tells upper from"
                          " lower case, one with _CI_ is expected"));
}

TEST_F(SchemaDifferencesOnSqlServer, BoundedMessageTextsAreNamed) {
  driver_.Add("ToInfo", "To_Txt", "nvarchar", 4000, "Chinese_PRC_CI_AS");
  driver_.Add("ToInfo", "FontInfo", "ntext", 1073741823, "Chinese_PRC_CI_AS");
  driver_.Add("ToInfo", "To_Date", "datetime", 0, "");
  EXPECT_THAT(Differences(),
              ElementsAre("table ToInfo: column To_Txt: nvarchar(4000) is shorter than"
                          " nvarchar(max)",
                          "table ToInfo: column FontInfo is ntext, nvarchar(255) is expected",
                          "table ToInfo: column To_Date is datetime, nvarchar(255) is expected"));
}

TEST_F(SchemaDifferencesOnSqlServer, UnboundedColumnCannotHaveAnIndex) {
  driver_.Add("Col_Ro", "TypeName", "nvarchar", 255, "Chinese_PRC_CI_AS");
  driver_.Add("Col_Ro", "MyID", "nvarchar", -1, "Chinese_PRC_CI_AS");
  EXPECT_THAT(Differences(),
              ElementsAre("table Col_Ro: no index on MyID; none can be made: column MyID is"
                          " nvarchar without a bound"));
}

}  // namespace
}  // namespace vnq
