#include "tools/client/server_page.h"

#include <string>

#include <CLI/CLI.hpp>

#include "host/settings/program_folder.h"

namespace vnq {
namespace {

int PageOfFolder(const std::string& appPath) {
  std::string error;
  const auto folder = OpenProgramFolder(appPath, {}, SystemLocaleName(), error);
  if (!folder) throw CLI::ValidationError(error);
  return folder->platform.codePage;
}

}  // namespace

void AddServerPage(CLI::App& command, int& codePage, std::string& appPath) {
  // Options take effect in this order: the number wins.
  command.add_option_function<std::string>(
      "--app-path",
      [&codePage, &appPath](const std::string& path) {
        appPath = path;
        codePage = PageOfFolder(path);
      },
      "The server's folder, which tells its code page");
  command.add_option("--code-page", codePage, "Code page of the server")->capture_default_str();
}

bool IsServerPageGiven(const CLI::App& command) {
  return command.count("--code-page") + command.count("--app-path") > 0;
}

}  // namespace vnq
