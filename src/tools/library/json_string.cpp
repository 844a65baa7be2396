#include "tools/library/json_string.h"

#include <fmt/format.h>

#include <optional>

#include "support/hex_digits.h"
#include "support/utf8.h"

namespace vnq {
namespace {

constexpr std::string_view kNamed = "\"\\/\b\f\n\r\t", kNames = "\"\\/bfnrt";
constexpr size_t kReplacementBytes = 3;

class StringReader {
 public:
  StringReader(std::string_view line, size_t& at, std::string& text, std::string& error)
      : line_(line), at_(at), text_(text), error_(error) {}

  bool Read() {
    while (at_ < line_.size()) {
      if (line_[at_] == '"') {
        ++at_;
        return true;
      }
      if (!(line_[at_] == '\\' ? ReadEscape() : ReadPlain())) return false;
    }
    return Fail("a string is not closed");
  }

 private:
  bool ReadPlain() {
    const size_t begin = at_;
    const char32_t value = NextSequence(line_, at_);
    const bool isSurrogate = IsHighSurrogate(value) || IsLowSurrogate(value);
    const bool isNone = value == kReplacementCharacter && at_ - begin != kReplacementBytes;
    if (value < 0x20 || isSurrogate || isNone) return Fail("a string holds what is no character");
    text_ += line_.substr(begin, at_ - begin);
    return true;
  }

  bool ReadEscape() {
    ++at_;
    if (at_ == line_.size()) return Fail("a string is not closed");
    const char name = line_[at_++];
    if (name == 'u') return ReadUnit();
    const size_t named = kNames.find(name);
    if (named == std::string_view::npos) return Fail("an escape that there is not");
    text_ += kNamed[named];
    return true;
  }

  bool ReadUnit() {
    const std::optional<char32_t> unit = HexUnit(at_);
    if (!unit) return Fail("an escape without four hexadecimal digits");
    char32_t value = *unit;
    at_ += 4;
    if (IsHighSurrogate(value) && line_.substr(at_, 2) == "\\u") {
      const std::optional<char32_t> low = HexUnit(at_ + 2);
      if (low && IsLowSurrogate(*low)) {
        value = JoinSurrogates(value, *low);
        at_ += 6;
      }
    }
    AppendUtf8(text_, value);
    return true;
  }

  std::optional<char32_t> HexUnit(size_t begin) const {
    char32_t value = 0;
    for (size_t i = begin; i < begin + 4; ++i) {
      const int digit = i < line_.size() ? HexDigit(static_cast<unsigned char>(line_[i])) : -1;
      if (digit < 0) return std::nullopt;
      value = value << 4 | static_cast<char32_t>(digit);
    }
    return value;
  }

  bool Fail(std::string_view what) {
    error_ = what;
    return false;
  }

  std::string_view line_;
  size_t& at_;
  std::string& text_;
  std::string& error_;
};

}  // namespace

bool TakeJsonString(std::string_view line, size_t& at, std::string& text, std::string& error) {
  return StringReader(line, at, text, error).Read();
}

std::string JsonString(std::string_view text) {
  std::string json = "\"";
  for (size_t at = 0; at < text.size();) {
    const char32_t value = NextCodePoint(text, at);
    if (value == '"' || value == '\\') {
      json += '\\';
      json += static_cast<char>(value);
    } else if (value < 0x20 || (value >= 0xD800 && value < 0xE000)) {
      json += fmt::format("\\u{:04x}", static_cast<uint32_t>(value));
    } else {
      AppendUtf8(json, value);
    }
  }
  return json + '"';
}

}  // namespace vnq
