#include "tools/history/history_store.h"

#include <filesystem>
#include <utility>

#include "host/settings/platform_settings.h"

namespace vnq {

HistoryStore::HistoryStore(ProgramDatabase opened, IniStrings strings, const std::string& appPath,
                           int languageId)
    : engine_(opened.engine),
      database_(std::move(opened.driver)),
      strings_(std::move(strings)),
      texts_(strings_, appPath, languageId) {}

std::unique_ptr<HistoryStore> HistoryStore::Open(const std::string& folder, std::string& error) {
  auto opened = OpenProgramDatabase(folder, error);
  if (!opened) return nullptr;
  const std::string appPath = std::filesystem::absolute(folder).lexically_normal().string();
  const auto platform = ReadPlatformSettings(PlatformIniPath(appPath), SystemLocaleName(), error);
  if (!platform) return nullptr;
  IniStrings strings(PathMapper(platform->drives), opened->codePage);
  return std::unique_ptr<HistoryStore>(
      new HistoryStore(std::move(*opened), std::move(strings), appPath, platform->languageId));
}

LabelOf HistoryStore::labels() {
  return [this](std::string_view key) {
    std::string label = texts_.ReadLang(key);
    return label.empty() ? "[...]" : label;
  };
}

}  // namespace vnq
