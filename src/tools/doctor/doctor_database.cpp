#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
#include <thread>

#include "host/database/jet_file.h"
#include "host/database/open_database.h"
#include "host/database/schema_version.h"
#include "platform/net/clock.h"
#include "platform/system/file_access.h"
#include "support/dates.h"
#include "support/numbers.h"
#include "support/shell_text.h"
#include "tools/doctor/doctor.h"
#include "tools/folder/database_advice.h"
#include "tools/folder/in_transaction.h"
#include "tools/schema/schema_differences.h"
#include "tools/terminal/progress_bar.h"

namespace vnq {

namespace {

std::string InitCommand(const ProgramFolder& folder) {
  return "vnqctl init --app-path " + ShellWord(folder.appPath);
}

/// The first cell as text; empty when there is none.
std::string ReadText(SqlDriver& driver, std::string_view statement) {
  SqlRows rows;
  if (!driver.Query(statement, {}, rows) || rows.cells.empty()) return "";
  const SqlValue& cell = rows.cells[0];
  return cell.kind == SqlValue::Kind::kInteger ? FormatNumber(cell.integer) : cell.text;
}

std::unique_ptr<Database> Open(const ProgramFolder& folder) {
  return std::make_unique<Database>(OpenConfiguredDatabase(folder.settings, folder.platform,
                                                           folder.strings.paths(), folder.appPath));
}

// --- The embedded database ---

// Bytes that this process has read so far, from files and all else.
int64_t BytesRead() {
  std::ifstream counters("/proc/self/io");
  std::string name;
  int64_t bytes = 0;
  counters >> name >> bytes;
  return bytes;
}

// Runs a work that reads a file once, and shows how much of it that is so far. The engine does not
// tell; what the process has read does.
void WhileReading(const std::string& path, CheckProgress progress,
                  const std::function<void()>& work) {
  constexpr int64_t kMegabyte = int64_t{1024} * 1024;
  std::error_code error;
  const auto mb = static_cast<int64_t>(std::filesystem::file_size(path, error)) / kMegabyte;
  if (error || progress.out == nullptr || mb < progress.leastMb) return work();
  ProgressBar bar(*progress.out, static_cast<size_t>(mb), true, "MB of the database are checked");
  std::mutex mutex;
  std::condition_variable ended;
  bool isEnded = false;
  std::thread watch([&, before = BytesRead()] {
    std::unique_lock lock(mutex);
    for (int64_t shown = 0; !isEnded; ended.wait_for(lock, std::chrono::milliseconds(200))) {
      for (; shown < std::min((BytesRead() - before) / kMegabyte, mb); ++shown) bar.Advance();
    }
  });
  work();
  {
    const std::lock_guard lock(mutex);
    isEnded = true;
  }
  ended.notify_one();
  watch.join();
}

// What keeps the file from being opened at all; empty when nothing does.
std::string FileFault(const ProgramFolder& folder, const std::string& path) {
  const std::string key =
      KeyAt(folder.ini, "server_connection", "DataBaseName", folder.settings.DataBaseName);
  std::error_code ignored;
  if (folder.settings.DataBaseName.empty()) {
    return key + " is empty; it names the database file, such as \\Web\\Data\\vnq.db";
  }
  const std::string unreadable = ReadFault(path);
  if (!unreadable.empty()) return key + ": " + unreadable;
  if (!std::filesystem::exists(path, ignored)) {
    return key + ": there is no file " + path + "; " + InitCommand(folder) + " makes it";
  }
  if (IsJetFile(path)) return JetFileAdvice(path, folder.strings.paths(), folder.appPath);
  const std::string parent = std::filesystem::path(path).parent_path().string();
  if (access(path.c_str(), R_OK | W_OK) != 0) {
    return path +
           " cannot be read and written by this user; give it to the user that the server"
           " runs as";
  }
  if (access(parent.c_str(), W_OK) != 0) {
    return "the folder " + parent +
           " cannot be written by this user, and the database needs files"
           " beside its own; give it to the user that the server runs as";
  }
  return "";
}

std::unique_ptr<Database> ExamineEmbedded(const ProgramFolder& folder, CheckProgress progress,
                                          Findings& findings) {
  const std::string path = folder.Map(folder.appPath + folder.settings.DataBaseName);
  const std::string fault = FileFault(folder, path);
  if (!fault.empty()) {
    findings.Error(fault);
    return nullptr;
  }
  auto database = Open(folder);
  SqlDriver& driver = database->driver();
  const std::string version = ReadText(driver, "select sqlite_version() as c");
  std::string check;
  if (!version.empty()) {
    WhileReading(path, progress, [&] { check = ReadText(driver, "pragma quick_check(1)"); });
  }
  if (check.empty()) {
    findings.Error(OneLine(driver.LastError()) +
                   "; another file or a backup is needed, or the"
                   " program that holds it must end");
    return nullptr;
  }
  if (check != "ok") {
    findings.Error("database file " + path + " is damaged: " + OneLine(check) +
                   "; stop the server and put a backup in its place: vnqctl restore --app-path " +
                   ShellWord(folder.appPath) + " FILE");
  }
  if (ReadText(driver, "pragma journal_mode") != "wal") {
    findings.Warning("database file " + path +
                     " has no write-ahead log: programs wait for each"
                     " other, and every statement is synced; lay it on a local file system");
  }
  if (!folder.settings.DataPaw.empty()) {
    findings.Warning(KeyAt(folder.ini, "server_connection", "DataPaw", "...") +
                     " has no use with an SQLite file");
  }
  if (check == "ok") findings.Ok("database: SQLite " + version + ", " + path + ", checked");
  return database;
}

// --- A database server ---

std::string VersionOf(SqlDriver& driver, DatabaseEngine engine) {
  const std::string version =
      ReadText(driver, engine == DatabaseEngine::kPostgres ? "select version() as c"
                                                           : "select @@version as c");
  // Both go on with what they were built on.
  const std::string line = version.substr(0, version.find_first_of("\r\n"));
  return OneLine(line.substr(0, line.find(" on ")));
}

// Dates that the server fills in must be of this machine's day.
void CheckClock(SqlDriver& driver, DatabaseEngine engine, Findings& findings) {
  const std::string there =
      ReadText(driver, engine == DatabaseEngine::kPostgres
                           ? "select to_char(current_timestamp,'YYYY-MM-DD hh24:mi') as c"
                           : "select convert(nvarchar(16),getdate(),120) as c");
  const LocalTime now = SystemClock().Now();
  const auto moment = ParseDateAndTime(there);
  if (!moment) return;
  constexpr int kMinutesADay = 24 * 60, kTolerance = 5;
  const int apart = std::abs((moment->hour - now.hour) * 60 + moment->minute - now.minute);
  if (apart <= kTolerance || apart >= kMinutesADay - kTolerance) return;
  findings.Warning("the database's clock says " + there + ", this machine's " +
                   now.DateAndTime().substr(0, there.size()) +
                   ": dates of group messages come from the one, all others from the other; set"
                   " both to the same time and time zone");
}

std::unique_ptr<Database> ExamineServer(const ProgramFolder& folder, Findings& findings) {
  const Settings& settings = folder.settings;
  auto database = Open(folder);
  SqlDriver& driver = database->driver();
  const std::string fault = ServerFault(driver, settings, folder.engine, folder.ini);
  if (!fault.empty()) {
    findings.Error(fault);
    return nullptr;
  }
  findings.Ok("database: " + VersionOf(driver, folder.engine) + " at " + settings.DB_SERVER +
              ", database " + settings.DB_NAME);
  const std::string encoding = EncodingFinding(driver, folder.engine);
  if (!encoding.empty()) findings.Warning("database " + settings.DB_NAME + ": " + encoding);
  CheckClock(driver, folder.engine, findings);
  return database;
}

// --- What is in it ---

std::string Cure(const ProgramFolder& folder, const SchemaDifference& difference) {
  if (difference.cure.empty()) return "";
  return "; vnqctl upgrade --app-path " + ShellWord(folder.appPath) + " runs: " + difference.cure;
}

void CheckVersion(SqlDriver& driver, const ProgramFolder& folder, Findings& findings) {
  const std::string fault = NewerSchemaFault(driver, folder.engine);
  if (!fault.empty()) findings.Error(fault);
}

void CheckRequiredRows(SqlDriver& driver, const ProgramFolder& folder, Findings& findings) {
  struct Required {
    std::string_view table, key, statement;
  };
  constexpr Required kRequired[] = {
      {"UpDateForm", "id=1", "Select * from UpDateForm where id=1"},
      {"OtherForm", "ID=1", "Select * from OtherForm where ID=1"},
  };
  for (const Required& required : kRequired) {
    const size_t rows = CountRows(driver, required.statement);
    const std::string what = "table " + std::string(required.table) + " has " +
                             (rows == 0 ? "no row" : "several rows") + " with " +
                             std::string(required.key);
    if (rows == 0) findings.Error(what + "; " + InitCommand(folder) + " adds it");
    if (rows > 1) findings.Warning(what + ", and one is expected");
  }
}

}  // namespace

std::unique_ptr<Database> ExamineDatabase(const ProgramFolder& folder, CheckProgress progress,
                                          Findings& findings) {
  return folder.engine == DatabaseEngine::kSqlite ? ExamineEmbedded(folder, progress, findings)
                                                  : ExamineServer(folder, findings);
}

bool ExamineSchema(Database& database, const ProgramFolder& folder, Findings& findings) {
  const int before = findings.errors() + findings.warnings();
  SqlDriver& driver = database.driver();
  CheckVersion(driver, folder, findings);
  ExistingSchema schema;
  std::string error;
  if (!schema.Read(driver, folder.engine, error)) {
    findings.Error(OneLine(error));
    return false;
  }
  std::string missing;
  for (std::string_view table : MissingTables(schema)) {
    missing += (missing.empty() ? "" : ", ") + std::string(table);
  }
  if (!missing.empty()) {
    findings.Error("tables are missing: " + missing + "; " + InitCommand(folder) + " makes them");
  }
  bool works = missing.empty();
  for (const SchemaDifference& difference : SchemaDifferences(schema, folder.engine)) {
    works = works && !difference.breaksStatements;
    const std::string line = difference.line + Cure(folder, difference);
    difference.breaksStatements ? findings.Error(line) : findings.Warning(line);
  }
  if (!works) return false;
  CheckRequiredRows(driver, folder, findings);
  if (findings.errors() + findings.warnings() == before) {
    findings.Ok("schema: all " + std::to_string(SchemaTables().size()) + " tables");
  }
  return true;
}

}  // namespace vnq
