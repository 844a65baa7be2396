// One instance per folder.
#pragma once

#include <string>

namespace vnq {

/// A lock file held for as long as the object lives; the kernel drops it with the process, however
/// that ends. The file stays and may be anybody's: to read it is enough to hold it, and one that
/// root makes goes to the owner of its folder.
class InstanceLock {
 public:
  InstanceLock() = default;
  ~InstanceLock();
  InstanceLock(const InstanceLock&) = delete;
  InstanceLock& operator=(const InstanceLock&) = delete;

  enum class Result { kHeld, kOtherInstance, kError };

  /// Takes the lock without waiting. kError: the file cannot be made, and `error` says why.
  Result Acquire(const std::string& path, std::string& error);

 private:
  int descriptor_ = -1;
};

}  // namespace vnq
