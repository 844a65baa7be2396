#include <gtest/gtest.h>

#include "support/json/json.h"
#include "support/json/json_parser.h"
#include "tests/support/json/json_reading.h"

namespace vnq {
namespace {

TEST(JsonComments, LineCommentEndsAtTheLineEnd) {
  EXPECT_EQ(Parsed("// x\n[1]"), "[1]");
  EXPECT_EQ(Parsed("// x\r[1]"), "[1]");
  EXPECT_EQ(Parsed("[1, // x ]\r\n2]"), "[1,2]");
}

TEST(JsonComments, LongCommentEndsAtItsMark) {
  EXPECT_EQ(Parsed("/* x */[1]"), "[1]");
  EXPECT_EQ(Parsed("/* x\n y\r\n */[1]"), "[1]");
  EXPECT_EQ(Parsed("[1,/* ] */2]"), "[1,2]");
}

TEST(JsonComments, SlashInALongCommentDoesNotEndIt) {
  EXPECT_EQ(Parsed("/* a/b // [2] */[1]"), "[1]");
}

TEST(JsonComments, StarInALongCommentArmsTheNextSlash) {
  EXPECT_EQ(Parsed("/* a * b /[1]"), "[1]");
}

TEST(JsonComments, SecondStarDisarmsTheSlash) {
  EXPECT_EQ(ReadJson("/* x **/[1]").errors, "Invalid JSON");
  EXPECT_EQ(Parsed("/* x ***/[1]"), "[1]");
}

TEST(JsonComments, LineEndInALongCommentKeepsTheStarArmed) {
  EXPECT_EQ(Parsed("/* *\n/[1]"), "[1]");
}

TEST(JsonComments, SlashInALineCommentEndsItUnlessASecondFollows) {
  EXPECT_EQ(ReadJson("// a/b\n[1]").errors, "Invalid JSON");
  EXPECT_EQ(Parsed("// see a//b [2]\n[1]"), "[1]");
}

TEST(JsonComments, SingleMarkIsSkipped) {
  EXPECT_EQ(Parsed("/[1/ , *2*]"), "[1,2]");
  EXPECT_EQ(Parsed("/\n/[1]"), "[1]");
}

TEST(JsonComments, BlanksDoNotPartTheTwoMarks) {
  EXPECT_EQ(ReadJson("/ (/ [1]").errors, "Invalid JSON");
  EXPECT_EQ(Parsed("/ /\n[1]"), "[1]");
  EXPECT_EQ(Parsed("/ * x * /[1]"), "[1]");
}

TEST(JsonComments, TwoStarsOpenALongCommentAndStarSlashALineComment) {
  EXPECT_EQ(Parsed("** x */[1]"), "[1]");
  EXPECT_EQ(Parsed("*/ x\n[1]"), "[1]");
}

TEST(JsonComments, UnclosedCommentRunsToTheEnd) {
  EXPECT_EQ(ReadJson("[1 /* ]").errors, "Missing ']': [1 /* ]\r\n");
}

TEST(JsonKeys, BareKeyLosesItsWhiteSpace) {
  EXPECT_EQ(Parsed("{ a b\t\r\nc :1}"), R"({"abc":1})");
  EXPECT_EQ(Parsed("{a\"b'c(d):1}"), "{\"a\\\"b'c(d)\":1}");
}

TEST(JsonKeys, BlanksInAQuotedKeyStay) {
  EXPECT_EQ(Parsed("{\" a\tb \" \n: 1}"), R"({" a\tb ":1})");
  EXPECT_EQ(Parsed("{'a\"b' /* x */ :1}"), R"({"a\"b":1})");
}

TEST(JsonKeys, KeysHaveNoEscapes) {
  EXPECT_EQ(Parsed(R"({"a\nb":1})"), R"({"a\\nb":1})");
  EXPECT_EQ(ReadJson(R"({"a\"b":1})").errors,
            "Invalid Key at position 6 : a\\\r\nType mismatch: a\\\r\n"
            "Invalid Key at position 11 : :1}\r\nType mismatch: :1}\r\n"
            "Missing '}': {\"a\\\"b\":1}\r\n");
}

TEST(JsonKeys, EmptyKeysAreKeys) {
  EXPECT_EQ(Parsed("{:1}"), R"({"":1})");
  EXPECT_EQ(Parsed(R"({"":1})"), R"({"":1})");
}

