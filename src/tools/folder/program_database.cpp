#include "tools/folder/program_database.h"

#include <filesystem>
#include <utility>

#include "host/database/jet_file.h"
#include "host/database/open_database.h"
#include "host/settings/ini_strings.h"
#include "host/settings/platform_settings.h"
#include "support/shell_text.h"
#include "tools/folder/database_advice.h"

namespace vnq {

namespace {

// Why the table of users cannot be read, and what to do.
std::string UsersFault(SqlDriver& driver, const Settings& settings, DatabaseEngine engine,
                       const PathMapper& paths, const std::string& appPath) {
  const std::string why = OneLine(driver.LastError());
  const std::string init =
      why + "; vnqctl init --app-path " + ShellWord(appPath) + " makes what is missing";
  if (engine == DatabaseEngine::kSqlite) {
    return IsJetFile(paths.Map(appPath + settings.DataBaseName)) ? why : init;
  }
  const std::string fault =
      ServerFault(driver, settings, engine, paths.Map(DataBaseIniPath(appPath)));
  return fault.empty() ? init : fault;
}

}  // namespace

std::optional<ProgramDatabase> OpenProgramDatabase(const std::string& folder, std::string& error) {
  std::error_code ignored;
  if (!std::filesystem::is_directory(folder, ignored)) {
    error = "--app-path " + folder + ": no such folder";
    return std::nullopt;
  }
  std::string appPath = std::filesystem::absolute(folder, ignored).string();
  while (appPath.size() > 1 && appPath.ends_with('/')) appPath.pop_back();
  const auto platform = ReadPlatformSettings(PlatformIniPath(appPath), SystemLocaleName(), error);
  if (!platform) return std::nullopt;
  auto codePage = CodePage::Open(platform->codePage);
  if (!codePage) {
    error = PlatformIniPath(appPath) +
            ": [locale] code_page=" + std::to_string(platform->codePage) +
            " is not a known code page";
    return std::nullopt;
  }
  IniStrings strings(PathMapper(platform->drives), codePage);
  Settings settings = Settings::Read(strings, appPath);
  auto driver = OpenConfiguredDatabase(settings, *platform, strings.paths(), appPath);
  const DatabaseEngine engine = EngineOf(settings, *platform);
  SqlRows rows;
  if (!driver->Query("Select top 1 UserID from Users_ID", {}, rows)) {
    error = UsersFault(*driver, settings, engine, strings.paths(), appPath);
    return std::nullopt;
  }
  return ProgramDatabase{std::move(settings), engine, std::move(codePage), std::move(driver)};
}

}  // namespace vnq
