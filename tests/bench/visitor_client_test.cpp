#include "bench/load/visitor_client.h"

#include <gtest/gtest.h>

namespace vnq::bench {
namespace {

// The example of RFC 6455, 1.3.
TEST(VisitorClient, AcceptOfTheStandardsKey) {
  EXPECT_EQ(AcceptOf("dGhlIHNhbXBsZSBub25jZQ=="), "s3pPLMBiTxaQ9kYGzzhZRbK+xOo=");
}

// The example of RFC 6455, 5.7: a masked text frame with "Hello".
TEST(VisitorClient, MaskedTextFrameOfTheStandard) {
  EXPECT_EQ(MaskedTextFrame("Hello", 0x37fa213d),
            std::string("\x81\x85\x37\xfa\x21\x3d\x7f\x9f\x4d\x51\x58"));
}

}  // namespace
}  // namespace vnq::bench
