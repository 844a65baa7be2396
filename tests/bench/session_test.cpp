#include "bench/load/session.h"

#include <gtest/gtest.h>

namespace vnq::bench {
namespace {

TEST(RecordView, FieldsAreNumberedFromTheWord) {
  const RecordView fields(".+reply|1|abc|17|#");
  EXPECT_EQ(fields.count(), 5u);
  EXPECT_EQ(fields[0], ".+reply");
  EXPECT_EQ(fields[3], "17");
  EXPECT_EQ(fields[4], "#");
  EXPECT_EQ(fields[5], "");
}

TEST(RecordView, EmptyFieldsCount) {
  const RecordView fields(".+x||#");
  EXPECT_EQ(fields.count(), 3u);
  EXPECT_EQ(fields[1], "");
}

TEST(RecordView, DatesAndTimesHaveOneShapeOnly) {
  EXPECT_TRUE(IsDate("2026-01-02"));
  EXPECT_FALSE(IsDate("2026-1-2"));
  EXPECT_FALSE(IsDate("2026-01-02 "));
  EXPECT_FALSE(IsDate(""));
  EXPECT_TRUE(IsTime("23:59:01"));
  EXPECT_FALSE(IsTime("3:59:01"));
}

}  // namespace
}  // namespace vnq::bench
