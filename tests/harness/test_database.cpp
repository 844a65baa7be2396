#include "tests/harness/test_database.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include "tests/harness/postgres_test_database.h"
#include "tests/harness/sqlite_test_database.h"

namespace vnq {
namespace {

std::string KindOfRun() {
  const char* kind = getenv("VNQ_TEST_DATABASE");
  return kind != nullptr && *kind != '\0' ? kind : "sqlite";
}

}  // namespace

std::unique_ptr<TestDatabase> TestDatabase::Make() {
  const std::string kind = KindOfRun();
  if (kind == "postgresql") return std::make_unique<PostgresTestDatabase>();
  if (kind == "tds") return std::make_unique<TdsTestDatabase>();
  EXPECT_EQ(kind, "sqlite") << "VNQ_TEST_DATABASE names no kind of database";
  return std::make_unique<SqliteTestDatabase>();
}

bool TestDatabase::IsEmbedded() {
  return KindOfRun() == "sqlite";
}

bool TestDatabase::IsPostgres() {
  return KindOfRun() == "postgresql";
}

}  // namespace vnq
