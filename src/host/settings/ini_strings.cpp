#include "host/settings/ini_strings.h"

#include <filesystem>
#include <system_error>

namespace vnq {

std::string IniStrings::ReadIniString(std::string_view path, std::string_view section,
                                      std::string_view key) {
  std::error_code ignored;
  if (path != lastPath_ || !std::filesystem::exists(lastMapped_, ignored)) {
    lastPath_ = path;
    lastMapped_ = paths_.Map(path);
  }
  return codePage_->FromBytes(reader_.ReadBytes(lastMapped_, section, key));
}

}  // namespace vnq
