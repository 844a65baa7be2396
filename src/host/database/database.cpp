#include "host/database/database.h"

#include <algorithm>
#include <functional>
#include <unordered_map>
#include <utility>

#include "host/values/skipped.h"
#include "platform/system/event_log.h"
#include "support/ascii_case.h"
#include "support/utf16.h"

namespace vnq {
namespace {

bool IsDate(std::string_view text) {
  constexpr std::string_view kShape = "dddd-dd-dd";
  return std::equal(kShape.begin(), kShape.end(), text.begin(), text.end(), [](char shape, char c) {
    return shape == 'd' ? c >= '0' && c <= '9' : c == shape;
  });
}

enum class Marker { kText, kDate, kNumber, kList };

// A statement's words with bare markers in place of their own, and what those were.
struct ParsedWords {
  std::string text;
  std::vector<Marker> markers;
};

// The marker that the words begin with, and its length; none is of length 0.
std::pair<Marker, size_t> MarkerAt(std::string_view words, bool mayBeList) {
  if (words.starts_with("'?'")) return {Marker::kText, 3};
  if (words.starts_with("#?#")) return {Marker::kDate, 3};
  if (mayBeList && words.starts_with("(?)")) return {Marker::kList, 3};
  return {Marker::kNumber, words.starts_with('?') ? 1 : 0};
}

// listLength: how many values the list has that fills the one `(?)`; 0 is without one.
ParsedWords Parse(std::string_view rest, size_t listLength) {
  ParsedWords parsed;
  while (!rest.empty()) {
    auto [marker, length] = MarkerAt(rest, listLength > 0);
    if (length > 0) {
      parsed.markers.push_back(marker);
      if (marker != Marker::kList) parsed.text += '?';
      for (; marker == Marker::kList && listLength > 0; --listLength) {
        parsed.text += parsed.text.ends_with('?') ? ",?" : "(?";
        if (listLength == 1) parsed.text += ')';
      }
    } else {
      length = rest.front() == '\'' ? std::min(rest.find('\'', 1), rest.size() - 1) + 1 : 1;
      parsed.text += rest.substr(0, length);
    }
    rest.remove_prefix(length);
  }
  return parsed;
}

// The words of the rules are a few hundred, each used again and again. Words that are made up at
// run time would fill the memory: beyond so many, they are parsed at each use.
constexpr size_t kMostKeptWords = 2000;

struct WordsHash : std::hash<std::string_view> {
  using is_transparent = void;
};

// The words parsed, kept for good; else in `unkept`.
const ParsedWords& Parsed(std::string_view words, ParsedWords& unkept) {
  static thread_local std::unordered_map<std::string, ParsedWords, WordsHash, std::equal_to<>>
      known;
  const auto found = known.find(words);
  if (found != known.end()) return found->second;
  unkept = Parse(words, 0);
  if (known.size() >= kMostKeptWords) return unkept;
  return known.emplace(words, unkept).first->second;
}

// Takes the values for the markers, each converted as its marker says.
class Binder {
 public:
  Binder(std::span<const Expr> values, std::span<const std::string> list)
      : values_(values), list_(list) {}

  // Empty, or why the statement failed.
  std::string_view Bind(std::span<const Marker> markers, std::vector<SqlValue>& parameters) {
    parameters.reserve(markers.size() + list_.size());
    for (const Marker marker : markers) {
      if (marker == Marker::kList) {
        for (const std::string& item : std::exchange(list_, {})) AddText(item, parameters);
      } else {
        Add(marker, parameters);
      }
    }
    if (used_ < values_.size() || !list_.empty()) Fail("a value without marker");
    return failure_;
  }

 private:
  void Add(Marker marker, std::vector<SqlValue>& parameters) {
    if (used_ == values_.size()) return Fail("a marker without value");
    const Expr& value = values_[used_++];
    if (marker == Marker::kNumber) {
      const auto number = ToInt32(value);
      if (!number) return Fail("no 32-bit number");
      parameters.push_back(SqlValue::Integer(*number));
    } else if (marker == Marker::kDate && !IsDate(OrEmpty(value))) {
      Fail("no date");
    } else if (!value.ok()) {
      Fail("a text that has failed");
    } else {
      AddText(value.text(), parameters);
    }
  }

  void AddText(const std::string& text, std::vector<SqlValue>& parameters) {
    if (text.find('\'') != text.npos) return Fail("a quote in a text");
    parameters.push_back(SqlValue::Text(text));
  }

  void Fail(std::string_view why) {
    if (failure_.empty()) failure_ = why;
  }

