// The tables of a database, made where they are missing.
#pragma once

#include <string>
#include <vector>

#include "host/database/database_engine.h"
#include "platform/sql/sql_driver.h"

namespace vnq {

/// What a database lacks, and the statements that make it; the last ones note its version, where no
/// column stays missing.
struct SchemaPlan {
  std::vector<std::string> statements;
  size_t tables = 0, indexes = 0, columns = 0;
  size_t rows = 0;  ///< the counters and the logo's version

  /// One line an index that was wished for and that a table cannot have.
  std::vector<std::string> obstacles;
};

/// What MakeSchema found to do.
struct SchemaReport {
  SchemaPlan made;

  /// One line a difference between a table that was there and what the server expects.
  std::vector<std::string> differences;
};

/// What to do with columns that a table which is there lacks.
enum class MissingColumns { kLeave, kAdd };

/// Which indexes are wanted.
enum class IndexSet {
  kServer,       ///< those that the server's statements go through
  kAlsoHistory,  ///< those of TableDef::historyIndexes, too
};

/// How far to go.
struct SchemaWish {
  MissingColumns columns = MissingColumns::kLeave;
  IndexSet indexes = IndexSet::kServer;
};

/// Finds out what is missing, and changes nothing. False, with the reason in `error`, when the
/// database cannot be read, or is of a newer version than this program.
bool PlanSchema(SqlDriver& driver, DatabaseEngine engine, const SchemaWish& wish, SchemaPlan& plan,
                std::string& error);

/// Makes what is missing, all or none. Existing tables keep their rows, and the columns that they
/// have. False, with the reason in `error`, as above and when the database refuses.
bool MakeSchema(SqlDriver& driver, DatabaseEngine engine, SchemaReport& report, std::string& error,
                const SchemaWish& wish = {});

}  // namespace vnq
