#include "host/database/jet_file.h"

#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>

#include "host/settings/settings.h"
#include "support/shell_text.h"

namespace vnq {

namespace {

// A name below the program's folder that nothing has yet.
std::string FreeDatabaseName(const PathMapper& paths, const std::string& AppPath) {
  std::error_code ignored;
  std::string name = "\\Web\\Data\\vnq.db";
  for (int n = 2; std::filesystem::exists(paths.Map(AppPath + name), ignored); ++n) {
    name = "\\Web\\Data\\vnq" + std::to_string(n) + ".db";
  }
  return name;
}

}  // namespace

bool IsJetFile(const std::string& path) {
  constexpr std::string_view kMark("\0\1\0\0", 4);
  constexpr std::string_view kNames[] = {"Standard Jet DB", "Standard ACE DB"};
  char bytes[kMark.size() + kNames[0].size()] = {};
  std::ifstream file(path, std::ios::binary);
  if (!file.read(bytes, sizeof bytes)) return false;
  const std::string_view begin(bytes, sizeof bytes);
  const std::string_view name = begin.substr(kMark.size());
  return begin.starts_with(kMark) && (name == kNames[0] || name == kNames[1]);
}

std::string JetFileAdvice(const std::string& path, const PathMapper& paths,
                          const std::string& AppPath) {
  const std::string folder = ShellWord(AppPath);
  return path +
         " is a Jet file, which can be imported but not worked on: set [server_connection] " +
         "DataBaseName=" + FreeDatabaseName(paths, AppPath) + " in " +
         paths.Map(DataBaseIniPath(AppPath)) + ", then run: vnqctl init --app-path " + folder +
         " && vnqctl import --from " + ShellWord(path) + " --app-path " + folder;
}

}  // namespace vnq
