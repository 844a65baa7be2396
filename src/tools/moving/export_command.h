// vnqctl export: the database of a folder into one file.
#pragma once

#include <ostream>
#include <string>

namespace CLI {
class App;
}

namespace vnq {

struct ExportOptions {
  std::string appPath;
  std::string to;          ///< path of the archive; "-" is standard output
  bool isWatched = false;  ///< `err` is a terminal, and shows how far it has come
  bool json = false;       ///< the tables as a JSON array, an object a table
};

/// Writes every table of the schema that the database has, in the schema's order, as one archive
/// (archive_format.h), and how many rows each has on `out`, or on `err` where the archive is on
/// standard output. The database is only read, and may
/// serve meanwhile: where the engine can, all is read as it was at one moment.
///
/// Returns 0, or 1 with the reason on `err`; the file is then as it was.
int RunExport(const ExportOptions& options, std::ostream& out, std::ostream& err);

void AddExportCommand(CLI::App& app, int& exitCode);

}  // namespace vnq
