#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "tools/client/known_names.h"

namespace vnq {
namespace {

namespace fs = std::filesystem;
using Kind = KnownNames::Kind;

class KnownNamesTest : public testing::Test {
 protected:
  KnownNamesTest() {
    char folder[] = "/tmp/vnq_names_XXXXXX";
    folder_ = mkdtemp(folder);
  }
  ~KnownNamesTest() override { fs::remove_all(folder_); }

  std::string File() const { return (folder_ / "state" / "names").string(); }

  fs::path folder_;
};

TEST_F(KnownNamesTest, WhatIsSavedIsReadBack) {
  std::string error;
  KnownNames names(File());
  names.Learn(Kind::kUser, "10001", "王 五");
  names.Learn(Kind::kUser, "10002", "");
  names.Learn(Kind::kGroup, "5", "组");
  ASSERT_TRUE(names.Save(error)) << error;
  KnownNames read(File());
  read.Load();
  EXPECT_EQ(read.All(Kind::kUser), names.All(Kind::kUser));
  EXPECT_EQ(read.All(Kind::kGroup), names.All(Kind::kGroup));
}

TEST_F(KnownNamesTest, FileIsTheOwnersAloneAndNoOtherFileStays) {
  std::string error;
  KnownNames names(File());
  names.Learn(Kind::kUser, "1", "a");
  ASSERT_TRUE(names.Save(error));
  struct stat info {};
  ASSERT_EQ(stat(File().c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777U, 0600U);
  const fs::directory_iterator files(fs::path(File()).parent_path());
  EXPECT_EQ(std::distance(begin(files), end(files)), 1);
}

TEST_F(KnownNamesTest, NothingNewWritesNothing) {
  std::string error;
  KnownNames names(File());
  EXPECT_TRUE(names.Save(error));
  EXPECT_FALSE(fs::exists(File()));
}

TEST_F(KnownNamesTest, FailureIsNamed) {
  std::string error;
  KnownNames names(folder_.string());
  names.Learn(Kind::kUser, "1", "a");
  EXPECT_FALSE(names.Save(error));
  EXPECT_NE(error.find(folder_.string()), std::string::npos);
}

TEST_F(KnownNamesTest, StrangeLinesArePassedOver) {
  fs::create_directories(fs::path(File()).parent_path());
  std::ofstream(File()) << "\n\t\nuser\nuser\t7\nother\t1\tx\nuser\t8\tgood\nuser\t\tnone\n";
  KnownNames names(File());
  names.Load();
  EXPECT_EQ(names.All(Kind::kUser).size(), 1U);
  EXPECT_EQ(names.Label(Kind::kUser, "8"), "good (8)");
}

TEST_F(KnownNamesTest, EmptyNameLeavesTheKnownOne) {
  KnownNames names;
  names.Learn(Kind::kUser, "7", "a");
  names.Learn(Kind::kUser, "7", "");
  EXPECT_EQ(names.Label(Kind::kUser, "7"), "a (7)");
}

TEST_F(KnownNamesTest, LineBreaksOfARecordCannotForgeALine) {
  KnownNames names;
  names.Learn(Kind::kUser, "7", "a\nuser\t8\tb");
  EXPECT_EQ(names.Label(Kind::kUser, "7"), "a user 8 b (7)");
}

TEST_F(KnownNamesTest, NameThatTwoHaveResolvesToNeither) {
  KnownNames names;
  names.Learn(Kind::kUser, "7", "Li");
  EXPECT_EQ(names.Resolve(Kind::kUser, "Li"), "7");
  names.Learn(Kind::kUser, "8", "Li");
  EXPECT_EQ(names.Resolve(Kind::kUser, "Li"), "Li");
}

TEST_F(KnownNamesTest, StrangersCannotFillTheMemory) {
  KnownNames names;
  for (int i = 0; i < 20'000; ++i) names.Learn(Kind::kUser, std::to_string(i), "");
  EXPECT_EQ(names.All(Kind::kUser).size(), KnownNames::kMaxIds);
}

}  // namespace
}  // namespace vnq
