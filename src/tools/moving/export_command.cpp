#include "tools/moving/export_command.h"

#include <unistd.h>

#include <iostream>
#include <memory>
#include <optional>
#include <vector>

#include <CLI/CLI.hpp>

#include "host/database/schema.h"
#include "support/ascii_case.h"
#include "tools/company/company.h"
#include "tools/folder/program_database.h"
#include "tools/moving/archive_writer.h"
#include "tools/schema/growing_id.h"
#include "tools/schema/schema_reader.h"
#include "tools/terminal/command_line.h"
#include "tools/terminal/progress_bar.h"

namespace vnq {
namespace {

// --- A whole table, some rows at a time ---

/// The rows of one table. SQLite's come in order of their rowids, which is that of insertion; a
/// server's in its own. SQL Server gives all rows as one page, so they must fit into memory.
///
/// Stands inside a transaction; PostgreSQL closes a cursor that was not read to its end with it.
class TablePages {
 public:
  TablePages(SqlDriver& driver, DatabaseEngine engine, std::string_view table)
      : driver_(driver), engine_(engine), table_(table) {}

  /// The next rows; none behind the last. `page` has the columns even when it has no rows. False
  /// when the database refuses, see the driver's LastError().
  bool Next(SqlRows& page);

  static constexpr size_t kPageRows = 500;

 private:
  bool NextByRowid(SqlRows& page);
  bool NextByCursor(SqlRows& page);
  bool NextAtOnce(SqlRows& page);

  SqlDriver& driver_;
  DatabaseEngine engine_;
  std::string table_;
  bool isBegun_ = false, isEnded_ = false;
  SqlValue lastRowid_ = SqlValue::Integer(INT64_MIN);
};

// The columns stay, for who reads them from the last page.
void TakeRows(SqlRows& page) {
  page.cells.clear();
  page.identity.clear();
}

// What opens a transaction in which every read sees the database as it was at the first, where the
// engine has one. SQL Server's sees what others commit meanwhile.
std::string_view BeginSnapshotStatement(DatabaseEngine engine) {
  switch (engine) {
    case DatabaseEngine::kSqlite:
      return "begin";
    case DatabaseEngine::kPostgres:
      return "begin transaction isolation level repeatable read, read only";
    case DatabaseEngine::kSqlServer:
      break;
  }
  return "begin transaction";
}

bool TablePages::Next(SqlRows& page) {
  if (isEnded_) {
    TakeRows(page);
    return true;
  }
  switch (engine_) {
    case DatabaseEngine::kSqlite:
      return NextByRowid(page);
    case DatabaseEngine::kPostgres:
      return NextByCursor(page);
    case DatabaseEngine::kSqlServer:
      break;
  }
  return NextAtOnce(page);
}

bool TablePages::NextByRowid(SqlRows& page) {
  const std::string statement = "select top " + std::to_string(kPageRows) + " * from " + table_ +
                                " where _rowid_>? order by _rowid_";
  if (!driver_.Query(statement, {&lastRowid_, 1}, page)) return false;
  isEnded_ = page.rowCount() < kPageRows;
  if (!page.identity.empty()) lastRowid_ = page.identity.back();
  return true;
}

bool TablePages::NextByCursor(SqlRows& page) {
  const std::string cursor = "vnq_" + table_;
  if (!isBegun_ &&
      !driver_.Execute("declare " + cursor + " no scroll cursor for select * from " + table_, {})) {
    return false;
  }
  isBegun_ = true;
  const std::string fetch = "fetch forward " + std::to_string(kPageRows) + " from " + cursor;
  if (!driver_.Query(fetch, {}, page)) return false;
  isEnded_ = page.rowCount() < kPageRows;
  return !isEnded_ || driver_.Execute("close " + cursor, {});
}

bool TablePages::NextAtOnce(SqlRows& page) {
  isEnded_ = true;
  return driver_.Query("select * from " + table_, {}, page);
}

// --- The command ---

/// One run of the command.
class Export {
 public:
  Export(const ExportOptions& options, std::ostream& out, std::ostream& err)
      : options_(options), out_(out), err_(err) {}

