#include "tools/moving/import_command.h"

#include <unistd.h>

#include <iostream>
#include <memory>
#include <optional>
#include <vector>

#include <CLI/CLI.hpp>

#include "host/database/jet_file.h"
#include "host/database/schema.h"
#include "platform/system/instance.h"
#include "support/ascii_case.h"
#include "tools/company/company.h"
#include "tools/folder/database_advice.h"
#include "tools/folder/program_database.h"
#include "tools/moving/access_file.h"
#include "tools/moving/archive_reader.h"
#include "tools/terminal/command_line.h"

namespace vnq {
namespace {

std::unique_ptr<TableSource> OpenSource(const std::string& path, int codePage, std::string& error) {
  if (IsJetFile(path)) return AccessFile::Open(path, codePage, error);
  return ArchiveReader::Open(path, error);
}

/// One run of the command.
class Import {
 public:
  Import(const ImportOptions& options, std::ostream& out, std::ostream& err)
      : options_(options), out_(out), err_(err) {}

  bool Run() {
    std::string error;
    database_ = OpenProgramDatabase(options_.appPath, error);
    if (!database_) return Fail(error);
    if (!LockFolder()) return false;
    if (!schema_.Read(driver(), database_->folder.engine, error)) return Fail(error);
    source_ = OpenSource(options_.from, database_->folder.codePage->number(), error);
    if (!source_) return Fail(error);
    for (const std::string& finding : source_->Findings()) isGood_ = Fail(finding);
    if (!FindTables()) return false;
    NoteTablesLeftOut();
    if (!CheckThatTheyAreEmpty()) return false;
    report_.columns = {"table", "in the file"};
    if (!options_.table.dryRun) report_.columns.insert(report_.columns.end(), {"before", "now"});
    report_.columns.emplace_back("verdict");
    for (const Planned& planned : planned_) ImportTable(planned);
    if (!options_.json) report_.columns.pop_back();  // a person sees what it is
    report_.Print(options_.json, out_);
    return isGood_;
  }

 private:
  // A table of both sides.
  struct Planned {
    const TableDef* table;
    size_t source;  // in Tables()
  };

  // A server of this folder would see half of it, and change the rest.
  bool LockFolder() {
    if (options_.table.dryRun) return true;
    std::string error;
    switch (lock_.Acquire(database_->folder.LockPath(), error)) {
      case InstanceLock::Result::kHeld:
        return true;
      case InstanceLock::Result::kOtherInstance:
        return Fail("the server runs on " + options_.appPath + "; stop it before an import");
      case InstanceLock::Result::kError:
        break;
    }
    return Fail(error);
  }

  bool FindTables() {
    bool areThere = true;
    for (const TableDef& table : SchemaTables()) {
      for (size_t i = 0; i < source_->Tables().size(); ++i) {
        if (AsciiLower(source_->Tables()[i].name) != AsciiLower(table.name)) continue;
        planned_.push_back({&table, i});
        if (schema_.Find(table.name) != nullptr) continue;
        areThere = Fail("the database has no table " + std::string(table.name) +
                        "; vnqctl init --app-path " + options_.appPath + " makes it");
      }
    }
    if (planned_.empty()) return Fail(options_.from + ": no table of the schema in it");
    return areThere;
  }

  void NoteTablesLeftOut() {
    for (size_t i = 0; i < source_->Tables().size(); ++i) {
      bool isPlanned = false;
      for (const Planned& planned : planned_) isPlanned = isPlanned || planned.source == i;
      if (isPlanned) continue;
      const SourceTable& table = source_->Tables()[i];
      err_ << "note: table " << table.name << " is left out (rows: " << table.rows
           << "): the schema has none of that name\n";
    }
  }

