// INI files, read as the legacy profile reader reads them.
//
//   file    = { line }            a line ends at LF; a CR before it belongs to the line end
//   line    = blank | ";" comment | "[" section "]" | key "=" value
//
// Section and key names are compared without regard to ASCII case, the first match wins, blanks
// (space and tab) around section, key and value go, and so does one pair of matching quotes around
// a value. Any other line, and keys in front of the first section, mean nothing; a UTF-8 mark at
// the start of the file goes.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vnq {

/// Length limit of a value in bytes; longer values are cut, even inside a double-byte character.
inline constexpr size_t kIniValueBytes = 127;

/// The parsed content of one INI file: raw bytes, not yet converted by a code page.
class IniData {
 public:
  static IniData Parse(std::string_view bytes);

  /// The value of the first matching key in the first matching section that has it, whole; nothing
  /// when there is none. A section name that occurs twice counts as its first occurrence only.
  std::optional<std::string> Find(std::string_view section, std::string_view key) const;

  /// The names of all sections, and of the keys that count in one, in lower case, by the alphabet.
  std::vector<std::string> Sections() const;
  std::vector<std::string> Keys(std::string_view section) const;

 private:
  std::map<std::string, std::map<std::string, std::string>> sections_;  // names in lower case
};

/// Reads INI files by path and keeps what it read until the file changes (inode, size, or
/// nanosecond time of change), so that an edit takes effect at the next read.
class IniReader {
 public:
  /// The value as the profile reader returns it: cut at 127 bytes, cut at the first NUL, spaces at
  /// both ends trimmed. Raw bytes. A missing file, section or key gives the empty text.
  std::string ReadBytes(const std::string& path, std::string_view section, std::string_view key);

  /// Looks whether the file has changed and reads it if so. A number that is another one for each
  /// reading; 0 for a file that cannot be read. Where the process has no descriptor left or the
  /// machine no memory, what was read before stays.
  uint64_t Look(const std::string& path);

  /// Like ReadBytes, of the file as it was at the last look.
  std::string ReadKnown(const std::string& path, std::string_view section,
                        std::string_view key) const;

 private:
  struct Entry {
    unsigned long long device = 0, inode = 0, size = 0;
    long long changedNs = 0;
    uint64_t version = 0;
    IniData data;
  };

  uint64_t readings_ = 0;
  std::map<std::string, Entry> files_;
};

}  // namespace vnq
