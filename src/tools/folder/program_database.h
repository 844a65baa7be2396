// The database of a program folder, for commands that work on it beside the server or without it.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "host/settings/program_folder.h"
#include "platform/sql/sql_driver.h"

namespace vnq {

struct ProgramDatabase {
  ProgramFolder folder;
  std::unique_ptr<SqlDriver> driver;  ///< never null
};

/// Opens the database that the folder's settings name. Nothing comes back, with the reason in
/// `error`, when the folder, its settings or its table of users cannot be read.
std::optional<ProgramDatabase> OpenProgramDatabase(const std::string& appPath, std::string& error);

}  // namespace vnq
