#include "platform/system/file_access.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "tests/harness/app_folder.h"
#include "tests/harness/as_nobody.h"

namespace vnq {
namespace {

using testing::AllOf;
using testing::HasSubstr;

class FileAccess : public ::testing::Test {
 protected:
  FileAccess() { folder_.Write("a/file", "x"); }
  std::string Path(const std::string& name) const { return folder_.path() + "/" + name; }

  AppFolder folder_;
};

TEST_F(FileAccess, WhatCanBeReadAndWhatIsMissingHaveNoFault) {
  EXPECT_EQ(ReadFault(Path("a/file")), "");
  EXPECT_EQ(WriteFault(Path("a/file")), "");
  EXPECT_EQ(ReadFault(Path("a/none")), "");
  EXPECT_EQ(ReadFault(Path("none/file")), "");
  EXPECT_EQ(ReadFault(Path("a/file/below")), "");
}

TEST_F(FileAccess, UnreadableFileIsToldWithTheUserToRunAs) {
  chmod(Path("a/file").c_str(), 0);
  const std::string fault = AsNobody([&] { return ReadFault(Path("a/file")); });
  EXPECT_THAT(fault, HasSubstr(Path("a/file") + " cannot be read by user "));
  EXPECT_THAT(fault, HasSubstr("(Permission denied)"));
  if (geteuid() != 0) return;
  EXPECT_THAT(fault, HasSubstr("run this as user root, who owns " + Path("a/file")));
}

TEST_F(FileAccess, FolderThatLetsNobodyInIsNamedAsTheObstacle) {
  chmod(Path("a").c_str(), geteuid() == 0 ? 0700 : 0);
  const std::string fault = AsNobody([&] { return ReadFault(Path("a/file")); });
  chmod(Path("a").c_str(), 0700);
  EXPECT_THAT(fault, HasSubstr(Path("a/file") + " cannot be read by user "));
  if (geteuid() != 0) return;
  EXPECT_THAT(fault, HasSubstr("who owns " + Path("a") + ","));
}

TEST_F(FileAccess, FileThatCannotBeWrittenIsTold) {
  chmod(Path("a/file").c_str(), 0444);
  EXPECT_THAT(AsNobody([&] { return WriteFault(Path("a/file")); }),
              HasSubstr("cannot be written by user "));
}

TEST_F(FileAccess, FolderInAFilesPlaceIsNoFile) {
  EXPECT_EQ(ReadFault(Path("a")), Path("a") + " is not a file");
}

TEST_F(FileAccess, FoldersAreToldFromFilesAndFromNothing) {
  EXPECT_EQ(FolderFault(Path("a")), "");
  EXPECT_EQ(FolderFault(Path("a/file")), Path("a/file") + ": not a folder");
  EXPECT_EQ(FolderFault(Path("b")), Path("b") + ": no such folder");
}

TEST_F(FileAccess, WhatRootMakesGoesToTheOwnerOfItsFolder) {
  if (geteuid() != 0) GTEST_SKIP() << "only root gives files away";
  ASSERT_EQ(chown(Path("a").c_str(), kNobody, kNobody), 0);
  GiveToFolderOwner(Path("a/file"));
  struct stat state {};
  ASSERT_EQ(stat(Path("a/file").c_str(), &state), 0);
  EXPECT_EQ(state.st_uid, kNobody);
}

}  // namespace
}  // namespace vnq
