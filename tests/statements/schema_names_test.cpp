// The names of the schema stand unquoted in statements: no engine may have one as a word of its
// own.
#include <fmt/format.h>
#include <gtest/gtest.h>

#include "tests/statements/transact_sql_grammar.h"
#include "tools/schema/schema_sql.h"

namespace vnq {
namespace {

TEST(SchemaNames, NoneIsAReservedWordOfSqlServer) {
  for (const TableDef& table : SchemaTables()) {
    std::string columns;
    for (const ColumnDef& column : table.columns) {
      columns += (columns.empty() ? "" : ",") + std::string(column.name);
    }
    const std::string select = fmt::format("select {} from {}", columns, table.name);
    EXPECT_EQ(TransactSqlError(select), "") << select;
    for (std::string_view index : table.indexes) {
      const std::string named =
          fmt::format("select {} from {}", IndexName(table, index), table.name);
      EXPECT_EQ(TransactSqlError(named), "") << named;
    }
  }
}

}  // namespace
}  // namespace vnq
