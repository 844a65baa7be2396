#include "tools/init_command.h"

#include <sys/stat.h>

#include <iostream>
#include <memory>
#include <optional>
#include <utility>

#include <CLI/CLI.hpp>

#include "host/settings.h"
#include "tools/app_folder.h"
#include "tools/demo_data.h"
#include "tools/embedded_database.h"

namespace vnq {

namespace {

constexpr int kEnglish = 1033, kSimplifiedChinesePage = 936;

/// One run of the command.
class Init {
 public:
  Init(const InitOptions& options, std::ostream& out, std::ostream& err)
      : options_(options), out_(out), err_(err), maker_(options.appPath, out, err) {}

  bool Run() {
    if (!MakePlatformIni() || !OpenCodePage() || !MakeFiles() || !MakeDatabase()) return false;
    if (!maker_.madeSomething()) out_ << "everything is there already\n";
    return !options_.demo || AddDemoData(*driver_, out_, err_);
  }

 private:
  bool MakePlatformIni() {
    const int language = options_.demo ? kEnglish : LanguageIdOfLocale(options_.localeName);
    const int page = options_.demo ? kSimplifiedChinesePage : DefaultCodePage(language);
    if (!maker_.MakePlatformIni(language, page, options_.demo)) return false;
    std::string error;
    auto settings =
        ReadPlatformSettings(PlatformIniPath(options_.appPath), options_.localeName, error);
    if (!settings) return Fail(error);
    platform_ = std::move(*settings);
    return true;
  }

  bool OpenCodePage() {
    codePage_ = CodePage::Open(platform_.codePage);
    return codePage_ || Fail(PlatformIniPath(options_.appPath) + ": [locale] code_page=" +
                             std::to_string(platform_.codePage) + " is not a known code page");
  }

  bool MakeFiles() {
    bool ok = maker_.MakeDataBaseIni();
    ok = maker_.MakeVersionFile() && ok;
    return maker_.MakeLanguageFiles(*codePage_, platform_.languageId) && ok;
  }

  bool MakeDatabase() {
    IniStrings strings(PathMapper(platform_.drives), codePage_);
    const Settings settings = Settings::Read(strings, options_.appPath);
    const std::string ini = strings.paths().Map(DataBaseIniPath(options_.appPath));
    if (!settings.IsAccess()) {
      return Fail(ini + ": [server_connection] DB_TYPE=" + settings.DbType +
                  " names a database server; this version creates tables in the embedded database"
                  " only (DB_TYPE=access)");
    }
    if (settings.DataBaseName.empty()) {
      return Fail(ini +
                  ": [server_connection] DataBaseName= is empty; it names the database file,"
                  " such as \\Web\\Data\\vnq.db");
    }
    return MakeTables(strings.paths().Map(options_.appPath + settings.DataBaseName));
  }

  bool MakeTables(const std::string& path) {
    if (!maker_.MakeFoldersOf(path)) return false;
    SqliteOptions options;
    options.path = path;
    options.busyTimeoutMs = platform_.busyTimeoutMs;
    options.createFile = true;
    driver_ = OpenSqlite(options);
    SchemaReport report;
    std::string error;
    if (!MakeSchema(*driver_, report, error)) return Fail(path + ": " + error);
    driver_->SyncCommitted();
    if (report.tables + report.indexes + report.rows > 0) {
      maker_.NoteMade(path + ": tables " + std::to_string(report.tables) + ", indexes " +
                      std::to_string(report.indexes) + ", rows " + std::to_string(report.rows));
    }
    return true;
  }

  bool Fail(const std::string& why) {
    err_ << why << "\n";
    return false;
  }

  const InitOptions& options_;
  std::ostream& out_;
  std::ostream& err_;
  AppFolderMaker maker_;
  PlatformSettings platform_;
  std::shared_ptr<const CodePage> codePage_;
  std::unique_ptr<SqlDriver> driver_;
};

/// A separator at the end would stand doubled in every path that is formed.
std::string WithoutClosingSeparator(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  return path;
}

}  // namespace

int RunInit(const InitOptions& options, std::ostream& out, std::ostream& err) {
  InitOptions cleaned = options;
  cleaned.appPath = WithoutClosingSeparator(options.appPath);
  return Init(cleaned, out, err).Run() ? 0 : 1;
}

void AddInitCommand(CLI::App& app, int& exitCode) {
  auto options = std::make_shared<InitOptions>();
  CLI::App* command =
      app.add_subcommand("init", "Make the program's folder and its database where missing");
  command->add_option("--app-path", options->appPath, "The program's folder")->required();
  command->add_flag("--demo", options->demo, "Add sample departments, roles, users and a group");
  command->callback([options, &exitCode] {
    // The database holds passwords in clear, the settings that of the database server.
    umask(umask(0) | S_IRWXO);
    options->localeName = SystemLocaleName();
    exitCode = RunInit(*options, std::cout, std::cerr);
  });
}

}  // namespace vnq
