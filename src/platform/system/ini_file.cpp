#include "platform/system/ini_file.h"

#include <errno.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>

#include "support/ascii_case.h"
#include "support/trim.h"

namespace vnq {
namespace {

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
constexpr long long kNsPerSecond = 1'000'000'000;

std::string_view Unquoted(std::string_view value) {
  const bool isQuoted = value.size() >= 2 && value.front() == value.back() &&
                        (value.front() == '"' || value.front() == '\'');
  return isQuoted ? value.substr(1, value.size() - 2) : value;
}

std::string_view TakeLine(std::string_view& rest) {
  const size_t end = rest.find('\n');
  std::string_view line = rest.substr(0, end);
  rest = end == rest.npos ? std::string_view() : rest.substr(end + 1);
  if (line.ends_with('\r')) line.remove_suffix(1);
  return TrimBlanks(line);
}

long long Nanoseconds(const timespec& time) {
  return time.tv_sec * kNsPerSecond + time.tv_nsec;
}

class OpenFile {
 public:
  explicit OpenFile(const std::string& path)
      : descriptor_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)), error_(errno) {}
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;
  ~OpenFile() {
    if (descriptor_ >= 0) close(descriptor_);
  }

  bool State(struct stat& state) const {
    return descriptor_ >= 0 && fstat(descriptor_, &state) == 0 && S_ISREG(state.st_mode);
  }

  /// The file may well be there; it is the machine that cannot open it now.
  bool LacksResources() const {
    return descriptor_ < 0 && (error_ == EMFILE || error_ == ENFILE || error_ == ENOMEM);
  }

  std::string ReadAll() const {
    std::string bytes;
    char block[16384];
    ssize_t count = 0;
    while ((count = read(descriptor_, block, sizeof block)) > 0)
      bytes.append(block, static_cast<size_t>(count));
    return bytes;
  }

 private:
  int descriptor_;
  int error_;  // where it could not be opened
};

}  // namespace

IniData IniData::Parse(std::string_view bytes) {
  IniData data;
  std::map<std::string, std::string>* section = nullptr;
  if (bytes.starts_with(kUtf8Mark)) bytes.remove_prefix(kUtf8Mark.size());
  while (!bytes.empty()) {
    const std::string_view line = TakeLine(bytes);
    if (line.empty() || line[0] == ';') continue;
    if (line[0] == '[') {
      const size_t end = line.find(']');
      if (end == line.npos) continue;
      const auto [entry, isFirst] =
          data.sections_.try_emplace(AsciiLower(TrimBlanks(line.substr(1, end - 1))));
      section = isFirst ? &entry->second : nullptr;
      continue;
    }
    const size_t equals = line.find('=');
    if (equals == line.npos || section == nullptr) continue;
    section->try_emplace(AsciiLower(TrimBlanks(line.substr(0, equals))),
                         Unquoted(TrimBlanks(line.substr(equals + 1))));
  }
  return data;
}

std::optional<std::string> IniData::Find(std::string_view section, std::string_view key) const {
  const auto entries = sections_.find(AsciiLower(TrimBlanks(section)));
  if (entries == sections_.end()) return std::nullopt;
  const auto entry = entries->second.find(AsciiLower(TrimBlanks(key)));
  if (entry == entries->second.end()) return std::nullopt;
  return entry->second;
}

std::vector<std::string> IniData::Sections() const {
  std::vector<std::string> names;
  for (const auto& [name, entries] : sections_) names.push_back(name);
  return names;
}

std::vector<std::string> IniData::Keys(std::string_view section) const {
  std::vector<std::string> names;
  const auto entries = sections_.find(AsciiLower(TrimBlanks(section)));
  if (entries == sections_.end()) return names;
  for (const auto& [name, value] : entries->second) names.push_back(name);
  return names;
}

uint64_t IniReader::Look(const std::string& path) {
  struct stat state {};
  const auto known = files_.find(path);
  if (known != files_.end() && stat(path.c_str(), &state) == 0) {
    const Entry& entry = known->second;
    if (entry.device == state.st_dev && entry.inode == state.st_ino &&
        entry.size == static_cast<unsigned long long>(state.st_size) &&
        entry.changedNs == Nanoseconds(state.st_ctim)) {
      return entry.version;
    }
  }

  const OpenFile file(path);
  if (file.LacksResources() && known != files_.end()) return known->second.version;
  if (!file.State(state)) {
    files_.erase(path);
    return 0;
  }
  Entry& entry = files_[path];
  entry.device = state.st_dev;
  entry.inode = state.st_ino;
  entry.size = static_cast<unsigned long long>(state.st_size);
  entry.changedNs = Nanoseconds(state.st_ctim);
  entry.data = IniData::Parse(file.ReadAll());
  entry.version = ++readings_;

  // The file system's clock ticks in milliseconds: what was written just now may be written again
  // without a trace, so it is read once more the next time.
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  if (Nanoseconds(now) - entry.changedNs < kNsPerSecond) entry.changedNs = -1;
  return entry.version;
}

std::string IniReader::ReadBytes(const std::string& path, std::string_view section,
                                 std::string_view key) {
  Look(path);
  return ReadKnown(path, section, key);
}

std::string IniReader::ReadKnown(const std::string& path, std::string_view section,
                                 std::string_view key) const {
  const auto file = files_.find(path);
  const std::string whole =
      file == files_.end() ? "" : file->second.data.Find(section, key).value_or("");
  std::string_view value = whole;
  value = value.substr(0, kIniValueBytes);
  value = value.substr(0, value.find('\0'));
  return std::string(TrimBlanks(value, " "));
}

}  // namespace vnq
