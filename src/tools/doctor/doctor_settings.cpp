#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>

#include "host/settings/setting_keys.h"
#include "platform/system/file_access.h"
#include "platform/system/ini_file.h"
#include "support/ascii_case.h"
#include "support/numbers.h"
#include "support/shell_text.h"
#include "support/utf8.h"
#include "tools/doctor/doctor.h"

namespace vnq {

namespace {

constexpr const char* kStart = "; the server does not start with it";

bool IsSecret(std::string_view section, std::string_view key) {
  for (const SettingKey& known : SettingKeys()) {
    if (known.section == section && known.key == key)
      return known.kind == SettingKey::Kind::kSecret;
  }
  return false;
}

bool IsUtf8WithMore(std::string_view bytes) {
  bool more = false;
  for (size_t at = 0; at < bytes.size();) {
    const char32_t c = NextCodePoint(bytes, at);
    if (c == kReplacementCharacter || (c >= 0xD800 && c < 0xE000)) return false;
    more = more || c >= 0x80;
  }
  return more;
}

/// The checks of DataBase.ini.
class IniCheck {
 public:
  IniCheck(const ProgramFolder& folder, Findings& findings)
      : folder_(folder), findings_(findings) {}

  bool Read() {
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(folder_.ini, ignored)) {
      findings_.Error(folder_.ini +
                      " is missing, so every setting is empty; vnqctl init --app-path " +
                      ShellWord(folder_.appPath) + " writes one");
      return false;
    }
    const std::string bytes = ReadWholeFile(folder_.ini);
    data_ = IniData::Parse(bytes);
    const std::string fault = EncodingFault(bytes, *folder_.codePage);
    if (!fault.empty()) findings_.Warning(folder_.ini + ": " + fault);
    return true;
  }

  void Check() {
    for (const SettingKey& key : SettingKeys()) CheckKey(key);
    CheckDatabaseKind();
    CheckPush();
    CheckSweep("delete_chats", "chatsday", folder_.settings.deleteChats, 1);
    CheckSweep("delete_offline_files", "", folder_.settings.deleteOfflineFiles, 2);
    CheckSweep("delete_offline_notices", "noticeday", folder_.settings.deleteNotices, 1);
    if (folder_.settings.DataBaseIp.empty()) {
      Warn("server_connection", "DataBaseIp",
           "is empty: siblings cannot be restarted, and [ServerIp] in the push address becomes"
           " nothing; set the web service's host");
    }
    CheckPermissions();
  }

 private:
  void CheckKey(const SettingKey& key) {
    const bool isNumber = key.kind == SettingKey::Kind::kNumber;
    const auto value = data_.Find(key.section, key.key);
    if (!value) {
      if (isNumber) {
        findings_.Warning(folder_.ini + ": [" + std::string(key.section) + "] " +
                          std::string(key.key) + " is missing and counts as 0" +
                          Cure(key.section, key.key, key.preset));
      }
      return;
    }
    if (value->size() > kIniValueBytes) {
      findings_.Error(At(key.section, key.key) + " has " +
                      FormatNumber(static_cast<int64_t>(value->size())) +
                      " bytes, and what stands behind 127 is not read; shorten it" +
                      Cure(key.section, key.key, "VALUE"));
    } else if (isNumber && !ParseInt16(*value)) {
      findings_.Warning(At(key.section, key.key) +
                        " is no number from -32768 to 32767 and counts as 0" +
                        Cure(key.section, key.key, key.preset));
    }
  }

  void CheckDatabaseKind() {
    const std::string& type = folder_.settings.DbType;
    if (type.empty()) {
      findings_.Error(At("server_connection", "DB_TYPE") +
                      " is empty, which asks for a database server; access is the embedded"
                      " database" +
                      Cure("server_connection", "DB_TYPE", "access"));
    } else if (type != "access" && AsciiLower(type) == "access") {
      Warn("server_connection", "DB_TYPE",
           "asks for a database server, because the letter case counts; access is the embedded"
           " database");
    }
    CheckDriver(AsciiLower(type));
  }

  // The type is a word for people; the driver decides.
  void CheckDriver(const std::string& type) {
    const bool saysPostgres = type.find("postgres") != type.npos || type.find("pgsql") != type.npos;
    const bool saysSqlServer =
        type.find("mssql") != type.npos || type.find("sqlserver") != type.npos;
    const bool isAnother = (saysPostgres && folder_.engine != DatabaseEngine::kPostgres) ||
                           (saysSqlServer && folder_.engine != DatabaseEngine::kSqlServer);
    if (!isAnother) return;
    findings_.Warning(At("server_connection", "DB_TYPE") + " does not go with " +
                      KeyAt(PlatformIniPath(folder_.appPath), "database", "driver",
                            folder_.platform.databaseDriver) +
                      ", which is for " + std::string(EngineName(folder_.engine)) +
                      "; postgresql is the driver of PostgreSQL, FreeTDS that of SQL Server");
  }

  void CheckPush() {
    const auto seconds = ParseInt16(data_.Find("message_push", "interval_time").value_or(""));
    if (!seconds || (*seconds >= 0 && *seconds <= 32)) return;
    Warn("message_push", "interval_time", "is not from 0 to 32, so the push keeps its 30 seconds");
  }

  void CheckSweep(std::string_view section, std::string_view daysKey, const Settings::Sweep& sweep,
                  int highest) {
    if (sweep.options < 0 || sweep.options > highest) {
      Warn(section, "options",
           "does nothing; 0 keeps everything, " + FormatNumber(int64_t{highest}) +
               " is the highest choice");
    }
    if (daysKey.empty() || sweep.options != 1 || sweep.days > 0) return;
    Warn(section, daysKey, "deletes everything up to today at each start");
  }

