#include "platform/system/paths.h"

#include <gtest/gtest.h>

#include "tests/platform/system/temporary_folder.h"

namespace vnq {
namespace {

class Paths : public testing::Test {
 protected:
  std::string Map(std::string_view path) const { return PathMapper().Map(path); }

  TemporaryFolder folder_;
};

TEST_F(Paths, BackslashesAreSeparators) {
  const std::string file = folder_.Write("Web/Data/DataBase.ini", "");
  EXPECT_EQ(Map(folder_.path() + "\\Web\\Data\\DataBase.ini"), file);
  EXPECT_EQ(Map(folder_.path() + "\\Web/Data\\DataBase.ini"), file);
}

TEST_F(Paths, ComponentsAreFoundInAnyCase) {
  const std::string file = folder_.Write("MyPic/Äpfel.JPG", "");
  EXPECT_EQ(Map(folder_.path() + "\\Mypic\\äPFEL.jpg"), file);
  EXPECT_EQ(Map(folder_.path() + "\\mYPIC\\"), folder_ / "MyPic/");
}

TEST_F(Paths, ExactSpellingComesFirst) {
  const std::string upper = folder_.Write("A.TXT", "");
  const std::string lower = folder_.Write("a.txt", "");
  EXPECT_EQ(Map(folder_.path() + "\\a.txt"), lower);
  EXPECT_EQ(Map(folder_.path() + "\\A.TXT"), upper);
  EXPECT_EQ(Map(folder_.path() + "\\A.txt"), upper);
}

TEST_F(Paths, WhatDoesNotExistStaysAsSpelt) {
  folder_.Write("Web/x", "");
  EXPECT_EQ(Map(folder_.path() + "\\web\\New\\File.txt"), folder_ / "Web/New/File.txt");
}

TEST_F(Paths, DoubledSeparatorsCountOnce) {
  const std::string file = folder_.Write("Language/lang.ini", "");
  EXPECT_EQ(Map(folder_.path() + "\\Language\\\\lang.ini"), file);
}

TEST_F(Paths, LeadingSeparatorIsTheRoot) {
  EXPECT_EQ(Map("\\no_such_folder_of_ours\\im"), "/no_such_folder_of_ours/im");
  EXPECT_EQ(Map("/no_such_folder_of_ours/im"), "/no_such_folder_of_ours/im");
  EXPECT_EQ(Map("\\"), "/");
}

TEST_F(Paths, PathWithoutLeadingSeparatorStaysRelative) {
  EXPECT_EQ(Map("no_such_folder_of_ours\\X"), "no_such_folder_of_ours/X");
}

TEST_F(Paths, DriveLetterIsItsFolder) {
  const std::string file = folder_.Write("IM/a.txt", "");
  const PathMapper mapper({{"D", folder_.path()}, {"E", folder_.path() + "/"}});
  EXPECT_EQ(mapper.Map("D:\\im\\A.txt"), file);
  EXPECT_EQ(mapper.Map("d:/im/a.txt"), file);
  EXPECT_EQ(mapper.Map("e:\\IM\\a.txt"), file);
  EXPECT_EQ(mapper.Map("D:"), folder_.path());
  EXPECT_EQ(mapper.Map("D:\\"), folder_.path() + "/");
}

TEST_F(Paths, DriveLetterWithoutAFolderNamesNothing) {
  EXPECT_EQ(PathMapper().Map("D:\\x"), "");
  const PathMapper mapper(std::map<std::string, std::string>{{"D", "/srv"}});
  EXPECT_EQ(mapper.Map("F:\\x"), "");
}

TEST_F(Paths, EmptyPathAndNulNameNothing) {
  EXPECT_EQ(Map(""), "");
  EXPECT_EQ(Map(std::string_view("/etc\0x", 6)), "");
}

TEST_F(Paths, NamesThatAreNoUtf8AreKeptApart) {
  folder_.Write("a\xFE", "");
  EXPECT_EQ(Map(folder_.path() + "\\A\xFF"), folder_ / "A\xFF");
  EXPECT_EQ(Map(folder_.path() + "\\A\xFE"), folder_ / "a\xFE");
}

}  // namespace
}  // namespace vnq
