#include "host/outgoing/response_text.h"

#include <gtest/gtest.h>

namespace vnq {
namespace {

TEST(ResponseText, IsUtf8WithoutACharset) {
  EXPECT_EQ(ResponseText("", ""), "");
  EXPECT_EQ(ResponseText("中", ""), "中");
  EXPECT_EQ(ResponseText("中", "text/html"), "中");
  EXPECT_EQ(ResponseText("中", "text/html; charset=nobody-knows"), "中");
}

TEST(ResponseText, FollowsTheCharset) {
  EXPECT_EQ(ResponseText("\xD6\xD0", "text/html; charset=gb2312"), "中");
  EXPECT_EQ(ResponseText("\xD6\xD0", "text/html;Charset=\"GBK\"; x=y"), "中");
  EXPECT_EQ(ResponseText("\xA4\xA4", "text/html; charset=Big5"), "中");
  EXPECT_EQ(ResponseText("\xE9", "text/html; charset=iso-8859-1"), "é");
}

TEST(ResponseText, FollowsAByteOrderMarkFirst) {
  using namespace std::string_literals;
  EXPECT_EQ(ResponseText("\xEF\xBB\xBF中", "text/html; charset=gbk"), "中");
  EXPECT_EQ(ResponseText("\xFF\xFE\x2D\x4E\x3D\xD8\x00\xDE"s, ""), "中😀");
  EXPECT_EQ(ResponseText("\xFE\xFF\x4E\x2D"s, ""), "中");
  EXPECT_EQ(ResponseText("\xEF\xBB\xBF", ""), "");
}

TEST(ResponseText, BytesThatAreNoTextAreReplaced) {
  EXPECT_EQ(ResponseText("a\xFFz", ""), "a\uFFFDz");
  EXPECT_EQ(ResponseText("a\xE4", ""), "a\uFFFD");
}

}  // namespace
}  // namespace vnq
