#include "support/text_codecs.h"

#include <gtest/gtest.h>

#include <random>

#include "support/utf16.h"
#include "tests/support/latin_text.h"

namespace vnq {
namespace {

const LatinText kPage;

TEST(EscapeText, LettersDigitsAndNineMarksAreKept) {
  const std::string kept = "0123456789abcxyzABCXYZ-_.!~*'()";
  EXPECT_EQ(EscapeText(kept), kept);
  EXPECT_EQ(EscapeText(""), "");
}

TEST(EscapeText, BlankAndOtherAsciiTakeTheShortForm) {
  EXPECT_EQ(EscapeText(" "), "%20");
  EXPECT_EQ(EscapeText("%|#+/\n"), "%25%7C%23%2B%2F%0A");
  EXPECT_EQ(EscapeText(std::string_view("\0", 1)), "%00");
  EXPECT_EQ(EscapeText("@[`{"), "%40%5B%60%7B");
}

TEST(EscapeText, ChineseTakesTheLongForm) {
  EXPECT_EQ(EscapeText("中"), "%u4E2D");
}

TEST(EscapeText, YWithDiaeresisTakesTheLongForm) {
  EXPECT_EQ(EscapeText("þ"), "%FE");
  EXPECT_EQ(EscapeText("ÿ"), "%u00FF");
  EXPECT_EQ(EscapeText("Ā"), "%u0100");
}

TEST(EscapeText, CharactersAbove8000HexTakeFourDigits) {
  EXPECT_EQ(EscapeText("\xE8\x80\x80"), "%u8000");
  EXPECT_EQ(EscapeText("\xEF\xBF\xBF"), "%uFFFF");
}

TEST(EscapeText, CharacterAboveTheFirstPlaneIsTwoEscapes) {
  EXPECT_EQ(EscapeText("😀"), "%uD83D%uDE00");
  EXPECT_EQ(EscapeText("\xED\xB8\x80"), "%uDE00");
}

TEST(EscapeText, EveryTextWithoutPercentReadsBack) {
  std::mt19937 random(1);
  for (int i = 0; i < 5000; ++i) {
    std::u16string units;
    for (size_t n = random() % 20; n > 0; --n) {
      const auto unit =
          static_cast<char16_t>(random() % 2 == 0 ? random() % 256 : random() % 65536);
      if (unit != u'%' && unit != 0x80)
        units.push_back(unit);  // byte 0x80 of the page is the euro sign
    }
    const std::string text = Utf16ToUtf8(units);
    ASSERT_EQ(UnescapeText(kPage, EscapeText(text)), text);
  }
}

TEST(UrlEncodeUtf8, AsciiIsKeptBlankAndPercentIncluded) {
  EXPECT_EQ(UrlEncodeUtf8(""), "");
  EXPECT_EQ(UrlEncodeUtf8("a b"), "a b");
  EXPECT_EQ(UrlEncodeUtf8("100%&x=\x7F"), "100%&x=\x7F");
}

TEST(UrlEncodeUtf8, ChineseTakesThreeBytes) {
  EXPECT_EQ(UrlEncodeUtf8("中"), "%E4%B8%AD");
  EXPECT_EQ(UrlEncodeUtf8("\xE1\x80\x80"), "%E1%80%80");
  EXPECT_EQ(UrlEncodeUtf8("\xEF\xBF\xBF"), "%EF%BF%BF");
}

TEST(UrlEncodeUtf8, ValuesBelow1000HexTakeTwoBytes) {
  EXPECT_EQ(UrlEncodeUtf8("\xC2\x80"), "%C2%80");
  EXPECT_EQ(UrlEncodeUtf8("é"), "%C3%A9");
  EXPECT_EQ(UrlEncodeUtf8("\xE0\xA0\x80"), "%E0%80");  // U+0800: 0x20 OR 0xC0
  EXPECT_EQ(UrlEncodeUtf8("\xE0\xBF\xBF"), "%FF%BF");  // U+0FFF
}

TEST(UrlEncodeUtf8, SurrogatesAreEncodedOneByOne) {
  EXPECT_EQ(UrlEncodeUtf8("😀"), "%ED%A0%BD%ED%B8%80");
}

TEST(UrlDecodeUtf8, PlusIsABlankAndTheRestIsCopied) {
  EXPECT_EQ(UrlDecodeUtf8(""), "");
  EXPECT_EQ(UrlDecodeUtf8("a+b中"), "a b中");
}

TEST(UrlDecodeUtf8, ShortAndThreeByteFormsAreRead) {
  EXPECT_EQ(UrlDecodeUtf8("%41%2B%25%7f"), "A+%\x7F");
  EXPECT_EQ(UrlDecodeUtf8("x%E4%B8%ADy%e4%b8%ad"), "x中y中");
  EXPECT_EQ(UrlDecodeUtf8("%ED%A0%BD%ED%B8%80"), "😀");
}

TEST(UrlDecodeUtf8, TwoByteFormTakesTheCharactersBehindItAlong) {
  // The third value is read where a third byte would stand.
  EXPECT_EQ(UrlDecodeUtf8("%C3%A9x41z"), UrlDecodeUtf8("%C3%A9%41z"));
  EXPECT_EQ(UrlDecodeUtf8("%C3%A9%41z"), "\xE3\xA9\x81z");
}

TEST(UrlDecodeUtf8, BadDigitsLoseThePercentOnly) {
  EXPECT_EQ(UrlDecodeUtf8("%"), "");
  EXPECT_EQ(UrlDecodeUtf8("%4"), "4");
  EXPECT_EQ(UrlDecodeUtf8("%zz%41"), "zzA");
  EXPECT_EQ(UrlDecodeUtf8("% 1%-1"), " 1-1");
  EXPECT_EQ(UrlDecodeUtf8("%C3%A9"), "C3A9");
  EXPECT_EQ(UrlDecodeUtf8("%E4%zz%2B"), "E4zz+");
  EXPECT_EQ(UrlDecodeUtf8("%E4%B8%"), "E4B8");
}

TEST(UrlDecodeUtf8, WhatUrlEncodeUtf8WritesReadsBackFrom1000HexOn) {
  for (unsigned unit = 0x1000; unit < 0x10000; ++unit) {
    const std::string text = Utf16ToUtf8(std::u16string{static_cast<char16_t>(unit)});
    ASSERT_EQ(UrlDecodeUtf8(UrlEncodeUtf8(text)), text);
  }
}

}  // namespace
}  // namespace vnq
