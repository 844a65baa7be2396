#include <gtest/gtest.h>

#include "support/json.h"
#include "tests/support/json_reading.h"

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
  const std::string text = "[" + Repeated("t,", 60000) + "1]";
  const JsonReading reading = ReadJson(text);
  EXPECT_LT(reading.errors.size(), 2U << 20);
  EXPECT_TRUE(reading.errors.ends_with("t,1]\r\nFurther errors are left out.\r\n"));
  EXPECT_TRUE(reading.value.ends_with("null,null,1]"));
}

TEST(JsonSize, OneErrorInALongTextHoldsAllOfTheRest) {
  const std::string rest = "t,\"" + std::string(3 << 20, 'x') + "\"]";
  EXPECT_EQ(ReadJson("[" + rest).errors, "Invalid Boolean at position 2 : " + rest + "\r\n");
}

TEST(JsonSize, LongStringsNumbersAndKeysAreRead) {
  const std::string xs(1 << 20, 'x');
  EXPECT_EQ(Parsed("{\"" + xs + "\":\"" + xs + "\\n" + xs + "\"}"),
            "{\"" + xs + "\":\"" + xs + "\\n" + xs + "\"}");
  EXPECT_EQ(Parsed("[" + std::string(1 << 20, '0') + "]"), "[0]");
}

}  // namespace
}  // namespace vnq
