#include "support/utf16.h"

#include <gtest/gtest.h>

#include <random>

namespace vnq {
namespace {

TEST(Utf16, TextConvertsBothWays) {
  EXPECT_EQ(Utf8ToUtf16("aé中😀"), u"aé中😀");
  EXPECT_EQ(Utf16ToUtf8(u"aé中😀"), "aé中😀");
  EXPECT_EQ(Utf8ToUtf16(""), u"");
}

TEST(Utf16, LoneSurrogateIsThreeBytes) {
  EXPECT_EQ(Utf16ToUtf8(std::u16string{0xD83D, u'a', 0xDE00}),
            "\xED\xA0\xBD"
            "a"
            "\xED\xB8\x80");
  EXPECT_EQ(Utf8ToUtf16("\xED\xA0\xBD"
                        "a"),
            (std::u16string{0xD83D, u'a'}));
}

TEST(Utf16, HalvesThatMeetBecomeOneCharacter) {
  EXPECT_EQ(Utf16ToUtf8(Utf8ToUtf16("\xED\xA0\xBD\xED\xB8\x80")), "😀");
}

TEST(Utf16, BytesThatAreNoUtf8ReadAsReplacementCharacters) {
  EXPECT_EQ(Utf8ToUtf16("a\xFFz"), u"a\uFFFDz");
  EXPECT_EQ(Utf8ToUtf16("\x80"), u"\uFFFD");
  EXPECT_EQ(Utf8ToUtf16("\xC1\xBF"), u"\uFFFD\uFFFD");
  EXPECT_EQ(Utf8ToUtf16("\xE4\xB8z"), u"\uFFFDz");
  EXPECT_EQ(Utf8ToUtf16("\xE0\x80\x80"), u"\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(Utf8ToUtf16("\xF4\x90\x80\x80"), u"\uFFFD\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(Utf8ToUtf16("\xF0\x9F\x98"), u"\uFFFD");
}

TEST(Utf16, EveryUnitSurvivesTheRoundTrip) {
  for (unsigned unit = 0; unit < 0x10000; ++unit) {
    const std::u16string units{static_cast<char16_t>(unit), u'x'};
    ASSERT_EQ(Utf8ToUtf16(Utf16ToUtf8(units)), units);
  }
}

TEST(Utf16, AnyBytesReadWithoutHarmAndTheResultIsStable) {
  std::mt19937 random(1);
  for (int i = 0; i < 20000; ++i) {
    std::string bytes;
    for (size_t n = random() % 12; n > 0; --n)
      bytes.push_back(static_cast<char>(random() % 4 == 0 ? 'a' : 0x80 + random() % 128));
    const std::u16string units = Utf8ToUtf16(bytes);
    ASSERT_EQ(Utf8ToUtf16(Utf16ToUtf8(units)), units);
    ASSERT_EQ(Utf16Length(bytes), units.size());
    for (size_t count = 0; count < units.size() + 2; ++count) {
      ASSERT_EQ(Utf8ToUtf16(FirstCharacters(bytes, count)), units.substr(0, count));
    }
  }
}

TEST(Utf16, LengthCountsPairsAsTwo) {
  EXPECT_EQ(Utf16Length(""), 0U);
  EXPECT_EQ(Utf16Length("a中"), 2U);
  EXPECT_EQ(Utf16Length("a😀"), 3U);
}

TEST(Utf16, FirstCharactersCutBySixteenBits) {
  EXPECT_EQ(FirstCharacters("中文字", 2), "中文");
  EXPECT_EQ(FirstCharacters("中文字", 40), "中文字");
  EXPECT_EQ(FirstCharacters("a😀b", 3), "a😀");
  EXPECT_EQ(FirstCharacters("a😀b", 2), "a\xED\xA0\xBD");
  EXPECT_EQ(FirstCharacters("abc", 0), "");
}

}  // namespace
}  // namespace vnq
