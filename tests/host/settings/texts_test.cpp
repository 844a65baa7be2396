#include "host/settings/texts.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/harness/app_folder.h"

namespace vnq {
namespace {

constexpr char kEnglishIni[] = "Language/English/lang.ini";

class TextsTest : public ::testing::Test {
 protected:
  std::string ReadLang(int languageId, std::string_view key, int codePage = 936) {
    IniStrings strings(PathMapper(), CodePage::Open(codePage));
    return Texts(strings, folder_.path(), languageId).ReadLang(key);
  }

  AppFolder folder_;
};

TEST(LangIniPath, NamesTheFolderOfTheLanguage) {
  EXPECT_EQ(LangIniPath("/a", 1028), "/a\\Language\\Chinese_Traditional\\lang.ini");
  EXPECT_EQ(LangIniPath("/a", 1033), "/a\\Language\\English\\lang.ini");
  EXPECT_EQ(LangIniPath("/a", 2052), "/a\\Language\\Chinese_Simplified\\lang.ini");
}

TEST(LangIniPath, AnyOtherLanguageHasNoFolder) {
  EXPECT_EQ(LangIniPath("/a", 0), "/a\\Language\\\\lang.ini");
  EXPECT_EQ(LangIniPath("/a", 1031), "/a\\Language\\\\lang.ini");
}

TEST_F(TextsTest, ReadsTheTextOfTheChosenLanguage) {
  folder_.Write(kEnglishIni, "[IndexForm]\nim13=Bye\n");
  folder_.Write("Language/Chinese_Simplified/lang.ini", "[IndexForm]\nim13=\xD4\xD9\xBC\xFB\n");
  EXPECT_EQ(ReadLang(1033, "im13"), "Bye");
  EXPECT_EQ(ReadLang(2052, "im13"), "再见");
}

TEST_F(TextsTest, LanguageWithoutFolderReadsTheFileAboveTheFolders) {
  folder_.Write("Language/lang.ini", "[IndexForm]\nim13=Tschau\n");
  EXPECT_EQ(ReadLang(1031, "im13"), "Tschau");
}

TEST_F(TextsTest, MissingFileGivesTheEmptyText) {
  EXPECT_EQ(ReadLang(1033, "im13"), "");
}

TEST_F(TextsTest, FolderIsFoundInAnyLetterCase) {
  folder_.Write("language/ENGLISH/Lang.ini", "[IndexForm]\nim13=Bye\n");
  EXPECT_EQ(ReadLang(1033, "im13"), "Bye");
}

TEST_F(TextsTest, OnceTurnsAreToldOfAnEditTakesEffectInTheNext) {
  IniStrings strings(PathMapper(), CodePage::Open(936));
  Texts texts(strings, folder_.path(), 1033);
  folder_.Write(kEnglishIni, "[IndexForm]\nim13=Bye\nim14=x\n");
  strings.EndTurn();
  EXPECT_EQ(texts.ReadLang("im13"), "Bye");
  folder_.Write(kEnglishIni, "[IndexForm]\nim13=So long\nim14=y\n");
  EXPECT_EQ(texts.ReadLang("im13"), "Bye");
  strings.EndTurn();
  EXPECT_EQ(texts.ReadLang("im13"), "So long");
  EXPECT_EQ(texts.ReadLang("im14"), "y");
  std::filesystem::remove(folder_.path() + "/" + kEnglishIni);
  strings.EndTurn();
  EXPECT_EQ(texts.ReadLang("im13"), "");
  folder_.Write("Language/English/LANG.INI", "[IndexForm]\nim13=Again\n");
  strings.EndTurn();
  EXPECT_EQ(texts.ReadLang("im13"), "Again");
}

TEST_F(TextsTest, EditTakesEffectAtOnce) {
  IniStrings strings(PathMapper(), CodePage::Open(936));
  Texts texts(strings, folder_.path(), 1033);
  EXPECT_EQ(texts.ReadLang("im13"), "");
  folder_.Write(kEnglishIni, "[IndexForm]\nim13=Bye\n");
  EXPECT_EQ(texts.ReadLang("im13"), "Bye");
  folder_.Write(kEnglishIni, "[IndexForm]\nim13=So long\n");
  EXPECT_EQ(texts.ReadLang("im13"), "So long");
}

TEST_F(TextsTest, OtherSectionHasItsOwnKeys) {
  folder_.Write(kEnglishIni, "[IndexForm]\nim2=a\n[PcTelnet]\nim2=b\n");
  IniStrings strings(PathMapper(), CodePage::Open(936));
  Texts texts(strings, folder_.path(), 1033);
  EXPECT_EQ(texts.ReadLang("im2"), "a");
  EXPECT_EQ(texts.ReadLang("PcTelnet", "im2"), "b");
}

TEST_F(TextsTest, ValueOf130BytesIsCutTo127) {
  folder_.Write(kEnglishIni, "[IndexForm]\nim13=" + std::string(130, 'x') + "\n");
  EXPECT_EQ(ReadLang(1033, "im13"), std::string(127, 'x'));
}

TEST_F(TextsTest, CutInsideACharacterDoesNotLoseTheRest) {
  std::string bytes = "x";
  for (int i = 0; i < 64; ++i) bytes += "\xD4\xD9";
  folder_.Write(kEnglishIni, "[IndexForm]\nim13=" + bytes + "\n");
  std::string whole = "x";
  for (int i = 0; i < 63; ++i) whole += "再";
  EXPECT_EQ(ReadLang(1033, "im13"), whole);
}

TEST_F(TextsTest, BlanksAtBothEndsAreTrimmed) {
  folder_.Write(kEnglishIni, "[IndexForm]\nim13=  \" Bye \"  \n");
  EXPECT_EQ(ReadLang(1033, "im13"), "Bye");
}

}  // namespace
}  // namespace vnq
