#include "tools/moving/fit_value.h"

#include <charconv>
#include <optional>
#include <utility>

#include "support/ascii_case.h"
#include "support/trim.h"
#include "support/utf16.h"
#include "support/utf8.h"
#include "tools/moving/archive_row.h"

namespace vnq {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";

bool IsDigits(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

// Nothing for a number beyond 64 bits, too.
std::optional<int64_t> WholeNumber(std::string_view text) {
  const std::string lower = AsciiLower(text);
  if (lower == "true") return 1;
  if (lower == "false") return 0;
  if (text.starts_with('+') && IsDigits(text.substr(1))) text.remove_prefix(1);
  int64_t number = 0;
  const auto [end, code] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (code != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

bool FitInteger(const TargetColumn& column, SqlValue& value, std::string& why) {
  int64_t number = value.integer;
  if (value.kind == SqlValue::Kind::kText) {
    const std::string_view text = TrimBlanks(value.text, kBlanks);
    if (text.empty()) {
      value = SqlValue::Null();
      return true;
    }
    const std::optional<int64_t> whole = WholeNumber(text);
    if (!whole) {
      why = "no whole number";
      return false;
    }
    number = *whole;
  }
  if (number < column.least || number > column.greatest) {
    why = "beyond the column's range";
    return false;
  }
  value = SqlValue::Integer(number);
  return true;
}

bool FitText(const TargetColumn& column, SqlValue& value, std::string& why) {
  const bool isNumber = value.kind == SqlValue::Kind::kInteger;
  SqlValue text = isNumber ? SqlValue::Text(std::to_string(value.integer)) : std::move(value);
  // A text has no more 16-bit units than bytes.
  if (column.maxLength > 0 && text.text.size() > column.maxLength) {
    const size_t length = Utf16Length(text.text);
    if (length > column.maxLength) {
      why = std::to_string(length) + " characters, the column holds " +
            std::to_string(column.maxLength);
      if (!isNumber) value = std::move(text);
      return false;
    }
  }
  value = std::move(text);
  return true;
}

}  // namespace

bool FitValue(const TargetColumn& column, SqlValue& value, std::string& why) {
  if (value.kind == SqlValue::Kind::kNull) return true;
  return column.type == SqlColumnType::kInteger ? FitInteger(column, value, why)
                                                : FitText(column, value, why);
}

bool HasUnstorableCharacters(std::string_view text, DatabaseEngine engine) {
  if (engine == DatabaseEngine::kSqlite) return false;
  const bool isPostgres = engine == DatabaseEngine::kPostgres;
  for (size_t at = 0; at < text.size();) {
    const size_t begin = at;
    const char32_t value = NextSequence(text, at);
    const bool isOdd = value == 0 || IsHighSurrogate(value) || IsLowSurrogate(value);
    const bool isNone = value == kReplacementCharacter && at - begin != 3;
    if (isNone || (isOdd && isPostgres)) return true;
  }
  return false;
}

std::string ShownValue(const TargetColumn& column, const SqlValue& value) {
  constexpr size_t kShownCharacters = 60;
  if (column.isSecret) return "(a secret)";
  SqlValue shown = value;
  const bool isCut = Utf16Length(value.text) > kShownCharacters;
  if (isCut) shown.text = FirstCharacters(value.text, kShownCharacters);
  std::string text;
  AppendArchiveRow({&shown, 1}, text);
  return text.substr(1, text.size() - 2) + (isCut ? "..." : "");
}

}  // namespace vnq
