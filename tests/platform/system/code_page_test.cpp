#include "platform/system/code_page.h"

#include <gtest/gtest.h>

#include "support/utf8.h"

namespace vnq {
namespace {

constexpr int kPages[] = {936,  950,  932,  949,  874,  1250, 1251, 1252, 1253,
                          1254, 1255, 1256, 1257, 1258, 437,  850,  852,  866};

TEST(CodePage, UnknownNumberOpensNothing) {
  EXPECT_EQ(CodePage::Open(0), nullptr);
  EXPECT_EQ(CodePage::Open(1), nullptr);
  EXPECT_EQ(CodePage::Open(-936), nullptr);
}

TEST(CodePage, PagesOfMoreThanTwoBytesOpenNothing) {
  EXPECT_EQ(CodePage::Open(65001), nullptr);
  EXPECT_EQ(CodePage::Open(54936), nullptr);
}

TEST(CodePage, ChineseTextConvertsBothWays) {
  const auto gbk = CodePage::Open(936);
  EXPECT_EQ(gbk->ToBytes("中文 ok"), "\xD6\xD0\xCE\xC4 ok");
  EXPECT_EQ(gbk->FromBytes("\xD6\xD0\xCE\xC4 ok"), "中文 ok");
  const auto big5 = CodePage::Open(950);
  EXPECT_EQ(big5->ToBytes("中文"), "\xA4\xA4\xA4\xE5");
  EXPECT_EQ(big5->FromBytes("\xA4\xA4\xA4\xE5"), "中文");
}

TEST(CodePage, EuroIsOneByteIn936And1252) {
  for (int number : {936, 1252}) {
    const auto page = CodePage::Open(number);
    EXPECT_EQ(page->ToBytes("€"), "\x80");
    EXPECT_EQ(page->FromBytes("\x80"), "€");
  }
}

TEST(CodePage, VerticalBarIsALegalSecondByte) {
  EXPECT_EQ(CodePage::Open(936)->FromBytes("\x81|"), "亅");
  EXPECT_EQ(CodePage::Open(936)->ToBytes("亅"), "\x81|");
  EXPECT_EQ(CodePage::Open(950)->FromBytes("\xA5|"), "四");
  EXPECT_EQ(CodePage::Open(950)->ToBytes("四"), "\xA5|");
}

TEST(CodePage, AsciiAndNulMapToThemselvesInEveryPage) {
  std::string ascii;
  for (int byte = 0; byte < 128; ++byte) ascii.push_back(static_cast<char>(byte));
  for (int number : kPages) {
    const auto page = CodePage::Open(number);
    ASSERT_NE(page, nullptr) << number;
    EXPECT_EQ(page->number(), number);
    EXPECT_EQ(page->ToBytes(ascii), ascii) << number;
    EXPECT_EQ(page->FromBytes(ascii), ascii) << number;
    EXPECT_TRUE(page->ToBytes("é" + ascii).ends_with(ascii))
        << number;  // behind the fast path's end
    for (char c : ascii)
      EXPECT_EQ(page->FromSingleByte(static_cast<unsigned char>(c)), std::string(1, c));
  }
}

TEST(CodePage, EveryCharacterOfAPageSurvivesTheRoundTrip) {
  for (int number : kPages) {
    const auto page = CodePage::Open(number);
    int held = 0;
    for (unsigned value = 0; value < 0x10000; ++value) {
      std::string text;
      AppendUtf8(text, value);
      if (!page->Holds(text)) {
        EXPECT_EQ(page->ToBytes(text), "?") << number << " " << value;
        continue;
      }
      ++held;
      ASSERT_EQ(page->FromBytes(page->ToBytes(text)), text) << number << " " << value;
    }
    EXPECT_GE(held, number >= 1250 || number < 900 ? 240 : 128) << number;
  }
}

TEST(CodePage, EveryByteSequenceReadsAsTextThatSurvivesTheRoundTrip) {
  for (int number : kPages) {
    const auto page = CodePage::Open(number);
    int lost = 0;
    for (unsigned pair = 0; pair < 65536; ++pair) {
      const std::string bytes{static_cast<char>(pair >> 8), static_cast<char>(pair & 0xFF)};
      const std::string text = page->FromBytes(bytes);
      if (text.empty() || page->FromBytes(page->ToBytes(text)) != text) ++lost;
    }
    EXPECT_EQ(lost, 0) << number;
  }
}

TEST(CodePage, UnassignedPairAndLeadByteAtTheEndReadAsQuestionMarks) {
  const auto gbk = CodePage::Open(936);
  EXPECT_EQ(gbk->FromBytes("a\x81"), "a?");
  EXPECT_EQ(gbk->FromBytes("a\x81 b"), "a?b");
  EXPECT_EQ(CodePage::Open(1253)->FromBytes("a\xD2z"), "a?z");
}

TEST(CodePage, CharacterOutsideThePageIsOneQuestionMark) {
  const auto latin = CodePage::Open(1252);
  EXPECT_EQ(latin->ToBytes("a中b"), "a?b");
  EXPECT_EQ(latin->ToBytes("a😀b"), "a?b");
  EXPECT_EQ(CodePage::Open(936)->ToBytes("a😀b"), "a?b");
}

TEST(CodePage, SurrogatePairInTwoHalvesIsOneCharacter) {
  EXPECT_EQ(CodePage::Open(936)->ToBytes("a\xED\xA0\xBD\xED\xB8\x80z"), "a?z");
}

TEST(CodePage, LoneSurrogateIsAQuestionMark) {
  const auto gbk = CodePage::Open(936);
  EXPECT_EQ(gbk->ToBytes("a\xED\xA0\xBDz"), "a?z");
  EXPECT_EQ(gbk->ToBytes("\xED\xB8\x80"), "?");
  EXPECT_FALSE(gbk->Holds("\xED\xB8\x80"));
}

TEST(CodePage, BytesThatAreNoUtf8AreQuestionMarks) {
  const auto gbk = CodePage::Open(936);
  EXPECT_EQ(gbk->ToBytes("a\xFFz"), "a?z");
  EXPECT_EQ(gbk->ToBytes("\xE4\xB8"), "?");
  EXPECT_EQ(gbk->ToBytes("\xC0\x80"), "??");
}

TEST(CodePage, SingleByteTextIsEmptyForLeadAndUnassignedBytes) {
  EXPECT_EQ(CodePage::Open(936)->FromSingleByte(0x81), "");
  EXPECT_EQ(CodePage::Open(936)->FromSingleByte(0x80), "€");
  EXPECT_EQ(CodePage::Open(1253)->FromSingleByte(0xD2), "");
  EXPECT_EQ(CodePage::Open(1252)->FromSingleByte(0xE9), "é");
}

TEST(CodePage, HoldsTellsWhetherEveryCharacterIsThere) {
  EXPECT_TRUE(CodePage::Open(936)->Holds("中文 abc"));
  EXPECT_TRUE(CodePage::Open(1252)->Holds(std::string_view("a\0b", 3)));
  EXPECT_FALSE(CodePage::Open(1252)->Holds("abc 中"));
  EXPECT_FALSE(CodePage::Open(936)->Holds("😀"));
}

}  // namespace
}  // namespace vnq
