#include "tools/terminal/text_table.h"

#include <algorithm>

#include "tools/client/chat_text.h"

namespace vnq {

void PrintTable(const std::vector<std::vector<std::string>>& rows, std::ostream& out) {
  std::vector<size_t> widths;
  for (const auto& row : rows) {
    widths.resize(std::max(widths.size(), row.size()));
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], DisplayWidth(row[i]));
  }
  for (const auto& row : rows) {
    for (size_t i = 0; i < row.size(); ++i) {
      out << row[i];
      if (i + 1 < row.size()) out << std::string(widths[i] - DisplayWidth(row[i]) + 2, ' ');
    }
    out << '\n';
  }
}

}  // namespace vnq
