// Any bytes as an INI file, read as a profile and as platform.ini.
//
// A value is short and bare as the profile reader gives it, a file that says the same twice says it
// once, and settings come back whole or with a reason that names the file.
#include "platform/system/ini_file.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "host/settings/platform_settings.h"
#include "tests/platform/system/temporary_folder.h"

namespace {

void Require(bool promise) {
  if (!promise) std::abort();
}

void CheckValue(const std::string& path, const vnq::IniData& data, const vnq::IniData& twice,
                std::string_view section, std::string_view key) {
  const auto whole = data.Find(section, key);
  Require(twice.Find(section, key) == whole);
  const std::string value = vnq::IniReader().ReadBytes(path, section, key);
  Require(value.size() <= vnq::kIniValueBytes && value.find('\0') == value.npos);
  Require(!value.starts_with(' ') && !value.ends_with(' '));
  Require(whole.value_or("").find(value) != std::string::npos);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const vnq::TemporaryFolder folder;
  const std::string text(reinterpret_cast<const char*>(data), size);
  const std::string path = folder.Write("platform.ini", text);
  const auto parsed = vnq::IniData::Parse(text);
  const auto twice = vnq::IniData::Parse(text + "\n[behind]\n" + text);
  for (const char* key : {"driver", "bind_address", "DB_TYPE", "c", ""}) {
    for (const char* section : {"database", "network", "DRIVES", ""}) {
      CheckValue(path, parsed, twice, section, key);
    }
  }
  std::string error;
  const auto settings = vnq::ReadPlatformSettings(path, "zh_CN.UTF-8", error);
  Require(settings.has_value() == error.empty());
  Require(settings || error.find(path) != std::string::npos);
  return 0;
}
