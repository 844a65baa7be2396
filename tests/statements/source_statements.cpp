#include "tests/statements/source_statements.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string_view>

#include "support/replace_all.h"

namespace vnq {
namespace {

namespace fs = std::filesystem;

// Statements that the code puts together, by their first piece.
const std::multimap<std::string, std::string>& Composed() {
  static const std::multimap<std::string, std::string> composed = {
      {"Select ", "Select UserID,UserName,UserIcoLine,LoginTime from Users_ID"},
      {"Select ", "Select UserID,UserName from Users_ID where UserName='?'"},
      {"Select ", "Select UserID,UserName from Users_ID where UserID='?'"},
      {"Select ", "Select TypeID from Users_Ro where TypeID='?'"},
      {"Select ", "Select TypeID from Users_Ro where TypeName='?'"},
      {"Select ", "Select TypeID from Clot_Ro where TypeName='?'"},
      {"Select * from ",
       "Select * from Tab_Config where Col_Name='x' and Col_Genre='y' and Col_Disabled=0"},
      {"Select * from ", "Select * from Plug where Plug_Site=11 order by Plug_Index desc"},
      {"Select top 1 * from ", "Select top 1 * from Users_ID"},
      {"Select top 1 * from ", "Select top 1 * from Clot_Ro"},
      {"Select count(*) from", "Select count(*) from LeaveFile where ToDate <={}"},
      {"select ", "select Msg_ID from Messeng_Text where Msg_ID=''"},  // or the engine's row column
      {"Select id,", "Select id,Users_RoVesr from UpDateForm where id=1"},
      {"Select id,", "Select id,LeaveFile_Vesr from UpDateForm where id=1"},
      {"update Clot_Ro set ", "update Clot_Ro set Users_IDVesr=Users_IDVesr+1 where TypeID='?'"},
      {"update Clot_Ro set ",
       "update Clot_Ro set Users_FormVesr=Users_FormVesr+1 where TypeID='?'"},
  };
  return composed;
}

// Files with statements in an engine's own words, or for any table by its name. Their own tests run
// them, on each engine and on every table.
bool IsForOneEngineOrAnyTable(std::string_view file) {
  constexpr std::string_view kBeginnings[] = {
      "host/database/schema_version", "host/database/shared_lock",   "tools/schema/schema_reader",
      "tools/schema/make_schema",     "tools/schema/schema_sql",     "tools/schema/growing_id",
      "tools/folder/database_advice", "tools/doctor/doctor_",        "tools/moving/table_",
      "tools/moving/export_command",  "tools/moving/import_command",
  };
  return std::any_of(std::begin(kBeginnings), std::end(kBeginnings),
                     [&](std::string_view beginning) { return file.starts_with(beginning); });
}

bool SameLetters(std::string_view text, std::string_view lower) {
  return text.size() >= lower.size() &&
         std::equal(lower.begin(), lower.end(), text.begin(), [](char a, char b) {
           return a == (b >= 'A' && b <= 'Z' ? static_cast<char>(b + 32) : b);
         });
}

bool BeginsAStatement(std::string_view text) {
  const bool begins = SameLetters(text, "select ") || SameLetters(text, "insert into ") ||
                      SameLetters(text, "delete from ");
  return begins || (SameLetters(text, "update ") && text.find(" set ") != std::string_view::npos);
}

// String literals of a C++ source, those that stand side by side joined, each with the character of
// the code behind it.
class LiteralReader {
 public:
  explicit LiteralReader(std::string_view source) : rest_(source) {}

  bool Next(std::string& literal, char& behind) {
    literal.clear();
    bool found = false;
    while (!rest_.empty()) {
      if (SkipCommentOrBlank()) continue;
      if (rest_.front() == '"') {
        literal += TakeLiteral();
        found = true;
        continue;
      }
      if (found) {
        behind = rest_.front();
        return true;
      }
      rest_.remove_prefix(rest_.front() == '\'' && rest_.size() > 2 ? CharacterLength() : 1);
    }
    return false;
  }

 private:
  bool SkipCommentOrBlank() {
    if (rest_.starts_with("//")) {
      rest_.remove_prefix(std::min(rest_.find('\n'), rest_.size()));
      return true;
    }
    if (std::string_view(" \t\r\n").find(rest_.front()) == std::string_view::npos) return false;
    rest_.remove_prefix(1);
    return true;
  }

  // 'x' or '\x'; a digit separator is no character.
  size_t CharacterLength() const {
    if (rest_[1] == '\\' && rest_.size() > 3 && rest_[3] == '\'') return 4;
    return rest_[2] == '\'' ? 3 : 1;
  }

  std::string TakeLiteral() {
    std::string text;
    size_t i = 1;
    for (; i < rest_.size() && rest_[i] != '"'; ++i) {
      if (rest_[i] == '\\') ++i;
      if (i < rest_.size()) text += rest_[i];
    }
    rest_.remove_prefix(std::min(i + 1, rest_.size()));
    return text;
  }

  std::string_view rest_;
};

std::string ReadFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// The written forms of values become bare markers, as the binder makes them. Statements of the
// tools go to the driver as they are, so that a bare marker there may be of either kind.
SourceStatement Bind(const std::string& file, std::string words) {
  ReplaceAll(words, "{}", "#2026-01-02#");  // the sweep's day, in the dialect's form
  ReplaceAll(words, "'?'", "\x01");
  ReplaceAll(words, "#?#", "\x01");
  ReplaceAll(words, "in (?)", "in (\x01,\x01)");
  SourceStatement bound{file, {}, {}};
  for (char c : words) {
    if (c == '\x01') bound.markers.push_back(SqlMarker::kText);
    if (c == '?') {
      bound.markers.push_back(file.starts_with("tools/") ? SqlMarker::kText : SqlMarker::kNumber);
    }
    bound.text += c == '\x01' ? '?' : c;
  }
  return bound;
}

void ReadFrom(const std::string& file, const std::string& source, SourceStatements& read) {
  LiteralReader literals(source);
  std::string literal;
  char behind = 0;
  while (literals.Next(literal, behind)) {
    if (!BeginsAStatement(literal)) continue;
    if (behind != '+') {
      read.statements.push_back(Bind(file, literal));
      continue;
    }
    auto [first, last] = Composed().equal_range(literal);
    if (first == last) read.unknown.push_back(file + ": " + literal);
    for (; first != last; ++first) read.statements.push_back(Bind(file, first->second));
  }
}

}  // namespace

SourceStatements ReadSourceStatements(const std::string& sourceFolder) {
  SourceStatements read;
  for (const char* folder : {"server", "host", "sessions", "messaging", "relations", "files",
                             "remote", "webgate", "endpoints", "accounts", "support", "tools"}) {
    for (const auto& entry : fs::recursive_directory_iterator(fs::path(sourceFolder) / folder)) {
      const fs::path& path = entry.path();
      if (path.extension() != ".cpp" && path.extension() != ".h") continue;
      const std::string name = fs::relative(path, sourceFolder).string();
      if (!IsForOneEngineOrAnyTable(name)) ReadFrom(name, ReadFile(path), read);
    }
  }
  std::set<std::pair<std::string, size_t>> seen;
  std::erase_if(read.statements, [&](const SourceStatement& each) {
    return !seen.emplace(each.text, each.markers.size()).second;
  });
  return read;
}

}  // namespace vnq
