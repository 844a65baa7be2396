#include "tools/watch/presence_command.h"

#include <fmt/format.h>

#include <iostream>
#include <memory>
#include <sstream>
#include <vector>

#include <CLI/CLI.hpp>

#include "host/database/database.h"
#include "platform/system/instance.h"
#include "sessions/sessions.h"
#include "support/numbers.h"
#include "tools/client/chat_text.h"
#include "tools/folder/program_database.h"
#include "tools/library/json_string.h"
#include "tools/terminal/command_line.h"
#include "tools/users/user_accounts.h"
#include "tools/watch/status_commands.h"

namespace vnq {
namespace {

using Repaired = std::vector<RepairedPresence>;

// UserID TAB was TAB now TAB login name, a line a user.
Repaired ReadAnswer(const std::string& answer) {
  Repaired repaired;
  std::istringstream lines(answer);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream cells(line);
    std::string was, now;
    RepairedPresence user;
    std::getline(cells, user.userId, '\t');
    std::getline(cells, was, '\t');
    std::getline(cells, now, '\t');
    std::getline(cells, user.userName);
    user.was = ParseInt16(was).value_or(0);
    user.now = ParseInt16(now).value_or(0);
    repaired.push_back(std::move(user));
  }
  return repaired;
}

bool RepairDirectly(const PresenceOptions& options, Repaired& repaired, std::string& error) {
  auto opened = OpenProgramDatabase(options.appPath, error);
  if (!opened) return false;
  if (opened->folder.platform.nodes.AreGiven()) {
    error = "the server of " + opened->folder.appPath +
            " does not run, and only a node that runs knows who is on the others";
    return false;
  }
  InstanceLock lock;
  switch (lock.Acquire(opened->folder.LockPath(), error)) {
    case InstanceLock::Result::kHeld:
      break;
    case InstanceLock::Result::kOtherInstance:
      error = "a server runs in " + opened->folder.appPath + ", and does not answer";
      return false;
    case InstanceLock::Result::kError:
      return false;
  }
  Database database(std::move(opened->driver));
  auto result = RepairPresence(
      database, [](const std::string&) { return false; }, options.isDryRun);
  if (!result) error = "the table of users cannot be read";
  if (!result) return false;
  repaired = std::move(*result);
  if (!database.driver().SyncCommitted()) error = database.driver().LastError();
  return error.empty();
}

bool Repair(const PresenceOptions& options, Repaired& repaired, std::string& error) {
  std::string answer, ignored;
  const std::string question = options.isDryRun ? "presence repair test" : "presence repair";
  if (!AskServer(options.appPath, question, answer, ignored)) {
    return RepairDirectly(options, repaired, error);
  }
  repaired = ReadAnswer(answer);
  return true;
}

void Print(const PresenceOptions& options, const Repaired& repaired, std::ostream& out) {
  for (const RepairedPresence& user : repaired) {
    out << fmt::format("{} ({}): {} {} {}\n", TerminalLine(user.userName),
                       TerminalLine(user.userId), PresenceWord(user.was),
                       options.isDryRun ? "would become" : "became", PresenceWord(user.now));
  }
  out << (repaired.empty() ? "nobody seems to be online without a session\n" : "");
}

void PrintAsJson(const Repaired& repaired, std::ostream& out) {
  std::string_view separator = "\n";
  out << '[';
  for (const RepairedPresence& user : repaired) {
    out << separator
        << fmt::format(R"({{"user":{},"name":{},"was":"{}","now":"{}"}})", JsonString(user.userId),
                       JsonString(user.userName), PresenceWord(user.was), PresenceWord(user.now));
    separator = ",\n";
  }
  out << (repaired.empty() ? "]\n" : "\n]\n");
}

}  // namespace

int RunPresenceRepair(const PresenceOptions& options, std::ostream& out, std::ostream& err) {
  Repaired repaired;
  std::string error;
  if (!Repair(options, repaired, error)) return Fail(err, "presence", error);
  options.json ? PrintAsJson(repaired, out) : Print(options, repaired, out);
  return kExitDone;
}

void AddPresenceCommand(CLI::App& app, int& exitCode) {
  CLI::App* presence = app.add_subcommand("presence", "What others see of users");
  presence->require_subcommand(1);
  CLI::App* repair = presence->add_subcommand(
      "repair", "Set users right who seem to be online and have no session, after a crash, say");
  const auto options = std::make_shared<PresenceOptions>();
  AddAppPath(*repair, options->appPath)->required();
  repair->add_flag("--dry-run", options->isDryRun, "Say whom, and change nothing");
  repair->add_flag("--json", options->json, "As a JSON array, an object a user");
  repair->callback(
      [options, &exitCode] { exitCode = RunPresenceRepair(*options, std::cout, std::cerr); });
}

}  // namespace vnq
