#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "platform/system/code_page.h"
#include "platform/system/ini_file.h"
#include "tools/folder/shipped_texts.h"

namespace vnq {
namespace {

/// A language file, with the code pages that its deployments may use.
struct Language {
  const char* folder;
  std::vector<int> codePages;
};

const std::vector<Language>& Languages() {
  static const std::vector<Language> languages = {{"English", {1252, 936, 950}},
                                                  {"Chinese_Simplified", {936}},
                                                  {"Chinese_Traditional", {950, 936}}};
  return languages;
}

/// Every key that the server reads in the section IndexForm.
std::vector<std::string> IndexFormKeys() {
  std::vector<std::string> keys;
  const std::vector<std::pair<int, int>> ranges = {
      {2, 2},     {13, 14},   {21, 22},   {36, 36},   {38, 38},   {41, 42},   {53, 54},
      {56, 76},   {80, 84},   {99, 100},  {102, 103}, {107, 107}, {112, 113}, {263, 264},
      {268, 268}, {270, 270}, {283, 289}, {291, 291}, {295, 301}, {304, 306}, {309, 312}};
  for (const auto& [first, last] : ranges) {
    for (int key = first; key <= last; ++key) keys.push_back("im" + std::to_string(key));
  }
  return keys;
}

class LanguageFiles : public ::testing::TestWithParam<Language> {
 protected:
  std::string Text(std::string_view section, const std::string& key) const {
    return data_.Find(section, key).value_or("");
  }

  void ExpectGoodText(std::string_view section, const std::string& key) const {
    const std::string text = Text(section, key);
    EXPECT_FALSE(text.empty()) << section << "." << key;
    // A bar, a record's beginning or a quote would break a record or a statement that carries the
    // text.
    EXPECT_EQ(text.find('|'), std::string::npos) << text;
    EXPECT_EQ(text.find(".+"), std::string::npos) << text;
    EXPECT_EQ(text.find('\''), std::string::npos) << text;
    for (int number : GetParam().codePages) {
      const auto page = CodePage::Open(number);
      ASSERT_TRUE(page) << number;
      EXPECT_TRUE(page->Holds(text)) << text << " in " << number;
      EXPECT_LE(page->ToBytes(text).size(), kIniValueBytes) << text << " in " << number;
      EXPECT_EQ(page->FromBytes(page->ToBytes(text)), text) << number;
    }
  }

  IniData data_ = IniData::Parse(ShippedLanguageFile(GetParam().folder));
};

TEST_P(LanguageFiles, HoldEveryTextWithinItsLimits) {
  for (const std::string& key : IndexFormKeys()) ExpectGoodText("IndexForm", key);
  for (const char* key : {"im2", "im3"}) ExpectGoodText("PcTelnet", key);
}

TEST_P(LanguageFiles, FitTheirCodePagesWhole) {
  const std::string_view file = ShippedLanguageFile(GetParam().folder);
  EXPECT_FALSE(file.empty());
  for (int number : GetParam().codePages)
    EXPECT_TRUE(CodePage::Open(number)->Holds(file)) << number;
}

TEST_P(LanguageFiles, ReadTheSameAfterTheCodePage) {
  for (int number : GetParam().codePages) {
    const auto page = CodePage::Open(number);
    const IniData data = IniData::Parse(page->ToBytes(ShippedLanguageFile(GetParam().folder)));
    for (const std::string& key : IndexFormKeys()) {
      EXPECT_EQ(page->FromBytes(data.Find("IndexForm", key).value_or("")), Text("IndexForm", key));
    }
  }
}

TEST_P(LanguageFiles, LabelsOfDifferentThingsDiffer) {
  EXPECT_NE(Text("IndexForm", "im309"), Text("IndexForm", "im310"));
  EXPECT_NE(Text("IndexForm", "im283"), Text("IndexForm", "im284"));
}

INSTANTIATE_TEST_SUITE_P(All, LanguageFiles, ::testing::ValuesIn(Languages()),
                         [](const auto& language) { return std::string(language.param.folder); });

TEST(ShippedLanguageFile, IsEmptyForAnUnknownName) {
  EXPECT_TRUE(ShippedLanguageFile("").empty());
  EXPECT_TRUE(ShippedLanguageFile("German").empty());
}

}  // namespace
}  // namespace vnq
