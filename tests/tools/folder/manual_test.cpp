// The manual against what the programs know.

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
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

constexpr const char* kManual = VNQ_ROOT "/docs/operating.md";
constexpr const char* kSecurity = VNQ_ROOT "/SECURITY.md";

// The rows of the table below a heading of a document, without its head.
std::vector<Cells> RowsBelow(const std::string& heading, const char* document = kManual) {
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
  EXPECT_EQ(told, written);
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
