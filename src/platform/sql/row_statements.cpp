#include "platform/sql/row_statements.h"

#include <fmt/format.h>

#include "support/crc32.h"

namespace vnq {
namespace {

constexpr size_t kStatementBytesInErrors = 300;

// Takes the value and gives the marker for it.
std::string MarkerFor(const SqlValue& value, const RowWriting& writing, RowStatement& made) {
  made.parameters.push_back(value);
  return writing.numbered ? "$" + std::to_string(made.parameters.size()) : "?";
}

// A column that has the value; what an index finds stands in front.
std::string EqualCondition(const SqlAssignment& assignment, const RowWriting& writing,
                           RowStatement& made) {
  const std::string column = writing.quoted(assignment.column);
  const std::string marker = MarkerFor(assignment.value, writing, made);
  if (writing.indexes == nullptr || assignment.value.kind != SqlValue::Kind::kText) {
    return column + "=" + marker;
  }
  return fmt::format("{}={} and cast({} as text)=cast({} as text)",
                     IndexedText(column, *writing.indexes), IndexedText(marker, *writing.indexes),
                     column, marker);
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

// A numbered marker of a select has no type but that of what it stands beside, which is a column of
// no row.
RowStatement InsertOnceStatement(std::string_view table, std::span<const SqlAssignment> values,
                                 std::span<const SqlAssignment> key, const RowWriting& writing) {
  RowStatement made;
  std::string names, markers, condition;
  for (const SqlAssignment& assignment : values) {
    const std::string column = writing.quoted(assignment.column);
    const std::string marker = MarkerFor(assignment.value, writing, made);
    const std::string typed =
        writing.numbered ? fmt::format("coalesce(t.{},{})", column, marker) : marker;
    names += (names.empty() ? "" : ",") + column;
    markers += (markers.empty() ? "" : ",") + typed;
  }
  for (const SqlAssignment& assignment : key) {
    if (!condition.empty()) condition += " and ";
    condition += EqualCondition(assignment, writing, made);
  }
  const std::string from =
      writing.numbered ? fmt::format(" from (values(0)) as one left join {} as t on false", table)
                       : "";
  made.text =
      fmt::format("insert into {}({}) select {}{} where not exists(select 1 from {}{} where {})",
                  table, names, markers, from, table, writing.keepsOthersOut, condition);
  return made;
}

int32_t LockNumberOf(std::string_view table, std::span<const SqlAssignment> key) {
  Crc32 sum;
  sum.Add(table);
  for (const SqlAssignment& each : key) {
    sum.Add(each.value.kind == SqlValue::Kind::kText ? "|" : "#");
    sum.Add(each.value.kind == SqlValue::Kind::kText ? each.value.text
                                                     : std::to_string(each.value.integer));
  }
  return static_cast<int32_t>(sum.Value());
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
