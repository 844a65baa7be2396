// The settings of a deployment, from DataBase.ini.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "host/settings/ini_strings.h"

namespace vnq {

/// The path of DataBase.ini below the program's folder, with backslashes.
std::string DataBaseIniPath(std::string_view appPath);

/// What the push timer ticks at when the settings say nothing usable.
inline constexpr int32_t kPresetPushIntervalMs = 30000;

/// All settings, read once at start-up. A missing key is the empty text; a number that is missing
/// or does not convert to 16 bits is 0.
struct Settings {
  // [server_connection]
  std::string DbType;        ///< "access", in exactly this spelling, is the embedded database
  std::string DataBaseName;  ///< path of the embedded database, appended to the program's folder
  std::string DataPaw;
  std::string DB_USER, DB_PWD, DB_NAME, DB_SERVER, DB_PORT;
  int16_t CheckIM0 = 0;  ///< not 0: managers get their notices through the message client
  int16_t CheckIM1 = 0;  ///< switch of the mobile push
  int16_t offline_information = 0;  ///< read, and without effect
  int16_t chats = 0;                ///< 1: broadcasts are kept
  int16_t control_computer = 0;     ///< told to every client at login
  std::string DataBaseIp;           ///< host of the sibling web service

  // [message_push]
  int32_t pushIntervalMs = kPresetPushIntervalMs;  ///< from interval_time; 0: the timer is off

  /// One retention sweep at start-up.
  struct Sweep {
    int16_t options = 0;
    int16_t days = 0;
  };
  Sweep deleteChats;         ///< [delete_chats] options, chatsday
  Sweep deleteOfflineFiles;  ///< [delete_offline_files] options: 1 is 15 days, 2 is 60
  Sweep deleteNotices;       ///< [delete_offline_notices] options, noticeday

  /// Reads every key of `appPath`'s DataBase.ini.
  static Settings Read(IniStrings& strings, std::string_view appPath);

  bool IsAccess() const { return DbType == "access"; }
};

/// interval_time in milliseconds. The product with 1000 must fit 16 bits, and a timer takes no
/// negative interval: what fails either way keeps the preset.
int32_t PushIntervalMs(std::string_view intervalTime);

/// The text that names the database: a file for the embedded one, a server and catalog for any
/// other.
std::string ConnectionString(const Settings& settings, std::string_view appPath);

}  // namespace vnq
