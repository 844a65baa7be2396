#include "support/nearest_name.h"

#include <algorithm>
#include <numeric>

namespace vnq {

size_t EditDistance(std::string_view a, std::string_view b) {
  std::vector<size_t> beforeLast, last(b.size() + 1), row(b.size() + 1);
  std::iota(last.begin(), last.end(), 0);
  for (size_t i = 1; i <= a.size(); ++i) {
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t changed = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, changed});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        row[j] = std::min(row[j], beforeLast[j - 2] + 1);
      }
    }
    beforeLast = last;
    last = row;
  }
  return last[b.size()];
}

std::string NearestName(std::string_view typed, const std::vector<std::string>& names) {
  if (names.empty()) return "";
  const auto nearest = std::min_element(names.begin(), names.end(),
                                        [typed](const std::string& a, const std::string& b) {
                                          return EditDistance(typed, a) < EditDistance(typed, b);
                                        });
  const size_t mistakes = std::max<size_t>(2, nearest->size() / 3);
  return EditDistance(typed, *nearest) <= mistakes ? *nearest : "";
}

}  // namespace vnq
