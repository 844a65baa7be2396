// The manual against what the programs know.

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include <CLI/CLI.hpp>

#include "host/protection/protection_settings.h"
#include "host/settings/listener_keys.h"
#include "host/settings/platform_settings.h"
#include "host/settings/setting_keys.h"
#include "support/replace_all.h"
#include "tests/harness/app_folder.h"
#include "tests/harness/shell_run.h"
#include "tools/all_commands.h"
#include "tools/folder/app_folder.h"
#include "tools/folder/init_command.h"

namespace vnq {
namespace {

using Cells = std::vector<std::string>;

// Everything between backquotes.
Cells Quoted(std::string_view text) {
  Cells quoted;
  for (size_t at = text.find('`'); at != text.npos; at = text.find('`', at + 1)) {
    const size_t end = text.find('`', at + 1);
    if (end == text.npos) break;
    quoted.emplace_back(text.substr(at + 1, end - at - 1));
    at = end;
  }
  return quoted;
}

constexpr const char* kManual = VNQ_ROOT "/docs/operating.md";
constexpr const char* kSecurity = VNQ_ROOT "/SECURITY.md";

// The rows of the table below a heading of a document, without its head.
std::vector<Cells> RowsBelow(const std::string& heading, const std::string& document = kManual) {
  std::ifstream file(document);
  std::vector<Cells> rows;
  bool isBelow = false;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("#")) isBelow = line == heading;
    if (!isBelow || !line.starts_with("| ")) continue;
    Cells cells;
    std::istringstream rest(line.substr(1));
    for (std::string cell; std::getline(rest, cell, '|');) cells.push_back(cell);
    rows.push_back(cells);
  }
  if (!rows.empty()) rows.erase(rows.begin());
  return rows;
}

std::string OneQuoted(const std::string& cell) {
  const Cells quoted = Quoted(cell);
  return quoted.size() == 1 ? quoted[0] : "";
}

TEST(Manual, NamesEveryKeyOfDataBaseIniWithWhatInitWrites) {
  std::vector<Cells> expected, found;
  for (const SettingKey& key : SettingKeys()) {
    expected.push_back({std::string(key.section), std::string(key.key), std::string(key.preset)});
  }
  for (const Cells& row : RowsBelow("### DataBase.ini")) {
    found.push_back({OneQuoted(row.at(0)), OneQuoted(row.at(1)), OneQuoted(row.at(2))});
  }
  EXPECT_EQ(found, expected);
}

TEST(Manual, NamesEveryKeyOfPlatformIni) {
  const AppFolder folder;
  std::ostringstream said;
  ASSERT_EQ(RunInit({folder.path(), false, "en_US"}, said, said), 0) << said.str();
  std::set<std::string> written, told;
  std::istringstream file(folder.ReadBytes("platform.ini"));
  std::string section;
  for (std::string line; std::getline(file, line);) {
    const size_t equals = line.find('=');
    const size_t start = line.starts_with(';') ? 1 : 0;
    if (line.starts_with('[')) section = line.substr(1, line.size() - 2);
    if (section == "drives" || section == "protection") continue;  // have tables of their own
    if (equals == line.npos || line.find(' ') < equals) continue;
    written.insert(section + " " + line.substr(start, equals - start));
  }
  for (const Cells& row : RowsBelow("### platform.ini")) {
    if (OneQuoted(row.at(0)) == "drives") continue;  // its keys are letters
    for (const std::string& key : Quoted(row.at(1))) told.insert(OneQuoted(row.at(0)) + " " + key);
  }
  for (const Cells& row : RowsBelow("## What it takes", VNQ_ROOT "/docs/nodes.md")) {
    for (const std::string& key : Quoted(row.at(0))) told.insert("nodes " + key);
  }
  EXPECT_EQ(told, written);
}

