#include "tools/company/company.h"

#include <iostream>
#include <utility>

#include <CLI/CLI.hpp>

#include "host/database/version_counters.h"
#include "host/values/skipped.h"
#include "tools/client/chat_text.h"
#include "tools/folder/in_transaction.h"
#include "tools/library/json_string.h"
#include "tools/terminal/command_line.h"
#include "tools/terminal/text_table.h"

namespace vnq {
namespace {

bool Fail(std::string& error, std::string why) {
  error = std::move(why);
  return false;
}

void PrintAsJson(const Listing& listing, std::ostream& out) {
  std::string_view betweenRows = "\n";
  out << '[';
  for (const auto& row : listing.rows) {
    out << std::exchange(betweenRows, ",\n") << '{';
    for (size_t i = 0; i < listing.columns.size(); ++i) {
      out << (i > 0 ? "," : "") << JsonString(listing.columns[i]) << ':' << JsonString(row[i]);
    }
    out << '}';
  }
  out << (listing.rows.empty() ? "]\n" : "\n]\n");
}

}  // namespace

Company::Company(ProgramDatabase opened)
    : folder_(std::move(opened.folder)), database_(std::move(opened.driver)) {}

std::unique_ptr<Company> Company::Open(const std::string& appPath, std::string& error) {
  auto opened = OpenProgramDatabase(appPath, error);
  if (!opened) return nullptr;
  return std::unique_ptr<Company>(new Company(std::move(*opened)));
}

bool Company::Change(const std::function<bool()>& steps, std::string& error) {
  SqlDriver& driver = database_.driver();
  error.clear();
  const bool done = InTransaction(driver, folder_.engine, [&] {
    const uint64_t skippedBefore = SkippedStatements();
    if (!steps()) return false;
    return SkippedStatements() == skippedBefore ||
           Fail(error, "a step failed, nothing was changed: " + driver.LastError());
  });
  if (done && driver.SyncCommitted()) return true;
  if (error.empty()) error = driver.LastError();
  return false;
}

bool Company::IsUsable(std::string_view what, const std::string& text, std::string& error) const {
  const std::string start = std::string(what) + ": ";
  if (text.empty()) return Fail(error, start + "it is empty");
  if (text.find('\'') != text.npos) return Fail(error, start + "no ' can stand in it");
  if (!FitsAField(text))
    return Fail(error, start + "no \"|\", \".+\" or line break can stand in it");
  return folder_.codePage->Holds(text) ||
         Fail(error, start + "code page " + std::to_string(folder_.codePage->number()) +
                         " does not hold all of its characters");
}

bool Company::FindIn(std::string_view table, std::string_view idColumn, std::string_view nameColumn,
                     std::string_view what, const std::string& idOrName, std::string& id,
                     std::string& error) {
  if (idOrName.find('\'') != idOrName.npos) return Fail(error, "no ' can stand in " + idOrName);
  const std::string select =
      "Select " + std::string(idColumn) + " from " + std::string(table) + " where ";
  Cursor rows(database_);
  rows.Open(Sql(select + std::string(idColumn) + "='?'", idOrName));
  if (rows.RecordCount() == 0) rows.Open(Sql(select + std::string(nameColumn) + "='?'", idOrName));
  if (rows.RecordCount() == 0) {
    return Fail(error, "there is no " + std::string(what) + " " + idOrName);
  }
  id = OrEmpty(rows.Column(0));
  if (rows.RecordCount() == 1) return true;
  std::string all;
  for (; !rows.EndOfRows(); rows.MoveNext()) {
    all += (all.empty() ? "" : ", ") + OrEmpty(rows.Column(0));
  }
  return Fail(error, "several are called " + idOrName + ": " + all + "; name one of these");
}

bool Company::FindDepartment(const std::string& idOrName, std::string& id, std::string& error) {
  return FindIn("Users_Ro", "TypeID", "TypeName", "department", idOrName, id, error);
}

bool Company::FindGroup(const std::string& idOrName, std::string& id, std::string& error) {
  return FindIn("Clot_Ro", "TypeID", "TypeName", "group", idOrName, id, error);
}

// A login name comes first, as with the other commands on accounts.
bool Company::FindUser(const std::string& idOrName, std::string& id, std::string& error) {
  if (idOrName.find('\'') != idOrName.npos) return Fail(error, "no ' can stand in " + idOrName);
  Cursor rows(database_);
  rows.Open(Sql("Select UserID from Users_ID where UserName='?'", idOrName));
  if (rows.RecordCount() == 1) {
    id = OrEmpty(rows.Column(0));
    return true;
  }
  return FindIn("Users_ID", "UserID", "UserName", "user", idOrName, id, error);
}

std::string Company::Value(const Statement& statement) {
  return OrEmpty(database_.ReadValue(statement));
}

void Company::CountUserChange(const std::string& userId) {
  Cursor row(database_);
  row.Open(Sql("Select UserID,Users_IDVesr from Users_ID where UserID='?'", userId));
  for (; !row.EndOfRows(); row.MoveNext()) {
    BumpCounter(row, "Users_IDVesr");
    row.Update();
  }
  BumpGlobalCounter(database_, "Users_IDVesr");
}

void Listing::Print(bool json, std::ostream& out) const {
  if (json) return PrintAsJson(*this, out);
  std::vector<std::vector<std::string>> table = {columns};
  for (const auto& row : rows) {
    std::vector<std::string>& cells = table.emplace_back();
    for (const std::string& cell : row) cells.push_back(TerminalLine(cell));
  }
  PrintTable(table, out);
}

int RunCompany(std::string_view command, const CompanyOptions& options, const CompanyWork& work,
               std::ostream& out, std::ostream& err) {
  std::string error;
  const auto company = Company::Open(options.appPath, error);
  const bool done = company != nullptr && work(*company, options, out, error);
  return done ? kExitDone : vnq::Fail(err, command, error);
}

void AddCompanyCommand(CLI::App& group, const char* name, const char* words,
                       const std::function<void(CLI::App&, CompanyOptions&)>& addOptions,
                       CompanyWork work, int& exitCode) {
  const auto options = std::make_shared<CompanyOptions>();
  CLI::App* command = group.add_subcommand(name, words);
  AddAppPath(*command, options->appPath)->required();
  addOptions(*command, *options);
  command->callback([options, work = std::move(work), title = group.get_name(), &exitCode] {
    exitCode = RunCompany(title, *options, work, std::cout, std::cerr);
  });
}

}  // namespace vnq
