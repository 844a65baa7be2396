#include "tools/moving/archive_row.h"

#include <charconv>

#include "support/hex_digits.h"
#include "support/utf8.h"
#include "tools/library/json_string.h"

namespace vnq {
namespace {

constexpr std::string_view kNull = "null";
constexpr std::string_view kHexOpen = R"({"hex":")", kHexClose = R"("})";
constexpr std::string_view kNamed = "\"\\\b\f\n\r\t", kNames = "\"\\bfnrt";
constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

// --- Writing ---

void AppendEscape(char32_t unit, std::string& line) {
  line += "\\u";
  AppendHex(line, unit, 4);
}

void AppendAscii(char c, std::string& line) {
  if (const size_t named = kNamed.find(c); named != std::string_view::npos) {
    line += '\\';
    line += kNames[named];
  } else if (static_cast<unsigned char>(c) < 0x20) {
    AppendEscape(static_cast<unsigned char>(c), line);
  } else {
    line += c;
  }
}

// One sequence as it stands in a string; false when no string can hold it.
bool AppendSequence(std::string_view text, size_t& at, bool& afterHigh, std::string& line) {
  const size_t begin = at;
  const char32_t value = NextSequence(text, at);
  const std::string_view bytes = text.substr(begin, at - begin);
  if (value == kReplacementCharacter && bytes != kReplacement) return false;
  if (IsLowSurrogate(value) && afterHigh) return false;
  afterHigh = IsHighSurrogate(value);
  if (value < 0x80) {
    AppendAscii(static_cast<char>(value), line);
  } else if (afterHigh || IsLowSurrogate(value)) {
    AppendEscape(value, line);
  } else {
    line += bytes;
  }
  return true;
}

void AppendBytes(std::string_view bytes, std::string& line) {
  line += kHexOpen;
  for (char c : bytes) AppendHex(line, static_cast<unsigned char>(c), 2);
  line += kHexClose;
}

void AppendText(std::string_view text, std::string& line) {
  const size_t begin = line.size();
  bool afterHigh = false;
  line += '"';
  for (size_t at = 0; at < text.size();) {
    if (AppendSequence(text, at, afterHigh, line)) continue;
    line.resize(begin);
    return AppendBytes(text, line);
  }
  line += '"';
}

void AppendCell(const SqlValue& cell, std::string& line) {
  switch (cell.kind) {
    case SqlValue::Kind::kNull:
      line += kNull;
      return;
    case SqlValue::Kind::kInteger:
      line += std::to_string(cell.integer);
      return;
    case SqlValue::Kind::kText:
      AppendText(cell.text, line);
  }
}

// --- Reading ---

class RowParser {
 public:
  RowParser(std::string_view line, std::string& error) : line_(line), error_(error) {}

  bool Parse(std::vector<SqlValue>& cells) {
    if (!Take("[")) return Fail("a row does not begin with [");
    if (Take("]")) return ParseEnd();
    do {
      cells.emplace_back();
      if (!ParseCell(cells.back())) return false;
    } while (Take(","));
    return Take("]") ? ParseEnd() : Fail("neither , nor ] behind a cell");
  }

 private:
  bool ParseEnd() { return at_ == line_.size() || Fail("text behind the row"); }

  bool ParseCell(SqlValue& cell) {
    if (Take(kNull)) return true;
    cell.kind = SqlValue::Kind::kText;
    if (Take("\"")) return ParseString(cell.text);
    if (Take(kHexOpen)) return ParseBytes(cell.text);
    cell.kind = SqlValue::Kind::kInteger;
    return ParseInteger(cell.integer);
  }

  bool ParseInteger(int64_t& integer) {
    const char* begin = line_.data() + at_;
    const auto [end, code] = std::from_chars(begin, line_.data() + line_.size(), integer);
    if (code != std::errc()) return Fail("a cell is neither text, integer nor null");
    at_ += static_cast<size_t>(end - begin);
    return true;
  }

  bool ParseBytes(std::string& bytes) {
    while (!Take(kHexClose)) {
      const int high = DigitAt(at_), low = DigitAt(at_ + 1);
      if (high < 0 || low < 0) return Fail("bytes that are no hexadecimal digits");
      bytes += static_cast<char>(high * 16 + low);
      at_ += 2;
    }
    return true;
  }

  bool ParseString(std::string& text) { return TakeJsonString(line_, at_, text, error_); }

  int DigitAt(size_t at) const {
    return at < line_.size() ? HexDigit(static_cast<unsigned char>(line_[at])) : -1;
  }

  bool Take(std::string_view word) {
    if (line_.substr(at_, word.size()) != word) return false;
    at_ += word.size();
    return true;
  }

  bool Fail(std::string_view what) {
    error_ = what;
    return false;
  }

  std::string_view line_;
  std::string& error_;
  size_t at_ = 0;
};

}  // namespace

void AppendArchiveRow(std::span<const SqlValue> cells, std::string& line) {
  line += '[';
  for (size_t i = 0; i < cells.size(); ++i) {
    if (i > 0) line += ',';
    AppendCell(cells[i], line);
  }
  line += ']';
}

bool ParseArchiveRow(std::string_view line, std::vector<SqlValue>& cells, std::string& error) {
  cells.clear();
  return RowParser(line, error).Parse(cells);
}

}  // namespace vnq
