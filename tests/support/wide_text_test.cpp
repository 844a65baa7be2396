#include "support/wide_text.h"

#include <gtest/gtest.h>

#include "support/letter_case.h"

namespace vnq {
namespace {

TEST(WideText, EveryCharacterComesBack) {
  std::u16string all;
  for (uint32_t c = 0; c < 0x10000; ++c) {
    if (c < 0xD800 || c > 0xDFFF) all += static_cast<char16_t>(c);
  }
  EXPECT_EQ(ToWideText(FromWideText(all)), all);
}

TEST(WideText, PairIsOneSequenceOfFourBytes) {
  EXPECT_EQ(FromWideText(u"\xD83D\xDE00"), "\xF0\x9F\x98\x80");
  EXPECT_EQ(ToWideText("\xF0\x9F\x98\x80"), u"\xD83D\xDE00");
}

TEST(WideText, LoneSurrogatesAreThreeBytesAndComeBack) {
  const std::u16string lone = u"a\xDE00\xD83Dz\xD83D";
  EXPECT_EQ(FromWideText(lone), "a\xED\xB8\x80\xED\xA0\xBDz\xED\xA0\xBD");
  EXPECT_EQ(ToWideText(FromWideText(lone)), lone);
}

TEST(WideText, EachByteOfNoCharacterIsAReplacement) {
  EXPECT_EQ(ToWideText("a\x80z"), u"a\xFFFDz");
  EXPECT_EQ(ToWideText("\xE4\xB8"), u"\xFFFD\xFFFD");
  EXPECT_EQ(ToWideText("\xC0\x80"), u"\xFFFD\xFFFD");
  EXPECT_EQ(ToWideText("\xE0\x80\x80"), u"\xFFFD\xFFFD\xFFFD");
  EXPECT_EQ(ToWideText("\xF4\x90\x80\x80"), u"\xFFFD\xFFFD\xFFFD\xFFFD");
  EXPECT_EQ(ToWideText("\xFF"), u"\xFFFD");
}

TEST(LetterCase, PairsLeadBothWays) {
  EXPECT_EQ(UpperCase(u"az09äéÿжωա\xFF41"), u"AZ09ÄÉ\x0178ЖΩԱ\xFF21");
  EXPECT_EQ(LowerCase(u"AZ09ÄÉ\x0178ЖΩԱ\xFF21"), u"az09äéÿжωա\xFF41");
}

TEST(LetterCase, CharacterWithoutPartnerStays) {
  EXPECT_EQ(UpperCase(u"ß中あ\xD83D\xDE00"), u"ß中あ\xD83D\xDE00");
  EXPECT_EQ(LowerCase(u"İ\x212A@[`{"), u"İ\x212A@[`{");
}

TEST(LetterCase, EveryPairIsOneToOne) {
  for (uint32_t i = 0; i < 0x10000; ++i) {
    const auto c = static_cast<char16_t>(i);
    if (LowerCase(c) != c) {
      EXPECT_EQ(UpperCase(LowerCase(c)), c) << i;
    }
    if (UpperCase(c) != c) {
      EXPECT_EQ(LowerCase(UpperCase(c)), c) << i;
    }
  }
}

}  // namespace
}  // namespace vnq
