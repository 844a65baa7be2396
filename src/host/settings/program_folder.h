// A program's folder, opened: what its two settings files say of it.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "host/database/database_engine.h"
#include "host/settings/ini_strings.h"
#include "host/settings/platform_settings.h"
#include "host/settings/settings.h"
#include "platform/system/code_page.h"

namespace vnq {

struct ProgramFolder {
  std::string appPath;  ///< absolute, without a separator at its end
  PlatformSettings platform;
  std::shared_ptr<const CodePage> codePage;  ///< never null
  IniStrings strings;
  Settings settings;
  DatabaseEngine engine = DatabaseEngine::kSqlite;
  std::string ini;  ///< path of DataBase.ini on this system, for messages

  /// A path with backslashes, from settings or tables, on this system.
  std::string Map(const std::string& path) const { return strings.paths().Map(path); }

  /// What an instance holds as long as it runs.
  std::string LockPath() const { return appPath + "/.vnq_main_service.lock"; }
};

/// The folder at `appPath`, which is absolute, with what is known of its machine. A DataBase.ini
/// that cannot be read is an empty one.
ProgramFolder ReadProgramFolder(std::string appPath, PlatformSettings platform,
                                std::shared_ptr<const CodePage> codePage);

/// Why the settings of section [nodes] cannot be served; empty when they can, or there are none.
std::string NodesFault(const ProgramFolder& folder);

/// The socket that the instance of a folder answers questions about itself on.
std::string InstanceSocketPath(const std::string& appPath);

/// A path as it stands at the front of every other: absolute, without a separator at its end. Empty
/// for the empty path.
std::string AbsoluteAppPath(const std::string& path);

/// Opens a folder; missing files are empty ones. `overrides` is what a command line says instead of
/// platform.ini, `localeName` the machine's locale.
///
/// Nothing comes back, with the reason in `error`, when there is no such folder, for a value of
/// platform.ini or of the command line that cannot be used, and when a file of the two is there and
/// cannot be read.
std::optional<ProgramFolder> OpenProgramFolder(const std::string& appPath,
                                               const PlatformOverrides& overrides,
                                               std::string_view localeName, std::string& error);

}  // namespace vnq
