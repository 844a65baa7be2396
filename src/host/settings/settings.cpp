#include "host/settings/settings.h"

#include <limits>

#include "host/values/expr.h"
#include "support/numbers.h"

namespace vnq {

namespace {

/// Reads the keys of one section.
class Section {
 public:
  Section(IniStrings& strings, const std::string& path, std::string_view name)
      : strings_(strings), path_(path), name_(name) {}

  void Read(std::string_view key, std::string& variable) {
    variable = strings_.ReadIniString(path_, name_, key);
  }

  void Read(std::string_view key, int16_t& variable) {
    Assign(variable, ToInt16(strings_.ReadIniString(path_, name_, key)));
  }

 private:
  IniStrings& strings_;
  const std::string& path_;
  std::string_view name_;
};

void ReadServerConnection(Section section, Settings& settings) {
  section.Read("DB_TYPE", settings.DbType);
  section.Read("DataBaseName", settings.DataBaseName);
  section.Read("DataPaw", settings.DataPaw);
  section.Read("DB_USER", settings.DB_USER);
  section.Read("DB_PWD", settings.DB_PWD);
  section.Read("DB_NAME", settings.DB_NAME);
  section.Read("DB_SERVER", settings.DB_SERVER);
  section.Read("DB_PORT", settings.DB_PORT);
  section.Read("CheckIM0", settings.CheckIM0);
  section.Read("CheckIM1", settings.CheckIM1);
  section.Read("offline_information", settings.offline_information);
  section.Read("chats", settings.chats);
  section.Read("control_computer", settings.control_computer);
  section.Read("DataBaseIp", settings.DataBaseIp);
}

void ReadSweep(Section section, std::string_view daysKey, Settings::Sweep& sweep) {
  section.Read("options", sweep.options);
  if (!daysKey.empty()) section.Read(daysKey, sweep.days);
}

}  // namespace

std::string DataBaseIniPath(std::string_view appPath) {
  return std::string(appPath) + "\\Web\\Data\\DataBase.ini";
}

Settings Settings::Read(IniStrings& strings, std::string_view appPath) {
  const std::string path = DataBaseIniPath(appPath);
  Settings settings;
  ReadServerConnection({strings, path, "server_connection"}, settings);
  settings.pushIntervalMs =
      PushIntervalMs(strings.ReadIniString(path, "message_push", "interval_time"));
  ReadSweep({strings, path, "delete_chats"}, "chatsday", settings.deleteChats);
  ReadSweep({strings, path, "delete_offline_files"}, "", settings.deleteOfflineFiles);
  ReadSweep({strings, path, "delete_offline_notices"}, "noticeday", settings.deleteNotices);
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