TEST(Manual, NamesEveryKeyOfAListenerAsAFreshPlatformIniDoes) {
  const std::set<std::string> read(ListenerKeys().begin(), ListenerKeys().end());
  std::set<std::string> told, written;
  for (const Cells& row : RowsBelow("### Listeners: sections [listener NAME] of platform.ini")) {
    for (const std::string& key : Quoted(row.at(0))) told.insert(key);
  }
  for (const IniKey& key : PlatformIniKeys()) {
    if (key.section == "listener clients") written.insert(key.key);
  }
  EXPECT_EQ(told, read);
  EXPECT_EQ(written, read);
}

// The events of the log, as the sources name them.
std::set<std::string> EventsOfTheSources() {
  const std::regex event(R"re(Log(?:Info|Warning|Error|Event)\(\s*"([a-z_]+)")re"
                         R"re(|_\((?:host\.)?loop, [^;{]*?, "([a-z_]+)"\))re");
  std::set<std::string> events = {"trouble", "other", "login_refused"};
  for (const auto& entry : std::filesystem::recursive_directory_iterator(VNQ_ROOT "/src")) {
    if (!entry.is_regular_file()) continue;
    std::ifstream file(entry.path());
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    for (std::sregex_iterator it(text.begin(), text.end(), event), end; it != end; ++it) {
      events.insert((*it)[(*it)[1].matched ? 1 : 2]);
    }
  }
  return events;
}

TEST(Manual, ListsEveryEventOfTheLog) {
  std::set<std::string> told;
  for (const Cells& row : RowsBelow("## The log", VNQ_ROOT "/docs/watching.md")) {
    for (const std::string& event : Quoted(row.at(0))) told.insert(event);
  }
  EXPECT_EQ(told, EventsOfTheSources());
  EXPECT_GT(told.size(), 30U);
}

// What a key is while its wall is down, as the manual and a fresh platform.ini give it.
std::string DownValue(const ProtectionKey& key) {
  const ProtectionSettings down;
  if (key.flag != nullptr) return "no";
  return key.number != nullptr ? std::to_string(down.*key.number) : "";
}

TEST(Manual, NamesEveryWallWithWhatItIsWhileItIsDown) {
  std::vector<Cells> expected, found;
  for (const ProtectionKey& key : ProtectionKeys()) {
    expected.push_back({std::string(key.key), DownValue(key)});
  }
  for (const Cells& row : RowsBelow("### Walls: section protection of platform.ini")) {
    std::string value = row.at(1);
    std::erase_if(value, [](char c) { return c == ' ' || c == '`'; });
    found.push_back({OneQuoted(row.at(0)), value});
  }
  EXPECT_EQ(found, expected);
}

TEST(Manual, FreshPlatformIniNamesEveryWallAndPutsNoneUp) {
  AppFolder folder;
  std::ostringstream said;
  ASSERT_EQ(RunInit({folder.path(), false, "en_US.UTF-8"}, said, said), 0) << said.str();
  const std::string text = folder.ReadBytes("platform.ini");
  for (const ProtectionKey& key : ProtectionKeys()) {
    EXPECT_NE(text.find("\n;" + std::string(key.key) + "=" + DownValue(key) + "\n"), text.npos)
        << key.key;
  }
  std::string error;
  const auto settings = ReadPlatformSettings(PlatformIniPath(folder.path()), "C", error);
  ASSERT_TRUE(settings) << error;
  EXPECT_TRUE(settings->protection.AllDown());
}

// --- Commands ---

constexpr const char* kReference = VNQ_ROOT "/docs/vnqctl.md";

constexpr const char* kReferenceHead = R"(# Every command of vnqctl

Made from the program's own parser; a test holds it to that. To write it anew:

    VNQ_WRITE_DOCUMENTS=1 build/bin/vnq_tools_tests --gtest_filter='Manual.*'

`vnqctl COMMAND --help` says the same. Options of a group may stand behind its command as well.
)";

