#include "support/crc32.h"

#include <gtest/gtest.h>

namespace vnq {
namespace {

std::string HexOf(std::string_view bytes) {
  Crc32 crc;
  crc.Add(bytes);
  return crc.Hex();
}

TEST(Crc32, KnownValues) {
  EXPECT_EQ(HexOf(""), "00000000");
  EXPECT_EQ(HexOf("a"), "e8b7be43");
  EXPECT_EQ(HexOf("123456789"), "cbf43926");
}

TEST(Crc32, PiecesGiveTheSameAsTheWhole) {
  Crc32 crc;
  crc.Add("1234");
  crc.Add("");
  crc.Add("56789");
  EXPECT_EQ(crc.Value(), 0xCBF43926U);
}

TEST(Crc32, OneChangedBitChangesIt) {
  EXPECT_NE(HexOf("123456788"), HexOf("123456789"));
}

}  // namespace
}  // namespace vnq
