// The statements that the sources hold, found by reading them.
#pragma once

#include <string>
#include <vector>

#include "platform/sql/sql_dialect.h"

namespace vnq {

/// One statement as the drivers get it, a bare `?` for each value.
struct SourceStatement {
  std::string file;  ///< below the source folder
  std::string text;
  std::vector<SqlMarker> markers;
};

/// Every statement of the program's sources (not of its tests) that is for all engines, each text
/// once. A text that the code puts together from pieces comes out in full, as `composed` below
/// tells; one that it does not know is in `unknown`, as "file: first piece".
struct SourceStatements {
  std::vector<SourceStatement> statements;
  std::vector<std::string> unknown;
};
SourceStatements ReadSourceStatements(const std::string& sourceFolder);

}  // namespace vnq
