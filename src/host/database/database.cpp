#include "host/database/database.h"

#include <spdlog/spdlog.h>

#include <algorithm>

#include "host/values/skipped.h"
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

// Replaces the markers in a statement's words by bare ones and collects the values for them.
class Binder {
 public:
  Binder(std::string_view words, const std::vector<Expr>& values,
         const std::vector<std::string>* list)
      : rest_(words), values_(values), list_(list) {}

  // Empty, or why the statement failed.
  std::string Bind(std::string& text, std::vector<SqlValue>& parameters) {
    while (!rest_.empty() && failure_.empty()) TakeNext();
    if (failure_.empty() && (used_ < values_.size() || list_)) failure_ = "a value without marker";
    text = std::move(text_);
    parameters = std::move(parameters_);
    return failure_;
  }

 private:
  void TakeNext() {
    if (TakeMarker("'?'")) return AddText(NextValue());
    if (TakeMarker("#?#")) return AddDate(NextValue());
    if (list_ && TakeMarker("(?)")) return AddList();
    if (TakeMarker("?")) return AddNumber(NextValue());
    size_t length = 1;
    if (rest_.front() == '\'') {
      size_t end = rest_.find('\'', 1);
      length = end == std::string_view::npos ? rest_.size() : end + 1;
    }
    text_ += rest_.substr(0, length);
    rest_.remove_prefix(length);
  }

  bool TakeMarker(std::string_view marker) {
    if (!rest_.starts_with(marker)) return false;
    rest_.remove_prefix(marker.size());
    return true;
  }

  Expr NextValue() { return used_ < values_.size() ? values_[used_++] : Expr::Failed(); }

  void Add(SqlValue value) {
    text_ += '?';
    parameters_.push_back(std::move(value));
  }

  void AddText(const Expr& value) {
    if (!value.ok()) return Fail("a text that has failed");
    if (value.text().find('\'') != std::string::npos) return Fail("a quote in a text");
    Add(SqlValue::Text(value.text()));
  }

  void AddDate(const Expr& value) {
    if (!IsDate(OrEmpty(value))) return Fail("no date");
    Add(SqlValue::Text(value.text()));
  }

  void AddNumber(const Expr& value) {
    auto number = ToInt32(value);
    if (!number) return Fail("no 32-bit number");
    Add(SqlValue::Integer(*number));
  }

  void AddList() {
    if (list_->empty()) return Fail("an empty list");
    text_ += '(';
    for (const std::string& value : *list_) {
      if (text_.back() != '(') text_ += ',';
      AddText(value);
    }
    text_ += ')';
    list_ = nullptr;
  }

  void Fail(std::string_view why) {
    if (failure_.empty()) failure_ = why;
  }

  std::string_view rest_;
  const std::vector<Expr>& values_;
  const std::vector<std::string>* list_;  // null once it was used
  size_t used_ = 0;
  std::string text_;
  std::vector<SqlValue> parameters_;
  std::string failure_;
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

Statement::Statement(std::string_view words, const std::vector<Expr>& values,
                     const std::vector<std::string>* list) {
  failure_ = Binder(words, values, list).Bind(text_, parameters_);
  if (!ok()) text_ = words;
}

bool Database::Query(const Statement& statement, SqlRows& rows) {
  if (!statement.ok()) return Skip(statement.text(), statement.failure());
  if (driver_->Query(statement.text(), statement.parameters(), rows)) return true;
  return Skip("query", driver_->LastError());
}

bool Database::Execute(const Statement& statement) {
  if (!statement.ok()) return Skip(statement.text(), statement.failure());
  if (driver_->Execute(statement.text(), statement.parameters())) return true;
  return Skip("execute", driver_->LastError());
}

Expr Database::ReadValue(const Statement& statement) {
  SqlRows rows;
  if (!Query(statement, rows) || rows.cells.empty()) return Expr::Failed();
  return ToExpr(rows.cells.front());
}

void Database::SyncCommitted() {
  bool failed = !driver_->SyncCommitted();
  if (failed && !syncFailed_) {
    spdlog::error("{}; what is acknowledged may be lost in a power cut", driver_->LastError());
  }
  syncFailed_ = failed;
}

bool Cursor::Open(const Statement& statement) {
  Close();
  open_ = database_->Query(statement, rows_);
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
  }
  return true;
}

bool Cursor::Update() {
  if (!adding_ && !OnRow()) return Skip("Update", "no row to write");
  SqlDriver& driver = database_->driver();
  bool done = adding_ ? driver.Insert(rows_, assigned_) : WriteRow();
  assigned_.clear();
  adding_ = false;
  return done || Skip("Update", driver.LastError());
}

bool Cursor::WriteRow() {
  if (assigned_.empty()) return true;
  if (!database_->driver().UpdateRow(rows_, row_, assigned_)) return false;
  for (SqlAssignment& each : assigned_) {
    auto column = static_cast<size_t>(ColumnIndex(each.column));
    rows_.cells[row_ * rows_.columns->size() + column] = std::move(each.value);
  }
  return true;
}

bool Cursor::Delete() {
  if (adding_ || !OnRow()) return Skip("Delete", "no current row");
  SqlDriver& driver = database_->driver();
  if (!driver.DeleteRow(rows_, row_)) return Skip("Delete", driver.LastError());
  assigned_.clear();
  deleted_ = true;
  return true;
}

}  // namespace vnq
