#include "platform/net/http_address.h"

#include <gtest/gtest.h>

namespace vnq {
namespace {

// An address as "server target"; "no" for what is none.
std::string Parsed(std::string_view url) {
  const auto address = ParseHttpAddress(url);
  return address ? address->server + " " + address->target : "no";
}

TEST(HttpAddress, ServerAndTargetAreTakenApart) {
  EXPECT_EQ(Parsed("http://h:98/a/b?c=1"), "http://h:98/ /a/b?c=1");
  EXPECT_EQ(Parsed("http://[::1]:98/a"), "http://[::1]:98/ /a");
  EXPECT_EQ(Parsed("http://user@h/a:b@c"), "http://user@h/ /a:b@c");
}

TEST(HttpAddress, TheTargetBeginsWithASlash) {
  EXPECT_EQ(Parsed("http://h"), "http://h/ /");
  EXPECT_EQ(Parsed("http://h/"), "http://h/ /");
  EXPECT_EQ(Parsed("http://h?a=1"), "http://h/ /?a=1");
  EXPECT_EQ(Parsed("http://h#a"), "http://h/ /%23a");
}

TEST(HttpAddress, TheTargetIsEncodedAndOtherwiseStays) {
  EXPECT_EQ(Parsed("http://h/a b/../%41?c=|"), "http://h/ /a%20b/../%41?c=%7C");
  EXPECT_EQ(Parsed("http://h//a"), "http://h/ //a");
}

TEST(HttpAddress, TheSchemeIsTakenInAnyCase) {
  EXPECT_EQ(Parsed("HTTP://h/a"), "HTTP://h/ /a");
}

TEST(HttpAddress, AnythingElseIsNone) {
  for (std::string_view url : {"", "h", "h/a", "/a", "http:/h", "http:", "https://h/", "ftp://h/",
                               " http://h/", "file:///etc/passwd"}) {
    EXPECT_EQ(Parsed(url), "no") << url;
  }
}

TEST(HttpAddress, AnyTextComesApartWithoutHarm) {
  EXPECT_EQ(Parsed("http://"), "http:/// /");
  EXPECT_EQ(Parsed("http:///a"), "http:/// /a");
  EXPECT_EQ(Parsed("http://?"), "http:/// /?");
}

TEST(EncodeRequestTarget, AllowedCharactersStand) {
  const std::string url = "http://h:98/a/../b;c=1/-._~!$&'()*+,:@?op=x&y=/?%41%zz%09AZaz09";
  EXPECT_EQ(EncodeRequestTarget(url), url);
}

TEST(EncodeRequestTarget, WhatNoRequestLineHoldsIsEscaped) {
  EXPECT_EQ(EncodeRequestTarget("http://h/ \"<>|\\^`{}[]#"),
            "http://h/%20%22%3C%3E%7C%5C%5E%60%7B%7D%5B%5D%23");
}

TEST(EncodeRequestTarget, EachByteAbove127IsEscaped) {
  EXPECT_EQ(EncodeRequestTarget("http://h/?中é"), "http://h/?%E4%B8%AD%C3%A9");
}

TEST(EncodeRequestTarget, ControlCharactersAreEscaped) {
  using namespace std::string_literals;
  EXPECT_EQ(EncodeRequestTarget("http://h/\r\n\t\0\x7F"s), "http://h/%0D%0A%09%00%7F");
}

TEST(EncodeRequestTarget, TheHostStands) {
  EXPECT_EQ(EncodeRequestTarget("http://[::1]:98"), "http://[::1]:98");
  EXPECT_EQ(EncodeRequestTarget("http://[::1]?a|b"), "http://[::1]?a%7Cb");
  EXPECT_EQ(EncodeRequestTarget("http://h#a"), "http://h%23a");
}

TEST(EncodeRequestTarget, AnAddressWithoutAHostIsEscapedFromTheStart) {
  EXPECT_EQ(EncodeRequestTarget(""), "");
  EXPECT_EQ(EncodeRequestTarget("a|b"), "a%7Cb");
  EXPECT_EQ(EncodeRequestTarget("?bigdata=|http://h/|"), "?bigdata=%7Chttp://h/%7C");
}

}  // namespace
}  // namespace vnq
