#include <gtest/gtest.h>

#include "support/json/json.h"
#include "support/json/json_parser.h"
#include "tests/support/json/json_reading.h"

namespace vnq {
namespace {

TEST(JsonErrors, CharacterThatBeginsNoValueIsSteppedOver) {
  const JsonReading reading = ReadJson("[ab,1]");
  EXPECT_EQ(reading.value, "[1]");
  EXPECT_EQ(reading.errors, "Type mismatch: ab,1]\r\nType mismatch: b,1]\r\n");
}

TEST(JsonErrors, MessageOfAnArrayHoldsTheNext20Characters) {
  EXPECT_EQ(ReadJson("[x,\"0123456789012345678901234567890\"]").errors,
            "Type mismatch: x,\"01234567890123456\r\n");
}

TEST(JsonErrors, ValueMissingInAnObjectIsToldByItsKey) {
  EXPECT_EQ(ReadJson("{a:x}").errors, "Type mismatch: a\r\n");
  EXPECT_EQ(ReadJson("{a:").errors, "Type mismatch: a\r\nMissing '}': {a:\r\n");
}

TEST(JsonErrors, StepOverOneCharacterMayTakeTheBrace) {
  EXPECT_EQ(ReadJson("{a: }").errors, "Type mismatch: a\r\nMissing '}': {a: }\r\n");
}

TEST(JsonErrors, MissingEndHoldsTheLast20Characters) {
  EXPECT_EQ(ReadJson("[\"0123456789\",\"abcdefghij\"").errors,
            "Missing ']': 456789\",\"abcdefghij\"\r\n");
  EXPECT_EQ(ReadJson("{a:'0123456789',b:'abcdefghij'").errors,
            "Missing '}': 6789',b:'abcdefghij'\r\n");
}

TEST(JsonErrors, EachOpenObjectMissesItsEnd) {
  const JsonReading reading = ReadJson("[1,{a:[2");
  EXPECT_EQ(reading.value, R"([1,{"a":[2]}])");
  EXPECT_EQ(reading.errors,
            "Missing ']': [1,{a:[2\r\nMissing '}': [1,{a:[2\r\nMissing ']': [1,{a:[2\r\n");
}

TEST(JsonErrors, InvalidBooleanHoldsTheRestOfTheText) {
  const std::string rest = "tru, \"and all the rest of the text, however long it is\"]";
  const JsonReading reading = ReadJson("[1," + rest);
  EXPECT_EQ(reading.errors.substr(0, reading.errors.find('\r') + 2),
            "Invalid Boolean at position 4 : " + rest + "\r\n");
}

TEST(JsonErrors, InvalidBooleanAndNullAreAddedAsEmpty) {
  EXPECT_EQ(ReadJson("{a:t,b:n,c:f}").value, R"({"a":null,"b":null,"c":null})");
  EXPECT_EQ(ReadJson("{a:t,b:1}").errors, "Invalid Boolean at position 4 : t,b:1}\r\n");
  EXPECT_EQ(ReadJson("{a:n,b:1}").errors, "Invalid null value at position 4 : n,b:1}\r\n");
}

TEST(JsonErrors, WordsAreComparedExactlyAndByTheirLengthOnly) {
  EXPECT_EQ(ReadJson("[True]").value, "[]");
  EXPECT_EQ(ReadJson("[truefalsenull]").value, "[true,false,null]");
}

TEST(JsonErrors, SeveralErrorsAccumulateInOrder) {
  const JsonReading reading = ReadJson("{a:tr,a:1,b:nul,c:1e99}");
  EXPECT_EQ(reading.errors,
            "Invalid Boolean at position 4 : tr,a:1,b:nul,c:1e99}\r\n"
            "Invalid null value at position 13 : nul,c:1e99}\r\n"
            "Overflow: ul,c\r\n");
}

TEST(JsonErrors, PositionsCount16BitCharacters) {
  EXPECT_EQ(ReadJson("[\"é中\",tx]").errors.substr(0, 35), "Invalid Boolean at position 7 : tx]");
  // A character beyond the first 65536 counts as two.
  EXPECT_EQ(ReadJson("[\"\xF0\x9F\x98\x80\",n]").errors,
            "Invalid null value at position 7 : n]\r\n");
}

TEST(JsonErrors, TailsCount16BitCharacters) {
  EXPECT_EQ(ReadJson("['" + Repeated("中", 30)).errors,
            "Missing ']': " + Repeated("中", 20) + "\r\n");
  // The cut goes through a pair and leaves its second half.
  EXPECT_EQ(ReadJson("['" + Repeated("\xF0\x9F\x98\x80", 30) + "'").errors,
            "Missing ']': \xED\xB8\x80" + Repeated("\xF0\x9F\x98\x80", 9) + "'\r\n");
}

TEST(JsonErrors, InvalidObjectHoldsTheRestOfTheText) {
  const std::u16string text = u"  [1, \"and all the rest of the text\"]";
  JsonParser parser(text);
  size_t index = 1;
  const JsonValue value = parser.parseObject(index);
  EXPECT_EQ(WriteJson(value), "{}");
  EXPECT_EQ(index, 3U);
  EXPECT_EQ(parser.Errors(), u"Invalid Object at position 3 : " + text.substr(2) + u"\r\n");
}

TEST(JsonErrors, InvalidArrayHoldsTheNext20Characters) {
  const std::u16string text = u" {a:1, b:'and all the rest of the text'}";
  JsonParser parser(text);
  size_t index = 1;
  const JsonValue value = parser.parseArray(index);
  EXPECT_EQ(WriteJson(value), "[]");
  EXPECT_EQ(parser.Errors(), u"Invalid Array at position 2 : {a:1, b:'and all the\r\n");
}

TEST(JsonErrors, ValueByItselfStepsOverWhatItCannotRead) {
  JsonParser parser(u" x 12");
  size_t index = 1;
  EXPECT_EQ(parser.parseValue(index).kind(), JsonValue::Kind::kEmpty);
  EXPECT_EQ(index, 3U);
  EXPECT_EQ(WriteJson(parser.parseValue(index)), "12");
  EXPECT_EQ(parser.parseValue(index).kind(), JsonValue::Kind::kEmpty);
  EXPECT_EQ(parser.Errors(), u"Type mismatch: x 12\r\nType mismatch: \r\n");
}

}  // namespace
}  // namespace vnq
