#include "platform/system/paths.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unicode/uchar.h>

#include <algorithm>

#include "support/ascii_case.h"
#include "support/utf8.h"

namespace vnq {
namespace {

constexpr std::string_view kSeparators = "\\/";

bool HasDriveLetter(std::string_view path) {
  return path.size() >= 2 && path[1] == ':' && AsciiUpper(path[0]) >= 'A' &&
         AsciiUpper(path[0]) <= 'Z';
}

// Bytes that are no UTF-8 stay: two names that differ in them are two names.
std::string FoldCase(std::string_view name) {
  std::string folded;
  for (size_t at = 0; at < name.size();) {
    const size_t start = at;
    const char32_t value = NextSequence(name, at);
    if (value == kReplacementCharacter) {
      folded += name.substr(start, at - start);
    } else {
      AppendUtf8(folded, static_cast<char32_t>(
                             u_foldCase(static_cast<UChar32>(value), U_FOLD_CASE_DEFAULT)));
    }
  }
  return folded;
}

bool Exists(const std::string& path) {
  struct stat state {};
  return lstat(path.c_str(), &state) == 0;
}

// The name in a folder that differs from `name` in case only, of several the first by byte order;
// empty for none.
std::string FindInAnyCase(const std::string& folder, std::string_view name) {
  const std::string folded = FoldCase(name);
  std::string found;
  DIR* entries = opendir(folder.empty() ? "." : folder.c_str());
  if (entries == nullptr) return found;
  while (const dirent* entry = readdir(entries)) {
    const std::string_view candidate = entry->d_name;
    if ((found.empty() || candidate < found) && FoldCase(candidate) == folded) found = candidate;
  }
  closedir(entries);
  return found;
}

// Appends the components of `rest` to a folder that ends in "/" or is empty, the present folder.
std::string AppendComponents(std::string path, std::string_view rest) {
  bool isKnown = true;
  while (!rest.empty()) {
    const size_t end = std::min(rest.find_first_of(kSeparators), rest.size());
    const std::string_view name = rest.substr(0, end);
    const bool isFolder = end < rest.size();
    rest.remove_prefix(isFolder ? end + 1 : end);
    if (name.empty()) continue;
    if (isKnown && !Exists(path + std::string(name))) {
      const std::string found = FindInAnyCase(path, name);
      isKnown = !found.empty();
      path += isKnown ? std::string_view{found} : name;
    } else {
      path += name;
    }
    if (isFolder) path += '/';
  }
  return path;
}

}  // namespace

std::string PathMapper::Map(std::string_view path) const {
  if (path.empty() || path.find('\0') != path.npos) return "";
  if (!HasDriveLetter(path)) {
    const bool isAbsolute = kSeparators.find(path[0]) != kSeparators.npos;
    return AppendComponents(isAbsolute ? "/" : "", path);
  }

  const auto drive = drives_.find(std::string(1, AsciiUpper(path[0])));
  if (drive == drives_.end() || drive->second.empty()) return "";
  std::string folder = drive->second;
  if (path.size() == 2) return folder;
  if (!folder.ends_with('/')) folder += '/';
  return AppendComponents(std::move(folder), path.substr(2));
}

}  // namespace vnq
