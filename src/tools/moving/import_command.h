// vnqctl import: tables from a file into the database of a folder.
#pragma once

#include <ostream>
#include <string>

#include "tools/moving/table_import.h"

namespace CLI {
class App;
}

namespace vnq {

struct ImportOptions {
  std::string appPath;
  std::string from;  ///< an archive or an Access file; which one, its first bytes tell
  TableImportOptions table;
  bool json = false;  ///< the tables as a JSON array, an object a table
};

/// Takes over every table of the schema that the source has, each in one transaction of its own.
/// One that fails is as it was, and the next is tried. At the end `out` tells of each table how
/// many rows the source has, and how many stood and stand in the database.
///
/// Returns 0 when every row of the source has arrived, else 1 with the reasons on `err`. Nothing is
/// written when the source is damaged, a server runs on the folder, a table is missing, or one has
/// rows and no mode says what to do with them.
int RunImport(const ImportOptions& options, std::ostream& out, std::ostream& err);

void AddImportCommand(CLI::App& app, int& exitCode);

}  // namespace vnq
