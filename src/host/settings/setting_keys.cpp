#include "host/settings/setting_keys.h"

#include "host/values/expr.h"

namespace vnq {
namespace {

template <std::string Settings::*member>
void TakeText(Settings& settings, const std::string& value) {
  settings.*member = value;
}

template <int16_t Settings::*member>
void TakeNumber(Settings& settings, const std::string& value) {
  Assign(settings.*member, ToInt16(value));
}

template <Settings::Sweep Settings::*sweep, int16_t Settings::Sweep::*member>
void TakeSweep(Settings& settings, const std::string& value) {
  Assign(settings.*sweep.*member, ToInt16(value));
}

void TakePushInterval(Settings& settings, const std::string& value) {
  settings.pushIntervalMs = PushIntervalMs(value);
}

constexpr auto kText = SettingKey::Kind::kText;
constexpr auto kSecret = SettingKey::Kind::kSecret;
constexpr auto kNumber = SettingKey::Kind::kNumber;

constexpr SettingKey kKeys[] = {
    {"server_connection", "DB_TYPE", kText, "access",
     "access: the embedded database, a file below the program's folder; anything else: a database"
     " server",
     TakeText<&Settings::DbType>},
    {"server_connection", "DataBaseName", kText, "\\Web\\Data\\vnq.db", "",
     TakeText<&Settings::DataBaseName>},
    {"server_connection", "DataPaw", kSecret, "", "", TakeText<&Settings::DataPaw>},
    {"server_connection", "DB_USER", kText, "", "for a database server",
     TakeText<&Settings::DB_USER>},
    {"server_connection", "DB_PWD", kSecret, "", "", TakeText<&Settings::DB_PWD>},
    {"server_connection", "DB_NAME", kText, "", "", TakeText<&Settings::DB_NAME>},
    {"server_connection", "DB_SERVER", kText, "", "", TakeText<&Settings::DB_SERVER>},
    {"server_connection", "DB_PORT", kText, "", "", TakeText<&Settings::DB_PORT>},
    {"server_connection", "CheckIM0", kNumber, "0",
     "1: managers are told of new applications and group files", TakeNumber<&Settings::CheckIM0>},
    {"server_connection", "CheckIM1", kNumber, "0", "1: the mobile push",
     TakeNumber<&Settings::CheckIM1>},
    {"server_connection", "offline_information", kNumber, "0", "",
     TakeNumber<&Settings::offline_information>},
    {"server_connection", "chats", kNumber, "0", "1: broadcasts are kept in the database",
     TakeNumber<&Settings::chats>},
    {"server_connection", "control_computer", kNumber, "0",
     "a number that every client is told at login", TakeNumber<&Settings::control_computer>},
    {"server_connection", "DataBaseIp", kText, "127.0.0.1",
     "host of the web service beside this server", TakeText<&Settings::DataBaseIp>},
    {"message_push", "interval_time", kNumber, "30",
     "seconds between two pushes, at most 32; 0: never", TakePushInterval},
    {"delete_chats", "options", kNumber, "0",
     "1: when the server starts, messages of chatsday days ago and older go",
     TakeSweep<&Settings::deleteChats, &Settings::Sweep::options>},
    {"delete_chats", "chatsday", kNumber, "30", "",
     TakeSweep<&Settings::deleteChats, &Settings::Sweep::days>},
    {"delete_offline_files", "options", kNumber, "0",
     "1: records of offline files go after 15 days; 2: after 60 days",
     TakeSweep<&Settings::deleteOfflineFiles, &Settings::Sweep::options>},
    {"delete_offline_notices", "options", kNumber, "0",
     "1: notices of noticeday days ago and older go",
     TakeSweep<&Settings::deleteNotices, &Settings::Sweep::options>},
    {"delete_offline_notices", "noticeday", kNumber, "30", "",
     TakeSweep<&Settings::deleteNotices, &Settings::Sweep::days>},
};

}  // namespace

std::span<const SettingKey> SettingKeys() {
  return kKeys;
}

std::string NewDataBaseIni() {
  std::string text =
      "; Settings of the server, read once when it starts.\n"
      "; A value may have at most 127 bytes in the code page that platform.ini names.\n";
  std::string_view section;
  for (const SettingKey& key : kKeys) {
    if (key.section != section) text.append("\n[").append(key.section).append("]\n");
    section = key.section;
    if (!key.comment.empty()) text.append("; ").append(key.comment).append("\n");
    text.append(key.key).append("=").append(key.preset).append("\n");
  }
  return text;
}

}  // namespace vnq