  std::span<const Expr> values_;
  std::span<const std::string> list_;  // empty once it was used
  size_t used_ = 0;
  std::string_view failure_;
};

bool IsTooLong(std::string_view text, size_t maxLength) {
  return maxLength > 0 && text.size() > maxLength && Utf16Length(text) > maxLength;
}

// The value as the column takes it; false when it does not fit.
bool Fit(const Expr& value, const SqlColumn& column, SqlValue& fitted) {
  if (!value.ok()) return false;
  if (value.IsNull()) {
    fitted = SqlValue::Null();
    return true;
  }
  if (column.type == SqlColumnType::kText) {
    if (IsTooLong(value.text(), column.maxLength)) return false;
    fitted = SqlValue::Text(value.text());
    return true;
  }
  auto number = ToInt32(value);
  if (number) fitted = SqlValue::Integer(*number);
  return number.has_value();
}

Expr ToExpr(const SqlValue& value) {
  switch (value.kind) {
    case SqlValue::Kind::kNull:
      return Expr::Null();
    case SqlValue::Kind::kInteger:
      return Expr(value.integer);
    case SqlValue::Kind::kText:
      break;
  }
  return Expr(value.text);
}

bool Skip(std::string_view statement, std::string_view why) {
  NoteSkipped(statement, why);
  return false;
}

}  // namespace

Statement::Statement(std::string_view words, std::span<const Expr> values) {
  ParsedWords unkept;
  const ParsedWords& parsed = Parsed(words, unkept);
  failure_ = Binder(values, {}).Bind(parsed.markers, parameters_);
  if (!ok()) {
    own_ = words;
  } else if (&parsed == &unkept) {
    own_ = std::move(unkept.text);
  } else {
    shared_ = &parsed.text;
  }
}

Statement::Statement(std::string_view words, std::span<const Expr> values,
                     const std::vector<std::string>& list) {
  ParsedWords parsed = Parse(words, list.size());
  failure_ = Binder(values, list).Bind(parsed.markers, parameters_);
  if (list.empty()) failure_ = "an empty list";
  own_ = ok() ? std::move(parsed.text) : std::string(words);
}

bool Database::Query(const Statement& statement, SqlRows& rows) {
  if (!statement.ok()) return Skip(statement.text(), statement.failure());
  return Conclude("query", driver_->Query(statement.text(), statement.parameters(), rows));
}

bool Database::Describe(const Statement& statement, SqlRows& rows) {
  if (!statement.ok()) return Skip(statement.text(), statement.failure());
  return Conclude("query", driver_->Describe(statement.text(), statement.parameters(), rows));
}

bool Database::Execute(const Statement& statement) {
  if (!statement.ok()) return Skip(statement.text(), statement.failure());
  return Conclude("execute", driver_->Execute(statement.text(), statement.parameters()));
}

bool Database::Insert(const SqlRows& target, std::span<const SqlAssignment> values,
                      std::span<const SqlAssignment> key) {
  const bool done =
      key.empty() ? driver_->Insert(target, values) : driver_->InsertOnce(target, values, key);
  wroteRow_ = wroteRow_ || done;
  return Conclude("Update", done);
}

bool Database::UpdateRow(SqlRows& rows, size_t row, std::span<const SqlAssignment> values) {
  const bool done = driver_->UpdateRow(rows, row, values);
  wroteRow_ = wroteRow_ || done;
  return Conclude("Update", done);
}

bool Database::DeleteRow(const SqlRows& rows, size_t row) {
  return Conclude("Delete", driver_->DeleteRow(rows, row));
}

// Notes what came of a statement, and of those before it that were undone with it.
bool Database::Conclude(std::string_view statement, bool done) {
  NoteUndone();
  if (done) return true;
  trouble_.NoteFailed(driver_->LastTrouble(), driver_->LastError());
  return Skip(statement, driver_->LastError());
}

void Database::NoteUndone() {
  const size_t undone = driver_->TakeUndone();
  if (undone == 0) return;
  wroteRow_ = false;
  trouble_.NoteFailed(driver_->LastTrouble(), driver_->LastError(), undone);
  for (size_t i = 0; i < undone; ++i) Skip("a statement undone later", driver_->LastError());
}

void Database::EndTurn() {
  const bool done = driver_->EndTurn();
  NoteUndone();
  if (std::exchange(wroteRow_, false) && done) trouble_.NoteWritten();
}

void Database::Close() {
  EndTurn();
  driver_.reset();
}

Expr Database::ReadValue(const Statement& statement) {
  SqlRows rows;
  if (!Query(statement, rows) || rows.cells.empty()) return Expr::Failed();
  return ToExpr(rows.cells.front());
}

bool Database::SyncCommitted() {
  EndTurn();
  trouble_.Tick();
  const bool done = driver_->SyncCommitted();
  if (!done && !syncFailed_) {
    LogError("sync_failed", "{}; what was written may be lost, and receipts for it are held back",
             driver_->LastError());
  }
  if (done && syncFailed_) LogInfo("sync_back", "database: what is acknowledged is synced again");
  syncFailed_ = !done;
  return done;
}

bool Cursor::Open(const Statement& statement) {
  Close();
  open_ = database_->Query(statement, rows_);
  return open_;
}

bool Cursor::OpenForNewRows(const Statement& statement) {
  Close();
  open_ = database_->Describe(statement, rows_);
  return open_;
}

void Cursor::Close() {
  rows_ = {};
  assigned_.clear();
  row_ = 0;
  open_ = adding_ = deleted_ = false;
}

int Cursor::RecordCount() const {
  return static_cast<int>(rows_.rowCount()) - (deleted_ ? 1 : 0);
}

bool Cursor::EndOfRows() const {
  return row_ >= rows_.rowCount();
}

// A deleted row leaves the row set with the move away from it; the row behind it then stands at its
// index.
void Cursor::LeaveRow() {
  assigned_.clear();
  adding_ = false;
  if (!deleted_) return;
  auto count = static_cast<std::ptrdiff_t>(rows_.columns->size());
  auto index = static_cast<std::ptrdiff_t>(row_);
  auto cells = rows_.cells.begin() + index * count;
  rows_.cells.erase(cells, cells + count);
  auto width = static_cast<std::ptrdiff_t>(rows_.identityWidth);
  auto identity = rows_.identity.begin() + index * width;
  rows_.identity.erase(identity, identity + width);
  deleted_ = false;
}

void Cursor::MoveFirst() {
  LeaveRow();
  row_ = 0;
}

void Cursor::MoveNext() {
  bool removed = deleted_;
  LeaveRow();
  if (!removed && !EndOfRows()) ++row_;
}

int Cursor::ColumnIndex(std::string_view column) const {
  if (!open_) return -1;
  const auto& columns = *rows_.columns;
  auto found = std::find_if(columns.begin(), columns.end(), [&](const SqlColumn& each) {
    return SameButForCase(each.name, column);
  });
  return found == columns.end() ? -1 : static_cast<int>(found - columns.begin());
}

Expr Cursor::operator[](std::string_view column) const {
  int index = ColumnIndex(column);
  return index < 0 ? Expr::Failed() : Column(static_cast<size_t>(index));
}

Expr Cursor::Column(size_t position) const {
  if (!OnRow() || position >= rows_.columns->size()) return Expr::Failed();
  return ToExpr(rows_.cells[row_ * rows_.columns->size() + position]);
}

void Cursor::AddNew() {
  if (!open_) {
    NoteSkipped("AddNew", "the row set is not open");
    return;
  }
  assigned_.clear();
  assigned_.reserve(rows_.columns->size());
  adding_ = true;
}

bool Cursor::Set(std::string_view column, const Expr& value) {
  if (!adding_ && !OnRow()) return Skip(column, "no row to assign to");
  int index = ColumnIndex(column);
  if (index < 0) return Skip(column, "no such column");
  const SqlColumn& target = (*rows_.columns)[static_cast<size_t>(index)];
  SqlValue fitted;
  if (!Fit(value, target, fitted)) return Skip(column, "the value does not fit the column");

  auto before = std::find_if(assigned_.begin(), assigned_.end(),
                             [&](const SqlAssignment& each) { return each.column == target.name; });
  if (before == assigned_.end()) {
    assigned_.push_back({target.name, std::move(fitted)});
  } else {
    before->value = std::move(fitted);
    before->isAdded = false;
  }
  return true;
}

bool Cursor::Increment(std::string_view column) {
  const Expr next = Plus((*this)[column], 1);
  if (!Set(column, next)) return false;
  if (!database_->IsShared() || next.IsNull()) return true;
  const std::string& name = (*rows_.columns)[static_cast<size_t>(ColumnIndex(column))].name;
  const auto assigned =
      std::find_if(assigned_.begin(), assigned_.end(),
                   [&](const SqlAssignment& each) { return each.column == name; });
  assigned->value = SqlValue::Integer(1);
  assigned->isAdded = true;
  return true;
}

bool Cursor::Update() {
  if (!adding_ && !OnRow()) return Skip("Update", "no row to write");
  const bool done = adding_ ? database_->Insert(rows_, assigned_) : WriteRow();
  assigned_.clear();
  adding_ = false;
  return done;
}

// A key that was not assigned in full tells no row from another.
bool Cursor::UpdateOnce(std::initializer_list<std::string_view> key) {
  std::vector<SqlAssignment> found;
  for (const SqlAssignment& each : assigned_) {
    const auto isIt = [&](std::string_view column) { return SameButForCase(each.column, column); };
    if (std::any_of(key.begin(), key.end(), isIt)) found.push_back(each);
  }
  const bool isGuarded = database_->IsShared() && adding_ && rows_.rowCount() == 0;
  if (!isGuarded || found.size() != key.size()) return Update();
  const bool done = database_->Insert(rows_, assigned_, found);
  assigned_.clear();
  adding_ = false;
  return done;
}

bool Cursor::WriteRow() {
  if (assigned_.empty()) return true;
  if (!database_->UpdateRow(rows_, row_, assigned_)) return false;
  for (SqlAssignment& each : assigned_) {
    auto column = static_cast<size_t>(ColumnIndex(each.column));
    SqlValue& cell = rows_.cells[row_ * rows_.columns->size() + column];
    if (each.isAdded) each.value.integer += cell.integer;
    cell = std::move(each.value);
  }
  return true;
}

bool Cursor::Delete() {
  if (adding_ || !OnRow()) return Skip("Delete", "no current row");
  if (!database_->DeleteRow(rows_, row_)) return false;
  assigned_.clear();
  deleted_ = true;
  return true;
}

}  // namespace vnq
