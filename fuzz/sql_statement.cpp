// A statement comes out of the translation in every dialect, with markers that name its parameters,
// and what is taken for a select stays one with another column.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "platform/sql/sql_dialect.h"

namespace {

void Check(std::string_view statement, const std::vector<vnq::SqlMarker>& markers,
           const vnq::SqlDialect& dialect) {
  const std::vector<std::string> exact = {"UserPaws"};
  const auto translated = vnq::TranslateSql(statement, markers, dialect, exact);
  for (size_t i = 0; i < translated.parameters.size(); ++i) {
    if (translated.parameters[i] > statement.size()) std::abort();
    if (dialect.numberedMarkers && translated.parameters[i] != i) std::abort();
  }
  if (statement.find(translated.table) == std::string_view::npos) std::abort();
  if (!translated.columnsEnd) {
    if (!translated.table.empty()) std::abort();
    return;
  }
  const size_t end = *translated.columnsEnd;
  if (end > translated.text.size()) std::abort();
  const std::string longer = translated.WithColumns("x");
  if (longer != translated.text.substr(0, end) + ",x " + translated.text.substr(end)) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view statement(reinterpret_cast<const char*>(data), size);
  std::vector<vnq::SqlMarker> markers;
  for (size_t i = 0; i < size; ++i) {
    if (data[i] != '?') continue;
    markers.push_back(i % 2 == 0 ? vnq::SqlMarker::kText : vnq::SqlMarker::kNumber);
  }
  for (const auto& dialect :
       {vnq::kSqliteDialect, vnq::kPostgresDialect, vnq::kTransactSqlDialect}) {
    Check(statement, markers, dialect);
  }
  return 0;
}
