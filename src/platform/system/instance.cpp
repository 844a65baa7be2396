#include "platform/system/instance.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/file.h>
#include <unistd.h>

#include "platform/system/file_access.h"

namespace vnq {
namespace {

int OpenLockFile(const std::string& path) {
  const int made = open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
  if (made >= 0) GiveToFolderOwner(path);
  if (made >= 0 || errno != EEXIST) return made;
  const int descriptor = open(path.c_str(), O_RDWR | O_CLOEXEC);
  if (descriptor >= 0 || errno != EACCES) return descriptor;
  return open(path.c_str(), O_RDONLY | O_CLOEXEC);
}

}  // namespace

InstanceLock::~InstanceLock() {
  if (descriptor_ >= 0) close(descriptor_);
}

InstanceLock::Result InstanceLock::Acquire(const std::string& path, std::string& error) {
  descriptor_ = OpenLockFile(path);
  if (descriptor_ < 0) {
    error = path + ": " + strerror(errno);
    return Result::kError;
  }
  if (flock(descriptor_, LOCK_EX | LOCK_NB) == 0) return Result::kHeld;
  if (errno == EWOULDBLOCK) return Result::kOtherInstance;
  error = path + ": " + strerror(errno);
  return Result::kError;
}

}  // namespace vnq
