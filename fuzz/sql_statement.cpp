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
  (void)vnq::SelectWithColumn(translated.text, "x");
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
  const std::string table = vnq::SingleTable(statement);
  if (!table.empty() && statement.find(table) == std::string_view::npos) std::abort();
  return 0;
}