  bool CheckThatTheyAreEmpty() {
    if (options_.table.mode != ImportMode::kIntoEmpty) return true;
    std::string full;
    for (const Planned& planned : planned_) {
      if (source_->Tables()[planned.source].rows == 0) continue;
      const auto rows = CountOwnRows(driver(), *planned.table);
      if (!rows) return Fail(OneLine(driver().LastError()));
      if (*rows == 0) continue;
      full += (full.empty() ? "" : ", ") + std::string(planned.table->name) + " (" +
              std::to_string(*rows) + ")";
    }
    return full.empty() || Fail("nothing was imported, for there are rows in: " + full +
                                "; --replace deletes them first, --append keeps them");
  }

  void ImportTable(const Planned& planned) {
    TableImport import({driver(), database_->folder.engine}, *planned.table,
                       *schema_.Find(planned.table->name), options_.table, err_);
    const TableImport::Outcome outcome = import.Run(*source_, planned.source);
    const uint64_t rows = source_->Tables()[planned.source].rows;
    std::vector<std::string> line = {std::string(planned.table->name), std::to_string(rows)};
    if (!options_.table.dryRun) {
      const int64_t now = CountNow(*planned.table);
      line.push_back(std::to_string(outcome.before));
      line.push_back(std::to_string(now));
      if (outcome.isDone && now != outcome.expected) {
        line.push_back("differs: " + std::to_string(outcome.expected) + " are expected");
        isGood_ = false;
      }
    }
    isGood_ = isGood_ && outcome.isDone && outcome.bad == 0;
    if (line.size() < report_.columns.size()) line.push_back(Verdict(outcome));
    report_.rows.push_back(line);
  }

  std::string Verdict(const TableImport::Outcome& outcome) const {
    const std::string bad = "bad rows " + std::to_string(outcome.bad);
    if (options_.table.dryRun) {
      return outcome.isDone && outcome.bad == 0 ? "fits" : "does not fit: " + bad;
    }
    if (!outcome.isDone) return "failed, the table is as it was";
    return outcome.bad == 0 ? "done" : "done but for " + bad;
  }

  int64_t CountNow(const TableDef& table) {
    SqlRows rows;
    const std::string statement = "select count(*) as c from " + std::string(table.name);
    if (!driver().Query(statement, {}, rows) || rows.cells.empty()) return -1;
    return rows.cells[0].integer;
  }

  SqlDriver& driver() { return *database_->driver; }

  bool Fail(const std::string& why) {
    vnq::Fail(err_, "import", why);
    return false;
  }

  const ImportOptions& options_;
  std::ostream& out_;
  std::ostream& err_;
  InstanceLock lock_;
  std::optional<ProgramDatabase> database_;
  ExistingSchema schema_;
  std::unique_ptr<TableSource> source_;
  std::vector<Planned> planned_;
  Listing report_;
  bool isGood_ = true;
};

}  // namespace

int RunImport(const ImportOptions& options, std::ostream& out, std::ostream& err) {
  return Import(options, out, err).Run() ? kExitDone : kExitFailed;
}

void AddImportCommand(CLI::App& app, int& exitCode) {
  const auto options = std::make_shared<ImportOptions>();
  CLI::App* command =
      app.add_subcommand("import", "Fill the database from an archive or an Access file");
  command->add_option("--from", options->from, "The file")->required();
  AddAppPath(*command, options->appPath)->required();
  const auto mode = [options](ImportMode value) {
    return [options, value](size_t) { options->table.mode = value; };
  };
  auto* replace = command->add_flag_function(
      "--replace", mode(ImportMode::kReplace),
      "Delete the rows of the tables that the file has, in the same transaction");
  command->add_flag_function("--append", mode(ImportMode::kAppend), "Keep the rows that are there")
      ->excludes(replace);
  command->add_flag("--skip-bad-rows", options->table.skipBadRows,
                    "Leave out rows that do not fit, instead of their table");
  command->add_flag("--dry-run", options->table.dryRun, "Read and check everything, write nothing");
  command->add_flag("--json", options->json, "The tables as a JSON array, an object a table");
  command->callback([options, &exitCode] {
    options->table.isWatched = isatty(STDERR_FILENO) == 1;
    exitCode = RunImport(*options, std::cout, std::cerr);
  });
}

}  // namespace vnq
