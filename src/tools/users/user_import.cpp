#include "tools/users/user_import.h"

#include <algorithm>
#include <set>
#include <vector>

#include "support/ascii_case.h"
#include "support/trim.h"
#include "tools/company/company.h"
#include "tools/terminal/progress_bar.h"
#include "tools/users/csv.h"

namespace vnq {
namespace {

// A column of the file, by the tool's word for it and by the table's.
struct ImportColumn {
  const char* word;
  const char* tableName;
  std::string NewUser::*member;
};

constexpr ImportColumn kImportColumns[] = {
    {"name", "UserName", &NewUser::name},
    {"password", "UserPaws", &NewUser::password},
    {"display-name", "FcName", &NewUser::displayName},
    {"department", "UppeId", &NewUser::department},
    {"job", "Jod", &NewUser::job},
    {"phone", "Tel1", &NewUser::telephone},
    {"constellation", "Constellation", &NewUser::constellation},
    {"picture", "UserIco", &NewUser::picture},
};

using Columns = std::vector<const ImportColumn*>;

// Words that stand in a first line only where it is a heading.
constexpr std::string_view kUsualHeadings[] = {
    "login",  "login name", "loginname",  "user",      "user name", "userid", "user id",
    "id",     "full name",  "first name", "last name", "passwd",    "pwd",    "email",
    "e-mail", "mail",       "telephone",  "tel",       "mobile",    "title",
};

const ImportColumn* FindColumn(std::string_view cell) {
  for (const ImportColumn& column : kImportColumns) {
    if (SameButForCase(cell, column.word) || SameButForCase(cell, column.tableName)) return &column;
  }
  return nullptr;
}

bool IsUsualHeading(std::string_view cell) {
  return std::any_of(std::begin(kUsualHeadings), std::end(kUsualHeadings),
                     [cell](std::string_view word) { return SameButForCase(cell, word); });
}

// A heading that is taken for a person would let somebody log in as "login".
bool IsHeading(const CsvRecord& record) {
  return record.error.empty() &&
         std::any_of(record.cells.begin(), record.cells.end(), [](const std::string& cell) {
           const std::string_view word = TrimBlanks(cell);
           return FindColumn(word) != nullptr || IsUsualHeading(word);
         });
}

// The one that makes the first line a heading, else the first that it holds. A comma may stand in a
// cell between tabs, a semicolon in one between commas.
char Separator(std::string_view text, bool mayHaveHeading) {
  constexpr char kSeparators[] = {'\t', ',', ';'};
  const std::string_view line = text.substr(0, text.find('\n'));
  for (const char separator : kSeparators) {
    const std::vector<CsvRecord> records = ReadCsv(line, separator);
    if (!mayHaveHeading || records.empty() || records[0].cells.size() < 2) continue;
    if (IsHeading(records[0])) return separator;
  }
  for (const char separator : kSeparators) {
    if (line.find(separator) != line.npos) return separator;
  }
  return ',';
}

Columns DefaultColumns() {
  Columns columns;
  for (const ImportColumn& column : kImportColumns) columns.push_back(&column);
  return columns;
}

// The columns that a heading names; `error` says what is wrong with it.
Columns ReadHeading(const CsvRecord& heading, std::string& error) {
  Columns columns;
  for (const std::string& cell : heading.cells) {
    const ImportColumn* column = FindColumn(TrimBlanks(cell));
    if (column == nullptr) {
      error = "there is no column \"" + cell + "\"; there are: " + ImportColumns() +
              "; where this line is an account and no heading, use --no-heading";
    } else if (std::find(columns.begin(), columns.end(), column) != columns.end()) {
      error = "the column \"" + cell + "\" stands there twice";
    }
    if (!error.empty()) return {};
    columns.push_back(column);
  }
  for (const ImportColumn* needed : {&kImportColumns[0], &kImportColumns[1]}) {
    if (std::find(columns.begin(), columns.end(), needed) != columns.end()) continue;
    error = std::string("the heading has no column \"") + needed->word + "\"";
  }
  return columns;
}

class Import {
 public:
  Import(UserAccounts& accounts, const UserImportOptions& options, std::ostream& out,
         ProgressBar& bar)
      : accounts_(accounts), options_(options), out_(out), bar_(bar) {}

  void AddRecord(const CsvRecord& record, const Columns& columns) {
    std::string newId, note, error = record.error;
    if (error.empty() && record.cells.size() > columns.size()) error = "more cells than columns";
    const NewUser user = error.empty() ? ReadUser(record, columns) : NewUser();
    const bool isAdded = error.empty() && Add(user, newId, note, error);
    ++(isAdded ? result_.added : result_.bad);
    if (options_.json) {
      listing_.rows.push_back({std::to_string(record.line), newId, user.name, note, error});
    } else if (!isAdded || !note.empty()) {
      Say(record, isAdded ? "note: " + note : error);
    }
  }

  void Conclude() const {
    if (options_.json) listing_.Print(true, out_);
  }

  const ImportResult& result() const { return result_; }

 private:
  static NewUser ReadUser(const CsvRecord& record, const Columns& columns) {
    NewUser user;
    for (size_t i = 0; i < record.cells.size(); ++i) {
      if (!record.cells[i].empty()) user.*(columns[i]->member) = record.cells[i];
    }
    return user;
  }

  bool Add(const NewUser& user, std::string& newId, std::string& note, std::string& error) {
    if (options_.isDryRun) return Try(user, note, error);
    if (!accounts_.Add(user, newId, note, error)) return false;
    if (!options_.json) out_ << newId << '\t' << user.name << '\n';
    return true;
  }

  bool Try(const NewUser& user, std::string& note, std::string& error) {
    if (!accounts_.Try(user, note, error)) return false;
    if (!names_.insert(AsciiLower(user.name)).second) {
      error = "the login name " + user.name + " is taken by a line above";
      return false;
    }
    if (!options_.json) out_ << "would add\t" << user.name << '\n';
    return true;
  }

  void Say(const CsvRecord& record, const std::string& what) {
    bar_.Say("line " + std::to_string(record.line) + ": " + what);
  }

  UserAccounts& accounts_;
  const UserImportOptions& options_;
  std::ostream& out_;
  ProgressBar& bar_;
  std::set<std::string> names_;  // that a dry run would have added
  ImportResult result_;
  Listing listing_{{"line", "user", "name", "note", "error"}, {}};
};

}  // namespace

std::string ImportColumns() {
  std::string words;
  for (const ImportColumn& column : kImportColumns) {
    words += (words.empty() ? "" : ",") + std::string(column.word);
  }
  return words;
}

ImportResult ImportUsers(UserAccounts& accounts, std::string_view text,
                         const UserImportOptions& options, std::ostream& out, std::ostream& err) {
  std::vector<CsvRecord> records = ReadCsv(text, Separator(text, options.mayHaveHeading));
  Columns columns = DefaultColumns();
  if (options.mayHaveHeading && !records.empty() && IsHeading(records.front())) {
    std::string error;
    columns = ReadHeading(records.front(), error);
    if (!error.empty()) {
      err << "line " << records.front().line << ": " << error << '\n';
      return {0, records.size()};
    }
    records.erase(records.begin());
  }
  ProgressBar bar(err, records.size(), options.isWatched);
  Import import(accounts, options, out, bar);
  for (const CsvRecord& record : records) {
    import.AddRecord(record, columns);
    bar.Advance();
  }
  import.Conclude();
  return import.result();
}

}  // namespace vnq
