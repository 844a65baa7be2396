// vnqctl role: rights, and who has them. A role has a number and no name.
#include <algorithm>

#include <CLI/CLI.hpp>

#include "support/numbers.h"
#include "tools/company/company.h"

namespace vnq {
namespace {

bool List(Company& company, const CompanyOptions& options, std::ostream& out, std::string&) {
  Listing listing{{"id", "default", "permissions", "people"}, {}};
  Cursor rows(company.database());
  rows.Open(Sql("Select ID,DefaultRole,Permissions from Role order by ID"));
  for (; !rows.EndOfRows(); rows.MoveNext()) {
    const std::string id = OrEmpty(rows["ID"]);
    listing.rows.push_back(
        {id, Is(rows["DefaultRole"], "1") ? "yes" : "no", OrEmpty(rows["Permissions"]),
         company.Value(Sql("Select count(*) from Users_Role where RoleID=?", id))});
  }
  listing.Print(options.json, out);
  return true;
}

// A list of numbers joined by commas, which clients and this server search as text.
bool ArePermissions(const std::string& text, std::string& error) {
  const bool isList = text.find_first_not_of("0123456789,") == text.npos &&
                      !text.starts_with(',') && !text.ends_with(',') &&
                      text.find(",,") == text.npos;
  if (!isList) error = "permissions are numbers joined by commas, not " + text;
  return isList;
}

bool FindRole(Company& company, const std::string& id, std::string& error) {
  const bool isThere =
      ParseInt32(id) && !company.Value(Sql("Select ID from Role where ID=?", id)).empty();
  if (!isThere) error = "there is no role " + id + "; vnqctl role list shows them";
  return isThere;
}

void MakeDefault(Company& company, const std::string& id) {
  company.Run(Sql("Update Role set DefaultRole=0 where DefaultRole=1"));
  company.Run(Sql("Update Role set DefaultRole=1 where ID=?", id));
}

bool Add(Company& company, const CompanyOptions& options, std::ostream& out, std::string& error) {
  std::string id;
  const bool done =
      ArePermissions(options.permissions, error) &&
      company.Change(
          [&] {
            const std::string highest = company.Value(Sql("Select max(ID) from Role"));
            id = std::to_string(ParseInt32(highest).value_or(0) + 1);
            company.Run(Sql("insert into Role(ID,DefaultRole,Permissions) values(?,0,'?')", id,
                            options.permissions));
            if (options.isDefault) MakeDefault(company, id);
            return true;
          },
          error);
  if (done) out << id << "\n";
  return done;
}

bool Set(Company& company, const CompanyOptions& options, std::ostream&, std::string& error) {
  return FindRole(company, options.item, error) && ArePermissions(options.permissions, error) &&
         company.Change(
             [&] {
               company.Run(Sql("Update Role set Permissions='?' where ID=?", options.permissions,
                               options.item));
               if (options.isDefault) MakeDefault(company, options.item);
               return true;
             },
             error);
}

bool Remove(Company& company, const CompanyOptions& options, std::ostream&, std::string& error) {
  return FindRole(company, options.item, error) &&
         company.Change(
             [&] {
               company.Run(Sql("Delete from Users_Role where RoleID=?", options.item));
               company.Run(Sql("Delete from Role where ID=?", options.item));
               return true;
             },
             error);
}

bool GiveOrTake(Company& company, const CompanyOptions& options, bool gives, std::string& error) {
  std::vector<std::string> ids;
  if (!FindRole(company, options.item, error)) return false;
  for (const std::string& user : options.items) {
    if (!company.FindUser(user, ids.emplace_back(), error)) return false;
  }
  return company.Change(
      [&] {
        for (const std::string& id : ids) {
          company.Run(
              Sql("Delete from Users_Role where UserID='?' and RoleID=?", id, options.item));
          if (!gives) continue;
          company.Run(Sql("insert into Users_Role(UserID,RoleID) values('?',?)", id, options.item));
        }
        return true;
      },
      error);
}

void TakesRole(CLI::App& command, CompanyOptions& options) {
  command.add_option("ROLE", options.item, "Its number")->required();
}

void TakesRoleAndUsers(CLI::App& command, CompanyOptions& options) {
  TakesRole(command, options);
  command.add_option("USER", options.items, "Login names or UserIDs")->required();
}

void TakesRights(CLI::App& command, CompanyOptions& options) {
  command.add_option("--permissions", options.permissions, "Numbers joined by commas");
  command.add_flag("--default", options.isDefault, "Make it the role of new accounts");
}

}  // namespace

void AddRoleCommand(CLI::App& app, int& exitCode) {
  CLI::App* role = app.add_subcommand("role", "Work on roles, which have numbers and no names");
  role->require_subcommand(1);
  AddCompanyCommand(
      *role, "list", "Show all roles",
      [](CLI::App& command, CompanyOptions& options) {
        command.add_flag("--json", options.json, "As a JSON array, an object a role");
      },
      List, exitCode);
  AddCompanyCommand(*role, "add", "Make a role, and print its number", TakesRights, Add, exitCode);
  AddCompanyCommand(
      *role, "set", "Change the rights of a role",
      [](CLI::App& command, CompanyOptions& options) {
        TakesRole(command, options);
        TakesRights(command, options);
        command.get_option("--permissions")->required();
      },
      Set, exitCode);
  AddCompanyCommand(*role, "remove", "Remove a role, also from those who have it", TakesRole,
                    Remove, exitCode);
  AddCompanyCommand(
      *role, "give", "Give a role to people", TakesRoleAndUsers,
      [](Company& company, const CompanyOptions& options, std::ostream&, std::string& error) {
        return GiveOrTake(company, options, true, error);
      },
      exitCode);
  AddCompanyCommand(
      *role, "take", "Take a role from people", TakesRoleAndUsers,
      [](Company& company, const CompanyOptions& options, std::ostream&, std::string& error) {
        return GiveOrTake(company, options, false, error);
      },
      exitCode);
}

}  // namespace vnq
