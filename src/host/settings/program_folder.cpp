#include "host/settings/program_folder.h"

#include <filesystem>
#include <utility>

#include "platform/system/file_access.h"

namespace vnq {
namespace {

std::string UnknownPage(const std::string& platformIni, const PlatformOverrides& overrides,
                        int codePage) {
  const std::string number = std::to_string(codePage);
  const std::string at =
      overrides.codePage ? "--code-page " + number : platformIni + ": [locale] code_page=" + number;
  return at + " is not a known code page; 936, 950 and 1252 are";
}

}  // namespace

std::string NodesFault(const ProgramFolder& folder) {
  if (!folder.platform.nodes.AreGiven() || folder.engine != DatabaseEngine::kSqlite) return "";
  return PlatformIniPath(folder.appPath) + ": [nodes] bus=" + folder.platform.nodes.bus.front() +
         ": nodes share a database server, and " + folder.ini +
         " names the embedded database, which one server has to itself; take the section out, or "
         "move to PostgreSQL";
}

std::string InstanceSocketPath(const std::string& appPath) {
  return appPath + "/.vnq_main_service.sock";
}

std::string AbsoluteAppPath(const std::string& path) {
  std::error_code ignored;
  std::string absolute = path.empty() ? "" : std::filesystem::absolute(path, ignored).string();
  while (absolute.size() > 1 && absolute.ends_with('/')) absolute.pop_back();
  return absolute;
}

ProgramFolder ReadProgramFolder(std::string appPath, PlatformSettings platform,
                                std::shared_ptr<const CodePage> codePage) {
  IniStrings strings(PathMapper(platform.drives), codePage);
  Settings settings = Settings::Read(strings, appPath);
  const DatabaseEngine engine = EngineOf(settings, platform);
  std::string ini = strings.paths().Map(DataBaseIniPath(appPath));
  return {std::move(appPath), std::move(platform), std::move(codePage),
          std::move(strings), std::move(settings), engine,
          std::move(ini)};
}

std::optional<ProgramFolder> OpenProgramFolder(const std::string& appPath,
                                               const PlatformOverrides& overrides,
                                               std::string_view localeName, std::string& error) {
  error = appPath.empty() ? "the path is empty" : FolderFault(appPath);
  if (!error.empty()) {
    error.insert(0, "--app-path ");
    return std::nullopt;
  }
  std::string path = AbsoluteAppPath(appPath);
  const std::string platformIni = PlatformIniPath(path);
  error = ReadFault(platformIni);
  if (!error.empty()) return std::nullopt;
  auto platform = ReadPlatformSettings(platformIni, localeName, error);
  if (!platform || !ApplyOverrides(overrides, *platform, error)) return std::nullopt;
  auto codePage = CodePage::Open(platform->codePage);
  if (!codePage) {
    error = UnknownPage(platformIni, overrides, platform->codePage);
    return std::nullopt;
  }
  ProgramFolder folder =
      ReadProgramFolder(std::move(path), std::move(*platform), std::move(codePage));
  error = ReadFault(folder.ini);
  return error.empty() ? std::optional(std::move(folder)) : std::nullopt;
}

}  // namespace vnq