std::string ReadAll(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// The tool's commands, none of which is run.
class Tool {
 public:
  Tool() {
    app_.fallthrough();
    AddAllCommands(app_, exitCode_);
  }

  std::string Reference() const {
    std::string text = kReferenceHead;
    for (const CLI::App* command : app_.get_subcommands({})) AddSection(*command, "vnqctl", text);
    return text;
  }

  // What is wrong with a command line as a document shows it; empty when nothing is. Brackets and
  // what stands for something of the reader's own are taken as they are meant.
  std::string Objection(const Cells& words) const {
    const CLI::App* command = &app_;
    size_t positionals = 0;
    for (size_t i = 0; i < words.size(); ++i) {
      const std::string& word = words[i];
      if (word == "..." || word == "--" || word == "--help" || word == "--version") continue;
      if (word.starts_with('-') && word != "-") {
        const CLI::Option* const option = Find(*command, word.substr(0, word.find('=')));
        if (option == nullptr) return "no option " + word;
        if (option->get_items_expected_max() > 0 && word.find('=') == word.npos) ++i;
        continue;
      }
      if (const CLI::App* const below = Below(*command, word)) {
        command = below;
        continue;
      }
      if (!command->get_subcommands({}).empty()) return "no command " + word;
      if (++positionals > MostPositionals(*command)) return "too much: " + word;
    }
    return "";
  }

 private:
  static void AddSection(const CLI::App& command, const std::string& group, std::string& text) {
    const std::string name = group + " " + command.get_name();
    text += "\n## " + name + "\n\n" + command.get_description() + "\n";
    std::string rows;
    for (const CLI::Option* option : command.get_options()) {
      if (option->get_name() != "--help") rows += RowOf(*option);
    }
    if (!rows.empty()) text += "\n| | |\n|---|---|\n" + rows;
    for (const CLI::App* below : command.get_subcommands({})) AddSection(*below, name, text);
  }

  static std::string RowOf(const CLI::Option& option) {
    const std::string name = option.get_name(false, true);
    std::string row = "| `" + (name.empty() ? option.get_name(true) : name);
    if (option.get_items_expected_max() > 0) row += " " + option.get_type_name();
    row += "` | " + option.get_description();
    if (option.get_required()) row += " (must be given)";
    const std::string preset = option.get_default_str();
    if (!preset.empty()) row += " (" + preset + ")";
    ReplaceAll(row, "\n", " ");
    return row + " |\n";
  }

  static const CLI::Option* Find(const CLI::App& command, const std::string& name) {
    for (const CLI::App* app = &command; app != nullptr; app = app->get_parent()) {
      if (const CLI::Option* const option = app->get_option_no_throw(name)) return option;
    }
    return nullptr;
  }

  static const CLI::App* Below(const CLI::App& command, const std::string& name) {
    for (const CLI::App* below : command.get_subcommands({})) {
      if (below->get_name() == name) return below;
    }
    return nullptr;
  }

  static size_t MostPositionals(const CLI::App& command) {
    size_t most = 0;
    for (const CLI::Option* option : command.get_options()) {
      if (option->get_positional()) most += static_cast<size_t>(option->get_items_expected_max());
    }
    return most;
  }

  int exitCode_ = 0;
  CLI::App app_{"", "vnqctl"};
};

TEST(Manual, HasEveryCommandAndOptionOfVnqctl) {
  const std::string made = Tool().Reference();
  if (std::getenv("VNQ_WRITE_DOCUMENTS") != nullptr) std::ofstream(kReference) << made;
  EXPECT_EQ(ReadAll(kReference), made) << "write it anew by VNQ_WRITE_DOCUMENTS=1";
}

TEST(Manual, NamesEveryOptionOfTheServer) {
  const std::string manual = ReadAll(VNQ_ROOT "/docs/operating.md");
  const std::string help = RunInShell(VNQ_SERVER_PROGRAM " --help").output;
  const std::regex option("(--[a-z-]+)");
  size_t options = 0;
  for (std::sregex_iterator each(help.begin(), help.end(), option), end; each != end; ++each) {
    if ((*each)[1] == "--help" || (*each)[1] == "--version") continue;
    ++options;
    EXPECT_NE(manual.find((*each)[1].str()), manual.npos) << (*each)[1];
  }
  EXPECT_GT(options, 5u);
}

// The manual as a shipped reader has it: README and everything below docs.
std::vector<std::filesystem::path> ManualPages() {
  std::vector<std::filesystem::path> pages = {VNQ_ROOT "/README.md", VNQ_ROOT "/SECURITY.md"};
  for (const auto& entry : std::filesystem::recursive_directory_iterator(VNQ_ROOT "/docs")) {
    if (entry.path().extension() == ".md") pages.push_back(entry.path());
  }
  return pages;
}

// The words of a command line up to what is the shell's or a remark's; a quoted word is one, and
// "[", "]" and the dots behind a word fall away.
Cells WordsOf(std::string line) {
  line = std::regex_replace(line, std::regex(R"(\s+#.*|\s+[<>|;].*|\s+&.*|;.*)"), "");
  line = std::regex_replace(line, std::regex(R"([\[\]])"), "");
  line = std::regex_replace(line, std::regex(R"((\w)\.\.\.)"), "$1");
  Cells words;
  const std::regex word(R"('[^']*'|"[^"]*"|\S+)");
  for (std::sregex_iterator each(line.begin(), line.end(), word), end; each != end; ++each) {
    words.push_back(each->str());
  }
  return words;
}

// "passwd|enable" in a line stands for several lines.
std::vector<Cells> Alternatives(const Cells& words) {
  std::vector<Cells> lines = {{}};
  for (const std::string& word : words) {
    std::istringstream rest(word);
    Cells choices;
    for (std::string choice; std::getline(rest, choice, '|');) choices.push_back(choice);
    std::vector<Cells> longer;
    longer.reserve(lines.size() * choices.size());
    for (const Cells& line : lines) {
      for (const std::string& choice : choices) {
        longer.push_back(line);
        longer.back().push_back(choice);
      }
    }
    lines = std::move(longer);
  }
  return lines;
}

// Command lines of the program that a page shows: lines of code blocks, and between backquotes.
Cells Shown(const std::filesystem::path& page, const std::string& program) {
  const std::regex inBlock(
      R"(^(?:    |\$ |)(?:\$ )?(?:sudo (?:-u \w+ )?)?(?:\w+=\S+ )*(?:[\w./]+/)?)" + program +
      R"( (.*)$)");
  const std::regex behindAnother("&& " + program + " (.*)$");
  Cells shown;
  bool isFenced = false;
  std::istringstream text(ReadAll(page));
  for (std::string line; std::getline(text, line);) {
    if (line.starts_with("```")) isFenced = !isFenced;
    std::smatch match;
    const bool isCode = isFenced || line.starts_with("    ");
    if (isCode && std::regex_search(line, match, inBlock)) shown.push_back(match[1]);
    if (isCode && std::regex_search(line, match, behindAnother)) shown.push_back(match[1]);
    if (isCode) continue;
    // In a row of a table each further piece goes on with the first one's group.
    const std::string mine = program + " ";
    const bool isRow = line.starts_with("| `" + mine);
    std::string group;
    for (const std::string& piece : Quoted(isRow ? line.substr(0, line.find(" | ", 2)) : line)) {
      if (piece.starts_with(mine)) {
        shown.push_back(piece.substr(mine.size()));
        group = piece.substr(mine.size(), piece.find(' ', mine.size()) - mine.size());
      } else if (isRow) {
        shown.push_back(fmt::format("{} {}", group, piece));
      }
    }
  }
  return shown;
}

TEST(Manual, ObjectsToCommandLinesThatVnqctlDoesNotTake) {
  const Tool tool;
  EXPECT_EQ(tool.Objection(WordsOf("user ad ann --app-path DIR")), "no command ad");
  EXPECT_EQ(tool.Objection(WordsOf("init [--apppath DIR]")), "no option --apppath");
  EXPECT_EQ(tool.Objection(WordsOf("doctor DIR --app-path DIR")), "too much: DIR");
  EXPECT_EQ(tool.Objection(WordsOf("user add ann... --app-path 'my folder' > out # x")), "");
}

// "COMMAND" and "COMMAND:" stand for any.
bool IsPlaceholder(const std::string& word) {
  return word.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZ:") == std::string::npos;
}

TEST(Manual, ShowsOnlyCommandLinesThatVnqctlTakes) {
  const Tool tool;
  size_t lines = 0;
  for (const std::filesystem::path& page : ManualPages()) {
    for (const std::string& shown : Shown(page, "vnqctl")) {
      for (const Cells& words : Alternatives(WordsOf(shown))) {
        if (words.empty() || IsPlaceholder(words[0])) continue;
        ++lines;
        EXPECT_EQ(tool.Objection(words), "") << page << ": vnqctl " << shown;
      }
    }
  }
  EXPECT_GT(lines, 100u);
}

TEST(Manual, ShowsOnlyOptionsThatTheServerTakes) {
  const std::string help = RunInShell(VNQ_SERVER_PROGRAM " --help").output;
  size_t lines = 0;
  for (const std::filesystem::path& page : ManualPages()) {
    for (const std::string& shown : Shown(page, "vnq_main_service")) {
      ++lines;
      for (const std::string& word : WordsOf(shown)) {
        if (!word.starts_with("--")) continue;
        EXPECT_NE(help.find(word.substr(0, word.find('='))), help.npos) << page << ": " << shown;
      }
    }
  }
  EXPECT_GT(lines, 3u);
}

// --- SECURITY.md ---

// The lines of a file that a heading gives as an example.
std::string ExampleBelow(const std::string& heading) {
  std::ifstream file(kSecurity);
  std::string example;
  bool isBelow = false;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("#")) isBelow = line == heading;
    if (isBelow && line.starts_with("    ")) example += line.substr(4) + "\n";
  }
  return example;
}

