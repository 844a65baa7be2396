// Tables for a terminal.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace vnq {

/// Writes rows with their columns aligned to the left, two blanks apart, by display width. The
/// first row is the heading. A row may be shorter than the others; nothing stands behind a row's
/// last cell.
void PrintTable(const std::vector<std::vector<std::string>>& rows, std::ostream& out);

}  // namespace vnq
