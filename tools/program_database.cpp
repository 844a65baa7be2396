#include "tools/program_database.h"

#include <filesystem>
#include <utility>

#include "host/ini_strings.h"
#include "host/jet_file.h"
#include "host/open_database.h"
#include "host/platform_settings.h"

namespace vnq {

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
  SqlRows rows;
  if (!driver->Query("Select top 1 UserID from Users_ID", {}, rows)) {
    error = driver->LastError();
    // A Jet file is answered with all that is to be done.
    const bool isJet =
        settings.IsAccess() && IsJetFile(strings.paths().Map(appPath + settings.DataBaseName));
    if (!isJet) error += "; vnqctl init --app-path " + folder + " makes what is missing";
    return std::nullopt;
  }
  const DatabaseEngine engine = EngineOf(settings, *platform);
  return ProgramDatabase{std::move(settings), engine, std::move(codePage), std::move(driver)};
}

}  // namespace vnq
