// The statements that make the schema, as each engine takes them.
//
//                  SQLite                PostgreSQL           Transact-SQL
//   text           nocase collation      text, folded in      nvarchar, case-insensitive
//                                        comparisons          collation
//   exact text     binary collation      text                 nvarchar, binary collation
//   growing id     autoincrement         identity             identity
//   an index on    the columns           the beginning of     the columns
//                                        their folded form
//   row column     (rowid)               identity             identity
//
// A database server tells no row of a table without a key from another that is equal, and changes
// their order, so a table without a growing id gets a last column that counts its rows. Statements
// that do not name it do not see it (kSqlRowColumn).
//
// Names are never quoted: an engine that folds the letter case of names does so here and in every
// statement of the server alike.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/database/database_engine.h"
#include "host/database/schema.h"

namespace vnq {

/// Creates the table, without its indexes. SQLite and PostgreSQL keep a table that exists as it is;
/// Transact-SQL refuses then.
std::string CreateTableStatement(const TableDef& table, DatabaseEngine engine);

/// Adds a column to a table that exists. Empty where the engine does not: SQLite neither a growing
/// id nor a default that it has to compute.
std::string AddColumnStatement(const TableDef& table, const ColumnDef& column,
                               DatabaseEngine engine);

/// The name of an index: one of `table.indexes`.
std::string IndexName(const TableDef& table, std::string_view columns);

/// Creates one of `table.indexes`; one that exists is kept or refused as a table is.
std::string CreateIndexStatement(const TableDef& table, std::string_view columns,
                                 DatabaseEngine engine);

/// What keeps SQLite from looking a message up by the people in it: it takes an index on one person
/// for as good as one on the message until it is told how many rows each finds. Figures that the
/// database has already, from its own counting, stay.
std::vector<std::string> HistoryIndexStatistics(const TableDef& table);

/// The column's type, such as "nvarchar(255)", without its collation.
std::string ColumnType(const ColumnDef& column, DatabaseEngine engine);

/// The columns that an index names, or their parts of a list "a,b".
std::vector<std::string_view> IndexColumns(std::string_view columns);

/// Everything: each table and its indexes behind it.
std::vector<std::string> SchemaStatements(DatabaseEngine engine);

}  // namespace vnq
