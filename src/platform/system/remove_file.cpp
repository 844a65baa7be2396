#include "platform/system/remove_file.h"

#include <fcntl.h>
#include <unistd.h>

namespace vnq {
namespace {

class Folder {
 public:
  explicit Folder(int descriptor) : descriptor_(descriptor) {}
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() { Replace(-1); }

  void Replace(int descriptor) {
    if (descriptor_ >= 0) close(descriptor_);
    descriptor_ = descriptor;
  }
  int descriptor() const { return descriptor_; }
  bool IsOpen() const { return descriptor_ >= 0; }

 private:
  int descriptor_;
};

constexpr int kOpenFolder = O_PATH | O_DIRECTORY | O_CLOEXEC;

}  // namespace

bool RemoveFileBelow(const std::string& folder, std::string_view path) {
  if (path.find('\0') != path.npos) return false;
  Folder at(open(folder.c_str(), kOpenFolder));
  while (at.IsOpen()) {
    const size_t end = path.find('/');
    const std::string name(path.substr(0, end));
    if (name == "..") return false;
    if (end == path.npos) return unlinkat(at.descriptor(), name.c_str(), 0) == 0;
    path.remove_prefix(end + 1);
    if (name.empty() || name == ".") continue;
    at.Replace(openat(at.descriptor(), name.c_str(), kOpenFolder | O_NOFOLLOW));
  }
  return false;
}

}  // namespace vnq
