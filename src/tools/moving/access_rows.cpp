#include "tools/moving/access_rows.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "support/base64_text.h"
#include "support/numbers.h"
#include "tools/library/json_string.h"

namespace vnq {
namespace {

constexpr std::string_view kTableOpen = "CREATE TABLE [", kColumnOpen = "\t[", kNameClose = "]";
constexpr std::string_view kBinaryOpen = R"({"$binary": ")", kBinaryRest = R"(, "$type": "00"})";
constexpr std::string_view kNoDay = "1899-12-30", kMidnight = "00:00:00";
constexpr size_t kDayBytes = 10;

struct TypeName {
  std::string_view name;
  AccessType type;
};

constexpr TypeName kTypeNames[] = {
    {"Text", AccessType::kText},          {"Memo/Hyperlink", AccessType::kText},
    {"Byte", AccessType::kWhole},         {"Integer", AccessType::kWhole},
    {"Long Integer", AccessType::kWhole}, {"Currency", AccessType::kExact},
    {"Numeric", AccessType::kExact},      {"Single", AccessType::kFloat},
    {"Double", AccessType::kFloat},       {"Boolean", AccessType::kBoolean},
    {"DateTime", AccessType::kDateTime},  {"Replication ID", AccessType::kGuid},
};

// "Text (255), " is of type "Text".
std::string_view TypeWord(std::string_view text) {
  const size_t begin = std::min(text.find_first_not_of('\t'), text.size());
  text = text.substr(begin, text.find_first_of("(,", begin) - begin);
  while (text.ends_with(' ') || text.ends_with('\t')) text.remove_suffix(1);
  return text;
}

AccessColumn ColumnOf(std::string_view name, std::string_view type) {
  const auto found = std::find_if(std::begin(kTypeNames), std::end(kTypeNames),
                                  [type](const TypeName& known) { return known.name == type; });
  const bool isKnown = found != std::end(kTypeNames);
  return {std::string(name), std::string(type), isKnown ? found->type : AccessType::kUnusable, {}};
}

SqlValue ExactNumber(std::string_view token) {
  if (token.find('.') != std::string_view::npos) {
    while (token.ends_with('0')) token.remove_suffix(1);
    if (token.ends_with('.')) token.remove_suffix(1);
  }
  return SqlValue::Text(std::string(token));
}

SqlValue FloatNumber(std::string_view token) {
  const std::optional<double> number = ParseNumber(token);
  return SqlValue::Text(number ? FormatNumber(*number) : std::string(token));
}

// A whole number is an integer, whatever type Access keeps it in.
SqlValue NumberValue(std::string_view token, AccessType type) {
  SqlValue value = type == AccessType::kFloat ? FloatNumber(token) : ExactNumber(token);
  const char* end = value.text.data() + value.text.size();
  int64_t whole = 0;
  const auto [stop, code] = std::from_chars(value.text.data(), end, whole);
  return code == std::errc() && stop == end ? SqlValue::Integer(whole) : value;
}

class RowReader {
 public:
  RowReader(std::string_view line, const std::vector<AccessColumn>& columns,
            std::vector<SqlValue>& cells, std::string& error)
      : line_(line), columns_(columns), cells_(cells), error_(error) {}

  bool Read() {
    if (!Take("{")) return Fail("a row does not begin with {");
    if (Take("}")) return ReadEnd();
    do {
      if (!ReadMember()) return false;
    } while (Take(","));
    return Take("}") ? ReadEnd() : Fail("neither , nor } behind a value");
  }

 private:
  bool ReadEnd() { return at_ == line_.size() || Fail("text behind the row"); }

  bool ReadMember() {
    std::string name;
    if (!Take("\"") || !TakeJsonString(line_, at_, name, error_) || !Take(":")) {
      return Fail("no name of a column");
    }
    // They come in the columns' order.
    while (next_ < columns_.size() && columns_[next_].name != name) ++next_;
    if (next_ == columns_.size()) return Fail("a column " + name + " that the table has not");
    return ReadValue(columns_[next_], cells_[next_]) || Fail("column " + name + ": " + error_);
  }

  bool ReadValue(const AccessColumn& column, SqlValue& cell) {
    if (Take(kBinaryOpen)) return ReadBinary(column, cell);
    std::string text;
    if (Take("\"")) {
      if (!TakeJsonString(line_, at_, text, error_)) return false;
      cell = SqlValue::Text(std::move(text));
      return true;
    }
    const size_t end = std::min(line_.find_first_of(",}", at_), line_.size());
    const std::string_view token = line_.substr(at_, end - at_);
    at_ = end;
    if (token.empty()) return Fail("no value");
    cell = NumberValue(token, column.type);
    return true;
  }

  bool ReadBinary(const AccessColumn& column, SqlValue& cell) {
    std::string text;
    if (!TakeJsonString(line_, at_, text, error_) || !Take(kBinaryRest)) {
      return Fail("binary data of another form");
    }
    if (column.type == AccessType::kGuid) cell = SqlValue::Text(Base64DecodeBytes(text));
    return true;
  }

  bool Take(std::string_view word) {
    if (line_.substr(at_, word.size()) != word) return false;
    at_ += word.size();
    return true;
  }

  bool Fail(const std::string& what) {
    error_ = what;
    return false;
  }

  std::string_view line_;
  const std::vector<AccessColumn>& columns_;
  std::vector<SqlValue>& cells_;
  std::string& error_;
  size_t at_ = 0, next_ = 0;
};

}  // namespace

void AccessSchemaReader::Add(std::string_view line) {
  if (line.starts_with(kTableOpen) && line.ends_with(kNameClose)) {
    line.remove_prefix(kTableOpen.size());
    tables_.push_back({std::string(line.substr(0, line.size() - kNameClose.size())), {}});
  } else if (line.starts_with(kColumnOpen) && !tables_.empty()) {
    line.remove_prefix(kColumnOpen.size());
    const size_t close = line.find("]\t");
    if (close == std::string_view::npos) return;
    tables_.back().columns.push_back(
        ColumnOf(line.substr(0, close), TypeWord(line.substr(close + 1))));
  }
}

bool ParseAccessRow(std::string_view line, const std::vector<AccessColumn>& columns,
                    std::vector<SqlValue>& cells, std::string& error) {
  cells.assign(columns.size(), SqlValue::Null());
  return RowReader(line, columns, cells, error).Read();
}

void NoteAccessDate(std::string_view date, DateForm& form) {
  form.hasDate = form.hasDate || !date.starts_with(kNoDay);
  form.hasTime = form.hasTime || !date.ends_with(kMidnight);
}

std::string FormAccessDate(std::string_view date, const DateForm& form) {
  if (date.size() != kDayBytes + 1 + kMidnight.size()) return std::string(date);
  if (!form.hasDate) return std::string(date.substr(kDayBytes + 1));
  return std::string(form.hasTime ? date : date.substr(0, kDayBytes));
}

}  // namespace vnq
