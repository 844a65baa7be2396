#include "tools/client/known_names.h"

#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tools/client/chat_text.h"

namespace vnq {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view kUserWord = "user";
constexpr std::string_view kGroupWord = "group";

bool WriteWhole(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(fd, text.data(), text.size());
    if (written < 0 && errno != EINTR) return false;
    if (written > 0) text.remove_prefix(static_cast<size_t>(written));
  }
  return fsync(fd) == 0;
}

// Writes `text` beside `file` and puts it in its place.
bool ReplaceFile(const std::string& file, std::string_view text) {
  const std::string fresh = file + "." + std::to_string(getpid()) + ".new";
  const int fd = open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0) return false;
  const bool written = WriteWhole(fd, text);
  const bool closed = close(fd) == 0;
  if (written && closed && rename(fresh.c_str(), file.c_str()) == 0) return true;
  const int why = errno;
  unlink(fresh.c_str());
  errno = why;
  return false;
}

// A file name of what may be an address, a host name or anything else.
std::string FileNamePart(std::string_view text) {
  std::string name;
  for (char c : text) {
    const bool plain = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                       c == '.' || c == '-';
    name += plain ? c : '_';
  }
  return name;
}

std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

}  // namespace

void KnownNames::Load() {
  std::ifstream in(file_, std::ios::binary);
  for (std::string line; std::getline(in, line);) ReadLine(line);
  changed_ = false;
}

void KnownNames::ReadLine(std::string_view line) {
  const size_t first = line.find('\t');
  const size_t second = line.find('\t', first == std::string_view::npos ? first : first + 1);
  if (second == std::string_view::npos) return;
  const std::string_view word = line.substr(0, first);
  const std::string_view id = line.substr(first + 1, second - first - 1);
  if (word == kUserWord) Learn(Kind::kUser, id, line.substr(second + 1));
  if (word == kGroupWord) Learn(Kind::kGroup, id, line.substr(second + 1));
}

std::string KnownNames::Text() const {
  std::string text;
  auto append = [&](std::string_view word, const auto& names) {
    for (const auto& [id, name] : names) text.append(word).append("\t" + id + "\t" + name + "\n");
  };
  append(kUserWord, users_);
  append(kGroupWord, groups_);
  return text;
}

bool KnownNames::Save(std::string& error) {
  if (file_.empty() || !changed_) return true;
  std::error_code failure;
  const fs::path folder = fs::path(file_).parent_path();
  if (!folder.empty() && fs::create_directories(folder, failure)) {
    fs::permissions(folder, fs::perms::owner_all, failure);
  }
  if (!ReplaceFile(file_, Text())) {
    error = "cannot write " + file_ + ": " + strerror(errno);
    return false;
  }
  changed_ = false;
  return true;
}

void KnownNames::Learn(Kind kind, std::string_view id, std::string_view name) {
  const std::string cleanId = TerminalLine(id);
  const std::string cleanName = TerminalLine(name);
  if (cleanId.empty()) return;
  auto& names = kind == Kind::kUser ? users_ : groups_;
  if (names.size() >= kMaxIds && !names.contains(cleanId)) return;
  const auto [entry, isNew] = names.try_emplace(cleanId, cleanName);
  const bool renamed = !isNew && !cleanName.empty() && entry->second != cleanName;
  if (renamed) entry->second = cleanName;
  changed_ = changed_ || isNew || renamed;
}

std::string KnownNames::Label(Kind kind, std::string_view id) const {
  const auto& names = All(kind);
  const std::string cleanId = TerminalLine(id);
  const auto found = names.find(cleanId);
  if (found == names.end() || found->second.empty()) return cleanId;
  return found->second + " (" + cleanId + ")";
}

std::string KnownNames::Resolve(Kind kind, std::string_view idOrName) const {
  const auto& names = All(kind);
  if (names.contains(idOrName)) return std::string(idOrName);
  std::string match;
  for (const auto& [id, name] : names) {
    if (name != idOrName) continue;
    if (!match.empty()) return std::string(idOrName);
    match = id;
  }
  return match.empty() ? std::string(idOrName) : match;
}

std::string DefaultNamesFile(std::string_view server, int port) {
  std::string base = Environment("XDG_STATE_HOME");
  if (base.empty()) {
    const std::string home = Environment("HOME");
    if (home.empty()) return "";
    base = home + "/.local/state";
  }
  return base + "/vnqctl/" + FileNamePart(server) + "-" + std::to_string(port) + ".names";
}

}  // namespace vnq
