// Any bytes as a path from a setting or a table.
//
// What comes out has no backslash, stays below a drive's folder, and maps to itself.
#include "platform/system/paths.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "tests/platform/system/temporary_folder.h"

namespace {

void Require(bool promise) {
  if (!promise) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const vnq::TemporaryFolder folder;
  static const vnq::PathMapper mapper = [] {
    folder.Write("Web/MyPic/a.jpg", "");
    folder.Write("Web/中文/Ü.ini", "");
    return vnq::PathMapper({{"D", folder.path()}});
  }();
  const std::string_view path(reinterpret_cast<const char*>(data), size);
  for (const std::string& asked : {std::string(path), "D:\\" + std::string(path)}) {
    const std::string mapped = mapper.Map(asked);
    Require(mapped.find('\\') == mapped.npos && mapped.find('\0') == mapped.npos);
    const bool onDrive = asked.starts_with("D:") || asked.starts_with("d:");
    Require(mapped.empty() || !onDrive || mapped.starts_with(folder.path()));
    Require(mapper.Map(mapped) == mapped);
  }
  return 0;
}
