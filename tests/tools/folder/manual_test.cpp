// The manual against what the programs know.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <sstream>

#include "host/protection/protection_settings.h"
#include "host/settings/platform_settings.h"
#include "host/settings/setting_keys.h"
#include "tests/harness/app_folder.h"
#include "tools/folder/init_command.h"

namespace vnq {
namespace {

using Cells = std::vector<std::string>;

// Everything between backquotes.
Cells Quoted(std::string_view text) {
  Cells quoted;
  for (size_t at = text.find('`'); at != text.npos; at = text.find('`', at + 1)) {
    const size_t end = text.find('`', at + 1);
    quoted.emplace_back(text.substr(at + 1, end - at - 1));
    at = end;
  }
  return quoted;
}

// The rows of the table below a heading of a page of docs/, without its head.
std::vector<Cells> RowsBelow(const std::string& heading, const std::string& page = "operating.md") {
  std::ifstream file(VNQ_ROOT "/docs/" + page);
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
  EXPECT_EQ(told, written);
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
  for (const Cells& row : RowsBelow("## The log", "watching.md")) {
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

}  // namespace
}  // namespace vnq
