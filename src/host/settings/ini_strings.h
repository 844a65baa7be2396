// Values of the legacy INI files, as text.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "platform/system/code_page.h"
#include "platform/system/ini_file.h"
#include "platform/system/paths.h"

namespace vnq {

/// Reads settings and texts that deployments keep in their legacy code page. Every read sees the
/// file as it is at that moment.
class IniStrings {
 public:
  /// `codePage` is never null.
  IniStrings(PathMapper paths, std::shared_ptr<const CodePage> codePage)
      : paths_(std::move(paths)), codePage_(std::move(codePage)) {}

  /// The value of a key: at most 127 bytes of the file, cut at a NUL, without spaces at both ends.
  /// Empty when the file, the section or the key is missing. `path` may hold backslashes and any
  /// letter case.
  std::string ReadIniString(std::string_view path, std::string_view section, std::string_view key);

  const PathMapper& paths() const { return paths_; }

 private:
  PathMapper paths_;
  std::shared_ptr<const CodePage> codePage_;
  IniReader reader_;
  std::string lastPath_,
      lastMapped_;  // texts are read for every message, nearly always from one file
};

}  // namespace vnq
