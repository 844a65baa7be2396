// What a deployment tells about its machine, from platform.ini.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/nodes/node_settings.h"
#include "host/protection/protection_settings.h"
#include "host/settings/listener_settings.h"
#include "platform/sql/sql_driver.h"

namespace vnq {

/// What peers may have the server hold, in megabytes. Far above what any client of the suite needs.
struct LimitSettings {
  int connectionOutputMb = 128;  ///< waiting to be sent to one connection, which ends above it
  int outputMb = 512;            ///< the same to all; those that are furthest behind end
  int inputMb = 64;     ///< received and not worked off, of all; above it sockets are left unread
  int recordMb = 16;    ///< of a record whose end has not come; above it the record is dropped
  int pendingMb = 128;  ///< the same of all; the longest is dropped
  int pushMb = 4;       ///< of notifications that wait for the next push; further ones are dropped
};

/// What the log tells; the file can be read again for it while the server runs.
struct LogSettings {
  std::string level = "info";   ///< debug, info, warning, error
  std::string format = "text";  ///< text or json
  int slowMs = 1000;  ///< what keeps everything else from running for so long is told; 0: nothing
};

struct PlatformSettings {
  // [locale]
  int languageId = 0;            ///< the system default locale identifier
  int codePage = 1252;           ///< number of the legacy multi-byte code page
  bool codePageIsGiven = false;  ///< false: it follows the language

  // [network]
  std::string bindAddress = "0.0.0.0";  ///< IPv4 address of all listeners
  int gatherMs = 0;                     ///< see EventLoop::SetGathering

  // [database]
  std::string databaseDriver = "FreeTDS";  ///< of a server database
  std::string databaseSocket;  ///< folder of a PostgreSQL server's socket; empty: DB_SERVER
  int connectTimeoutS = 5, statementTimeoutS = 10;
  int busyTimeoutMs = 2000;  ///< how long a statement waits for another program's write
  SqlDurability durability = SqlDurability::kReceipt;
  SqlCommit commit = SqlCommit::kTurn;  ///< of the server; not of SQL Server

  // [drives]
  std::map<std::string, std::string> drives;  ///< folder by upper-case drive letter

  LimitSettings limits;  ///< [limits]

  LogSettings log;  ///< [log]

  // [metrics]; for a monitoring system
  std::string metricsAddress = "127.0.0.1";
  int metricsPort = 0;  ///< 0: there is no such listener

  // [services]; %s is the service's name
  std::string stopCommand = "systemctl stop %s", startCommand = "systemctl start %s";

  ProtectionSettings protection;            ///< [protection]
  NodeSettings nodes;                       ///< [nodes]
  std::vector<ListenerSettings> listeners;  ///< [listener NAME]
};

/// What the command line says instead of the file.
struct PlatformOverrides {
  std::optional<int> languageId, codePage;
  std::optional<std::string> bindAddress;
  std::optional<std::string> logLevel, logFormat;
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

/// The same with the default in the place of each value that cannot be used; `faults` gets a line
/// for each of them.
PlatformSettings ReadUsablePlatformSettings(const std::string& path, std::string_view localeName,
                                            std::vector<std::string>& faults);

/// Puts the command line's values over the file's. A code page that nothing gives follows the
/// language. False, with the argument and its value in `error`, for a value that cannot be used.
bool ApplyOverrides(const PlatformOverrides& overrides, PlatformSettings& settings,
                    std::string& error);

}  // namespace vnq
