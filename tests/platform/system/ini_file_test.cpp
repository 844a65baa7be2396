#include "platform/system/ini_file.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include "tests/platform/system/temporary_folder.h"

namespace vnq {
namespace {

std::optional<std::string> Value(std::string_view bytes, std::string_view section = "s",
                                 std::string_view key = "k") {
  return IniData::Parse(bytes).Find(section, key);
}

TEST(IniData, ValueIsFoundBySectionAndKey) {
  const IniData data = IniData::Parse("[a]\r\nk=1\r\n\r\n[b]\nk=2\nl=3");
  EXPECT_EQ(data.Find("a", "k"), "1");
  EXPECT_EQ(data.Find("b", "k"), "2");
  EXPECT_EQ(data.Find("b", "l"), "3");
  EXPECT_EQ(data.Find("a", "l"), std::nullopt);
  EXPECT_EQ(data.Find("c", "k"), std::nullopt);
}

TEST(IniData, NamesAreComparedWithoutCase) {
  EXPECT_EQ(Value("[MixedCase]\nKEY=v", "mixedCASE", "Key"), "v");
}

TEST(IniData, FirstKeyAndFirstSectionWin) {
  EXPECT_EQ(Value("[s]\nk=1\nK=2\n[S]\nk=3"), "1");
  EXPECT_EQ(Value("[s]\nother=1\n[t]\nk=2\n[s]\nk=3"), std::nullopt);
}

TEST(IniData, BlanksAroundNamesAndValueGo) {
  EXPECT_EQ(Value("  [ s ]  \n \tk \t= \t a b \t\r\n"), "a b");
}

TEST(IniData, OnePairOfMatchingQuotesGoes) {
  EXPECT_EQ(Value("[s]\nk=\" a \""), " a ");
  EXPECT_EQ(Value("[s]\nk='a'"), "a");
  EXPECT_EQ(Value("[s]\nk=\"\"a\"\""), "\"a\"");
  EXPECT_EQ(Value("[s]\nk=\"a'"), "\"a'");
  EXPECT_EQ(Value("[s]\nk=\""), "\"");
  EXPECT_EQ(Value("[s]\nk=\"\""), "");
}

TEST(IniData, CommentsAndOtherLinesMeanNothing) {
  EXPECT_EQ(Value("[s]\n;k=1\n  ;k=2\nk\n[broken\nk=3;4"), "3;4");
  EXPECT_EQ(Value("k=1\n[s]\n"), std::nullopt);
  EXPECT_EQ(Value(""), std::nullopt);
}

TEST(IniData, ValueMayHoldEqualsSignsAndBrackets) {
  EXPECT_EQ(Value("[s]\nk=a=b[c]"), "a=b[c]");
}

TEST(IniData, Utf8MarkAtTheStartGoes) {
  EXPECT_EQ(Value("\xEF\xBB\xBF[s]\nk=1"), "1");
}

TEST(IniData, EmptyValueIsAValue) {
  EXPECT_EQ(Value("[s]\nk="), "");
}

class IniReading : public testing::Test {
 protected:
  std::string ReadValue(std::string_view value) {
    const std::string file = folder_.Write("a.ini", "[s]\nk=" + std::string(value) + "\n");
    return reader_.ReadBytes(file, "s", "k");
  }

  TemporaryFolder folder_;
  IniReader reader_;
};

TEST_F(IniReading, LongValueIsCutTo127Bytes) {
  EXPECT_EQ(ReadValue(std::string(130, 'x')), std::string(127, 'x'));
  EXPECT_EQ(ReadValue(std::string(127, 'y')), std::string(127, 'y'));
}

TEST_F(IniReading, CutMayFallInsideADoubleByteCharacter) {
  std::string value;
  for (int i = 0; i < 65; ++i) value += "\xD6\xD0";
  EXPECT_EQ(ReadValue(value), value.substr(0, 127));
}

TEST_F(IniReading, QuotesGoBeforeTheCut) {
  EXPECT_EQ(ReadValue("\"" + std::string(127, 'x') + "\""), std::string(127, 'x'));
}

TEST_F(IniReading, TrailingSpacesAreTrimmed) {
  EXPECT_EQ(ReadValue("  abc   "), "abc");
  EXPECT_EQ(ReadValue("\"  abc  \""), "abc");
  EXPECT_EQ(ReadValue(std::string(120, 'x') + std::string(10, ' ') + "y"), std::string(120, 'x'));
}

TEST_F(IniReading, ValueEndsAtTheFirstNul) {
  EXPECT_EQ(ReadValue(std::string_view("ab \0cd", 6)), "ab");
}

TEST_F(IniReading, CaseOfAValueIsKept) {
  EXPECT_EQ(ReadValue("Access"), "Access");
}

TEST_F(IniReading, MissingFileSectionOrKeyGivesTheEmptyText) {
  EXPECT_EQ(reader_.ReadBytes(folder_ / "none.ini", "s", "k"), "");
  EXPECT_EQ(reader_.ReadBytes(folder_.path(), "s", "k"), "");
  const std::string file = folder_.Write("a.ini", "[s]\nk=1\n");
  EXPECT_EQ(reader_.ReadBytes(file, "t", "k"), "");
  EXPECT_EQ(reader_.ReadBytes(file, "s", "l"), "");
}

TEST_F(IniReading, PipeIsNotWaitedFor) {
  const std::string pipe = folder_ / "pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_EQ(reader_.ReadBytes(pipe, "s", "k"), "");
}

TEST_F(IniReading, EditTakesEffectAtTheNextRead) {
  for (int i = 0; i < 50; ++i) EXPECT_EQ(ReadValue(std::to_string(i % 10)), std::to_string(i % 10));
}

TEST_F(IniReading, OldFileIsReadAgainWhenItIsReplaced) {
  EXPECT_EQ(ReadValue("1"), "1");
  const std::string other = folder_.Write("b.ini", "[s]\nk=2\n");
  std::filesystem::rename(other, folder_ / "a.ini");
  EXPECT_EQ(reader_.ReadBytes(folder_ / "a.ini", "s", "k"), "2");
  std::filesystem::remove(folder_ / "a.ini");
  EXPECT_EQ(reader_.ReadBytes(folder_ / "a.ini", "s", "k"), "");
}

TEST_F(IniReading, WithoutADescriptorLeftWhatWasReadBeforeStays) {
  EXPECT_EQ(ReadValue("old"), "old");
  const std::string file = folder_.Write("a.ini", "[s]\nk=edited\n");
  rlimit before{};
  getrlimit(RLIMIT_NOFILE, &before);
  const rlimit none{0, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &none);
  const std::string meanwhile = reader_.ReadBytes(file, "s", "k");
  setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_EQ(meanwhile, "old");
  EXPECT_EQ(reader_.ReadBytes(file, "s", "k"), "edited");
}

}  // namespace
}  // namespace vnq
