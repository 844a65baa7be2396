// A program folder for tests.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace vnq {

/// A program's folder that is empty at first and goes with the test.
class AppFolder {
 public:
  AppFolder() {
    const auto* test = ::testing::UnitTest::GetInstance()->current_test_info();
    std::string name = std::string(test->test_suite_name()) + "_" + test->name();
    std::replace(name.begin(), name.end(), '/', '_');  // of a test with a parameter
    path_ = ::testing::TempDir() + "vnq_" + name;
    std::filesystem::remove_all(path_);
    std::filesystem::create_directories(path_);
  }
  ~AppFolder() { std::filesystem::remove_all(path_); }
  AppFolder(const AppFolder&) = delete;
  AppFolder& operator=(const AppFolder&) = delete;

  const std::string& path() const { return path_; }

  /// Writes a file below the folder, with the folders that it needs.
  void Write(const std::string& name, std::string_view bytes) const {
    const std::filesystem::path file = std::filesystem::path(path_) / name;
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::binary) << bytes;
  }

  std::string ReadBytes(const std::string& name) const {
    std::ifstream file(std::filesystem::path(path_) / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  bool Has(const std::string& name) const {
    return std::filesystem::exists(std::filesystem::path(path_) / name);
  }

 private:
  std::string path_;
};

}  // namespace vnq
