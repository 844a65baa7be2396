#include "tools/backup/backup_places.h"

#include <algorithm>
#include <filesystem>

#include "host/settings/settings.h"
#include "platform/sql/sql_driver.h"

namespace vnq {

std::vector<std::string> FilesBelow(const std::string& folder) {
  namespace fs = std::filesystem;
  std::vector<std::string> files;
  std::error_code ignored;
  for (fs::recursive_directory_iterator it(folder, ignored), end; it != end;
       it.increment(ignored)) {
    if (it->is_regular_file(ignored) && !it->is_symlink(ignored)) {
      files.push_back(it->path().lexically_relative(folder).string());
    }
  }
  std::sort(files.begin(), files.end());
  return files;
}

std::vector<std::string> SettingsAndTexts(const ProgramFolder& folder) {
  std::vector<std::string> files;
  const auto add = [&](const std::string& path) {
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(path, ignored)) return;
    files.push_back(std::filesystem::path(path).lexically_relative(folder.appPath).string());
  };
  add(PlatformIniPath(folder.appPath));
  add(folder.ini);
  add(folder.Map(folder.appPath + "\\Web\\download\\log.txt"));
  const std::string language = folder.Map(folder.appPath + "\\Language");
  for (const std::string& file : FilesBelow(language)) add(language + "/" + file);
  return files;
}

std::string DatabasePath(const ProgramFolder& folder) {
  return folder.Map(folder.appPath + folder.settings.DataBaseName);
}

std::string PictureFolder(SqlDriver& driver, const ProgramFolder& folder) {
  SqlRows rows;
  if (!driver.Query("Select Col_Data from Tab_Config where Col_Name='VNQ_CONSOLE' and "
                    "Col_Genre='SysConfig' and Col_Disabled=0",
                    {}, rows) ||
      rows.rowCount() == 0 || rows.cells.front().text.empty()) {
    return "";
  }
  return folder.Map(rows.cells.front().text + "\\Mypic");
}

}  // namespace vnq
