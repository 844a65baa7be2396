// vnqctl department: the tree that clients show their colleagues in.
#include <fmt/format.h>

#include <CLI/CLI.hpp>

#include "host/database/version_counters.h"
#include "support/numbers.h"
#include "tools/company/company.h"

namespace vnq {
namespace {

constexpr const char* kTop = "000000";  // the parent of a top-level department

bool List(Company& company, const CompanyOptions& options, std::ostream& out, std::string&) {
  Listing listing{{"id", "parent", "name", "people"}, {}};
  Cursor rows(company.database());
  rows.Open(Sql("Select TypeID,ParentID,TypeName from Users_Ro order by TypeID"));
  for (; !rows.EndOfRows(); rows.MoveNext()) {
    const std::string id = OrEmpty(rows["TypeID"]);
    listing.rows.push_back(
        {id, OrEmpty(rows["ParentID"]), OrEmpty(rows["TypeName"]),
         company.Value(Sql("Select count(*) from Users_ID where UppeId='?'", id))});
  }
  listing.Print(options.json, out);
  return true;
}

// Six digits, one above the highest.
std::string NextId(Company& company) {
  int32_t highest = 0;
  Cursor rows(company.database());
  rows.Open(Sql("Select TypeID from Users_Ro"));
  for (; !rows.EndOfRows(); rows.MoveNext()) {
    highest = std::max(highest, ParseInt32(OrEmpty(rows["TypeID"])).value_or(0));
  }
  return fmt::format("{:06}", highest + 1);
}

// Without --parent: the one top-level department; the top level where there is none yet.
bool FindParent(Company& company, const std::string& asked, std::string& id, std::string& error) {
  if (asked == kTop) id = kTop;
  if (!asked.empty()) return asked == kTop || company.FindDepartment(asked, id, error);
  Cursor tops(company.database());
  tops.Open(Sql("Select TypeID from Users_Ro where ParentID='000000'"));
  id = tops.RecordCount() == 0 ? kTop : OrEmpty(tops["TypeID"]);
  if (tops.RecordCount() <= 1) return true;
  error = "there are several departments on top; --parent says where, 000000 is the top itself";
  return false;
}

bool Add(Company& company, const CompanyOptions& options, std::ostream& out, std::string& error) {
  std::string parent;
  if (!company.IsUsable("the name", options.item, error) ||
      !FindParent(company, options.parent, parent, error)) {
    return false;
  }
  std::string id;
  const bool done = company.Change(
      [&] {
        id = NextId(company);
        company.Run(Sql("insert into Users_Ro(TypeID,ParentID,TypeName) values('?','?','?')", id,
                        parent, options.item));
        BumpGlobalCounter(company.database(), "Users_RoVesr");
        return true;
      },
      error);
  if (done) out << id << "\n";
  return done;
}

bool Rename(Company& company, const CompanyOptions& options, std::ostream&, std::string& error) {
  std::string id;
  return company.IsUsable("the name", options.name, error) &&
         company.FindDepartment(options.item, id, error) &&
         company.Change(
             [&] {
               company.Run(
                   Sql("Update Users_Ro set TypeName='?' where TypeID='?'", options.name, id));
               BumpGlobalCounter(company.database(), "Users_RoVesr");
               return true;
             },
             error);
}

void MovePeople(Company& company, const std::string& from, const std::string& to) {
  Cursor people(company.database());
  people.Open(Sql("Select UserID,UppeId,Users_IDVesr from Users_ID where UppeId='?'", from));
  for (; !people.EndOfRows(); people.MoveNext()) {
    people.Set("UppeId", to);
    BumpCounter(people, "Users_IDVesr");
    people.Update();
  }
  BumpGlobalCounter(company.database(), "Users_IDVesr");
}

bool Remove(Company& company, const CompanyOptions& options, std::ostream&, std::string& error) {
  std::string id, to;
  if (!company.FindDepartment(options.item, id, error)) return false;
  if (!options.moveTo.empty() && !company.FindDepartment(options.moveTo, to, error)) return false;
  const std::string people =
      company.Value(Sql("Select count(*) from Users_ID where UppeId='?'", id));
  const std::string below =
      company.Value(Sql("Select count(*) from Users_Ro where ParentID='?'", id));
  if (to == id || (to.empty() && (people != "0" || below != "0"))) {
    error =
        fmt::format("department {} has {} people and {} departments in it; --move-to another one",
                    id, people, below);
    return false;
  }
  return company.Change(
      [&] {
        if (!to.empty()) {
          MovePeople(company, id, to);
          company.Run(Sql("Update Users_Ro set ParentID='?' where ParentID='?'", to, id));
        }
        company.Run(Sql("Delete from Users_Ro where TypeID='?'", id));
        BumpGlobalCounter(company.database(), "Users_RoVesr");
        return true;
      },
      error);
}

void TakesDepartment(CLI::App& command, CompanyOptions& options) {
  command.add_option("DEPARTMENT", options.item, "Its id or its name")->required();
}

}  // namespace

void AddDepartmentCommand(CLI::App& app, int& exitCode) {
  CLI::App* department = app.add_subcommand("department", "Work on the department tree");
  department->require_subcommand(1);
  AddCompanyCommand(
      *department, "list", "Show all departments",
      [](CLI::App& command, CompanyOptions& options) {
        command.add_flag("--json", options.json, "As a JSON array, an object a department");
      },
      List, exitCode);
  AddCompanyCommand(
      *department, "add", "Make a department, and print its id",
      [](CLI::App& command, CompanyOptions& options) {
        command.add_option("NAME", options.item, "Its name")->required();
        command.add_option("--parent", options.parent,
                           "Id or name of the department that it belongs to; 000000: none");
      },
      Add, exitCode);
  AddCompanyCommand(
      *department, "rename", "Give a department another name",
      [](CLI::App& command, CompanyOptions& options) {
        TakesDepartment(command, options);
        command.add_option("NAME", options.name, "Its new name")->required();
      },
      Rename, exitCode);
  AddCompanyCommand(
      *department, "remove", "Remove a department",
      [](CLI::App& command, CompanyOptions& options) {
        TakesDepartment(command, options);
        command.add_option("--move-to", options.moveTo,
                           "Department that its people and its departments go to");
      },
      Remove, exitCode);
}

}  // namespace vnq
