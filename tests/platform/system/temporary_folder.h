// A folder of its own for one test, removed with all that is in it.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

namespace vnq {

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vnq_test_XXXXXX").string();
    if (mkdtemp(pattern.data()) != nullptr) path_ = pattern;
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }

  const std::string& path() const { return path_; }
  std::string operator/(std::string_view name) const { return path_ + "/" + std::string(name); }

  /// Writes a file below the folder, with the folders in front of it.
  std::string Write(std::string_view name, std::string_view content) const {
    const std::string file = *this / name;
    std::filesystem::create_directories(std::filesystem::path(file).parent_path());
    std::ofstream(file, std::ios::binary) << content;
    return file;
  }

 private:
  std::string path_;
};

}  // namespace vnq
