#include <gtest/gtest.h>

#include "tests/platform/postgres_fixture.h"

namespace vnq {
namespace {

using Texts = std::vector<std::string>;

class PostgresDriverTest : public PostgresTest {
 protected:
  void SetUp() override {
    PostgresTest::SetUp();
    if (IsSkipped()) return;
    Other(
        "create table People(Name varchar(50),Secret text,Age integer default 7,"
        "Since text default '2024-02-01')");
  }
};

TEST_F(PostgresDriverTest, RowsCarryTheirTypesAndValues) {
  Other("insert into People values('Ann','s',NULL,'2024-01-01')");
  SqlRows rows = Rows("select * from People");
  EXPECT_EQ(Names(rows), (Texts{"name", "secret", "age", "since"}));
  EXPECT_EQ(Cells(rows), (Texts{"'Ann'", "'s'", "(null)", "'2024-01-01'"}));
  EXPECT_EQ((*rows.columns)[0].maxLength, 50U);
  EXPECT_EQ((*rows.columns)[1].maxLength, 0U);
  EXPECT_EQ((*rows.columns)[1].type, SqlColumnType::kText);
  EXPECT_EQ((*rows.columns)[2].type, SqlColumnType::kInteger);
  EXPECT_EQ(rows.rowCount(), 1U);
}

TEST_F(PostgresDriverTest, TopOneOfAnEmptyTableStillNamesItsTable) {
  SqlRows rows = Rows("select top 1 * from People");
  EXPECT_FALSE(rows.table.empty());
  EXPECT_EQ(rows.rowCount(), 0U);
  EXPECT_TRUE(driver_->Insert(rows, std::vector<SqlAssignment>{{"NAME", SqlValue::Text("x")}}));
  EXPECT_EQ(OtherReads("select name from people"), "x");
}

TEST_F(PostgresDriverTest, InsertTakesTheDefaultsOfOtherColumns) {
  SqlRows rows = Rows("select * from People");
  EXPECT_TRUE(driver_->Insert(rows, std::vector<SqlAssignment>{{"name", SqlValue::Text("Bob")}}));
  EXPECT_TRUE(driver_->Insert(rows, {}));
  EXPECT_EQ(Cells(Rows("select Name,Age,Since from People order by Name")),
            (Texts{"'Bob'", "7", "'2024-02-01'", "(null)", "7", "'2024-02-01'"}));
}

TEST_F(PostgresDriverTest, UpdateTwiceAndDeleteThroughOneRowSet) {
  Other("insert into People(Name) values('a'),('a')");
  SqlRows rows = Rows("select * from People");
  for (const char* name : {"b", "c"}) {
    EXPECT_TRUE(
        driver_->UpdateRow(rows, 0, std::vector<SqlAssignment>{{"name", SqlValue::Text(name)}}))
        << driver_->LastError();
  }
  EXPECT_EQ(Cells(Rows("select Name from People order by Name")), (Texts{"'a'", "'c'"}));
  EXPECT_TRUE(driver_->DeleteRow(rows, 0)) << driver_->LastError();
  EXPECT_FALSE(driver_->DeleteRow(rows, 0));
  EXPECT_NE(driver_->LastError().find("the row is no longer there"), std::string::npos);
  EXPECT_EQ(Cells(Rows("select Name from People")), (Texts{"'a'"}));
  EXPECT_TRUE(driver_->SyncCommitted()) << driver_->LastError();
}

}  // namespace
}  // namespace vnq
