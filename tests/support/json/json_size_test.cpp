#include <gtest/gtest.h>
#include <pthread.h>

#include "support/json/json.h"
#include "tests/support/json/json_reading.h"

namespace vnq {
namespace {

TEST(JsonSize, NestingOf40And41And10000LevelsIsRead) {
  for (size_t levels : {40U, 41U, 10000U}) {
    const std::string arrays = Repeated("[", levels) + Repeated("]", levels);
    EXPECT_EQ(Parsed(arrays), arrays) << levels;
    const std::string objects = Repeated("{\"a\":", levels) + "1" + Repeated("}", levels);
    EXPECT_EQ(Parsed(objects), objects) << levels;
  }
}

TEST(JsonSize, NestingAtTheBoundIsReadAndOneMoreIsAnErrorThatEndsTheReading) {
  const std::string bound = Repeated("[", JSON::kMaxNesting) + Repeated("]", JSON::kMaxNesting);
  EXPECT_EQ(Parsed(bound), bound);
  const JsonReading reading = ReadJson("[" + bound + ",x]");
  EXPECT_EQ(reading.errors, "Nesting too deep at position 20001 : []]]]]]]]]]]]]]]]]]]\r\n");
  EXPECT_EQ(reading.value, bound);
}

TEST(JsonSize, MillionOpenBracketsAreAnErrorAndNoCrash) {
  EXPECT_EQ(ReadJson(Repeated("[", 1000000)).errors,
            "Nesting too deep at position 20001 : [[[[[[[[[[[[[[[[[[[[\r\n");
  EXPECT_EQ(ReadJson(Repeated("{a:", 1000000)).errors.substr(0, 36),
            "Nesting too deep at position 60001 :");
}

TEST(JsonSize, ErrorsThatHoldTheRestOfALongTextStayBounded) {
  std::string text = "[";
  text.append(Repeated("t,", 60000)).append("1]");
  const JsonReading reading = ReadJson(text);
  EXPECT_LT(reading.errors.size(), 2U << 20);
  EXPECT_TRUE(reading.errors.ends_with("t,1]\r\nFurther errors are left out.\r\n"));
  EXPECT_TRUE(reading.value.ends_with("null,null,1]"));
}

TEST(JsonSize, OneErrorInALongTextHoldsAllOfTheRest) {
  const std::string rest = "t,\"" + std::string(3 << 20, 'x') + "\"]";
  EXPECT_EQ(ReadJson("[" + rest).errors, "Invalid Boolean at position 2 : " + rest + "\r\n");
}

// 50 MB in a release build; a debug build would take half a minute for them.
#ifdef NDEBUG
constexpr size_t kLongDocumentBytes = 50'000'000;
#else
constexpr size_t kLongDocumentBytes = 2'000'000;
#endif

TEST(JsonSize, LongDocumentIsReadWhole) {
  const std::string record = R"({"id":7,"name":"user é中","tags":["a","b"],"ok":true,"x":1.50})";
  const size_t records = kLongDocumentBytes / record.size();
  std::string text = "[";
  text.append(Repeated(record + ",", records));
  text.back() = ']';
  JSON json;
  const std::optional<JsonValue> value = json.parse(text);
  EXPECT_EQ(json.GetParserErrors(), "");
  ASSERT_TRUE(value && value->AsCollection() != nullptr);
  EXPECT_EQ(value->AsCollection()->Count(), records);
  EXPECT_EQ(WriteJson(value->AsCollection()->Item(records)), record);
}

void* ReadDeepDocument(void* result) {
  const std::string text =
      Repeated("[{a:", JSON::kMaxNesting / 2) + Repeated("}]", JSON::kMaxNesting / 2);
  *static_cast<JsonReading*>(result) = ReadJson(text);
  return nullptr;
}

TEST(JsonSize, DeepestDocumentIsReadWrittenAndDroppedOnASmallStack) {
  JsonReading reading;
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, 128 << 10), 0);
  pthread_t thread;
  ASSERT_EQ(pthread_create(&thread, &attributes, ReadDeepDocument, &reading), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
  EXPECT_TRUE(reading.errors.starts_with("Type mismatch: a\r\n"));
  EXPECT_TRUE(reading.value.starts_with(R"([{"a":[{"a":)"));
}

TEST(JsonSize, LongStringsNumbersAndKeysAreRead) {
  const std::string xs(1 << 20, 'x');
  EXPECT_EQ(Parsed("{\"" + xs + "\":\"" + xs + "\\n" + xs + "\"}"),
            "{\"" + xs + "\":\"" + xs + "\\n" + xs + "\"}");
  EXPECT_EQ(Parsed("[" + std::string(1 << 20, '0') + "]"), "[0]");
}

}  // namespace
}  // namespace vnq
