#include "tools/users/user_command.h"

#include <fmt/format.h>
#include <unistd.h>

#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <memory>

#include <CLI/CLI.hpp>

#include "host/slots/presence_values.h"
#include "support/numbers.h"
#include "tools/client/chat_text.h"
#include "tools/client/password.h"
#include "tools/company/company.h"
#include "tools/library/json_string.h"
#include "tools/terminal/command_line.h"
#include "tools/terminal/text_table.h"
#include "tools/users/user_import.h"

namespace vnq {
namespace {

// Runs `work` on the folder's accounts.
int WithAccounts(const UserOptions& options, std::ostream& err,
                 const std::function<bool(UserAccounts& accounts, std::string& error)>& work) {
  std::string error;
  const auto accounts = UserAccounts::Open(options.appPath, error);
  if (!accounts) return Fail(err, "user", error);
  int exitCode = work(*accounts, error) ? 0 : Fail(err, "user", error);
  if (!accounts->Sync(error)) exitCode = Fail(err, "user", error);
  return exitCode;
}

bool GetPassword(const UserOptions& options, std::string& password, std::string& error) {
  password = options.password;
  return !password.empty() || ReadPassword(options.passwordFile, password, error);
}

int AddFromFile(const UserOptions& options, std::ostream& out, std::ostream& err) {
  return WithAccounts(options, err, [&](UserAccounts& accounts, std::string& error) {
    std::ifstream file(options.csvFile, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    if (!file) {
      error = "cannot read " + options.csvFile;
      return false;
    }
    const ImportResult result = ImportUsers(accounts, text, options.import, out, err);
    out << std::flush;
    if (result.bad == 0) return true;
    error = options.csvFile + (options.import.isDryRun ? ": would add " : ": added ") +
            std::to_string(result.added) + ", bad lines " + std::to_string(result.bad);
    return false;
  });
}

// --- How accounts are shown ---

std::string PresenceWordOf(const UserRow& user) {
  return std::string(PresenceWord(ParseInt16(user.UserIcoLine).value_or(kPresenceOffline)));
}

// UserState has two meanings that matter to the login: 0, and everything else.
std::string StateWord(const std::string& UserState) {
  return ParseInt16(UserState) == 0 ? "disabled" : "enabled";
}

std::string JsonNumber(const std::string& text) {
  return text.empty() ? "null" : text;
}

std::string JsonUser(const UserRow& user) {
  return fmt::format(R"({{"UserID":{},"UserName":{},"FcName":{},"UppeId":{},"Jod":{},"Tel1":{},)"
                     R"("UserState":{},"IsManager":{},"UserIcoLine":{},"LoginTime":{}}})",
                     JsonString(user.UserID), JsonString(user.UserName), JsonString(user.FcName),
                     JsonString(user.UppeId), JsonString(user.Jod), JsonString(user.Tel1),
                     JsonNumber(user.UserState), JsonNumber(user.IsManager),
                     JsonNumber(user.UserIcoLine), JsonString(user.LoginTime));
}

// A table for a terminal. Passwords are not shown.
void PrintUsers(const std::vector<UserRow>& users, std::ostream& out) {
  std::vector<std::vector<std::string>> table = {
      {"UserID", "login name", "name", "department", "state", "manager", "presence"}};
  for (const UserRow& user : users) {
    table.push_back({TerminalLine(user.UserID), TerminalLine(user.UserName),
                     TerminalLine(user.FcName), TerminalLine(user.UppeId),
                     StateWord(user.UserState), ParseInt16(user.IsManager) == 1 ? "yes" : "no",
                     PresenceWordOf(user)});
  }
  PrintTable(table, out);
}

// RFC 8259, UTF-8: an object an account and a line an object, its keys the names of the columns.
void PrintUsersAsJson(const std::vector<UserRow>& users, std::ostream& out) {
  out << '[';
  std::string_view separator = "\n";
  for (const UserRow& user : users) {
    out << separator << JsonUser(user);
    separator = ",\n";
  }
  out << (users.empty() ? "]\n" : "\n]\n");
}

}  // namespace

int RunUserAdd(UserOptions options, std::ostream& out, std::ostream& err) {
  if (!options.csvFile.empty()) return AddFromFile(options, out, err);
  return WithAccounts(options, err, [&](UserAccounts& accounts, std::string& error) {
    std::string newId, note;
    if (!GetPassword(options, options.user.password, error) ||
        !accounts.Add(options.user, newId, note, error)) {
      return false;
    }
    if (!note.empty()) err << "note: " << note << '\n';
    out << newId << '\n';
    return true;
  });
}

int RunUserList(const UserOptions& options, std::ostream& out, std::ostream& err) {
  return WithAccounts(options, err, [&](UserAccounts& accounts, std::string& error) {
    std::vector<UserRow> users;
    if (!accounts.List(users, error)) return false;
    options.json ? PrintUsersAsJson(users, out) : PrintUsers(users, out);
    return true;
  });
}

int RunUserPasswd(UserOptions options, std::ostream&, std::ostream& err) {
  return WithAccounts(options, err, [&](UserAccounts& accounts, std::string& error) {
    UserRow user;
    std::string password;
    return accounts.Find(options.names.front(), user, error) &&
           GetPassword(options, password, error) &&
           accounts.SetPassword(user.UserID, password, error);
  });
}

int RunUserEnable(const UserOptions& options, bool isEnabled, std::ostream&, std::ostream& err) {
  bool allDone = true;
  const int opened = WithAccounts(options, err, [&](UserAccounts& accounts, std::string& error) {
    for (const std::string& name : options.names) {
      UserRow user;
      if (accounts.Find(name, user, error) && accounts.SetEnabled(user.UserID, isEnabled, error)) {
        continue;
      }
      allDone = false;
      Fail(err, "user", error);
    }
    return true;
  });
  return opened == 0 && allDone ? 0 : 1;
}

// --- The command line ---

namespace {

using OptionsPtr = std::shared_ptr<UserOptions>;

CLI::App* AddSubcommand(CLI::App& user, const char* name, const char* words,
                        const OptionsPtr& options) {
  CLI::App* command = user.add_subcommand(name, words);
  AddAppPath(*command, options->appPath)->required();
  return command;
}

void AddPasswordOptions(CLI::App& command, const OptionsPtr& options) {
  auto* given = command.add_option("--password", options->password,
                                   "The password, as the clients send it; seen by others of this "
                                   "machine while the command runs");
  command
      .add_option("--password-file", options->passwordFile,
                  "File with the password in its first line; without both VNQ_PASSWORD, else asked")
      ->excludes(given);
}

void AddAdd(CLI::App& user, int& exitCode) {
  const auto options = std::make_shared<UserOptions>();
  CLI::App* add = AddSubcommand(user, "add", "Make an account, or many from a file", options);
  NewUser& person = options->user;
  auto* name = add->add_option("NAME,--name", person.name, "Login name");
  AddPasswordOptions(*add, options);
  add->add_option("--display-name", person.displayName,
                  "Name that others see; else the login name");
  add->add_option("--department", person.department,
                  "TypeID of the department; else the first top-level one");
  add->add_option("--job", person.job, "Job");
  add->add_option("--phone", person.telephone, "Telephone");
  add->add_option("--constellation", person.constellation, "Constellation");
  add->add_option("--picture", person.picture, "Picture")->capture_default_str();
  add->add_flag("!--disabled", person.isEnabled, "The person may not log in yet");
  auto* csv = add->add_option(
      "--csv", options->csvFile,
      "File with an account a line (UTF-8), its cells separated by commas, semicolons or tabs, with"
      " or without a heading: " +
          ImportColumns());
  csv->excludes(name);
  add->add_flag("--dry-run", options->import.isDryRun,
                "With --csv: say what would be added, and change nothing")
      ->needs(csv);
  add->add_flag("!--no-heading", options->import.mayHaveHeading,
                "With --csv: the first line is an account, whatever it holds")
      ->needs(csv);
  add->add_flag("--json", options->import.json,
                "With --csv: what came of each line as a JSON array, an object a line")
      ->needs(csv);
  add->callback([options, name, csv, &exitCode] {
    if (name->count() + csv->count() == 0) throw CLI::RequiredError("NAME or --csv");
    options->import.isWatched = isatty(STDERR_FILENO) == 1;
    exitCode = RunUserAdd(*options, std::cout, std::cerr);
  });
}

void AddList(CLI::App& user, int& exitCode) {
  const auto options = std::make_shared<UserOptions>();
  CLI::App* list = AddSubcommand(user, "list", "Show all accounts", options);
  list->add_flag("--json", options->json, "As a JSON array, an object an account");
  list->callback([options, &exitCode] { exitCode = RunUserList(*options, std::cout, std::cerr); });
}

void AddPasswd(CLI::App& user, int& exitCode) {
  const auto options = std::make_shared<UserOptions>();
  CLI::App* passwd = AddSubcommand(user, "passwd", "Set the password of an account", options);
  passwd->add_option("USER,--user", options->names, "Login name or UserID")
      ->required()
      ->expected(1);
  AddPasswordOptions(*passwd, options);
  passwd->callback(
      [options, &exitCode] { exitCode = RunUserPasswd(*options, std::cout, std::cerr); });
}

void AddEnable(CLI::App& user, const char* name, const char* words, bool isEnabled, int& exitCode) {
  const auto options = std::make_shared<UserOptions>();
  CLI::App* command = AddSubcommand(user, name, words, options);
  command->add_option("USER,--user", options->names, "Login names or UserIDs")->required();
  command->callback([options, isEnabled, &exitCode] {
    exitCode = RunUserEnable(*options, isEnabled, std::cout, std::cerr);
  });
}

}  // namespace

void AddUserCommand(CLI::App& app, int& exitCode) {
  CLI::App* user = app.add_subcommand("user", "Work on accounts, beside a running server, too");
  user->require_subcommand(1);
  AddAdd(*user, exitCode);
  AddList(*user, exitCode);
  AddPasswd(*user, exitCode);
  AddEnable(*user, "enable", "Let users log in", true, exitCode);
  AddEnable(*user, "disable", "Let users log in no more", false, exitCode);
  AddPersonCommands(*user, exitCode);
}

}  // namespace vnq
