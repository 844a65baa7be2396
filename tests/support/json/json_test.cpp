#include "support/json/json.h"

#include <gtest/gtest.h>

#include "tests/support/json/json_reading.h"

namespace vnq {
namespace {

TEST(Json, EveryKindOfValueIsRead) {
  EXPECT_EQ(Parsed(R"({"t":"x","n":-1.50,"y":true,"f":false,"z":null,"a":[],"o":{}})"),
            R"({"t":"x","n":-1.50,"y":true,"f":false,"z":null,"a":[],"o":{}})");
}

TEST(Json, KindsOfValuesAreWhatTheyAreInJson) {
  JSON json;
  const auto value = json.parse(R"([null,true,1,"t",{},[]])");
  ASSERT_TRUE(value && value->AsCollection() != nullptr);
  const JsonCollection& list = *value->AsCollection();
  using Kind = JsonValue::Kind;
  const Kind kinds[] = {Kind::kNull, Kind::kBoolean,    Kind::kNumber,
                        Kind::kText, Kind::kDictionary, Kind::kCollection};
  ASSERT_EQ(list.Count(), 6U);
  for (size_t i = 1; i <= 6; ++i) EXPECT_EQ(list.Item(i).kind(), kinds[i - 1]) << i;
}

TEST(Json, ParenthesesAreWhiteSpace) {
  EXPECT_EQ(Parsed(R"((["a"]))"), R"(["a"])");
  EXPECT_EQ(Parsed("{(a:(1))}"), R"({"a":1})");
}

TEST(Json, BareAndQuotedKeysAreKeys) {
  EXPECT_EQ(Parsed(R"({a:1,'b':2,"c":3})"), R"({"a":1,"b":2,"c":3})");
}

TEST(Json, SecondCommaIsSkipped) {
  EXPECT_EQ(Parsed("[1,,2]"), "[1,2]");
  EXPECT_EQ(Parsed("[1,]"), "[1]");
  EXPECT_EQ(Parsed("[,1]"), "[1]");
  EXPECT_EQ(Parsed("[,,,]"), "[]");
  EXPECT_EQ(Parsed("{a:1,,b:2,}"), R"({"a":1,"b":2})");
}

TEST(Json, CommaBetweenValuesMayBeMissing) {
  EXPECT_EQ(Parsed("[1 2 'a''b'[]{}true null]"), R"([1,2,"a","b",[],{},true,null])");
  EXPECT_EQ(Parsed("{a:1 b:2}"), R"({"a":1,"b":2})");
}

TEST(Json, DuplicateKeyKeepsTheFirstValueAndLeavesAMessage) {
  const JsonReading reading = ReadJson(R"({"a":1,"a":2,"b":3})");
  EXPECT_EQ(reading.value, R"({"a":1,"b":3})");
  EXPECT_EQ(reading.errors,
            "This key is already associated with an element of this collection: a\r\n");
}

TEST(Json, DuplicateKeyOfAnObjectIsToldAfterTheObject) {
  const JsonReading reading = ReadJson("{a:1,a:{b:x},c:2}");
  EXPECT_EQ(reading.value, R"({"a":1,"c":2})");
  EXPECT_EQ(reading.errors,
            "Type mismatch: b\r\n"
            "This key is already associated with an element of this collection: a\r\n");
}

TEST(Json, KeysDifferByLetterCase) {
  EXPECT_EQ(Parsed("{a:1,A:2}"), R"({"a":1,"A":2})");
}

TEST(Json, KeysKeepTheirOrderInLargeObjectsToo) {
  std::string text = "{";
  for (int i = 100; i > 0; --i) text += "\"k" + std::to_string(i) + "\":" + std::to_string(i) + ",";
  text.back() = '}';
  EXPECT_EQ(Parsed(text), text);
  text.insert(text.size() - 1, ",\"k50\":0");
  EXPECT_EQ(ReadJson(text).errors,
            "This key is already associated with an element of this collection: k50\r\n");
}

TEST(Json, TextBehindTheValueIsIgnored) {
  EXPECT_EQ(Parsed("[1] x ] {"), "[1]");
  EXPECT_EQ(Parsed("{};"), "{}");
}

TEST(Json, AnythingButAnObjectOrAnArrayIsInvalid) {
  for (const char* text :
       {"", " ", "1", "\"a\"", "true", "null", "x[]", "]", "// [1]", "/*", "\xEF\xBB\xBF[]"}) {
    const JsonReading reading = ReadJson(text);
    EXPECT_EQ(reading.value, "nothing") << text;
    EXPECT_EQ(reading.errors, "Invalid JSON") << text;
  }
}

TEST(Json, ErrorsOfTheParseBeforeAreGone) {
  JSON json;
  json.parse("x");
  json.parse("[x");
  EXPECT_EQ(json.GetParserErrors(), "Type mismatch: x\r\nMissing ']': [x\r\n");
  json.parse("[]");
  EXPECT_EQ(json.GetParserErrors(), "");
}

}  // namespace
}  // namespace vnq
