// What of a program's folder belongs into a backup, and where it lies.
#pragma once

#include <string>
#include <vector>

#include "host/settings/program_folder.h"

namespace vnq {

/// The files of settings and texts that are there, by their paths below the folder.
std::vector<std::string> SettingsAndTexts(const ProgramFolder& folder);

/// The plain files below a folder, by their paths below it, in order.
std::vector<std::string> FilesBelow(const std::string& folder);

/// Where the embedded database lies.
std::string DatabasePath(const ProgramFolder& folder);

/// Where the pictures lie, as the table Tab_Config says; empty where it does not say or names no
/// folder of this machine.
std::string PictureFolder(SqlDriver& driver, const ProgramFolder& folder);

}  // namespace vnq
