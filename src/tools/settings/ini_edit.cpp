#include "tools/settings/ini_edit.h"

#include <vector>

#include "support/ascii_case.h"

namespace vnq {
namespace {

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF", kBlanks = " \t\r\n";

std::string_view Trimmed(std::string_view text) {
  const size_t begin = text.find_first_not_of(kBlanks);
  if (begin == text.npos) return {};
  return text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

bool IsSection(std::string_view line, std::string_view section) {
  line = Trimmed(line);
  return line.starts_with('[') && line.find(']') != line.npos &&
         AsciiLower(Trimmed(line.substr(1, line.find(']') - 1))) == AsciiLower(section);
}

bool IsKey(std::string_view line, std::string_view key) {
  const size_t equals = line.find('=');
  return equals != line.npos && AsciiLower(Trimmed(line.substr(0, equals))) == AsciiLower(key);
}

// Each with its line end.
std::vector<std::string> Lines(std::string_view bytes) {
  std::vector<std::string> lines;
  while (!bytes.empty()) {
    const size_t end = std::min(bytes.find('\n'), bytes.size() - 1) + 1;
    lines.emplace_back(bytes.substr(0, end));
    bytes.remove_prefix(end);
  }
  return lines;
}

}  // namespace

std::string SetIniValue(std::string_view bytes, std::string_view section, std::string_view key,
                        std::string_view value) {
  std::string result;
  if (bytes.starts_with(kByteOrderMark)) {
    result = kByteOrderMark;
    bytes.remove_prefix(kByteOrderMark.size());
  }
  const std::string_view lineEnd = bytes.find("\r\n") != bytes.npos ? "\r\n" : "\n";
  std::string wanted(key);
  wanted.append("=").append(value).append(lineEnd);
  std::vector<std::string> lines = Lines(bytes);
  if (!lines.empty() && !lines.back().ends_with('\n')) lines.back() += lineEnd;

  size_t at = 0;
  while (at < lines.size() && !IsSection(lines[at], section)) ++at;
  if (at == lines.size()) {
    lines.push_back((lines.empty() ? "" : std::string(lineEnd)) + "[" + std::string(section) + "]" +
                    std::string(lineEnd));
    lines.push_back(wanted);
  } else {
    size_t behind = ++at;  // the section's last line that says something
    while (at < lines.size() && !Trimmed(lines[at]).starts_with('[') && !IsKey(lines[at], key)) {
      if (!Trimmed(lines[at++]).empty()) behind = at;
    }
    if (at < lines.size() && IsKey(lines[at], key)) {
      lines[at] = wanted;
    } else {
      lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(behind), wanted);
    }
  }
  for (const std::string& line : lines) result += line;
  return result;
}

}  // namespace vnq
