// A record splits into elements that join to the same record again, and no index reaches beyond
// them.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "host/values/expr.h"
#include "host/values/fields.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string_view record(reinterpret_cast<const char*>(data), size);
  const auto fields = vnq::Fields::Split(record);

  std::string joined;
  for (size_t field = 0; field < fields.size(); ++field) {
    if (field > 0) joined += '|';
    if (!fields[field].ok()) std::abort();
    joined += fields[field].text();
    (void)vnq::ToInt16(fields[field]);
    (void)vnq::ToNumber(fields[field]);
  }
  if (joined != record) std::abort();
  if (fields[fields.size()].ok()) std::abort();
  return 0;
}
