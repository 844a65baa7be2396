#include "platform/sql/postgres/postgres_rows.h"

#include <algorithm>

#include "platform/sql/row_statements.h"

namespace vnq {
namespace {

std::string MovedKey(const std::string& table, const PostgresIdentity& identity) {
  std::string key = table;
  for (const SqlValue& value : identity) key += '\0' + value.text;
  return key;
}

std::string Joined(const std::vector<std::string>& names) {
  std::string list;
  for (const std::string& name : names) list += (list.empty() ? "" : ",") + name;
  return list;
}

}  // namespace

void PostgresRows::NoteTable(std::shared_ptr<const PostgresTable> table) {
  auto& known = tables_[table->name];
  if (known != table) known = std::move(table);
}

const PostgresTable* PostgresRows::Find(const std::string& name) const {
  const auto found = tables_.find(name);
  return found == tables_.end() ? nullptr : found->second.get();
}

PostgresIdentity PostgresRows::Current(const SqlRows& rows, size_t row) {
  const PostgresTable* table = Find(rows.table);
  const size_t first = row * rows.identityWidth;
  const bool isKnown = table && rows.identityWidth == table->identity.size() &&
                       first + rows.identityWidth <= rows.identity.size();
  if (!isKnown) return {};
  const auto begin = rows.identity.begin() + static_cast<std::ptrdiff_t>(first);
  PostgresIdentity identity(begin, begin + static_cast<std::ptrdiff_t>(rows.identityWidth));
  if (!table->isByPlace) return identity;
  while (const auto* now = moved_.Find(MovedKey(rows.table, identity))) identity = *now;
  return identity;
}

// A place and the transaction that wrote there never come together again, so what is noted of them
// stays right.
void PostgresRows::NoteMoved(const SqlRows& rows, const PostgresIdentity& before,
                             const PostgresIdentity& now) {
  const PostgresTable* table = Find(rows.table);
  if (!table || !table->isByPlace) return;
  const std::string key = MovedKey(rows.table, before);
  if (key == MovedKey(rows.table, now) || moved_.Find(key)) return;
  moved_.Add(key, now, [](const PostgresIdentity&) {});
}

void AppendRowCondition(const PostgresTable& table, const PostgresIdentity& identity,
                        std::string& statement, std::vector<SqlValue>& values) {
  for (size_t i = 0; i < identity.size(); ++i) {
    values.push_back(identity[i]);
    statement += i == 0 ? " where " : " and ";
    statement += table.identity[i] + "=$" + std::to_string(values.size());
  }
  statement += " returning " + Joined(table.identity);
}

std::string SelectByColumns(const PostgresTable& table, std::span<const std::string> columns,
                            const SqlRows& rows, size_t row, std::vector<SqlValue>& values) {
  std::string conditions;
  const size_t count = rows.columns->size();
  for (size_t i = 0; i < count; ++i) {
    const std::string& name = (*rows.columns)[i].name;
    if (std::find(columns.begin(), columns.end(), name) == columns.end()) continue;
    const SqlValue& cell = rows.cells[row * count + i];
    const bool isNull = cell.kind == SqlValue::Kind::kNull;
    conditions += (conditions.empty() ? " where " : " and ") + name + (isNull ? " is null" : "=?");
    if (!isNull) values.push_back(cell);
  }
  if (conditions.empty()) return {};
  return "select " + Joined(table.identity) + " from " + table.name + conditions;
}

PostgresIdentity OnlyNewIdentity(const pg_result* result, const SqlRows& rows) {
  SqlRows found;
  found.columns = std::make_shared<const std::vector<SqlColumn>>(1);
  found.identityWidth = rows.identityWidth;
  const int ignored = 0;
  ReadPostgresRows(result, std::span(&ignored, 1), found);
  std::vector<PostgresIdentity> others;
  const auto same = [](const SqlValue& one, const SqlValue& other) {
    return one.text == other.text;
  };
  const auto width = static_cast<std::ptrdiff_t>(rows.identityWidth);
  for (auto each = found.identity.begin(); each != found.identity.end(); each += width) {
    PostgresIdentity identity(each, each + width);
    bool isKnown = false;
    for (auto old = rows.identity.begin(); old != rows.identity.end(); old += width) {
      isKnown = isKnown || std::equal(identity.begin(), identity.end(), old, same);
    }
    if (!isKnown) others.push_back(std::move(identity));
  }
  return others.size() == 1 ? others.front() : PostgresIdentity();
}

}  // namespace vnq
