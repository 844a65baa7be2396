// What a deployment tells about its machine, from platform.ini.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "platform/sql/sql_driver.h"

namespace vnq {

struct PlatformSettings {
  // [locale]
  int languageId = 0;            ///< the system default locale identifier
  int codePage = 1252;           ///< number of the legacy multi-byte code page
  bool codePageIsGiven = false;  ///< false: it follows the language

  // [network]
  std::string bindAddress = "0.0.0.0";  ///< IPv4 address of all listeners

  // [database]
  std::string databaseDriver = "FreeTDS";  ///< of a server database
  std::string databaseSocket;  ///< folder of a PostgreSQL server's socket; empty: DB_SERVER
  int connectTimeoutS = 5, statementTimeoutS = 10;
  int busyTimeoutMs = 2000;  ///< how long a statement waits for another program's write
  SqlDurability durability = SqlDurability::kReceipt;
  SqlCommit commit = SqlCommit::kTurn;  ///< of the server; not of SQL Server

  // [drives]
  std::map<std::string, std::string> drives;  ///< folder by upper-case drive letter

  // [services]; %s is the service's name
  std::string stopCommand = "systemctl stop %s", startCommand = "systemctl start %s";
};

/// What the command line says instead of the file.
struct PlatformOverrides {
  std::optional<int> languageId, codePage;
  std::optional<std::string> bindAddress;
};

/// The name of the machine's locale: LC_ALL, or LANG when that is unset or empty.
std::string SystemLocaleName();

/// The locale identifier of a name such as "zh_CN.UTF-8"; 0 when there is none for it.
int LanguageIdOfLocale(std::string_view localeName);

/// The code page that goes with a language.
int DefaultCodePage(int languageId);

/// The path of platform.ini.
std::string PlatformIniPath(std::string_view appPath);

/// Reads the file (UTF-8, values of any length) over the defaults for `localeName`; a missing file
/// is an empty one. Nothing comes back for a value that cannot be used, and `error` names file, key
/// and value.
std::optional<PlatformSettings> ReadPlatformSettings(const std::string& path,
                                                     std::string_view localeName,
                                                     std::string& error);

/// Puts the command line's values over the file's. A code page that nothing gives follows the
/// language. False, with the argument and its value in `error`, for a value that cannot be used.
bool ApplyOverrides(const PlatformOverrides& overrides, PlatformSettings& settings,
                    std::string& error);

}  // namespace vnq
