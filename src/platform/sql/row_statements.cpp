#include "platform/sql/row_statements.h"

#include <fmt/format.h>

namespace vnq {
namespace {

constexpr size_t kStatementBytesInErrors = 300;

// Takes the value and gives the marker for it.
std::string MarkerFor(const SqlValue& value, const RowWriting& writing, RowStatement& made) {
  made.parameters.push_back(value);
  return writing.numbered ? "$" + std::to_string(made.parameters.size()) : "?";
}

}  // namespace

RowStatement InsertStatement(std::string_view table, std::span<const SqlAssignment> values,
                             const RowWriting& writing) {
  RowStatement made;
  std::string names;
  std::string markers;
  for (const SqlAssignment& assignment : values) {
    names += (names.empty() ? "" : ",") + writing.quoted(assignment.column);
    markers += (markers.empty() ? "" : ",") + MarkerFor(assignment.value, writing, made);
  }
  made.text = values.empty() ? fmt::format("insert into {} default values", table)
                             : fmt::format("insert into {}({}) values({})", table, names, markers);
  return made;
}

RowStatement SetClause(std::span<const SqlAssignment> values, const RowWriting& writing) {
  RowStatement made;
  for (const SqlAssignment& assignment : values) {
    const std::string column = writing.quoted(assignment.column);
    made.text += (made.text.empty() ? " set " : ",") + column + "=";
    if (assignment.isAdded) made.text += column + "+";
    made.text += MarkerFor(assignment.value, writing, made);
  }
  return made;
}

std::vector<SqlMarker> MarkersOf(std::span<const SqlValue> values) {
  std::vector<SqlMarker> markers;
  for (const SqlValue& value : values) {
    markers.push_back(value.kind == SqlValue::Kind::kText ? SqlMarker::kText : SqlMarker::kNumber);
  }
  return markers;
}

std::string DoubleQuoted(std::string_view name) {
  std::string quoted = "\"";
  for (char c : name) {
    if (c == '"') quoted += '"';
    quoted += c;
  }
  return quoted + '"';
}

std::string StatementFailure(std::string_view statement, std::string_view why) {
  const bool cut = statement.size() > kStatementBytesInErrors;
  return fmt::format("{}{}: {}", statement.substr(0, kStatementBytesInErrors), cut ? "..." : "",
                     why);
}

}  // namespace vnq
