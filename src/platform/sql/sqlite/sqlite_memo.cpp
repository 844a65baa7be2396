#include "platform/sql/sqlite/sqlite_memo.h"

#include <algorithm>
#include <functional>
#include <numeric>
#include <span>
#include <string_view>

namespace vnq {
namespace {

// Functions that give the same for the same values; any other is taken for one that does not.
bool IsSteady(const char* function) {
  constexpr std::string_view kSteady[] = {"count", "max",    "min",    "clng", "convert_int",
                                          "lower", "upper",  "length", "like", "ifnull",
                                          "sum",   "substr", "instr"};
  return function &&
         std::find(std::begin(kSteady), std::end(kSteady), function) != std::end(kSteady);
}

size_t HashOf(std::span<const SqlValue> values) {
  size_t hash = values.size();
  for (const SqlValue& value : values) {
    const size_t one = value.kind == SqlValue::Kind::kText
                           ? std::hash<std::string_view>()(value.text)
                           : std::hash<int64_t>()(value.integer) + static_cast<size_t>(value.kind);
    hash = hash * 31 + one;
  }
  return hash;
}

bool IsSame(const SqlValue& one, const SqlValue& other) {
  return one.kind == other.kind && one.integer == other.integer && one.text == other.text;
}

size_t TextBytes(const SqlRows& rows) {
  return std::accumulate(rows.cells.begin(), rows.cells.end(), size_t{0},
                         [](size_t sum, const SqlValue& cell) { return sum + cell.text.size(); });
}

}  // namespace

uint64_t SqliteTouched::WritesToRead() const {
  return std::accumulate(
      reads.begin(), reads.end(), uint64_t{0},
      [](uint64_t sum, const SqliteTableWrites* table) { return sum + table->statements; });
}

void SqliteTouched::NoteRun(bool addsRow) const {
  for (SqliteTableWrites* table : writes) ++table->statements;
  if (addsRow && writes.size() == 1) ++writes.front()->rowsAdded;
}

SqliteTouchWatch::SqliteTouchWatch(sqlite3* database) {
  sqlite3_set_authorizer(database, Note, this);
}

SqliteTableWrites& SqliteTouchWatch::WritesTo(const char* table) {
  const std::string name = table ? table : "";
  SqliteTableWrites& writes = writes_[name];
  writes.table = name;
  return writes;
}

int SqliteTouchWatch::Note(void* self, int action, const char* first, const char* second,
                           const char*, const char*) {
  auto watch = static_cast<SqliteTouchWatch*>(self);
  SqliteTouched* touched = watch->touched_;
  if (!touched) return SQLITE_OK;
  switch (action) {
    case SQLITE_SELECT:
      break;
    case SQLITE_READ: {
      const SqliteTableWrites* writes = &watch->WritesTo(first);
      auto& reads = touched->reads;
      if (std::find(reads.begin(), reads.end(), writes) == reads.end()) reads.push_back(writes);
      break;
    }
    case SQLITE_INSERT:
    case SQLITE_UPDATE:
    case SQLITE_DELETE:
      touched->writes.push_back(&watch->WritesTo(first));
      break;
    case SQLITE_FUNCTION:
      touched->isKnown = touched->isKnown && IsSteady(second);
      break;
    default:
      touched->isKnown = false;
  }
  return SQLITE_OK;
}

// Makes the kept count be true again, where all that was written since are single rows that were
// added.
bool SqliteMemo::CarryOn(const SqliteTouched& touched) {
  const uint64_t writes = touched.WritesToRead();
  if (writes == writes_) return true;
  if (!countsRows_) return false;
  const uint64_t added = touched.reads.front()->rowsAdded;
  if (writes - writes_ != added - rowsAdded_) return false;
  rows_.cells.front().integer += static_cast<int64_t>(added - rowsAdded_);
  writes_ = writes;
  rowsAdded_ = added;
  return true;
}

bool SqliteMemo::Find(uint64_t turn, const SqliteTouched& touched, std::span<const SqlValue> values,
                      SqlRows& rows) {
  const bool isThere =
      isKept_ && turn == turn_ &&
      std::equal(values.begin(), values.end(), values_.begin(), values_.end(), IsSame) &&
      CarryOn(touched);
  if (isThere) rows = rows_;
  return isThere;
}

void SqliteMemo::Note(uint64_t turn, const SqliteTouched& touched, std::span<const SqlValue> values,
                      const SqlRows& rows) {
  const size_t hash = HashOf(values);
  const bool isRepeated = turn == turn_ && hash == hash_;
  turn_ = turn;
  hash_ = hash;
  isKept_ = isRepeated && touched.isKnown && rows.cells.size() <= kMostCells &&
            TextBytes(rows) <= kMostTextBytes;
  if (!isKept_) return;
  writes_ = touched.WritesToRead();
  if (countsRows_) rowsAdded_ = touched.reads.front()->rowsAdded;
  values_.assign(values.begin(), values.end());
  rows_ = rows;
}

}  // namespace vnq
