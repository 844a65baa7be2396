// Every statement of the sources, on every engine, before anybody runs it.
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <sstream>

#include "host/database/schema.h"
#include "platform/sql/sql_driver.h"
#include "tests/harness/app_folder.h"
#include "tests/harness/postgres_test_database.h"
#include "tests/statements/source_statements.h"
#include "tests/statements/transact_sql_grammar.h"
#include "tools/folder/init_command.h"

namespace vnq {
namespace {

const SourceStatements& Sources() {
  static const SourceStatements read = ReadSourceStatements(VNQ_SOURCE_FOLDER);
  return read;
}

std::string Described(const SourceStatement& statement) {
  return statement.file + ": " + statement.text;
}

TEST(Statements, AllOfTheSourcesAreKnown) {
  EXPECT_EQ(Sources().unknown, std::vector<std::string>{})
      << "a statement that is put together: list what it can become";
  EXPECT_GT(Sources().statements.size(), 100U);
}

TEST(Statements, EachIsPreparedOnSqlite) {
  const AppFolder folder;
  std::ostringstream said;
  ASSERT_EQ(RunInit({folder.path(), false, "C"}, said, said), 0) << said.str();
  SqliteOptions options;
  options.path = folder.path() + "/Web/Data/vnq.db";
  const auto driver = OpenSqlite(options);
  for (const SourceStatement& statement : Sources().statements) {
    SqlRows rows;
    const std::vector<SqlValue> nothing(statement.markers.size());
    EXPECT_TRUE(driver->Query("explain " + statement.text, nothing, rows))
        << Described(statement) << "\n"
        << driver->LastError();
  }
}

TEST(Statements, EachIsPreparedOnPostgres) {
  if (getenv("VNQ_TEST_POSTGRES") == nullptr) GTEST_SKIP() << "no PostgreSQL for this run";
  PostgresTestDatabase database;
  database.Open({});
  int number = 0;
  for (const SourceStatement& statement : Sources().statements) {
    SCOPED_TRACE(Described(statement));
    const auto translated = TranslateSql(statement.text, statement.markers, kPostgresDialect);
    database.Run(fmt::format("prepare s{} as {}", ++number, translated.text));
  }
}

TEST(Statements, EachIsInTheGrammarOfSqlServer) {
  for (const SourceStatement& statement : Sources().statements) {
    const auto translated = TranslateSql(statement.text, statement.markers, kTransactSqlDialect);
    EXPECT_EQ(TransactSqlError(translated.text), "") << Described(statement) << "\n"
                                                     << translated.text;
  }
}

TEST(TransactSqlGrammar, TakesWhatTheLanguageHas) {
  for (const char* text :
       {"select top 1 * from T", "select distinct top (2) a.b as c,count(*) from T as a,U b",
        "select * from T where (a=1 or b in (?,?)) and not c is null order by d desc,e",
        "select * from T where translate(a collate X,'A','a')+N'.'=?",
        "insert into T default values", "insert into T(a,[user]) values(?,N'x''y')",
        "update top (1) T set a=a+1,b=null where c<>-1", "delete from T where a<='2026-01-01'",
        "select * from T where (a+1)*2>=3"}) {
    EXPECT_EQ(TransactSqlError(text), "") << text;
  }
}

TEST(TransactSqlGrammar, RefusesWhatOtherEnginesWrite) {
  for (const char* text :
       {"select * from T limit 1", "select a||b from T", "select * from T where a=$1",
        "select from T", "select * from user", "insert into T(a,b) values(1)",
        "select a::int from T", "select `a` from T", "select * from T where clng(a)=1",
        "select * from T where a='x", "delete T where", "", "select * from T order by a nulls last",
        "select * from T where d<=#2026-01-01#", "insert or ignore into T(a) values(1)",
        "select * from T; select * from U"}) {
    EXPECT_NE(TransactSqlError(text), "") << text;
  }
}

}  // namespace
}  // namespace vnq
