#include "tools/folder/init_command.h"

#include <spdlog/spdlog.h>
#include <sys/stat.h>

#include <iostream>
#include <memory>
#include <optional>
#include <utility>

#include <CLI/CLI.hpp>

#include "host/database/jet_file.h"
#include "host/database/open_database.h"
#include "host/settings/settings.h"
#include "tools/folder/app_folder.h"
#include "tools/folder/database_advice.h"
#include "tools/folder/demo_data.h"
#include "tools/schema/make_schema.h"

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
    return !options_.demo || AddDemoData(*driver_, engine_, out_, err_);
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
    settings_ = Settings::Read(strings, options_.appPath);
    engine_ = EngineOf(settings_, platform_);
    ini_ = strings.paths().Map(DataBaseIniPath(options_.appPath));
    const bool isOpen = engine_ == DatabaseEngine::kSqlite ? OpenEmbedded(strings.paths())
                                                           : OpenServer(strings.paths());
    return isOpen && MakeTables();
  }

  bool OpenEmbedded(const PathMapper& paths) {
    if (settings_.DataBaseName.empty()) {
      return Fail(ini_ +
                  ": [server_connection] DataBaseName= is empty; it names the database file,"
                  " such as \\Web\\Data\\vnq.db");
    }
    database_ = paths.Map(options_.appPath + settings_.DataBaseName);
    if (IsJetFile(database_)) return Fail(JetFileAdvice(database_, paths, options_.appPath));
    if (!maker_.MakeFoldersOf(database_)) return false;
    SqliteOptions options;
    options.path = database_;
    options.busyTimeoutMs = platform_.busyTimeoutMs;
    options.createFile = true;
    driver_ = OpenSqlite(options);
    return true;
  }

  bool OpenServer(const PathMapper& paths) {
    database_ = "database " + settings_.DB_NAME;
    driver_ = OpenConfiguredDatabase(settings_, platform_, paths, options_.appPath);
    const std::string fault = ServerFault(*driver_, settings_, engine_, ini_);
    if (!fault.empty()) return Fail(fault);
    const std::string encoding = EncodingFinding(*driver_, engine_);
    if (!encoding.empty()) out_ << "note: " << database_ << ": " << encoding << "\n";
    return true;
  }

  bool MakeTables() {
    SchemaReport report;
    std::string error;
    const bool done = MakeSchema(*driver_, engine_, report, error);
    if (done && report.tables + report.indexes + report.rows > 0) {
      maker_.NoteMade(database_ + ": tables " + std::to_string(report.tables) + ", indexes " +
                      std::to_string(report.indexes) + ", rows " + std::to_string(report.rows));
    }
    for (const std::string& difference : report.differences) {
      out_ << "left as it is: " << difference << "\n";
    }
    if (!done) return Fail(database_ + ": " + OneLine(error));
    driver_->SyncCommitted();
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
  Settings settings_;
  DatabaseEngine engine_ = DatabaseEngine::kSqlite;
  std::string ini_;       // path of DataBase.ini, for messages
  std::string database_;  // what messages call the database
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
  // What goes wrong is said by the command itself, and the log would stand between its lines.
  command->preparse_callback([](size_t) { spdlog::set_level(spdlog::level::off); });
  command->callback([options, &exitCode] {
    // The database holds passwords in clear, the settings that of the database server.
    umask(umask(0) | S_IRWXO);
    options->localeName = SystemLocaleName();
    exitCode = RunInit(*options, std::cout, std::cerr);
  });
}

}  // namespace vnq
