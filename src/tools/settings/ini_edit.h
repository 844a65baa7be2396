// One value of an INI file changed, and everything else left as it is.
#pragma once

#include <string>
#include <string_view>

namespace vnq {

/// A file's bytes with `key` of `section` set to `value`, also bytes: in the line that counts, the
/// first of its name in the first section of its name; else in a line behind the section's last,
/// else in a section at the end. Line ends are as in the file.
std::string SetIniValue(std::string_view bytes, std::string_view section, std::string_view key,
                        std::string_view value);

}  // namespace vnq
