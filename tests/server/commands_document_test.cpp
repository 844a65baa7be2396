// docs/commands.md is what the tables give, and docs/database.md has every table, column and text.
// VNQ_WRITE_DOCUMENTS=1 in the environment writes them anew.
#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>

#include "host/database/schema.h"
#include "server/ports.h"
#include "tests/harness/test_server.h"

namespace vnq {
namespace {

constexpr const char* kDocument = VNQ_ROOT "/docs/commands.md";

constexpr const char* kHead =
    R"(# The commands of the six ports

Made from the tables of `src/server/command_table.cpp` and `src/server/ports.cpp`; a test holds it to them. To write it anew:

    VNQ_WRITE_DOCUMENTS=1 build/bin/vnq_end_to_end_tests --gtest_filter='CommandsDocument.*'

A record is `.+command|field 1|field 2|...|#`. Any connection may send any command of its port, logged in or not, where
[no wall](../SECURITY.md) stands in its way, and a record with fewer fields runs with what is there. Nobody is answered but who stands under "who hears of it"; a word that is not listed is
dropped without an answer. "everybody" and "all others" are the connected clients of port 6004, and "devices" a user's desktop
and mobile. "Writes" are the tables whose rows a command may add, change or delete.
)";

// "1: UserName; 2: password".
std::string Numbered(std::string_view fields) {
  std::string text;
  size_t number = 0;
  for (const std::string& name : SplitText(fields, "|")) {
    if (++number > 1) text += "; ";
    text += name == "..." ? name : fmt::format("{}: {}", number, name);
  }
  return text;
}

// Command words as code.
std::string Marked(std::string_view text) {
  std::string marked;
  for (size_t at = 0; at < text.size();) {
    if (!text.substr(at).starts_with(".+")) {
      marked += text[at++];
      continue;
    }
    const size_t end = std::min(text.find_first_of(" ,;:", at), text.size());
    marked += fmt::format("`{}`", text.substr(at, end - at));
    at = end;
  }
  return marked;
}

std::string Wanted(const CommandRow& row) {
  if (row.needsHash)
    return " Without its closing `#` the record waits for the reads that bring it.";
  return "";
}

std::string WireOf(const PortRow& row) {
  switch (row.wire) {
    case Wire::kBase64:
      return "Base64 of the code page's bytes";
    case Wire::kPlainText:
      return "Plain text in the code page";
    case Wire::kWebSocket:
      return "WebSocket text frames of Base64, behind an HTTP upgrade";
  }
  return "";
}

std::string Section(const PortRow& row) {
  std::string text = fmt::format("\n## {}: {}\n\n{}; one read is {}.", row.number, row.purpose,
                                 WireOf(row), row.splits ? "any number of records" : "one record");
  text += row.greeting.empty() ? " No greeting." : fmt::format(" Greets with `{}`.", row.greeting);
  if (row.commands().empty()) return text + "\n\nNo command has an effect here.\n";
  text += "\n\n| command | fields | does | who hears of it | writes |\n|---|---|---|---|---|\n";
  for (const CommandRow& command : row.commands()) {
    text += fmt::format("| `{}` | {} | {}{} | {} | {} |\n", command.word, Numbered(command.fields),
                        command.summary, Wanted(command), Marked(command.heard), command.writes);
  }
  return text;
}

std::string Document() {
  std::string text = kHead;
  for (const PortRow& row : PortTable()) text += Section(row);
  return text;
}

TEST(CommandsDocument, IsWhatTheTablesGive) {
  if (std::getenv("VNQ_WRITE_DOCUMENTS") != nullptr) {
    std::ofstream(kDocument, std::ios::binary) << Document();
  }
  std::stringstream standing;
  standing << std::ifstream(kDocument, std::ios::binary).rdbuf();
  EXPECT_EQ(standing.str(), Document())
      << "write it anew by VNQ_WRITE_DOCUMENTS=1 and --gtest_filter='CommandsDocument.*'";
}

// --- The database ---

constexpr const char* kDatabaseDocument = VNQ_ROOT "/docs/database.md";

std::string ReadAll(const std::filesystem::path& path) {
  std::stringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

Lines LinesOf(const std::string& text) {
  std::istringstream rest(text);
  Lines lines;
  for (std::string line; std::getline(rest, line);) lines.push_back(std::move(line));
  return lines;
}

std::string KindOf(const ColumnDef& column) {
  const bool isNumber = column.kind == ColumnKind::kInteger;
  switch (column.initial) {
    case ColumnDefault::kZero:
      return " (number, 0)";
    case ColumnDefault::kToday:
      return " (today)";
    case ColumnDefault::kNow:
      return " (now)";
    case ColumnDefault::kNull:
      break;
  }
  if (column.kind == ColumnKind::kExactText) return " (case counts)";
  if (column.kind == ColumnKind::kGrowingId) return " (number, given by the database)";
  return isNumber ? " (number)" : "";
}

std::string ColumnsOf(const TableDef& table) {
  std::string text;
  for (const ColumnDef& column : table.columns) {
    text += fmt::format("{}`{}`{}", text.empty() ? "Columns: " : ", ", column.name, KindOf(column));
  }
  return text + ".";
}

std::string WritersOf(const TableDef& table) {
  std::string text;
  for (const PortRow& port : PortTable()) {
    for (const CommandRow& row : port.commands()) {
      const Lines written = SplitText(row.writes, ", ");
      if (std::find(written.begin(), written.end(), table.name) == written.end()) continue;
      text += fmt::format("{}`{}`{}", text.empty() ? "Written by " : ", ", row.word,
                          port.number == kClientPort ? "" : fmt::format(" ({})", port.number));
    }
  }
  return text.empty() ? "Written by no command." : text + ".";
}

// The document with the two lines below each table's heading as the schema and the commands are.
std::string DatabaseDocument(const Lines& standing) {
  std::string text;
  for (size_t i = 0; i < standing.size(); ++i) {
    text += standing[i] + "\n";
    if (!standing[i].starts_with("### ")) continue;
    for (const TableDef& table : SchemaTables()) {
      if (standing[i].substr(4) != table.name) continue;
      text += "\n" + ColumnsOf(table) + "\n\n" + WritersOf(table) + "\n";
      if (i + 2 < standing.size() && standing[i + 2].starts_with("Columns: ")) i += 4;
    }
  }
  return text;
}

TEST(DatabaseDocument, HasTheColumnsOfEveryTableAndTheCommandsThatWriteIt) {
  const std::string standing = ReadAll(kDatabaseDocument);
  const std::string made = DatabaseDocument(LinesOf(standing));
  if (std::getenv("VNQ_WRITE_DOCUMENTS") != nullptr) {
    std::ofstream(kDatabaseDocument, std::ios::binary) << made;
  } else {
    EXPECT_EQ(standing, made) << "write it anew by VNQ_WRITE_DOCUMENTS=1";
  }
  Lines told, expected;
  for (const std::string& line : LinesOf(made)) {
    if (line.starts_with("### ")) told.push_back(line.substr(4));
  }
  for (const TableDef& table : SchemaTables()) expected.emplace_back(table.name);
  EXPECT_EQ(told, expected);
}

TEST(DatabaseDocument, TellsOfEveryTableWhoReadsItAndHowItGrows) {
  Lines silent;
  std::string heading, section;
  const auto close = [&] {
    const bool tells =
        section.find("\nRead") != section.npos && section.find(" Grows ") != section.npos;
    if (!heading.empty() && !tells) silent.push_back(heading);
  };
  for (const std::string& line : LinesOf(ReadAll(kDatabaseDocument))) {
    if (line.starts_with("#")) {
      close();
      heading = line.starts_with("### ") ? line : "";
      section.clear();
    }
    section += line + "\n";
  }
  EXPECT_EQ(silent, Lines{});
}

// What stands between the two marks anywhere in the sources.
std::set<std::string> NamedInSources(const std::string& from, const std::string& to) {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(VNQ_ROOT "/src")) {
    if (entry.path().extension() != ".cpp" && entry.path().extension() != ".h") continue;
    const std::string text = ReadAll(entry.path());
    for (size_t at = text.find(from); at != text.npos; at = text.find(from, at + 1)) {
      const size_t begin = at + from.size();
      names.insert(text.substr(begin, text.find(to, begin) - begin));
    }
  }
  return names;
}

bool IsNumber(const std::string& text) {
  return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

TEST(DatabaseDocument, NamesEveryTextAndEveryRowThatIsASetting) {
  const std::string document = ReadAll(kDatabaseDocument);
  std::set<std::string> texts = NamedInSources("\"im", "\"");
  std::erase_if(texts, [](const std::string& key) { return !IsNumber(key); });
  EXPECT_GT(texts.size(), 70u);
  std::set<std::string> told;
  const std::regex quoted("`im(\\d+)`");
  for (std::sregex_iterator each(document.begin(), document.end(), quoted), end; each != end;
       ++each) {
    told.insert((*each)[1]);
  }
  EXPECT_EQ(told, texts);
  const std::set<std::string> rows = NamedInSources("Col_Name='", "'");
  EXPECT_EQ(rows, (std::set<std::string>{"UserApply", "VNQ_CONSOLE"}));
  for (const std::string& row : rows) EXPECT_NE(document.find("`" + row + "`"), document.npos);
  for (const std::string& site : NamedInSources("Plug_Site = '", "'")) {
    EXPECT_NE(document.find("`Plug_Site` " + site + ","), document.npos) << site;
  }
}

// --- The tables themselves ---

TEST(PortTableRows, StandInTheOrderOfLoadAndNameTheOrderOfUnload) {
  std::vector<int> load, unload(7);
  for (const PortRow& row : PortTable()) {
    load.push_back(row.number);
    unload[static_cast<size_t>(row.unloadTurn)] = row.number;
  }
  EXPECT_EQ(load, (std::vector<int>{6004, 6001, 6002, 6003, 6007, 6008}));
  EXPECT_EQ(unload, (std::vector<int>{0, 6004, 6008, 6001, 6002, 6003, 6007}));
}

TEST(PortTableRows, EveryRowOfEveryPortIsWhole) {
  for (const PortRow& port : PortTable()) {
    const Dispatcher dispatcher(port.commands(), port.slots, port.splits, port.pending);
    for (const CommandRow& row : port.commands()) {
      EXPECT_TRUE(row.word.starts_with(".+")) << port.number << row.word;
      EXPECT_NE(row.handler, nullptr) << port.number << row.word;
      EXPECT_TRUE(row.summary.ends_with('.')) << port.number << row.word;
      EXPECT_EQ(dispatcher.Find(row.word), &row) << port.number << row.word << " stands twice";
      EXPECT_TRUE(!row.needsHash || port.pending != nullptr) << port.number << row.word;
      EXPECT_TRUE(row.receipt == Receipt::kNone || port.number == kClientPort) << row.word;
    }
  }
}

TEST(PortTableRows, ATableThatACommandWritesIsOneOfTheSchema) {
  TestServer server;
  for (const PortRow& port : PortTable()) {
    for (const CommandRow& row : port.commands()) {
      for (const std::string& table : SplitText(row.writes, ", ")) {
        EXPECT_NE(server.Value("select count(*) from " + table), "(none)") << row.word << table;
      }
    }
  }
}

// What a trace shows of a record with each field filled.
TEST(CommandsDocument, TheFieldsThatATraceMasksAreThePasswords) {
  Lines masked;
  for (const PortRow& port : PortTable()) {
    for (const CommandRow& row : port.commands()) {
      std::string record(row.word);
      for (int i = 0; i < row.FieldCount(); ++i) record += "|f";
      const std::string shown = row.Masked(record + "|#");
      if (shown != record + "|#") masked.push_back(shown);
    }
  }
  EXPECT_EQ(masked, (Lines{".+landing|f|***|f|f|f|f|#", ".+change_password|f|***|#",
                           ".+account_application|f|f|f|f|***|f|f|f|#"}));
}

}  // namespace
}  // namespace vnq