std::optional<PlatformSettings> Profile(const std::string& heading) {
  AppFolder folder;
  folder.Write("platform.ini", ExampleBelow(heading));
  std::string error;
  auto settings = ReadPlatformSettings(PlatformIniPath(folder.path()), "C", error);
  EXPECT_TRUE(settings) << heading << ": " << error;
  return settings;
}

bool IsSet(const ProtectionKey& key, const ProtectionSettings& settings) {
  if (key.flag != nullptr) return settings.*key.flag;
  return key.number != nullptr ? settings.*key.number > 0 : (settings.*key.list).IsGiven();
}

TEST(Security, TellsOfEveryWall) {
  std::set<std::string> expected, told;
  for (const ProtectionKey& key : ProtectionKeys()) expected.emplace(key.key);
  for (const Cells& row : RowsBelow("## What each wall gives", kSecurity)) {
    for (const std::string& key : Quoted(row.at(0))) told.insert(key);
  }
  EXPECT_EQ(told, expected);
}

TEST(Security, TheProfileOfAnOfficeIsReadAsItStands) {
  const auto settings = Profile("## A profile for an office network");
  ASSERT_TRUE(settings);
  EXPECT_TRUE(settings->protection.senderIsUser);
  EXPECT_TRUE(settings->protection.endpointFrom.Contains("10.1.2.3"));
}

TEST(Security, TheProfileOfAnExposedServerIsReadAsItStandsAndPutsEveryWallUp) {
  const auto settings = Profile("## A profile for an exposed server");
  ASSERT_TRUE(settings);
  EXPECT_EQ(settings->bindAddress, "127.0.0.1");
  ASSERT_EQ(settings->listeners.size(), 2U);
  for (const ListenerSettings& listener : settings->listeners) EXPECT_TRUE(listener.tls);
  for (const ProtectionKey& key : ProtectionKeys()) {
    EXPECT_TRUE(IsSet(key, settings->protection)) << key.key;
  }
}

}  // namespace
}  // namespace vnq
