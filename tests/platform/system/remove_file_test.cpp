#include "platform/system/remove_file.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/harness/app_folder.h"

namespace vnq {
namespace {

namespace fs = std::filesystem;

class RemoveFile : public ::testing::Test {
 protected:
  RemoveFile() {
    folder_.Write("in/a.jpg", "a");
    folder_.Write("in/sub/b.jpg", "b");
    folder_.Write("out.jpg", "c");
  }
  bool Remove(std::string_view path) { return RemoveFileBelow(folder_.path() + "/in", path); }

  AppFolder folder_;
};

TEST_F(RemoveFile, FileInTheFolderGoes) {
  EXPECT_TRUE(Remove("a.jpg"));
  EXPECT_FALSE(folder_.Has("in/a.jpg"));
  EXPECT_FALSE(Remove("a.jpg"));
}

TEST_F(RemoveFile, FileInAFolderBelowGoes) {
  EXPECT_TRUE(Remove("/./sub//b.jpg"));
  EXPECT_FALSE(folder_.Has("in/sub/b.jpg"));
}

TEST_F(RemoveFile, DotsAreRefusedEvenWhereTheyStayInside) {
  for (const char* path : {"../out.jpg", "sub/../../out.jpg", "sub/../a.jpg", "..", "sub/.."}) {
    EXPECT_FALSE(Remove(path)) << path;
  }
  EXPECT_TRUE(folder_.Has("out.jpg"));
  EXPECT_TRUE(folder_.Has("in/a.jpg"));
}

TEST_F(RemoveFile, LinkOnTheWayIsNotFollowed) {
  fs::create_directory_symlink(folder_.path(), folder_.path() + "/in/up");
  fs::create_directory_symlink("sub", folder_.path() + "/in/same");
  EXPECT_FALSE(Remove("up/out.jpg"));
  EXPECT_FALSE(Remove("same/b.jpg"));
  EXPECT_TRUE(folder_.Has("out.jpg"));
  EXPECT_TRUE(folder_.Has("in/sub/b.jpg"));
}

TEST_F(RemoveFile, LinkItselfGoesAndItsTargetStays) {
  fs::create_symlink(folder_.path() + "/out.jpg", folder_.path() + "/in/link.jpg");
  EXPECT_TRUE(Remove("link.jpg"));
  EXPECT_TRUE(folder_.Has("out.jpg"));
}

TEST_F(RemoveFile, FoldersAndEmptyPathsAreLeft) {
  for (const char* path : {"sub", "sub/", "", ".", "/"}) EXPECT_FALSE(Remove(path)) << path;
  EXPECT_TRUE(folder_.Has("in/sub/b.jpg"));
}

TEST_F(RemoveFile, NulInThePathIsRefused) {
  EXPECT_FALSE(Remove(std::string_view("a.jpg\0x", 7)));
  EXPECT_TRUE(folder_.Has("in/a.jpg"));
}

TEST_F(RemoveFile, MissingFolderIsNoFailure) {
  EXPECT_FALSE(RemoveFileBelow(folder_.path() + "/none", "a.jpg"));
}

}  // namespace
}  // namespace vnq
