// One table of a source into a table of the database.
#pragma once

#include <cstdint>
#include <optional>
#include <ostream>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/database/database_engine.h"
#include "host/database/schema.h"
#include "platform/sql/sql_driver.h"
#include "tools/moving/fit_value.h"
#include "tools/moving/table_source.h"
#include "tools/schema/schema_reader.h"

namespace vnq {

class ProgressBar;

enum class ImportMode {
  kIntoEmpty,  ///< a table that has rows is refused
  kReplace,    ///< the rows of the tables that the source has are deleted first
  kAppend,
};

struct TableImportOptions {
  ImportMode mode = ImportMode::kIntoEmpty;
  bool skipBadRows = false;  ///< else one bad row leaves the table as it was
  bool dryRun = false;       ///< reads and checks, and writes nothing
  bool isWatched = false;    ///< `err` is a terminal
};

/// A database to import into.
struct ImportTarget {
  SqlDriver& driver;
  DatabaseEngine engine;
};

/// The rows that stand in a table and count: all but the one that `vnqctl init` makes. Nothing when
/// the database refuses.
std::optional<int64_t> CountOwnRows(SqlDriver& driver, const TableDef& table);

/// One run, all in one transaction.
class TableImport {
 public:
  struct Outcome {
    int64_t before = 0;    ///< rows that stood in the table
    int64_t expected = 0;  ///< rows that should stand in it now
    uint64_t bad = 0;      ///< rows that were left out
    bool isDone = false;   ///< false: the table is as it was
  };

  /// `existing` is the target's table as the database has it. Notes and errors go to `err`, a line
  /// each; a bad row is told with its number (from 1), column and value.
  TableImport(ImportTarget target, const TableDef& table, const ExistingTable& existing,
              const TableImportOptions& options, std::ostream& err)
      : target_(target), table_(table), existing_(existing), options_(options), err_(err) {}

  /// Takes over Tables()[index] of the source.
  Outcome Run(TableSource& source, size_t index);

 private:
  // Where a cell of the source goes.
  struct Mapped {
    size_t cell;
    TargetColumn column;
  };

  bool Map(const SourceTable& source);
  TargetColumn Describe(const SqlColumn& column) const;
  void NoteColumnsLeftOut(const SourceTable& source);

  bool Transfer(TableSource& source, size_t index);
  bool MakeRoom(const SourceTable& source);
  bool CopyRows(TableSource& source, size_t index);
  bool TakeRow(std::span<const SqlValue> cells);
  bool FitRow(std::span<const SqlValue> cells);
  bool AddRow();
  bool Savepoint(std::string_view statement);
  bool Insert();
  bool SetIdentityInsert(bool isOn);
  bool Finish(const SourceTable& source);

  void SayBadRow(const std::string& what);
  bool Do(const std::string& statement);
  bool Fail(const std::string& why);

  ImportTarget target_;
  const TableDef& table_;
  const ExistingTable& existing_;
  const TableImportOptions& options_;
  std::ostream& err_;

  SqlRows description_;  // of the table, without rows
  std::vector<Mapped> mapped_;
  std::vector<SqlAssignment> values_;  // of one row
  ProgressBar* bar_ = nullptr;
  uint64_t row_ = 0, added_ = 0, changedTexts_ = 0;
  bool isGivingIds_ = false;  // the source brings numbers for the growing id
  bool isBroken_ = false;     // the database takes no more rows
  bool isTold_ = false;       // a line tells why it does not work
  Outcome outcome_;
};

}  // namespace vnq
