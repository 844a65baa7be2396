#include "platform/sql/postgres/postgres_memo.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "support/ascii_case.h"

namespace vnq {
namespace {

constexpr std::string_view kCountRows = "select count(*) from ";

bool IsSame(const SqlValue& one, const SqlValue& other) {
  return one.kind == other.kind && one.integer == other.integer && one.text == other.text;
}

size_t TextBytes(const SqlRows& rows) {
  return std::accumulate(rows.cells.begin(), rows.cells.end(), size_t{0},
                         [](size_t sum, const SqlValue& cell) { return sum + cell.text.size(); });
}

// Whoever names no function but these gives the same for the same rows.
bool IsSteady(std::string_view words) {
  if (!words.starts_with("select ")) return false;
  for (size_t at = words.find('('); at != words.npos; at = words.find('(', at + 1)) {
    const std::string_view before = words.substr(0, at);
    const bool isKnown =
        before.ends_with("count") || before.ends_with("max") || before.ends_with("min");
    if (!isKnown) return false;
  }
  return true;
}

// A table's own name in lower case, of "schema"."table".
std::string BareName(std::string_view table) {
  if (table.ends_with('"')) table.remove_suffix(1);
  const size_t quote = table.rfind('"');
  return AsciiLower(quote == table.npos ? table : table.substr(quote + 1));
}

}  // namespace

bool PostgresMemo::Find(std::string_view statement, std::span<const SqlValue> values, int64_t nowMs,
                        SqlRows& rows) const {
  const auto found = read_.find(statement);
  if (found == read_.end()) return false;
  const Read& read = found->second;
  if (read.waiting > 0 || nowMs - read.readMs >= kLongestMs) return false;
  if (!std::equal(values.begin(), values.end(), read.values.begin(), read.values.end(), IsSame)) {
    return false;
  }
  rows = read.rows;
  return true;
}

void PostgresMemo::Note(std::string_view statement, std::span<const SqlValue> values, int64_t nowMs,
                        const SqlRows& rows) {
  if (rows.cells.size() > kMostCells || TextBytes(rows) > kMostTextBytes) return;
  auto found = read_.find(statement);
  if (found == read_.end()) {
    std::string words = AsciiLower(statement);
    if (read_.size() >= kMostKept || !IsSteady(words)) return;
    found = read_.emplace(statement, Read{std::move(words), {}, {}, 0, 0}).first;
  }
  Read& read = found->second;
  read.values.assign(values.begin(), values.end());
  read.rows = rows;
  read.readMs = nowMs;
  read.waiting = 0;
}

void PostgresMemo::NoteWaiting(std::string_view table) {
  if (read_.empty()) return;
  const std::string name = BareName(table);
  const std::string countsIt = std::string(kCountRows) + name;
  for (auto& [statement, read] : read_) {
    if (read.words == countsIt) ++read.waiting;
  }
  std::erase_if(read_, [&](const auto& entry) {
    const std::string& words = entry.second.words;
    return words != countsIt && words.find(name) != words.npos;
  });
}

void PostgresMemo::NoteMaybeWaiting(std::string_view table) {
  const std::string name = BareName(table);
  std::erase_if(
      read_, [&](const auto& entry) { return entry.second.words.find(name) != std::string::npos; });
}

void PostgresMemo::NoteAdded() {
  for (auto& [statement, read] : read_) {
    if (read.waiting == 0) continue;
    read.rows.cells.front().integer += std::exchange(read.waiting, 0);
  }
}

}  // namespace vnq
