// vnqctl user show, set, delete, logout.
#include <algorithm>

#include <CLI/CLI.hpp>

#include "host/database/version_counters.h"
#include "tools/company/company.h"
#include "tools/watch/status_commands.h"

namespace vnq {
namespace {

// What is shown, by its column; the password is not.
constexpr std::pair<const char*, const char*> kShown[] = {
    {"UserID", "id"},
    {"UserName", "login name"},
    {"FcName", "name"},
    {"UppeId", "department"},
    {"Jod", "job"},
    {"Tel1", "phone"},
    {"UserState", "state"},
    {"IsManager", "manager"},
    {"UserIcoLine", "presence"},
    {"LoginTime", "log-in"},
    {"NetworkIP", "address"},
    {"PlatForm", "platform"},
    {"LocalIPList", "may come from"},
    {"MacList", "may use"},
};

std::string Joined(Company& company, const Statement& statement) {
  std::string all;
  Cursor rows(company.database());
  rows.Open(statement);
  for (; !rows.EndOfRows(); rows.MoveNext()) {
    all += (all.empty() ? "" : ", ") + OrEmpty(rows.Column(0));
  }
  return all;
}

bool Show(Company& company, const CompanyOptions& options, std::ostream& out, std::string& error) {
  std::string id;
  if (!company.FindUser(options.item, id, error)) return false;
  Cursor row(company.database());
  row.Open(Sql("Select * from Users_ID where UserID='?'", id));
  std::vector<std::pair<std::string, std::string>> facts;
  for (const auto& [column, title] : kShown) facts.emplace_back(title, OrEmpty(row[column]));
  facts.emplace_back("roles", Joined(company, Sql("Select RoleID from Users_Role where UserID='?' "
                                                  "order by RoleID",
                                                  id)));
  facts.emplace_back("groups", Joined(company, Sql("Select UpperID from Clot_Form where UserID='?' "
                                                   "order by UpperID",
                                                   id)));
  Listing listing;
  if (options.json) {
    auto& cells = listing.rows.emplace_back();
    for (const auto& [title, value] : facts) {
      listing.columns.push_back(title);
      cells.push_back(value);
    }
  } else {
    listing.columns = {"what", "value"};
    for (const auto& [title, value] : facts) listing.rows.push_back({title, value});
  }
  listing.Print(options.json, out);
  return true;
}

// The columns that the options change, and their values.
bool Changes(Company& company, const CompanyOptions& options,
             std::vector<std::pair<std::string, std::string>>& changes, std::string& error) {
  std::string department;
  if (!options.department.empty()) {
    if (!company.FindDepartment(options.department, department, error)) return false;
    changes.emplace_back("UppeId", department);
  }
  if (!options.manager.empty())
    changes.emplace_back("IsManager", options.manager == "yes" ? "1" : "0");
  const std::tuple<const char*, const char*, const std::string&> texts[] = {
      {"FcName", "the name", options.display},
      {"Jod", "the job", options.job},
      {"Tel1", "the phone", options.phone},
  };
  for (const auto& [column, what, text] : texts) {
    if (text.empty()) continue;
    if (!company.IsUsable(what, text, error)) return false;
    changes.emplace_back(column, text);
  }
  if (changes.empty()) error = "there is nothing to set; vnqctl user set --help tells what can be";
  return !changes.empty();
}

bool Set(Company& company, const CompanyOptions& options, std::ostream&, std::string& error) {
  std::string id;
  std::vector<std::pair<std::string, std::string>> changes;
  return company.FindUser(options.item, id, error) && Changes(company, options, changes, error) &&
         company.Change(
             [&] {
               Cursor row(company.database());
               row.Open(Sql("Select * from Users_ID where UserID='?'", id));
               for (const auto& [column, value] : changes) row.Set(column, value);
               row.Update();
               company.CountUserChange(id);
               return true;
             },
             error);
}

// Friends keep a version of their list each.
void EndFriendships(Company& company, const std::string& id) {
  Cursor friends(company.database());
  friends.Open(
      Sql("Select UserID,Fav_FormVesr from Users_ID where UserID in "
          "(select MyID from Fav_Form where UserID='?')",
          id));
  for (; !friends.EndOfRows(); friends.MoveNext()) {
    BumpCounter(friends, "Fav_FormVesr");
    friends.Update();
  }
  company.Run(Sql("Delete from Fav_Form where UserID='?' or MyID='?'", id, id));
}

void LeaveGroups(Company& company, const std::string& id) {
  Cursor headers(company.database());
  headers.Open(
      Sql("Select TypeID,Users_FormVesr from Clot_Ro where TypeID in "
          "(select UpperID from Clot_Form where UserID='?')",
          id));
  for (; !headers.EndOfRows(); headers.MoveNext()) {
    BumpCounter(headers, "Users_FormVesr");
    headers.Update();
  }
  company.Run(Sql("Delete from Clot_Form where UserID='?'", id));
  BumpOnlyCounter(company.database(), "Clot_FormVesr");
}

bool EndSessions(const CompanyOptions& options, const std::string& id, std::string& answer,
                 std::string& error) {
  return AskServer(options.appPath, "logout " + id + " " + options.remark, answer, error);
}

// Messages stay: they are the other side's, too.
bool Delete(Company& company, const CompanyOptions& options, std::ostream& out,
            std::string& error) {
  std::string id, ignored;
  if (!company.FindUser(options.item, id, error)) return false;
  const bool done = company.Change(
      [&] {
        EndFriendships(company, id);
        LeaveGroups(company, id);
        company.Run(Sql("Delete from Users_Role where UserID='?'", id));
        company.Run(Sql("Delete from Users_Pic where UserID='?'", id));
        company.Run(Sql("Delete from PtpFolder where MyID='?'", id));
        company.Run(Sql("Delete from Col_Ro where MyID='?'", id));
        company.Run(Sql("Delete from Clot_Silence where MyID='?'", id));
        company.Run(Sql("Delete from Users_ID where UserID='?'", id));
        BumpGlobalCounter(company.database(), "Users_IDVesr");
        return true;
      },
      error);
  if (done) AskServer(options.appPath, "logout " + id + " This account is gone.", ignored, ignored);
  if (done) out << "user " << id << " is gone; messages and files stay\n";
  return done;
}

bool Logout(Company& company, const CompanyOptions& options, std::ostream& out,
            std::string& error) {
  std::string id, answer;
  if (!company.IsUsable("the text", options.remark, error) ||
      !company.FindUser(options.item, id, error) || !EndSessions(options, id, answer, error)) {
    return false;
  }
  out << answer;
  return true;
}

void TakesUser(CLI::App& command, CompanyOptions& options) {
  command.add_option("USER", options.item, "Login name or UserID")->required();
}

}  // namespace

void AddPersonCommands(CLI::App& user, int& exitCode) {
  AddCompanyCommand(
      user, "show", "Show an account, with its roles and groups",
      [](CLI::App& command, CompanyOptions& options) {
        TakesUser(command, options);
        command.add_flag("--json", options.json, "As a JSON array with one object");
      },
      Show, exitCode);
  AddCompanyCommand(
      user, "set", "Change what others see of an account",
      [](CLI::App& command, CompanyOptions& options) {
        TakesUser(command, options);
        command.add_option("--name", options.display, "Name that others see");
        command.add_option("--department", options.department, "Id or name of a department");
        command.add_option("--job", options.job, "Job");
        command.add_option("--phone", options.phone, "Telephone");
        command
            .add_option("--manager", options.manager, "Whether applications are told to this user")
            ->check(CLI::IsMember({"yes", "no"}));
      },
      Set, exitCode);
  AddCompanyCommand(user, "delete", "Remove an account, its memberships and its friendships",
                    TakesUser, Delete, exitCode);
  AddCompanyCommand(
      user, "logout", "End the sessions of an account on the running server",
      [](CLI::App& command, CompanyOptions& options) {
        TakesUser(command, options);
        options.remark = "An administrator has ended this session.";
        command.add_option("--text", options.remark, "What the user is told")
            ->capture_default_str();
      },
      Logout, exitCode);
}

}  // namespace vnq
