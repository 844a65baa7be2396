#include "tools/moving/table_import.h"

#include <algorithm>

#include "support/ascii_case.h"
#include "tools/folder/database_advice.h"
#include "tools/folder/in_transaction.h"
#include "tools/schema/growing_id.h"
#include "tools/terminal/progress_bar.h"

namespace vnq {
namespace {

constexpr uint64_t kBadRowsTold = 20;

// The table's row that `vnqctl init` makes, as a condition; empty for a table without one.
std::string_view InitRow(const TableDef& table) {
  return table.name == "UpDateForm" || table.name == "OtherForm" ? "id=1" : "";
}

std::optional<int64_t> CountWhere(SqlDriver& driver, const TableDef& table,
                                  const std::string& condition) {
  SqlRows rows;
  if (!driver.Query("select count(*) as c from " + std::string(table.name) + condition, {}, rows)) {
    return std::nullopt;
  }
  if (rows.cells.empty()) return std::nullopt;
  return rows.cells[0].integer;
}

// How an engine keeps one failed statement from spoiling a transaction.
struct SavepointWords {
  std::string_view set, back, release;
};

SavepointWords SavepointWordsOf(DatabaseEngine engine) {
  if (engine == DatabaseEngine::kSqlServer) {
    return {"save transaction vnq_row", "rollback transaction vnq_row", ""};
  }
  return {"savepoint vnq_row", "rollback to savepoint vnq_row", "release savepoint vnq_row"};
}

}  // namespace

std::optional<int64_t> CountOwnRows(SqlDriver& driver, const TableDef& table) {
  const std::string_view own = InitRow(table);
  const auto all = CountWhere(driver, table, "");
  const auto made = own.empty() ? 0 : CountWhere(driver, table, " where " + std::string(own));
  if (!all || !made) return std::nullopt;
  return *all - *made;
}

TableImport::Outcome TableImport::Run(TableSource& source, size_t index) {
  const SourceTable& table = source.Tables()[index];
  ProgressBar bar(err_, static_cast<size_t>(table.rows), options_.isWatched, table.name);
  bar_ = &bar;
  if (!Map(table)) return outcome_;
  if (options_.dryRun) {
    outcome_.isDone = CopyRows(source, index);
    return outcome_;
  }
  outcome_.isDone =
      InTransaction(target_.driver, target_.engine, [&] { return Transfer(source, index); });
  if (!outcome_.isDone && !isTold_) Fail(OneLine(target_.driver.LastError()));
  if (outcome_.isDone && !target_.driver.SyncCommitted()) {
    outcome_.isDone = Fail(OneLine(target_.driver.LastError()));
  }
  return outcome_;
}

// --- Columns ---

bool TableImport::Map(const SourceTable& source) {
  const std::string name(table_.name);
  if (!target_.driver.Query("select * from " + name + " where 1=0", {}, description_)) {
    return Fail(OneLine(target_.driver.LastError()));
  }
  for (const SqlColumn& column : *description_.columns) {
    for (size_t i = 0; i < source.columns.size(); ++i) {
      const SourceColumn& candidate = source.columns[i];
      if (AsciiLower(candidate.name) != AsciiLower(column.name)) continue;
      if (!candidate.obstacle.empty()) break;
      mapped_.push_back({i, Describe(column)});
      values_.push_back({column.name, {}});
      isGivingIds_ = isGivingIds_ || mapped_.back().column.isGrowingId;
      break;
    }
  }
  NoteColumnsLeftOut(source);
  return !mapped_.empty() || Fail("no column of the source is in the database");
}

TargetColumn TableImport::Describe(const SqlColumn& column) const {
  TargetColumn described;
  described.name = column.name;
  described.type = column.type;
  described.maxLength = column.maxLength;
  const ExistingColumn* existing = existing_.Find(column.name);
  const std::string type = existing == nullptr ? "" : existing->type;
  if (target_.engine != DatabaseEngine::kSqlite && (type == "int" || type == "integer")) {
    described.least = INT32_MIN;
    described.greatest = INT32_MAX;
  }
  for (const ColumnDef& known : table_.columns) {
    if (AsciiLower(known.name) != AsciiLower(column.name)) continue;
    described.isSecret = known.kind == ColumnKind::kExactText;
    described.isGrowingId = known.kind == ColumnKind::kGrowingId;
  }
  return described;
}

void TableImport::NoteColumnsLeftOut(const SourceTable& source) {
  for (size_t i = 0; i < source.columns.size(); ++i) {
    const bool isMapped =
        std::any_of(mapped_.begin(), mapped_.end(), [i](const Mapped& m) { return m.cell == i; });
    if (isMapped) continue;
    const SourceColumn& column = source.columns[i];
    bar_->Say("note: table " + source.name + ": column " + column.name + " is left out: " +
              (column.obstacle.empty() ? "the database has none of that name" : column.obstacle));
  }
}

// --- Rows ---

bool TableImport::Transfer(TableSource& source, size_t index) {
  const SourceTable& table = source.Tables()[index];
  if (!MakeRoom(table) || !SetIdentityInsert(true)) return false;
  const bool isCopied = CopyRows(source, index);
  // It is the session's, and a rollback leaves it on.
  const bool isOff = SetIdentityInsert(false);
  return isCopied && isOff && Finish(table);
}

bool TableImport::MakeRoom(const SourceTable& source) {
  const auto before = CountWhere(target_.driver, table_, "");
  const auto own = CountOwnRows(target_.driver, table_);
  if (!before || !own) return Fail(OneLine(target_.driver.LastError()));
  outcome_.before = *before;
  if (options_.mode == ImportMode::kIntoEmpty && *own > 0 && source.rows > 0) {
    return Fail("the table has rows");
  }
  const std::string remove = "delete from " + std::string(table_.name);
  const std::string initRow(InitRow(table_));
  if (options_.mode == ImportMode::kReplace) {
    // The server cannot do without its row, so it stays where nothing takes its place.
    const bool isKept = source.rows == 0 && !initRow.empty();
    if (!Do(remove + (isKept ? " where not " + initRow + " or id is null" : ""))) return false;
  } else if (source.rows > 0 && !initRow.empty()) {
    if (!Do(remove + " where " + initRow)) return false;
  }
  const auto kept = CountWhere(target_.driver, table_, "");
  if (!kept) return Fail(OneLine(target_.driver.LastError()));
  outcome_.expected = *kept;
  return true;
}

bool TableImport::CopyRows(TableSource& source, size_t index) {
  std::string error;
  const bool isRead = source.ReadRows(
      index, [this](std::span<const SqlValue> cells) { return TakeRow(cells); }, error);
  if (!isRead) return error.empty() ? false : Fail(error);
  if (outcome_.bad > kBadRowsTold) {
    bar_->Say("table " + source.Tables()[index].name + ": and " +
              std::to_string(outcome_.bad - kBadRowsTold) + " more bad rows");
  }
  if (changedTexts_ > 0) {
    bar_->Say("note: table " + source.Tables()[index].name + ": texts with characters that " +
              std::string(EngineName(target_.engine)) +
              " has no place for (U+FFFD takes theirs): " + std::to_string(changedTexts_));
  }
  return outcome_.bad == 0 || options_.skipBadRows;
}

bool TableImport::TakeRow(std::span<const SqlValue> cells) {
  ++row_;
  bar_->Advance();
  if (!FitRow(cells)) {
    ++outcome_.bad;
    return true;
  }
  // Behind a bad row that is not skipped the others are only looked at.
  const bool isAdded = !options_.dryRun && (outcome_.bad == 0 || options_.skipBadRows);
  if (!isAdded || AddRow()) return true;
  ++outcome_.bad;
  return !isBroken_;
}

bool TableImport::FitRow(std::span<const SqlValue> cells) {
  for (size_t i = 0; i < mapped_.size(); ++i) {
    const TargetColumn& column = mapped_[i].column;
    SqlValue& value = values_[i].value;
    value = cells[mapped_[i].cell];
    std::string why;
    if (!FitValue(column, value, why)) {
      SayBadRow("column " + column.name + ": " + ShownValue(column, value) + ": " + why);
      return false;
    }
    if (HasUnstorableCharacters(value.text, target_.engine)) ++changedTexts_;
  }
  return true;
}

bool TableImport::AddRow() {
  const bool isGuarded = options_.skipBadRows;
  const SavepointWords words = SavepointWordsOf(target_.engine);
  if (isGuarded && !Savepoint(words.set)) return false;
  const bool isAdded = Insert();
  if (!isAdded) SayBadRow(OneLine(target_.driver.LastError()));
  if (isGuarded && !isAdded && !Savepoint(words.back)) return false;
  return (!isGuarded || Savepoint(words.release)) && isAdded;
}

// Without one the rows behind a bad row cannot be had.
bool TableImport::Savepoint(std::string_view statement) {
  if (statement.empty() || target_.driver.Execute(statement, {})) return true;
  isBroken_ = true;
  return Fail(OneLine(target_.driver.LastError()));
}

bool TableImport::Insert() {
  std::vector<SqlAssignment> others;  // where the database has to give the id
  for (size_t i = 0; i < mapped_.size(); ++i) {
    if (!mapped_[i].column.isGrowingId || values_[i].value.kind != SqlValue::Kind::kNull) continue;
    others = values_;
    others.erase(others.begin() + static_cast<ptrdiff_t>(i));
  }
  const bool isInserted = target_.driver.Insert(description_, others.empty() ? values_ : others);
  if (isInserted) ++added_;
  return isInserted;
}

// SQL Server takes no numbers of the source's unless it is told before.
bool TableImport::SetIdentityInsert(bool isOn) {
  if (!isGivingIds_ || target_.engine != DatabaseEngine::kSqlServer) return true;
  return Do("set identity_insert " + std::string(table_.name) + (isOn ? " on" : " off"));
}

bool TableImport::Finish(const SourceTable& source) {
  outcome_.expected += static_cast<int64_t>(added_);
  const auto now = CountWhere(target_.driver, table_, "");
  if (!now) return Fail(OneLine(target_.driver.LastError()));
  if (*now != outcome_.expected || added_ + outcome_.bad != source.rows) {
    return Fail("rows in the source " + std::to_string(source.rows) + ", added " +
                std::to_string(added_) + ", and now the table has " + std::to_string(*now) +
                " instead of " + std::to_string(outcome_.expected));
  }
  return GrowingIdOf(table_) == nullptr ||
         RaiseGrowingId(target_.driver, target_.engine, table_, source.counter) ||
         Fail(OneLine(target_.driver.LastError()));
}

// --- Words ---

void TableImport::SayBadRow(const std::string& what) {
  isTold_ = true;
  if (outcome_.bad < kBadRowsTold) {
    bar_->Say("table " + std::string(table_.name) + ", row " + std::to_string(row_) + ", " + what);
  }
}

bool TableImport::Do(const std::string& statement) {
  return target_.driver.Execute(statement, {}) || Fail(OneLine(target_.driver.LastError()));
}

bool TableImport::Fail(const std::string& why) {
  isTold_ = true;
  bar_->Say("table " + std::string(table_.name) + ": " + why);
  return false;
}

}  // namespace vnq
