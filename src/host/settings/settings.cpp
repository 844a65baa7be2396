#include "host/settings/settings.h"

#include <limits>

#include "host/settings/setting_keys.h"
#include "support/numbers.h"

namespace vnq {

std::string DataBaseIniPath(std::string_view appPath) {
  return std::string(appPath) + "\\Web\\Data\\DataBase.ini";
}

Settings Settings::Read(IniStrings& strings, std::string_view appPath) {
  const std::string path = DataBaseIniPath(appPath);
  Settings settings;
  for (const SettingKey& key : SettingKeys()) {
    key.take(settings, strings.ReadIniString(path, key.section, key.key));
  }
  return settings;
}

int32_t PushIntervalMs(std::string_view intervalTime) {
  const auto seconds = ParseInt16(intervalTime);
  if (!seconds || *seconds < 0) return kPresetPushIntervalMs;
  const int32_t ms = int32_t{*seconds} * 1000;
  return ms <= std::numeric_limits<int16_t>::max() ? ms : kPresetPushIntervalMs;
}

std::string ConnectionString(const Settings& settings, std::string_view appPath) {
  if (settings.IsAccess()) {
    return "Driver={Microsoft Access Driver (*.mdb)};Dbq=" + std::string(appPath) +
           settings.DataBaseName + ";Uid=Admin;Pwd=" + settings.DataPaw + ";";
  }
  return "Provider=SQLOLEDB.1; User ID=" + settings.DB_USER + ";Password=" + settings.DB_PWD +
         ";Initial Catalog=" + settings.DB_NAME + "; Data Source=" + settings.DB_SERVER + "," +
         settings.DB_PORT;
}

}  // namespace vnq
