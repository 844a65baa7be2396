// Values of the legacy INI files, as text.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "platform/system/code_page.h"
#include "platform/system/ini_file.h"
#include "platform/system/paths.h"

namespace vnq {

/// Reads settings and texts that deployments keep in their legacy code page. A read sees the file
/// as it is at that moment; who tells of turns has it seen as it was at the turn's first read of
/// it.
class IniStrings {
 public:
  /// `codePage` is never null.
  IniStrings(PathMapper paths, std::shared_ptr<const CodePage> codePage)
      : paths_(std::move(paths)), codePage_(std::move(codePage)) {}

  /// The value of a key: at most 127 bytes of the file, cut at a NUL, without spaces at both ends.
  /// Empty when the file, the section or the key is missing. `path` may hold backslashes and any
  /// letter case.
  std::string ReadIniString(std::string_view path, std::string_view section, std::string_view key);

  /// Ends a turn, and begins the next: from now on a file is looked at once a turn alone.
  void EndTurn() {
    looksOnceATurn_ = true;
    looked_ = false;
  }

  const PathMapper& paths() const { return paths_; }

 private:
  PathMapper paths_;
  std::shared_ptr<const CodePage> codePage_;
  void Look(std::string_view path);

  IniReader reader_;
  // Texts are read for every message, nearly always from one file.
  std::string lastPath_, lastMapped_;
  std::map<std::string, std::string, std::less<>> lastTexts_;  // by section and key
  uint64_t lastVersion_ = 0;
  bool looksOnceATurn_ = false;
  bool looked_ = false;  // at the last file, in this turn
};

}  // namespace vnq
