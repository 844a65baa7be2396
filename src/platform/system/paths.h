// Paths from settings and tables, mapped to this file system.
//
// Such a path uses backslashes, any letter case, and perhaps a drive letter. Each '\' and '/' is a
// separator; a component that does not exist as spelt is looked up without regard to (ASCII and
// Unicode simple) case.
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace vnq {

class PathMapper {
 public:
  /// drives: folder by upper-case drive letter ("D" -> "/srv/im").
  explicit PathMapper(std::map<std::string, std::string> drives = {})
      : drives_(std::move(drives)) {}

  /// The path on this system. "D:\x" is x below the folder of drive D; a letter without a folder
  /// gives the empty text, which names nothing. Components that exist in no spelling stay as spelt.
  std::string Map(std::string_view path) const;

 private:
  std::map<std::string, std::string> drives_;
};

}  // namespace vnq