TEST(JsonKeys, QuotedKeyWithoutColonIsInvalidAndStillUsed) {
  const JsonReading reading = ReadJson(R"({"a" 1})");
  EXPECT_EQ(reading.errors, "Invalid Key at position 6 : a\r\n");
  EXPECT_EQ(reading.value, R"({"a":1})");
}

TEST(JsonKeys, BareKeyWithoutColonRunsToTheEnd) {
  EXPECT_EQ(ReadJson("{a b").errors,
            "Invalid Key at position 5 : ab\r\nType mismatch: ab\r\nMissing '}': {a b\r\n");
}

TEST(JsonKeys, UnclosedQuoteRunsToTheEnd) {
  EXPECT_EQ(ReadJson("{'a:1}").errors,
            "Invalid Key at position 7 : a:1}\r\nType mismatch: a:1}\r\nMissing '}': {'a:1}\r\n");
}

TEST(JsonStrings, EscapesStandForTheirCharacters) {
  EXPECT_EQ(Parsed(R"(["\"\\\/\'\b\f\n\r\t"])"), R"(["\"\\/'\b\f\n\r\t"])");
  EXPECT_EQ(Parsed(R"(["\u0041\u00e9\u4E2d\u0000"])"), "[\"Aé中\\u0000\"]");
}

TEST(JsonStrings, TwoEscapedSurrogatesAreOneCharacter) {
  EXPECT_EQ(Parsed(R"(["\ud83d\ude00"])"), "[\"\xF0\x9F\x98\x80\"]");
}

TEST(JsonStrings, LoneSurrogateIsKept) {
  EXPECT_EQ(Parsed(R"(["\ude00x\ud83d"])"), "[\"\xED\xB8\x80x\xED\xA0\xBD\"]");
}

TEST(JsonStrings, UnknownEscapeIsDropped) {
  EXPECT_EQ(Parsed(R"(["a\qb\ c"])"), R"(["abc"])");
  EXPECT_EQ(Parsed(R"(["\u12"])"), R"(["12"])");
  EXPECT_EQ(Parsed(R"(["\u12G4-\U0041"])"), R"(["12G4-0041"])");
}

TEST(JsonStrings, OtherQuoteIsACharacter) {
  EXPECT_EQ(Parsed(R"(["it's",'say "hi"'])"), R"(["it's","say \"hi\""])");
}

TEST(JsonStrings, ControlCharactersAndCommentMarksStay) {
  EXPECT_EQ(Parsed("[\"a\nb\x01 /* (x) */ //\"]"), "[\"a\\nb\\u0001 /* (x) */ //\"]");
}

TEST(JsonStrings, UnterminatedStringEndsAtTheEndWithoutAMessageOfItsOwn) {
  JsonParser parser(u"\"abc");
  size_t index = 1;
  EXPECT_EQ(parser.parseString(index), u"abc");
  EXPECT_EQ(index, 5U);
  EXPECT_EQ(parser.Errors(), u"");

  const JsonReading reading = ReadJson("[\"abc]");
  EXPECT_EQ(reading.value, R"(["abc]"])");
  EXPECT_EQ(reading.errors, "Missing ']': [\"abc]\r\n");
}

TEST(JsonStrings, BackslashAtTheEndIsDropped) {
  EXPECT_EQ(ReadJson("[\"a\\").value, R"(["a"])");
  EXPECT_EQ(ReadJson("[\"a\\u00").value, R"(["a00"])");
}

TEST(JsonNumbers, ScaleAsWrittenIsKept) {
  EXPECT_EQ(Parsed("[1.50,0.10,-0.0,1e3,1.5e-3]"), "[1.50,0.10,0.0,1000,0.0015]");
}

TEST(JsonNumbers, ValueIsExact) {
  EXPECT_EQ(Parsed("[0.1,12345678901234567890.12345678]"), "[0.1,12345678901234567890.12345678]");
}

TEST(JsonNumbers, LooseFormsAreRead) {
  EXPECT_EQ(Parsed("[+1,007,.5,5.]"), "[1,7,0.5,5]");
}

TEST(JsonNumbers, RunThatIsNoNumberIsLeftOut) {
  const JsonReading reading = ReadJson("[1-2,3]");
  EXPECT_EQ(reading.value, "[3]");
  EXPECT_EQ(reading.errors, "Type mismatch: ,3]\r\n");
}

TEST(JsonNumbers, NumberOutOfRangeIsLeftOut) {
  const JsonReading reading = ReadJson("{a:1e29,b:2}");
  EXPECT_EQ(reading.value, R"({"b":2})");
  EXPECT_EQ(reading.errors, "Overflow: a\r\n");
}

}  // namespace
}  // namespace vnq
