#include "support/json/letter_case.h"

#include <gtest/gtest.h>

namespace vnq {
namespace {

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