  bool Run() {
    std::string error;
    database_ = OpenProgramDatabase(options_.appPath, error);
    if (!database_) return Fail(error);
    if (!driver().Execute(BeginSnapshotStatement(database_->folder.engine), {}))
      return FailByDatabase();
    const bool isWritten = WriteArchive();
    driver().Execute("rollback", {});  // nothing was written that could be lost
    if (!isWritten) return false;
    // The archive itself may be on standard output.
    std::ostream& report = options_.to == kStandardOutput ? err_ : out_;
    report_.Print(options_.json, report);
    if (options_.json) return true;
    report << options_.to << ": tables " << report_.rows.size() << ", rows " << rows_ << "\n";
    return true;
  }

 private:
  bool WriteArchive() {
    ExistingSchema schema;
    std::string error;
    if (!schema.Read(driver(), database_->folder.engine, error)) return Fail(error);
    if (!writer_.Open(options_.to)) return FailByFile();
    for (const TableDef& table : SchemaTables()) {
      if (schema.Find(table.name) == nullptr) {
        err_ << "note: the database has no table " << table.name << "\n";
      } else if (!WriteTable(table)) {
        return false;
      }
    }
    return writer_.Close() || FailByFile();
  }

  bool WriteTable(const TableDef& table) {
    TablePages pages(driver(), database_->folder.engine, table.name);
    SqlRows page;
    if (!pages.Next(page)) return FailByDatabase();
    if (!writer_.BeginTable(Describe(table, *page.columns))) return FailByFile();
    ProgressBar bar(err_, CountForBar(table), options_.isWatched, std::string(table.name));
    size_t rows = 0;
    while (page.rowCount() > 0) {
      if (!WritePage(page, bar)) return FailByFile();
      rows += page.rowCount();
      if (!pages.Next(page)) return FailByDatabase();
    }
    if (!writer_.EndTable()) return FailByFile();
    rows_ += rows;
    report_.rows.push_back({std::string(table.name), std::to_string(rows)});
    return true;
  }

  bool WritePage(const SqlRows& page, ProgressBar& bar) {
    const size_t width = page.columns->size();
    for (size_t row = 0; row < page.rowCount(); ++row) {
      if (!writer_.AddRow({&page.cells[row * width], width})) return false;
      bar.Advance();
    }
    return true;
  }

  // Names as the schema spells them, whatever letter case the engine made of them.
  SourceTable Describe(const TableDef& table, const std::vector<SqlColumn>& columns) {
    SourceTable described;
    described.name = table.name;
    for (const SqlColumn& column : columns) {
      described.columns.push_back({column.name, column.type, ""});
      for (const ColumnDef& known : table.columns) {
        if (AsciiLower(known.name) == AsciiLower(column.name)) {
          described.columns.back().name = known.name;
        }
      }
    }
    if (GrowingIdOf(table) != nullptr) {
      described.counter = ReadGrowingId(driver(), database_->folder.engine, table);
    }
    return described;
  }

  size_t CountForBar(const TableDef& table) {
    SqlRows rows;
    if (!options_.isWatched ||
        !driver().Query("select count(*) from " + std::string(table.name), {}, rows)) {
      return 0;
    }
    return static_cast<size_t>(rows.cells[0].integer);
  }

  SqlDriver& driver() { return *database_->driver; }

  bool FailByDatabase() { return Fail(driver().LastError()); }
  bool FailByFile() { return Fail(writer_.LastError()); }
  bool Fail(const std::string& why) {
    vnq::Fail(err_, "export", why);
    return false;
  }

  const ExportOptions& options_;
  std::ostream& out_;
  std::ostream& err_;
  std::optional<ProgramDatabase> database_;
  ArchiveWriter writer_;
  Listing report_{{"table", "rows"}, {}};
  size_t rows_ = 0;
};

}  // namespace

int RunExport(const ExportOptions& options, std::ostream& out, std::ostream& err) {
  return Export(options, out, err).Run() ? kExitDone : kExitFailed;
}

void AddExportCommand(CLI::App& app, int& exitCode) {
  const auto options = std::make_shared<ExportOptions>();
  CLI::App* command = app.add_subcommand(
      "export", "Write the whole database into one file, beside the server, too");
  AddAppPath(*command, options->appPath)->required();
  command
      ->add_option("--to", options->to,
                   "The file, - for standard output; one that is there is replaced when the new"
                   " one is whole, a device or pipe is written")
      ->required();
  command->add_flag("--json", options->json, "The tables as a JSON array, an object a table");
  command->callback([options, &exitCode] {
    options->isWatched = isatty(STDERR_FILENO) == 1;
    exitCode = RunExport(*options, std::cout, std::cerr);
  });
}

}  // namespace vnq
