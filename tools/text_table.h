// Tables for a terminal.
#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace vnq {

/// Columns that a UTF-8 text takes in a terminal: two for an East Asian wide character, one for any
/// other.
size_t DisplayWidth(std::string_view utf8);

/// Writes rows with their columns aligned to the left, two blanks apart. The first row is the
/// heading. A row may be shorter than the others; nothing stands behind a row's last cell.
void PrintTable(const std::vector<std::vector<std::string>>& rows, std::ostream& out);

}  // namespace vnq
