// vnqctl group: groups of people, with the rows that the server writes for them. Clients learn of a
// change when they next synchronise.
#include <fmt/format.h>

#include <CLI/CLI.hpp>

#include "host/database/version_counters.h"
#include "platform/net/clock.h"
#include "support/numbers.h"
#include "tools/company/company.h"

namespace vnq {
namespace {

constexpr std::string_view kPrefix = "Clot";

bool List(Company& company, const CompanyOptions& options, std::ostream& out, std::string&) {
  Listing listing{{"id", "name", "made", "members"}, {}};
  Cursor rows(company.database());
  rows.Open(Sql("Select TypeID,TypeName,To_Date from Clot_Ro order by TypeID"));
  for (; !rows.EndOfRows(); rows.MoveNext()) {
    const std::string id = OrEmpty(rows["TypeID"]);
    listing.rows.push_back(
        {id, OrEmpty(rows["TypeName"]), OrEmpty(rows["To_Date"]),
         company.Value(Sql("Select count(*) from Clot_Form where UpperID='?'", id))});
  }
  listing.Print(options.json, out);
  return true;
}

bool Members(Company& company, const CompanyOptions& options, std::ostream& out,
             std::string& error) {
  std::string id;
  if (!company.FindGroup(options.item, id, error)) return false;
  Listing listing{{"user", "name", "administrator"}, {}};
  Cursor rows(company.database());
  rows.Open(
      Sql("Select UserID,remark,IsAdmin from Clot_Form where UpperID='?' order by UserID", id));
  for (; !rows.EndOfRows(); rows.MoveNext()) {
    listing.rows.push_back({OrEmpty(rows["UserID"]), OrEmpty(rows["remark"]),
                            Is(rows["IsAdmin"], "1") ? "yes" : "no"});
  }
  listing.Print(options.json, out);
  return true;
}

std::string NextId(Company& company) {
  int32_t highest = 0;
  Cursor rows(company.database());
  rows.Open(Sql("Select TypeID from Clot_Ro"));
  for (; !rows.EndOfRows(); rows.MoveNext()) {
    const std::string id = OrEmpty(rows["TypeID"]);
    if (!id.starts_with(kPrefix)) continue;
    highest = std::max(highest, ParseInt32(id.substr(kPrefix.size())).value_or(0));
  }
  return fmt::format("{}{:06}", kPrefix, highest + 1);
}

std::string DisplayName(Company& company, const std::string& user) {
  return company.Value(Sql("Select FcName from Users_ID where UserID='?'", user));
}

void CountCatalogueChange(Company& company) {
  BumpOnlyCounter(company.database(), "Clot_RoVesr");
  BumpOnlyCounter(company.database(), "Clot_FormVesr");
}

void CountInHeader(Company& company, const std::string& group, std::string_view counter) {
  Cursor header(company.database());
  header.Open(
      Sql("Select TypeID,Users_IDVesr,Users_FormVesr from Clot_Ro where TypeID='?'", group));
  for (; !header.EndOfRows(); header.MoveNext()) {
    BumpCounter(header, counter);
    header.Update();
  }
}

// A member of a standing group begins behind its last message.
void AddMember(Company& company, const std::string& group, const std::string& user, bool isAdmin) {
  const std::string last =
      company.Value(Sql("Select max(TypeID) from MessengClot_Text where ClotID='?'", group));
  const int32_t mark = ParseInt32(last).value_or(0);
  company.Run(
      Sql("insert into Clot_Form(UpperID,UserID,IsAdmin,remark,last_ack_typeid1,"
          "last_ack_typeid2,last_ack_typeid3,last_ack_typeid4) "
          "values('?','?',?,'?',?,?,?,?)",
          group, user, isAdmin ? 1 : 0, DisplayName(company, user), mark, mark, mark, mark));
}

bool FindUsers(Company& company, const std::vector<std::string>& names,
               std::vector<std::string>& ids, std::string& error) {
  for (const std::string& name : names) {
    if (!company.FindUser(name, ids.emplace_back(), error)) return false;
  }
  return true;
}

bool Add(Company& company, const CompanyOptions& options, std::ostream& out, std::string& error) {
  std::string creator, id;
  std::vector<std::string> members;
  if (!company.IsUsable("the name", options.item, error) ||
      !company.FindUser(options.creator, creator, error) ||
      !FindUsers(company, options.items, members, error)) {
    return false;
  }
  std::erase(members, creator);
  const bool done = company.Change(
      [&] {
        id = NextId(company);
        company.Run(Sql(
            "insert into Clot_Ro(TypeID,TypeName,Remark,To_Date,Sender) values('?','?','','?','?')",
            id, options.item, SystemClock().Now().Date(), DisplayName(company, creator)));
        company.Run(Sql("insert into Clot_Pic(ClotID,ClotInfo) values('?',0)", id));
        AddMember(company, id, creator, true);
        for (const std::string& member : members) AddMember(company, id, member, false);
        CountCatalogueChange(company);
        return true;
      },
      error);
  if (done) out << id << "\n";
  return done;
}

bool Rename(Company& company, const CompanyOptions& options, std::ostream&, std::string& error) {
  std::string id;
  return company.IsUsable("the name", options.name, error) &&
         company.FindGroup(options.item, id, error) &&
         company.Change(
             [&] {
               company.Run(
                   Sql("Update Clot_Ro set TypeName='?' where TypeID='?'", options.name, id));
               CountInHeader(company, id, "Users_IDVesr");
               BumpOnlyCounter(company.database(), "Clot_RoVesr");
               return true;
             },
             error);
}

bool Remove(Company& company, const CompanyOptions& options, std::ostream&, std::string& error) {
  std::string id;
  return company.FindGroup(options.item, id, error) &&
         company.Change(
             [&] {
               company.Run(Sql("Delete from Clot_Ro where TypeID='?'", id));
               company.Run(Sql("Delete from Clot_Form where UpperID='?'", id));
               company.Run(Sql("Delete from Clot_Pic where ClotID='?'", id));
               company.Run(Sql("Delete from ClotFile where ClotID='?'", id));
               company.Run(Sql("Delete from MessengClot_Text where ClotID='?'", id));
               CountCatalogueChange(company);
               return true;
             },
             error);
}

bool JoinOrLeave(Company& company, const CompanyOptions& options, bool joins, std::string& error) {
  std::string id;
  std::vector<std::string> users;
  if (!company.FindGroup(options.item, id, error) ||
      !FindUsers(company, options.items, users, error)) {
    return false;
  }
  return company.Change(
      [&] {
        for (const std::string& user : users) {
          company.Run(Sql("Delete from Clot_Form where UpperID='?' and UserID='?'", id, user));
          if (joins) AddMember(company, id, user, options.isAdmin);
        }
        BumpOnlyCounter(company.database(), "Clot_FormVesr");
        CountInHeader(company, id, "Users_FormVesr");
        return true;
      },
      error);
}

void TakesGroup(CLI::App& command, CompanyOptions& options) {
  command.add_option("GROUP", options.item, "Its id or its name")->required();
}

void TakesGroupAndUsers(CLI::App& command, CompanyOptions& options) {
  TakesGroup(command, options);
  command.add_option("USER", options.items, "Login names or UserIDs")->required();
}

}  // namespace

void AddGroupCommand(CLI::App& app, int& exitCode) {
  CLI::App* group = app.add_subcommand("group", "Work on groups of people");
  group->require_subcommand(1);
  AddCompanyCommand(
      *group, "list", "Show all groups",
      [](CLI::App& command, CompanyOptions& options) {
        command.add_flag("--json", options.json, "As a JSON array, an object a group");
      },
      List, exitCode);
  AddCompanyCommand(
      *group, "members", "Show who is in a group",
      [](CLI::App& command, CompanyOptions& options) {
        TakesGroup(command, options);
        command.add_flag("--json", options.json, "As a JSON array, an object a member");
      },
      Members, exitCode);
  AddCompanyCommand(
      *group, "add", "Make a group, and print its id",
      [](CLI::App& command, CompanyOptions& options) {
        command.add_option("NAME", options.item, "Its name")->required();
        command.add_option("--creator", options.creator, "Who is its administrator")->required();
        command.add_option("--member", options.items, "Who else is in it")->delimiter(',');
      },
      Add, exitCode);
  AddCompanyCommand(
      *group, "rename", "Give a group another name",
      [](CLI::App& command, CompanyOptions& options) {
        TakesGroup(command, options);
        command.add_option("NAME", options.name, "Its new name")->required();
      },
      Rename, exitCode);
  AddCompanyCommand(*group, "remove",
                    "Remove a group, with its messages and the records of its files", TakesGroup,
                    Remove, exitCode);
  AddCompanyCommand(
      *group, "join", "Put people into a group",
      [](CLI::App& command, CompanyOptions& options) {
        TakesGroupAndUsers(command, options);
        command.add_flag("--admin", options.isAdmin, "As administrators");
      },
      [](Company& company, const CompanyOptions& options, std::ostream&, std::string& error) {
        return JoinOrLeave(company, options, true, error);
      },
      exitCode);
  AddCompanyCommand(
      *group, "leave", "Take people out of a group", TakesGroupAndUsers,
      [](Company& company, const CompanyOptions& options, std::ostream&, std::string& error) {
        return JoinOrLeave(company, options, false, error);
      },
      exitCode);
}

}  // namespace vnq
