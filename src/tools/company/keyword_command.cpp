// vnqctl keyword: the words that messages must not hold. They stand in one row a kind, joined by
// commas; a server that runs reads them again.
#include <algorithm>

#include <CLI/CLI.hpp>

#include "host/values/fields.h"
#include "tools/company/company.h"
#include "tools/watch/status_commands.h"

namespace vnq {
namespace {

enum Kind { kMask = 0, kBlock = 1 };

using Words = std::vector<std::string>;

// Only the first row of a kind counts.
Words ReadWords(Company& company, Kind kind) {
  Cursor row(company.database());
  row.Open(Sql("Select * from vnq_keyword where col_type=?", static_cast<int>(kind)));
  const std::string all = row.RecordCount() > 0 ? OrEmpty(row["col_keyword"]) : "";
  return all.empty() ? Words() : SplitField(all, ",");
}

void WriteWords(Company& company, Kind kind, const Words& words) {
  std::string all;
  for (const std::string& word : words) all += (all.empty() ? "" : ",") + word;
  Cursor row(company.database());
  row.Open(Sql("Select * from vnq_keyword where col_type=?", static_cast<int>(kind)));
  if (row.RecordCount() == 0) {
    row.AddNew();
    row.Set("col_type", static_cast<int>(kind));
  }
  row.Set("col_keyword", all);
  row.Update();
}

bool Has(const Words& words, const std::string& word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

bool List(Company& company, const CompanyOptions& options, std::ostream& out, std::string&) {
  Listing listing{{"word", "kind"}, {}};
  for (const Kind kind : {kMask, kBlock}) {
    for (const std::string& word : ReadWords(company, kind)) {
      listing.rows.push_back({word, kind == kMask ? "mask" : "block"});
    }
  }
  listing.Print(options.json, out);
  return true;
}

bool AreWords(Company& company, const Words& words, std::string& error) {
  for (const std::string& word : words) {
    if (!company.IsUsable("the word", word, error)) return false;
    if (word.find(',') == word.npos) continue;
    error = "no comma can stand in " + word;
    return false;
  }
  return true;
}

// A server that does not run reads them when it starts.
void TellServer(const CompanyOptions& options, std::ostream& out) {
  std::string answer, ignored;
  if (AskServer(options.appPath, "keywords", answer, ignored)) out << answer;
}

bool Add(Company& company, const CompanyOptions& options, std::ostream& out, std::string& error) {
  const Kind kind = options.isBlocking ? kBlock : kMask;
  const bool done = AreWords(company, options.items, error) &&
                    company.Change(
                        [&] {
                          Words words = ReadWords(company, kind);
                          for (const std::string& word : options.items) {
                            if (!Has(words, word)) words.push_back(word);
                          }
                          WriteWords(company, kind, words);
                          return true;
                        },
                        error);
  if (done) TellServer(options, out);
  return done;
}

// Both kinds are looked through; a word that is in neither is a failure.
bool ChangeWord(Company& company, const CompanyOptions& options, std::ostream& out,
                std::string& error, const std::string& from, const std::string& to) {
  const bool done = company.Change(
      [&] {
        bool isFound = false;
        for (const Kind kind : {kMask, kBlock}) {
          Words words = ReadWords(company, kind);
          if (!Has(words, from)) continue;
          isFound = true;
          std::replace(words.begin(), words.end(), from, to);
          std::erase(words, "");
          WriteWords(company, kind, words);
        }
        if (!isFound) error = "there is no word " + from;
        return isFound;
      },
      error);
  if (done) TellServer(options, out);
  return done;
}

}  // namespace

void AddKeywordCommand(CLI::App& app, int& exitCode) {
  CLI::App* keyword =
      app.add_subcommand("keyword", "Work on the words that messages must not hold");
  keyword->require_subcommand(1);
  AddCompanyCommand(
      *keyword, "list", "Show the words",
      [](CLI::App& command, CompanyOptions& options) {
        command.add_flag("--json", options.json, "As a JSON array, an object a word");
      },
      List, exitCode);
  AddCompanyCommand(
      *keyword, "add", "Add words that are starred out",
      [](CLI::App& command, CompanyOptions& options) {
        command.add_option("WORD", options.items, "The words")->required();
        command.add_flag("--block", options.isBlocking,
                         "Words that stop the whole message instead");
      },
      Add, exitCode);
  AddCompanyCommand(
      *keyword, "rename", "Replace a word by another",
      [](CLI::App& command, CompanyOptions& options) {
        command.add_option("WORD", options.item, "The word")->required();
        command.add_option("NEW", options.name, "What takes its place")->required();
      },
      [](Company& company, const CompanyOptions& options, std::ostream& out, std::string& error) {
        return AreWords(company, {options.name}, error) &&
               ChangeWord(company, options, out, error, options.item, options.name);
      },
      exitCode);
  AddCompanyCommand(
      *keyword, "remove", "Remove a word",
      [](CLI::App& command, CompanyOptions& options) {
        command.add_option("WORD", options.item, "The word")->required();
      },
      [](Company& company, const CompanyOptions& options, std::ostream& out, std::string& error) {
        return ChangeWord(company, options, out, error, options.item, "");
      },
      exitCode);
}

}  // namespace vnq
