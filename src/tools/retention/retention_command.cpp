#include "tools/retention/retention_command.h"

#include <iostream>
#include <memory>

#include <CLI/CLI.hpp>

#include "host/retention.h"
#include "tools/company/company.h"
#include "tools/terminal/command_line.h"

namespace vnq {
namespace {

// False, with the reason in `error`, where one of the tables cannot be read.
bool CountAll(Database& database, const std::vector<OldRows>& old, Listing& listing,
              std::string& error) {
  for (const OldRows& rows : old) {
    if (rows.statement.empty()) continue;  // kept by this kind of database
    const auto count = CountOldRows(database, rows);
    if (!count) {
      error = rows.table + " cannot be read: " + database.driver().LastError();
      return false;
    }
    listing.rows.push_back({rows.table, std::to_string(*count)});
  }
  return true;
}

bool DeleteAll(Company& company, const std::vector<OldRows>& old, std::string& error) {
  return company.Change(
      [&] {
        for (const OldRows& rows : old) {
          if (!rows.statement.empty()) company.Run(Sql(rows.statement));
        }
        return true;
      },
      error);
}

}  // namespace

int RunRetention(const RetentionOptions& options, std::ostream& out, std::ostream& err) {
  std::string error;
  const auto company = Company::Open(options.appPath, error);
  if (!company) return Fail(err, "retention", error);
  const std::vector<OldRows> old =
      OldRowsBySettings(company->folder().settings, SystemClock().Now());
  Listing listing{{"table", "rows"}, {}};
  if (!CountAll(company->database(), old, listing, error) ||
      (!options.isDryRun && !DeleteAll(*company, old, error))) {
    return Fail(err, "retention", error);
  }
  if (listing.rows.empty() && !options.json) {
    out << "the settings keep everything: [delete_chats], [delete_offline_files] and"
           " [delete_offline_notices] of "
        << company->folder().ini << "\n";
    return kExitDone;
  }
  listing.Print(options.json, out);
  if (!options.json) out << (options.isDryRun ? "would be deleted\n" : "deleted\n");
  return kExitDone;
}

void AddRetentionCommand(CLI::App& app, int& exitCode) {
  CLI::App* retention = app.add_subcommand("retention", "Rows that the settings keep no longer");
  retention->require_subcommand(1);
  CLI::App* run = retention->add_subcommand(
      "run", "Delete them, as the server does at each start; it may run meanwhile");
  const auto options = std::make_shared<RetentionOptions>();
  AddAppPath(*run, options->appPath)->required();
  run->add_flag("--dry-run", options->isDryRun, "Say how many, and delete nothing");
  run->add_flag("--json", options->json, "As a JSON array, an object a table");
  run->callback([options, &exitCode] { exitCode = RunRetention(*options, std::cout, std::cerr); });
}

}  // namespace vnq
