#include "tools/client/server_page.h"

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

void AddServerPage(CLI::App& command, int& codePage, std::string* appPath) {
  auto* number =
      command.add_option("--code-page", codePage, "Code page of the server")->capture_default_str();
  command
      .add_option_function<std::string>(
          "--app-path",
          [&codePage, appPath](const std::string& path) {
            codePage = PageOfFolder(path);
            if (appPath != nullptr) *appPath = path;
          },
          "The server's folder, for the code page that it is configured for")
      ->excludes(number);
}

bool IsServerPageGiven(const CLI::App& command) {
  return command.count("--code-page") + command.count("--app-path") > 0;
}

}  // namespace vnq
