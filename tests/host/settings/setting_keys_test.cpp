#include "host/settings/setting_keys.h"

#include <gtest/gtest.h>

#include <map>

#include "host/values/skipped.h"
#include "platform/system/ini_file.h"
#include "tests/harness/app_folder.h"

namespace vnq {
namespace {

TEST(SettingKeys, NewFileHasEachKeyWithItsPreset) {
  const IniData data = IniData::Parse(NewDataBaseIni());
  for (const SettingKey& key : SettingKeys()) {
    EXPECT_EQ(data.Find(key.section, key.key), key.preset) << key.section << " " << key.key;
  }
}

TEST(SettingKeys, EachKeyIsThereOnceAndSectionsStandTogether) {
  std::map<std::string_view, std::map<std::string_view, int>> sections;
  std::string_view last;
  for (const SettingKey& key : SettingKeys()) {
    EXPECT_TRUE(key.section == last || !sections.contains(key.section)) << key.section;
    last = key.section;
    EXPECT_EQ(++sections[key.section][key.key], 1) << key.section << " " << key.key;
  }
}

TEST(SettingKeys, EachKeyReachesAMemberOfItsOwn) {
  const AppFolder folder;
  std::string file;
  std::string_view section;
  int number = 0;
  for (const SettingKey& key : SettingKeys()) {
    if (key.section != section) file.append("[").append(key.section).append("]\n");
    section = key.section;
    file.append(key.key).append("=").append(std::to_string(++number)).append("\n");
  }
  folder.Write("Web/Data/DataBase.ini", file);
  IniStrings strings(PathMapper(), CodePage::Open(1252));
  const Settings s = Settings::Read(strings, folder.path());
  const std::string texts[] = {s.DbType, s.DataBaseName, s.DataPaw,   s.DB_USER,
                               s.DB_PWD, s.DB_NAME,      s.DB_SERVER, s.DB_PORT};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(texts[i], std::to_string(i + 1));
  const int numbers[] = {s.CheckIM0, s.CheckIM1, s.offline_information, s.chats,
                         s.control_computer};
  for (int i = 0; i < 5; ++i) EXPECT_EQ(numbers[i], i + 9);
  EXPECT_EQ(s.DataBaseIp, "14");
  EXPECT_EQ(s.pushIntervalMs, 15000);
  EXPECT_EQ(s.deleteChats.options, 16);
  EXPECT_EQ(s.deleteChats.days, 17);
  EXPECT_EQ(s.deleteOfflineFiles.options, 18);
  EXPECT_EQ(s.deleteNotices.options, 19);
  EXPECT_EQ(s.deleteNotices.days, 20);
}

TEST(SettingKeys, NumberThatIsNoneCountsAsASkippedStatement) {
  const AppFolder folder;
  IniStrings strings(PathMapper(), CodePage::Open(1252));
  const uint64_t before = SkippedStatements();
  Settings::Read(strings, folder.path());
  EXPECT_EQ(SkippedStatements() - before, 10u);
}

}  // namespace
}  // namespace vnq
