#include <gtest/gtest.h>

#include <chrono>
#include <random>

#include "support/text_codecs.h"
#include "tests/support/json/literal_unescape.h"
#include "tests/support/latin_text.h"

namespace vnq {
namespace {

const LatinText kPage;
const LatinText kPairs(true);

std::string Unescape(std::string_view text) {
  return UnescapeText(kPage, text);
}

TEST(UnescapeText, BothFormsAreRead) {
  EXPECT_EQ(Unescape(""), "");
  EXPECT_EQ(Unescape("plain"), "plain");
  EXPECT_EQ(Unescape("a%20b%u4E2Dc"), "a b中c");
  EXPECT_EQ(Unescape("%u4e2d"), "中");
  EXPECT_EQ(Unescape("%uD83D%uDE00"), "😀");
  EXPECT_EQ(Unescape("%uD83D"), "\xED\xA0\xBD");
  EXPECT_EQ(Unescape("%00"), std::string(1, '\0'));
}

TEST(UnescapeText, ShortEscapeIsAByteOfTheCodePage) {
  EXPECT_EQ(Unescape("%80"), "€");
  EXPECT_EQ(Unescape("%E9"), "é");
}

TEST(UnescapeText, ByteThatIsNoCharacterAloneIsTheUnicodeCharacterOfThatValue) {
  EXPECT_EQ(Unescape("%81"), "\xC2\x81");
  EXPECT_EQ(UnescapeText(kPairs, "%D0%A7"), "Ð§");
  EXPECT_EQ(UnescapeText(kPairs, EscapeText("Ð§")), "Ð§");
}

TEST(UnescapeText, EscapedPercentAtTheStartOpensNoLongEscape) {
  // The percent sign stands where the walk is, and the walk has done its look for "%u" there.
  EXPECT_EQ(Unescape("%25u4E2D"), "%u4E2D");
}

TEST(UnescapeText, EscapedPercentInFrontOfAShortEscapeIsNotReadTwice) {
  EXPECT_EQ(Unescape("%2541"), "%41");
}

TEST(UnescapeText, PercentMadeAheadOfTheWalkOpensTheNextEscape) {
  EXPECT_EQ(Unescape("%25%2541"), "%A");
  EXPECT_EQ(Unescape("%25%25u4E2D"), "%中");
}

TEST(UnescapeText, LongPercentOpensAShortEscapeAtOnce) {
  EXPECT_EQ(Unescape("%u002541"), "A");
}

TEST(UnescapeText, ReplacementInFrontOfTheWalkPassesCharactersOver) {
  // "%31" completes a "%41" that the walk has passed. It is replaced when the walk meets the other
  // one at position 5, and position 5 of what is left then stands inside "%42".
  EXPECT_EQ(Unescape("%4%31-%41%42"), LiteralUnescape(kPage, "%4%31-%41%42"));
  EXPECT_EQ(Unescape("%4%31-%41%42"), "A-A%42");
}

TEST(UnescapeText, SpellingsOfOneEscapeAreDifferentEscapes) {
  EXPECT_EQ(Unescape("%4a%4A"), "JJ");
  EXPECT_EQ(Unescape("%U4E2D"), "%U4E2D");
}

TEST(UnescapeText, BadDigitsStay) {
  for (const char* text : {"%", "%4", "%zz", "%4z", "%u", "%u4", "%u4E2", "%u4E2z", "%uzzzz", "% 4",
                           "%+4", "%-1", "%&H", "100% sure", "%u-123"}) {
    EXPECT_EQ(Unescape(text), text);
  }
  EXPECT_EQ(Unescape("%zz%41"), "%zzA");
}

TEST(UnescapeText, RandomTextsDecodeAsTheLiteralWalkDoes) {
  std::mt19937 random(1);
  const std::string_view pieces[] = {
      "%",  "%",   "u",     "2",      "5",   "25",  "%25",    "%u",     "0",  "00",
      "4",  "1",   "41",    "%41",    "%75", "%35", "%u0025", "%u0035", "u0", "中",
      "a5", "%A5", "%u00a", "%u4E2D", "%32", "E",   "%45",    "%30",    "-",  "%80"};
  for (int i = 0; i < 20000; ++i) {
    std::string text;
    for (size_t n = random() % 16; n > 0; --n) text += pieces[random() % std::size(pieces)];
    ASSERT_EQ(Unescape(text), LiteralUnescape(kPage, text)) << text;
  }
}

TEST(UnescapeText, DenseTextsDecodeAsTheLiteralWalkDoes) {
  std::mt19937 random(2);
  for (int i = 0; i < 20000; ++i) {
    std::string text;
    const std::string_view from = i % 2 == 0 ? "%%%235u0" : "%%25";
    for (size_t n = random() % 40; n > 0; --n) text.push_back(from[random() % from.size()]);
    ASSERT_EQ(Unescape(text), LiteralUnescape(kPage, text)) << text;
  }
}

// Mostly what chat holds: escapes that give no part of another, beside whatever bytes may come.
TEST(UnescapeText, TextsAsTheyAreChattedDecodeAsTheLiteralWalkDoes) {
  std::mt19937 random(3);
  const std::string_view pieces[] = {
      "%20",    "%21", "%u4E2D", "%u6587", "%uD83D", "%uDE00", "%ud83d", "%udc00", "%0A", "%E9",
      "%D0",    "%A7", "%u00E9", "plain",  " words", "中",     "😀",      "%uFFFD", "ï¿½", "í ½",
      "í¸", "ÿ",   "%",      "%u",     "%4",     "%g1",    "%u12g4", "%41",    "%25", "%00"};
  for (int i = 0; i < 10000; ++i) {
    const size_t usual = i % 2 == 0 ? 18 : std::size(pieces);
    std::string text;
    for (size_t n = random() % 12; n > 0; --n) text += pieces[random() % usual];
    ASSERT_EQ(Unescape(text), LiteralUnescape(kPage, text)) << text;
    ASSERT_EQ(UnescapeText(kPairs, text), LiteralUnescape(kPairs, text)) << text;
  }
}

TEST(UnescapeText, ValuesOfBothFormsDecodeAsTheLiteralWalkDoes) {
  for (unsigned value = 0; value < 0x10000; value += value < 0x200 ? 1 : 13) {
    std::string text = "a%u";
    AppendHex(text, value, 4);
    text += "%uDE00 0%";
    AppendHex(text, value & 0xFF, 2);
    text += "41-%u0042";
    ASSERT_EQ(Unescape(text), LiteralUnescape(kPage, text)) << text;
  }
}

// A pass over the text for each of these would be some 3,000 million characters.
TEST(UnescapeText, HundredsOfKilobytesOfDistinctEscapesDecodeAtOnce) {
  std::string text, plain;
  for (unsigned value = 0x100; value < 0xD000; ++value) {
    text += "%u";
    AppendHex(text, value, 4);
    AppendUtf8(plain, value);
  }
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Unescape(text), plain);
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
}

}  // namespace
}  // namespace vnq
