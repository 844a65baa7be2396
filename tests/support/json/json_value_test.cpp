#include "support/json/json_value.h"

#include <gtest/gtest.h>

#include "tests/support/json/json_reading.h"

namespace vnq {
namespace {

TEST(JsonValues, ReadOfAnUnknownKeyAddsItAsEmpty) {
  JsonDictionary dictionary;
  EXPECT_EQ(dictionary.Find("a"), nullptr);
  EXPECT_FALSE(dictionary.Exists("a"));
  EXPECT_EQ(dictionary.Item("a").kind(), JsonValue::Kind::kEmpty);
  EXPECT_TRUE(dictionary.Exists("a"));
  EXPECT_EQ(dictionary.Add("a", JsonValue("x")), RuntimeError::kKeyAlreadyPresent);
}

TEST(JsonValues, SetReplacesInPlaceAndAddsAtTheEnd) {
  JsonDictionary dictionary;
  for (const char* key : {"a", "b", "c", "d", "e", "f", "g", "h", "i", "j"}) {
    dictionary.Set(key, JsonValue(true));
  }
  dictionary.Set("b", JsonValue("x"));
  dictionary.Set("j", JsonValue("y"));
  ASSERT_EQ(dictionary.Count(), 10U);
  EXPECT_EQ(dictionary.Entries()[1].key, "b");
  EXPECT_EQ(*dictionary.Find("b")->AsText(), "x");
  EXPECT_EQ(*dictionary.Item("j").AsText(), "y");
}

TEST(JsonValues, ValueMayBeReplacedByAPartOfItself) {
  JSON json;
  std::optional<JsonValue> value = json.parse("[[1,[2]],3]");
  ASSERT_TRUE(value);
  *value = std::move(value->AsCollection()->Items()[0]);
  EXPECT_EQ(WriteJson(*value), "[1,[2]]");
}

TEST(JsonValues, MovedFromValueIsEmpty) {
  JsonValue source("x");
  const JsonValue target = std::move(source);
  EXPECT_EQ(source.kind(), JsonValue::Kind::kEmpty);  // NOLINT: what a move leaves is promised
  EXPECT_EQ(*target.AsText(), "x");
}

}  // namespace
}  // namespace vnq
