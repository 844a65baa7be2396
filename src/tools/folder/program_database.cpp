#include "tools/folder/program_database.h"

#include <filesystem>
#include <utility>

#include "host/database/jet_file.h"
#include "host/database/open_database.h"
#include "platform/system/file_access.h"
#include "support/shell_text.h"
#include "tools/folder/database_advice.h"

namespace vnq {

namespace {

// What keeps this user from the embedded database; empty when something else does.
std::string FileFault(const std::string& database) {
  const std::string unreadable = ReadFault(database);
  if (!unreadable.empty()) return unreadable;
  const std::string unwritable = WriteFault(database);
  // SQLite makes files of its own beside the database.
  return unwritable.empty() ? WriteFault(std::filesystem::path(database).parent_path().string())
                            : unwritable;
}

// Why the table of users cannot be read, and what to do.
std::string UsersFault(SqlDriver& driver, const ProgramFolder& folder) {
  const std::string why = OneLine(driver.LastError());
  const std::string init =
      why + "; vnqctl init --app-path " + ShellWord(folder.appPath) + " makes what is missing";
  if (folder.engine != DatabaseEngine::kSqlite) {
    const std::string fault = ServerFault(driver, folder.settings, folder.engine, folder.ini);
    return fault.empty() ? init : fault;
  }
  const std::string database = folder.Map(folder.appPath + folder.settings.DataBaseName);
  if (IsJetFile(database)) return why;
  const std::string fault = FileFault(database);
  return fault.empty() ? init : fault;
}

}  // namespace

std::optional<ProgramDatabase> OpenProgramDatabase(const std::string& appPath, std::string& error) {
  auto folder = OpenProgramFolder(appPath, {}, SystemLocaleName(), error);
  if (!folder) return std::nullopt;
  auto driver = OpenConfiguredDatabase(folder->settings, folder->platform, folder->strings.paths(),
                                       folder->appPath);
  SqlRows rows;
  if (!driver->Query("Select top 1 UserID from Users_ID", {}, rows)) {
    error = UsersFault(*driver, *folder);
    return std::nullopt;
  }
  return ProgramDatabase{std::move(*folder), std::move(driver)};
}

}  // namespace vnq
