#include "platform/net/address_list.h"

#include <gtest/gtest.h>

namespace vnq {
namespace {

AddressList ListOf(const std::string& text) {
  AddressList list;
  std::string error;
  EXPECT_TRUE(list.Parse(text, error)) << error;
  return list;
}

TEST(AddressList, HoldsAddressesAndNetworksOfBothFamilies) {
  const AddressList list = ListOf("127.0.0.1, 10.1.0.0/16 ,192.168.7.128/25,2001:db8::/33,::1");
  for (const char* in : {"127.0.0.1", "10.1.0.0", "10.1.255.255", "192.168.7.200", "2001:db8:1::9",
                         "::1", "::ffff:10.1.2.3"}) {
    EXPECT_TRUE(list.Contains(in)) << in;
  }
  for (const char* out : {"127.0.0.2", "10.2.0.0", "192.168.7.127", "2001:db8:8000::", "::2", "",
                          "10.1", "localhost"}) {
    EXPECT_FALSE(list.Contains(out)) << out;
  }
}

TEST(AddressList, EverythingOfAFamilyIsItsNetworkOfNoBits) {
  EXPECT_TRUE(ListOf("0.0.0.0/0").Contains("203.0.113.9"));
  EXPECT_FALSE(ListOf("0.0.0.0/0").Contains("2001:db8::1"));
  EXPECT_TRUE(ListOf("::/0").Contains("2001:db8::1"));
}

TEST(AddressList, NothingGivenAllowsAllAndNoneAllowsNobody) {
  EXPECT_TRUE(AddressList().Allows("10.0.0.1"));
  EXPECT_FALSE(AddressList().Contains("10.0.0.1"));
  EXPECT_FALSE(ListOf("none").Allows("10.0.0.1"));
  EXPECT_TRUE(ListOf("none").IsGiven());
}

TEST(AddressList, EntryThatIsNoneIsNamedAndTheListStays) {
  AddressList list = ListOf("10.0.0.1");
  for (const char* wrong : {"10.0.0.0/33", "10.0.0", "::/129", "10.0.0.0/", "10.0.0.0/-1", "host",
                            "10.0.0.0/8/8", "10.0.0.1 10.0.0.2"}) {
    std::string error;
    EXPECT_FALSE(list.Parse(std::string("127.0.0.1,") + wrong, error));
    EXPECT_EQ(error, wrong);
  }
  EXPECT_TRUE(list.Contains("10.0.0.1"));
  EXPECT_FALSE(list.Contains("127.0.0.1"));
}

}  // namespace
}  // namespace vnq
