#include "tools/users/user_import.h"

#include <strings.h>

#include <optional>
#include <vector>

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

const ImportColumn* FindColumn(const std::string& cell) {
  for (const ImportColumn& column : kImportColumns) {
    if (strcasecmp(cell.c_str(), column.word) == 0 ||
        strcasecmp(cell.c_str(), column.tableName) == 0) {
      return &column;
    }
  }
  return nullptr;
}

bool IsHeading(const CsvRecord& record) {
  for (const std::string& cell : record.cells) {
    if (FindColumn(cell) == &kImportColumns[0]) return record.error.empty();
  }
  return false;
}

Columns DefaultColumns() {
  Columns columns;
  for (const ImportColumn& column : kImportColumns) columns.push_back(&column);
  return columns;
}

// The columns that a heading names; `error` says which one it is that there is not.
Columns ReadHeading(const CsvRecord& heading, std::string& error) {
  Columns columns;
  for (const std::string& cell : heading.cells) {
    columns.push_back(FindColumn(cell));
    if (columns.back() == nullptr) {
      error = "there is no column \"" + cell + "\"; there are: " + ImportColumns();
    }
  }
  return columns;
}

class Import {
 public:
  Import(UserAccounts& accounts, std::ostream& out, std::ostream& err, ProgressBar& bar)
      : accounts_(accounts), out_(out), err_(err), bar_(bar) {}

  void AddRecord(const CsvRecord& record, const Columns& columns) {
    std::string newId, note, error = record.error;
    if (error.empty() && record.cells.size() > columns.size()) error = "more cells than columns";
    if (error.empty()) {
      const NewUser user = ReadUser(record, columns);
      if (accounts_.Add(user, newId, note, error)) {
        out_ << newId << '\t' << user.name << '\n';
        ++result_.added;
        if (!note.empty()) Say(record, "note: " + note);
        return;
      }
    }
    Say(record, error);
    ++result_.bad;
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

  void Say(const CsvRecord& record, const std::string& what) {
    bar_.Say("line " + std::to_string(record.line) + ": " + what);
  }

  UserAccounts& accounts_;
  std::ostream& out_;
  std::ostream& err_;
  ProgressBar& bar_;
  ImportResult result_;
};

}  // namespace

std::string ImportColumns() {
  std::string words;
  for (const ImportColumn& column : kImportColumns) {
    words += (words.empty() ? "" : ",") + std::string(column.word);
  }
  return words;
}

ImportResult ImportUsers(UserAccounts& accounts, std::string_view text, std::ostream& out,
                         std::ostream& err, bool isWatched) {
  std::vector<CsvRecord> records = ReadCsv(text);
  Columns columns = DefaultColumns();
  if (!records.empty() && IsHeading(records.front())) {
    std::string error;
    columns = ReadHeading(records.front(), error);
    if (!error.empty()) {
      err << "line " << records.front().line << ": " << error << '\n';
      return {0, records.size()};
    }
    records.erase(records.begin());
  }
  ProgressBar bar(err, records.size(), isWatched);
  Import import(accounts, out, err, bar);
  for (const CsvRecord& record : records) {
    import.AddRecord(record, columns);
    bar.Advance();
  }
  return import.result();
}

}  // namespace vnq