  void CheckPermissions() {
    struct stat status = {};
    if (folder_.settings.DB_PWD.empty() || stat(folder_.ini.c_str(), &status) != 0) return;
    if ((status.st_mode & S_IROTH) == 0) return;
    findings_.Warning(folder_.ini +
                      " holds DB_PWD and everybody on this machine may read it; run:"
                      " chmod o-rwx " +
                      ShellWord(folder_.ini));
  }

  void Warn(std::string_view section, std::string_view key, std::string_view what) {
    std::string_view preset;
    for (const SettingKey& known : SettingKeys()) {
      if (known.section == section && known.key == key) preset = known.preset;
    }
    findings_.Warning(At(section, key) + " " + std::string(what) + Cure(section, key, preset));
  }
  std::string Cure(std::string_view section, std::string_view key, std::string_view value) const {
    return SettingCure(folder_, std::string(section) + "." + std::string(key), value);
  }
  std::string At(std::string_view section, std::string_view key) const {
    const std::string value = data_.Find(section, key).value_or("");
    return KeyAt(folder_.ini, section, key,
                 IsSecret(section, key) ? "..." : folder_.codePage->FromBytes(value));
  }

  const ProgramFolder& folder_;
  Findings& findings_;
  IniData data_;
};

void CheckDrives(const ProgramFolder& folder, const std::string& file, Findings& findings) {
  for (const auto& [letter, path] : folder.platform.drives) {
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored)) continue;
    findings.Error(KeyAt(file, "drives", letter, path) +
                   " is no folder, so no path on this drive is found; make it or name another" +
                   SettingCure(folder, "drives." + letter, "FOLDER"));
  }
}

void CheckServiceCommands(const ProgramFolder& folder, const std::string& file,
                          Findings& findings) {
  auto check = [&](std::string_view key, const std::string& command) {
    if (command.find("%s") != command.npos) return;
    findings.Warning(KeyAt(file, "services", key, command) +
                     " does not hold %s, the name of the service that it is for" +
                     SettingCure(folder, "services." + std::string(key), "'systemctl ... %s'"));
  };
  check("stop_command", folder.platform.stopCommand);
  check("start_command", folder.platform.startCommand);
}

}  // namespace

std::string KeyAt(const std::string& file, std::string_view section, std::string_view key,
                  std::string_view value) {
  return file + ": [" + std::string(section) + "] " + std::string(key) + "=" + std::string(value);
}

std::string SettingCure(const ProgramFolder& folder, std::string_view name,
                        std::string_view value) {
  return "; vnqctl setting set --app-path " + ShellWord(folder.appPath) + " " + std::string(name) +
         " " + std::string(value);
}

std::string ReadWholeFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string EncodingFault(std::string_view bytes, const CodePage& codePage) {
  const std::string page = "code page " + std::to_string(codePage.number());
  if (IsUtf8WithMore(bytes))
    return "it is saved as UTF-8 and read in " + page + "; save it in that";
  if (codePage.ToBytes(codePage.FromBytes(bytes)) != bytes) {
    return "it holds bytes that are no characters of " + page + "; save it in that";
  }
  return "";
}

std::optional<ProgramFolder> ExamineFolder(const std::string& appPath, std::string_view localeName,
                                           Findings& findings) {
  std::string error = appPath.empty() ? "the path is empty" : FolderFault(appPath);
  if (!error.empty()) {
    findings.Error("--app-path " + error);
    return std::nullopt;
  }
  std::string path = AbsoluteAppPath(appPath);
  const std::string file = PlatformIniPath(path);
  const std::string unreadable = ReadFault(file);
  std::vector<std::string> faults;
  PlatformSettings platform = ReadUsablePlatformSettings(file, localeName, faults);
  if (!unreadable.empty()) faults = {unreadable};
  auto codePage = CodePage::Open(platform.codePage);
  if (!codePage) {
    faults.push_back(KeyAt(file, "locale", "code_page", std::to_string(platform.codePage)) +
                     " is not a known code page; 936, 950 and 1252 are");
    platform.codePage = DefaultCodePage(platform.languageId);
    codePage = CodePage::Open(platform.codePage);
  }
  for (const std::string& fault : faults) findings.Error(fault + kStart);
  ProgramFolder folder =
      ReadProgramFolder(std::move(path), std::move(platform), std::move(codePage));
  const std::string unreadableIni = ReadFault(folder.ini);
  if (!unreadableIni.empty()) findings.Error(unreadableIni + kStart);
  return folder;
}

void ExamineSettings(ProgramFolder& folder, Findings& findings) {
  const int errors = findings.errors();
  const std::string file = PlatformIniPath(folder.appPath);
  std::error_code ignored;
  if (!std::filesystem::exists(file, ignored)) {
    findings.Warning(file +
                     " is missing, so this machine's locale decides about language and code"
                     " page; vnqctl init --app-path " +
                     ShellWord(folder.appPath) + " writes one");
  } else if (!folder.platform.codePageIsGiven) {
    findings.Warning(KeyAt(file, "locale", "code_page", "") + " is not set; " +
                     std::to_string(folder.platform.codePage) +
                     " follows from the language, and clients must have the same");
  }
  CheckDrives(folder, file, findings);
  CheckServiceCommands(folder, file, findings);
  IniCheck ini(folder, findings);
  if (!ReadFault(folder.ini).empty() || !ini.Read()) return;
  ini.Check();
  if (findings.errors() == errors) {
    findings.Ok("settings: language id " + std::to_string(folder.platform.languageId) +
                ", code page " + std::to_string(folder.platform.codePage) + ", " +
                std::string(EngineName(folder.engine)) + " database");
  }
}

}  // namespace vnq
