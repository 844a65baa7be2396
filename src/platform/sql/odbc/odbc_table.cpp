#include "platform/sql/odbc/odbc_table.h"

#include <strings.h>

#include <algorithm>

#include "support/replace_all.h"

namespace vnq {

std::string BracketedName(std::string_view name) {
  std::string text(name);
  ReplaceAll(text, "]", "]]");
  return "[" + text + "]";
}

namespace {

bool SameName(std::string_view a, std::string_view b) {
  return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

// Reads the column names out of a catalog's answer.
bool ReadNames(OdbcStatement& catalog, size_t nameColumn, std::vector<std::string>& names,
               OdbcError& error) {
  for (;;) {
    OdbcStatement::Step step = catalog.Fetch(error);
    if (step == OdbcStatement::Step::kFailed) return false;
    if (step == OdbcStatement::Step::kEnd) return catalog.Finish(error);
    SqlValue name;
    if (!catalog.Read(nameColumn, OdbcColumn::Kind::kText, name, error)) return false;
    names.push_back(std::move(name.text));
  }
}

// The condition that a column has the value. A text is compared to the letter; the collation's own
// comparison stands beside it for the index.
std::string Condition(const OdbcColumn& column, const SqlValue& value,
                      std::vector<SqlValue>& parameters) {
  std::string name = BracketedName(column.column.name);
  if (value.kind == SqlValue::Kind::kNull) return name + " is null";
  if (column.kind != OdbcColumn::Kind::kText) {
    parameters.push_back(value);
    return name + "=?";
  }
  SqlValue text =
      value.kind == SqlValue::Kind::kText ? value : SqlValue::Text(std::to_string(value.integer));
  // Trailing blanks do not count in any collation; the character at the end makes them.
  std::string exact = name + " collate Latin1_General_BIN2+N'.'=?+N'.'";
  parameters.push_back(text);
  if (column.column.maxLength == 0) return exact;
  parameters.push_back(std::move(text));
  return name + "=? and " + exact;
}

}  // namespace

const OdbcColumn* OdbcTable::Find(std::string_view name) const {
  auto found = std::find_if(columns.begin(), columns.end(), [&](const OdbcColumn& column) {
    return SameName(column.column.name, name);
  });
  return found == columns.end() ? nullptr : &*found;
}

bool ReadOdbcTable(SQLHDBC connection, OdbcParameters& parameters, std::string_view name,
                   int timeoutS, OdbcTable& table, OdbcError& error) {
  auto statement =
      OdbcStatement::Prepare(connection, parameters, "select top 0 * from " + BracketedName(name),
                             {}, {}, timeoutS, error);
  if (!statement || !statement->Run({}, error)) return false;
  table.columns = statement->Columns();
  if (!statement->Finish(error)) return false;

  if (!statement->RunPrimaryKeys(name, error)) return false;
  if (!ReadNames(*statement, OdbcStatement::kKeyName, table.key, error)) return false;
  if (!table.key.empty()) return true;
  if (!statement->RunBestRowId(name, error)) return false;
  return ReadNames(*statement, OdbcStatement::kRowIdName, table.key, error);
}

std::string OdbcRowCondition(const OdbcTable& table, const SqlRows& rows, size_t row,
                             std::vector<SqlValue>& parameters) {
  size_t width = rows.identityWidth;
  std::span<const SqlValue> cells = width > 0 ? rows.identity : rows.cells;
  if (width > 0 && width != table.key.size()) return {};
  size_t count = width > 0 ? width : rows.columns->size();
  std::string condition;
  for (size_t i = 0; i < count; ++i) {
    const OdbcColumn* column = table.Find(width > 0 ? table.key[i] : (*rows.columns)[i].name);
    if (!column) return {};
    // A date or a fraction need not compare equal to its own text.
    if (width == 0 && column->kind == OdbcColumn::Kind::kOther) continue;
    if (!condition.empty()) condition += " and ";
    condition += Condition(*column, cells[row * count + i], parameters);
  }
  return condition;
}

void RefreshOdbcIdentity(const OdbcTable& table, SqlRows& rows, size_t row,
                         std::span<const SqlAssignment> values) {
  if (rows.identityWidth != table.key.size()) return;
  for (size_t i = 0; i < table.key.size(); ++i) {
    for (const SqlAssignment& assignment : values) {
      if (!SameName(assignment.column, table.key[i])) continue;
      rows.identity[row * rows.identityWidth + i] = assignment.value;
    }
  }
}

}  // namespace vnq
