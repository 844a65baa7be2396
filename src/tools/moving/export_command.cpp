#include "tools/moving/export_command.h"

#include <unistd.h>

#include <iostream>
#include <memory>
#include <optional>
#include <vector>

#include <CLI/CLI.hpp>

#include "host/database/schema.h"
#include "support/ascii_case.h"
#include "tools/folder/program_database.h"
#include "tools/moving/archive_writer.h"
#include "tools/moving/table_pages.h"
#include "tools/schema/growing_id.h"
#include "tools/schema/schema_reader.h"
#include "tools/terminal/command_line.h"
#include "tools/terminal/progress_bar.h"
#include "tools/terminal/text_table.h"

namespace vnq {
namespace {

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
    PrintTable(report_, report);
    report << options_.to << ": tables " << report_.size() - 1 << ", rows " << rows_ << "\n";
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
    report_.push_back({std::string(table.name), std::to_string(rows)});
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
  std::vector<std::vector<std::string>> report_ = {{"table", "rows"}};
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
  command->callback([options, &exitCode] {
    options->isWatched = isatty(STDERR_FILENO) == 1;
    exitCode = RunExport(*options, std::cout, std::cerr);
  });
}

}  // namespace vnq
