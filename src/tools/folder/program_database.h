// The database of a program folder, for commands that work on it beside the server or without it.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "host/database/database_engine.h"
#include "host/settings/settings.h"
#include "platform/sql/sql_driver.h"
#include "platform/system/code_page.h"

namespace vnq {

struct ProgramDatabase {
  Settings settings;
  DatabaseEngine engine = DatabaseEngine::kSqlite;
  std::shared_ptr<const CodePage> codePage;  ///< of the deployment's texts; never null
  std::unique_ptr<SqlDriver> driver;         ///< never null
};

/// Opens the database that the folder's settings name. Nothing comes back, with the reason in
/// `error`, when the folder, its code page or its table of users cannot be read.
std::optional<ProgramDatabase> OpenProgramDatabase(const std::string& folder, std::string& error);

}  // namespace vnq
