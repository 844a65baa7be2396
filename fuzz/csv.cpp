// Any bytes as a file of comma-separated values.
//
// Each record that can be read comes back the same when it is written with all its cells quoted.
#include "tools/users/csv.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace {

void Require(bool promise) {
  if (!promise) std::abort();
}

std::string Quoted(const std::string& cell) {
  std::string quoted = "\"";
  for (char c : cell) {
    if (c == '"') quoted += '"';
    quoted += c;
  }
  return quoted + '"';
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const size_t lines = 1 + static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
  std::string written;
  std::vector<std::vector<std::string>> good;
  size_t before = 0;
  for (const vnq::CsvRecord& record : vnq::ReadCsv(text)) {
    Require(record.line > before && record.line <= lines);
    before = record.line;
    Require(!record.cells.empty());
    if (!record.error.empty()) continue;
    good.push_back(record.cells);
    for (size_t i = 0; i < record.cells.size(); ++i) {
      written += (i > 0 ? "," : "") + Quoted(record.cells[i]);
    }
    written += "\r\n";
  }

  const auto again = vnq::ReadCsv(written);
  Require(again.size() == good.size());
  for (size_t i = 0; i < good.size(); ++i) {
    Require(again[i].error.empty() && again[i].cells == good[i]);
  }
  return 0;
}
