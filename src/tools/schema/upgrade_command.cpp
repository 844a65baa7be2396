#include "tools/schema/upgrade_command.h"

#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>

#include "host/database/schema_version.h"
#include "tools/company/company.h"
#include "tools/folder/database_advice.h"
#include "tools/folder/program_database.h"
#include "tools/schema/make_schema.h"
#include "tools/terminal/command_line.h"

namespace vnq {
namespace {

bool Upgrade(const UpgradeOptions& options, ProgramDatabase& opened, SchemaReport& report,
             std::string& error) {
  SqlDriver& driver = *opened.driver;
  const DatabaseEngine engine = opened.folder.engine;
  if (options.isDryRun) {
    return PlanSchema(driver, engine, {.columns = MissingColumns::kAdd}, report.made, error);
  }
  if (!MakeSchema(driver, engine, report, error, {.columns = MissingColumns::kAdd})) return false;
  if (!driver.SyncCommitted()) error = driver.LastError();
  return error.empty();
}

void Print(const UpgradeOptions& options, const SchemaReport& report, std::ostream& out) {
  if (options.json) {
    Listing listing{{"statement"}, {}};
    for (const std::string& statement : report.made.statements) listing.rows.push_back({statement});
    return listing.Print(true, out);
  }
  for (const std::string& statement : report.made.statements) out << statement << ";\n";
  for (const std::string& line : report.differences) out << "left as it is: " << line << "\n";
  const std::string version = "schema version " + std::to_string(kSchemaVersion);
  if (report.made.statements.empty()) {
    out << "nothing is missing, " << version << "\n";
  } else {
    out << (options.isDryRun ? "not done yet: " : "done: ") << report.made.statements.size()
        << " statements, " << version << "\n";
  }
}

}  // namespace

int RunUpgrade(const UpgradeOptions& options, std::ostream& out, std::ostream& err) {
  std::string error;
  auto opened = OpenProgramDatabase(options.appPath, error);
  SchemaReport report;
  if (!opened || !Upgrade(options, *opened, report, error)) {
    return Fail(err, "upgrade", OneLine(error));
  }
  Print(options, report, out);
  return kExitDone;
}

void AddUpgradeCommand(CLI::App& app, int& exitCode) {
  CLI::App* command = app.add_subcommand(
      "upgrade", "Make the tables, columns and indexes that this version's database needs");
  const auto options = std::make_shared<UpgradeOptions>();
  AddAppPath(*command, options->appPath)->required();
  command->add_flag("--dry-run", options->isDryRun, "Show the statements, and run none");
  command->add_flag("--json", options->json, "As a JSON array, an object a statement");
  command->callback(
      [options, &exitCode] { exitCode = RunUpgrade(*options, std::cout, std::cerr); });
}

}  // namespace vnq
