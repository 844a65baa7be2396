#include "tools/watch/trace_command.h"

#include <iostream>
#include <memory>
#include <sstream>

#include <CLI/CLI.hpp>

#include "tools/company/company.h"
#include "tools/terminal/command_line.h"
#include "tools/watch/status_commands.h"

namespace vnq {
namespace {

// What the server is asked; nothing where no such user is known.
bool MakeQuestion(const TraceOptions& options, std::string& question, std::string& error) {
  question = "trace";
  if (options.user.empty()) return true;
  const auto company = Company::Open(options.appPath, error);
  std::string id;
  if (!company || !company->FindUser(options.user, id, error)) return false;
  question += " " + options.change + " " + id;
  return true;
}

}  // namespace

int RunTrace(const TraceOptions& options, std::ostream& out, std::ostream& err) {
  std::string question, answer, error;
  if (!MakeQuestion(options, question, error) ||
      !AskServer(options.appPath, question, answer, error)) {
    return Fail(err, "trace", error);
  }
  Listing listing{{"user"}, {}};
  std::istringstream lines(answer);
  for (std::string line; std::getline(lines, line);) listing.rows.push_back({line});
  listing.Print(options.json, out);
  return kExitDone;
}

void AddTraceCommand(CLI::App& app, int& exitCode) {
  CLI::App* command = app.add_subcommand(
      "trace",
      "Write a user's records to the running server's log, passwords masked; alone: who"
      " is followed");
  const auto options = std::make_shared<TraceOptions>();
  AddAppPath(*command, options->appPath)->required();
  auto* user = command->add_option("USER", options->user, "Login name or UserID");
  auto* change = command->add_option("CHANGE", options->change, "on or off")
                     ->check(CLI::IsMember({"on", "off"}))
                     ->needs(user);
  command->add_flag("--json", options->json, "As a JSON array, an object a user");
  command->callback([options, user, change, &exitCode] {
    if (user->count() > change->count()) throw CLI::RequiredError("CHANGE, on or off");
    exitCode = RunTrace(*options, std::cout, std::cerr);
  });
}

}  // namespace vnq
