#include "platform/system/file_access.h"

#include <errno.h>
#include <fcntl.h>
#include <pwd.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

namespace vnq {
namespace {

std::string ParentOf(const std::string& path) {
  const std::string parent = std::filesystem::path(path).parent_path().string();
  return parent.empty() ? "." : parent;
}

// The file itself, or the folder on the way to it that lets nobody look further.
std::string WhatBars(std::string path, struct stat& state) {
  while (stat(path.c_str(), &state) != 0) {
    const std::string parent = ParentOf(path);
    if (parent == path) break;
    path = parent;
  }
  return path;
}

std::string Refusal(const std::string& path, const char* use) {
  struct stat state {};
  const std::string barrier = WhatBars(path, state);
  const std::string me = UserName(geteuid()), owner = UserName(state.st_uid);
  std::string fault =
      path + " cannot be " + use + " by user " + me + " (" + strerror(EACCES) + "); ";
  if (owner != me) {
    fault += "run this as user " + owner + ", who owns " + barrier + ", or ";
  }
  return fault + "give user " + me + " the right to it";
}

// What errno says about a path; empty for one where there is nothing.
std::string FaultOf(int code, const std::string& path, const char* use) {
  if (code == ENOENT || code == ENOTDIR) return "";
  return code == EACCES ? Refusal(path, use) : path + ": " + strerror(code);
}

}  // namespace

std::string UserName(uid_t user) {
  const passwd* entry = getpwuid(user);
  return entry == nullptr ? std::to_string(user) : entry->pw_name;
}

std::string ReadFault(const std::string& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor < 0) return FaultOf(errno, path, "read");
  struct stat state {};
  const bool isFile = fstat(descriptor, &state) == 0 && S_ISREG(state.st_mode);
  close(descriptor);
  return isFile ? "" : path + " is not a file";
}

std::string WriteFault(const std::string& path) {
  if (faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0) return "";
  return FaultOf(errno, path, "written");
}

std::string FolderFault(const std::string& path) {
  struct stat state {};
  if (stat(path.c_str(), &state) == 0) return S_ISDIR(state.st_mode) ? "" : path + ": not a folder";
  return errno == EACCES ? Refusal(path, "looked at") : path + ": no such folder";
}

void GiveToFolderOwner(const std::string& path) {
  struct stat folder {};
  if (geteuid() != 0 || stat(ParentOf(path).c_str(), &folder) != 0 || folder.st_uid == 0) return;
  // A file that stays root's works where others may use it, too.
  [[maybe_unused]] const int result = lchown(path.c_str(), folder.st_uid, folder.st_gid);
}

}  // namespace vnq
