// The rows of a company's everyday: departments, roles, groups, word lists, people. Every change is
// one transaction, and a server that runs sees it at its next statement.
#pragma once

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "host/database/database.h"
#include "tools/folder/program_database.h"

namespace CLI {
class App;
}

namespace vnq {

class Company {
 public:
  /// Null, with the reason in `error`, when the folder's database cannot be read.
  static std::unique_ptr<Company> Open(const std::string& appPath, std::string& error);

  const ProgramFolder& folder() const { return folder_; }
  Database& database() { return database_; }

  /// Runs steps that change rows: all of them or none, a skipped statement undoing them all, and
  /// synced. `steps` says in `error` why it returns false.
  bool Change(const std::function<bool()>& steps, std::string& error);

  /// Runs one statement that gives no rows.
  bool Run(const Statement& statement) { return database_.Execute(statement); }

  /// False, with the reason in `error`, for a text that a record, a list or a look-up cannot carry.
  bool IsUsable(std::string_view what, const std::string& text, std::string& error) const;

  /// The id of a department, a group or a person, from the id itself or from the only one of that
  /// name.
  bool FindDepartment(const std::string& idOrName, std::string& id, std::string& error);
  bool FindGroup(const std::string& idOrName, std::string& id, std::string& error);
  bool FindUser(const std::string& idOrName, std::string& id, std::string& error);

  /// The first column of the first row, as text; empty without one.
  std::string Value(const Statement& statement);

  /// Counts a change of a user's row, for the clients that keep a copy of it.
  void CountUserChange(const std::string& userId);

 private:
  explicit Company(ProgramDatabase opened);
  bool FindIn(std::string_view table, std::string_view idColumn, std::string_view nameColumn,
              std::string_view what, const std::string& idOrName, std::string& id,
              std::string& error);

  ProgramFolder folder_;
  Database database_;
};

/// Rows for a person or for a program.
struct Listing {
  std::vector<std::string> columns;
  std::vector<std::vector<std::string>> rows;

  /// A table for a terminal, or a JSON array, an object of texts a row.
  void Print(bool json, std::ostream& out) const;
};

/// What the commands take, each of them some of it.
struct CompanyOptions {
  std::string appPath;
  bool json = false;
  std::string item;                ///< what the command is about: a name or an id
  std::vector<std::string> items;  ///< or several
  std::string name;                ///< a new name
  std::string parent, moveTo, permissions, creator, remark;
  std::string department, display, job, phone, manager;
  bool isDefault = false, isBlocking = false, isAdmin = false;
};

/// The work of one command. False: `error` says why.
using CompanyWork = std::function<bool(Company& company, const CompanyOptions& options,
                                       std::ostream& out, std::string& error)>;

/// Opens the folder's database and does the work. Returns the exit code: 0, or 1 with the reason on
/// `err`.
int RunCompany(std::string_view command, const CompanyOptions& options, const CompanyWork& work,
               std::ostream& out, std::ostream& err);

/// Adds `NAME` below a command; `addOptions` adds what it takes beside --app-path.
void AddCompanyCommand(CLI::App& group, const char* name, const char* words,
                       const std::function<void(CLI::App&, CompanyOptions&)>& addOptions,
                       CompanyWork work, int& exitCode);

void AddDepartmentCommand(CLI::App& app, int& exitCode);
void AddRoleCommand(CLI::App& app, int& exitCode);
void AddGroupCommand(CLI::App& app, int& exitCode);
void AddKeywordCommand(CLI::App& app, int& exitCode);
/// show, set, delete and logout of the command `user`, which is there.
void AddPersonCommands(CLI::App& user, int& exitCode);

}  // namespace vnq
